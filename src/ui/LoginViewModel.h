#pragma once

// The login screen: first a name, then, when no reachable server knows the
// name, an invite code. There is no password anywhere.

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class Store;

class LoginViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString step READ step NOTIFY stepChanged)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QString inviteCode READ inviteCode WRITE setInviteCode NOTIFY inviteCodeChanged)
    Q_PROPERTY(QString localHint READ localHint NOTIFY localHintChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(bool autoProbing READ autoProbing NOTIFY autoProbingChanged)
    // What the screen shows under its fields: its own notice, else Store.lastError.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    // QML makes it with the store of AppModel::current().
    explicit LoginViewModel(QObject* parent = nullptr);
    explicit LoginViewModel(Store* store, QObject* parent = nullptr);

    QString step() const { return m_codeStep ? QStringLiteral("code") : QStringLiteral("name"); }
    QString name() const { return m_name; }
    void setName(const QString& name);
    QString inviteCode() const { return m_inviteCode; }
    void setInviteCode(const QString& code);
    QString localHint() const { return m_localHint; }
    bool busy() const { return m_busy; }
    bool autoProbing() const { return m_autoProbing; }
    QString errorText() const;

    // The screen appeared: try the private-network login without any input.
    Q_INVOKABLE void appear();
    // "Continue" on the name step.
    Q_INVOKABLE void submitName();
    // "Join" on the code step: an invite (code@server), or a pairing QR's text.
    Q_INVOKABLE void joinInvite();
    Q_INVOKABLE void back();
    // A QR image the person picked, or the clipboard's image or text.
    Q_INVOKABLE void useQRImageFile(const QUrl& file);
    Q_INVOKABLE void pasteQRCode();

signals:
    void stepChanged();
    void nameChanged();
    void inviteCodeChanged();
    void localHintChanged();
    void busyChanged();
    void autoProbingChanged();
    void errorTextChanged();

private:
    void setBusy(bool busy);
    void setAutoProbing(bool probing);
    void setCodeStep(bool code);
    void setNotice(const QString& notice);
    void pairDevice(const QString& payload);
    void readLocalHint();

    QPointer<Store> m_store;
    bool m_codeStep = false;
    QString m_name;
    QString m_inviteCode;
    QString m_localHint;
    QString m_notice;
    bool m_busy = false;
    bool m_autoProbing = false;
};
