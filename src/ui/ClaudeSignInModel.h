#pragma once

// Claude sign-in on a host, in two uses: the main account of the machine a
// conversation runs on (sign in, log out), and adding a further account to
// the Mac. Both walk the same two steps: open a page, paste its code.

#include <QObject>
#include <QPointer>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;

class ClaudeSignInModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(bool addingAccount READ addingAccount NOTIFY changed)
    Q_PROPERTY(bool loading READ loading NOTIFY changed)
    Q_PROPERTY(bool loggedIn READ loggedIn NOTIFY changed)
    Q_PROPERTY(QString email READ email NOTIFY changed)
    Q_PROPERTY(QString plan READ plan NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    // English key of the last failure, empty when none.
    Q_PROPERTY(QString error READ error NOTIFY changed)
    Q_PROPERTY(QString loginUrl READ loginUrl NOTIFY changed)
    // The account that the last sign-in added.
    Q_PROPERTY(QString addedEmail READ addedEmail NOTIFY changed)

public:
    explicit ClaudeSignInModel(Store* store, QObject* parent = nullptr);

    bool addingAccount() const { return m_adding; }
    bool loading() const { return m_loading; }
    bool loggedIn() const { return m_loggedIn; }
    QString email() const { return m_email; }
    QString plan() const { return m_plan; }
    bool busy() const { return m_busy; }
    QString error() const { return m_error; }
    QString loginUrl() const { return m_loginUrl; }
    QString addedEmail() const { return m_addedEmail; }

    // The main account of the machine that runs `chatId` (0: the Mac).
    Q_INVOKABLE void showMainAccount(qint64 chatId);
    // The "Add account" flow.
    Q_INVOKABLE void startAddingAccount();
    Q_INVOKABLE void startSignIn();
    Q_INVOKABLE void submitCode(const QString& code);
    Q_INVOKABLE void logout();
    Q_INVOKABLE void openLoginPage() const;

    QCoro::Task<> refresh();
    QCoro::Task<bool> begin();
    QCoro::Task<bool> complete(QString code);
    QCoro::Task<bool> signOut();

signals:
    void changed();

private:
    void reset(bool adding, qint64 chatId);
    void setBusy(bool busy, const QString& error = {});

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    bool m_adding = false;
    bool m_loading = false;
    bool m_loggedIn = false;
    QString m_email;
    QString m_plan;
    bool m_busy = false;
    QString m_error;
    QString m_loginUrl;
    QString m_loginId;
    QString m_addedEmail;
};
