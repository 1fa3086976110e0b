#pragma once

// Ways into a conversation once signed in: an invite code typed or read from
// a QR ("Join another conversation"), an invite link handed to the app, and
// the prompt an empty list shows. Each ends in the joined conversation.

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <optional>

class Store;

class JoinViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY codeChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    // The view's own notice, else the store's error after a join failed.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)
    // A signed-in person without any conversation is offered a way in, until "Not now".
    Q_PROPERTY(bool showPrompt READ showPrompt NOTIFY showPromptChanged)

public:
    explicit JoinViewModel(Store* store, QObject* parent = nullptr);

    QString code() const { return m_code; }
    void setCode(const QString& code);
    bool busy() const { return m_busy; }
    QString errorText() const;
    bool showPrompt() const;

    // "Join conversation".
    Q_INVOKABLE void join();
    // A QR picture picked from a file or on the clipboard fills the code.
    Q_INVOKABLE void useQRImageFile(const QUrl& file);
    Q_INVOKABLE void pasteQRCode();
    // "Not now" on the empty list's prompt.
    Q_INVOKABLE void dismissPrompt();
    // Clears the field and any notice, as the view opens.
    Q_INVOKABLE void reset();

    // A velmarin://join link: the store follows it; once that server's
    // conversations are in, the newest of them opens.
    void openInviteLink(const QUrl& url);

signals:
    void codeChanged();
    void busyChanged();
    void errorTextChanged();
    void showPromptChanged();
    // The join went through; the view closes.
    void joined();

private:
    void setBusy(bool busy);
    void setNotice(const QString& notice);
    void followLink();
    std::optional<qint64> newestOn(const QUrl& base) const;
    void selectFirstNew(const QSet<qint64>& before);

    QPointer<Store> m_store;
    QString m_code;
    QString m_notice;
    bool m_busy = false;
    bool m_failed = false;
    bool m_promptDismissed = false;
    std::optional<QString> m_token; // the sign-in the prompt was dismissed for
    // The server of the invite link being followed, until its conversation opened.
    enum class Follow { waiting, selected };
    std::optional<QUrl> m_follow;
    Follow m_followStage = Follow::waiting;
    QElapsedTimer m_followSince;
};
