#pragma once

// The invite sheet of one conversation: its code, the text to hand out
// (code@server), the link to open in a browser, and the QR of that text;
// the code can be replaced or withdrawn.

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class Store;

class InviteViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId NOTIFY chatChanged)
    Q_PROPERTY(QString chatTitle READ chatTitle NOTIFY chatChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    // Empty while the conversation has no code.
    Q_PROPERTY(QString code READ code NOTIFY codeChanged)
    Q_PROPERTY(QString shareText READ shareText NOTIFY codeChanged)
    Q_PROPERTY(QString link READ link NOTIFY chatChanged)
    Q_PROPERTY(QString qrImage READ qrImage NOTIFY codeChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    explicit InviteViewModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    QString chatTitle() const;
    bool busy() const { return m_busy; }
    QString code() const { return m_code; }
    QString shareText() const;
    QString link() const;
    QString qrImage() const { return m_qrImage; }
    QString errorText() const { return m_error; }

    // Shows the conversation's current code (none until the server says).
    Q_INVOKABLE void open(qint64 chatId);
    Q_INVOKABLE void rotate();
    Q_INVOKABLE void revoke();
    Q_INVOKABLE void copyShareText();
    Q_INVOKABLE void copyLink();
    // Writes the QR of the shared text as a PNG; false when it could not.
    Q_INVOKABLE bool saveQR(const QUrl& file);

signals:
    void chatChanged();
    void busyChanged();
    void codeChanged();
    void errorTextChanged();

private:
    enum class Op { read, rotate, revoke };
    void run(Op op);
    void setCode(const QString& code);
    void setBusy(bool busy);
    void setError(const QString& error);

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    int m_generation = 0;
    bool m_busy = false;
    QString m_code;
    QString m_qrImage;
    QString m_error;
};
