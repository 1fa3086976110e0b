#include "ui/ClaudeSignInModel.h"

#include "store/Store.h"

#include <QDesktopServices>
#include <QUrl>

ClaudeSignInModel::ClaudeSignInModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {}

void ClaudeSignInModel::reset(bool adding, qint64 chatId) {
    m_adding = adding;
    m_chatId = chatId;
    m_loggedIn = false;
    m_email.clear();
    m_plan.clear();
    m_error.clear();
    m_loginUrl.clear();
    m_loginId.clear();
    m_addedEmail.clear();
    emit changed();
}

void ClaudeSignInModel::setBusy(bool busy, const QString& error) {
    m_busy = busy;
    m_error = error;
    emit changed();
}

void ClaudeSignInModel::showMainAccount(qint64 chatId) {
    reset(false, chatId);
    refresh();
}

void ClaudeSignInModel::startAddingAccount() {
    reset(true, 0);
}

QCoro::Task<> ClaudeSignInModel::refresh() {
    QPointer<ClaudeSignInModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || m_adding) co_return;
    m_loading = true;
    emit changed();
    auto call = store->ccAuthStatus(m_chatId);
    const std::optional<CCAuthStatus> status = co_await call;
    if (!self) co_return;
    m_loading = false;
    m_loggedIn = status && status->loggedIn;
    m_email = status ? status->email : QString();
    m_plan = status ? status->plan : QString();
    emit changed();
}

void ClaudeSignInModel::startSignIn() {
    begin();
}

QCoro::Task<bool> ClaudeSignInModel::begin() {
    QPointer<ClaudeSignInModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || m_busy) co_return false;
    setBusy(true);
    std::optional<CCLoginStart> start;
    if (m_adding) {
        auto call = store->ccAccountLoginStart();
        start = co_await call;
    } else {
        auto call = store->ccAuthLoginStart(m_chatId);
        start = co_await call;
    }
    if (!self) co_return false;
    if (!start) {
        setBusy(false, QStringLiteral(
                           "Couldn't start sign-in. Make sure the Mac is awake and try again."));
        co_return false;
    }
    m_loginUrl = start->url;
    m_loginId = start->loginId;
    setBusy(false);
    co_return true;
}

void ClaudeSignInModel::submitCode(const QString& code) {
    complete(code);
}

QCoro::Task<bool> ClaudeSignInModel::complete(QString code) {
    QPointer<ClaudeSignInModel> self(this);
    QPointer<Store> store = m_store;
    const QString trimmed = code.trimmed();
    if (!store || m_busy || m_loginId.isEmpty() || trimmed.isEmpty()) co_return false;
    setBusy(true);
    CCLoginResult result;
    if (m_adding) {
        auto call = store->ccAccountLoginSubmit(m_loginId, trimmed);
        result = co_await call;
    } else {
        auto call = store->ccAuthLoginSubmit(m_loginId, trimmed, m_chatId);
        result = co_await call;
    }
    if (!self) co_return false;
    if (!result.ok) {
        setBusy(false, QStringLiteral("Sign-in failed. Check the code and try again."));
        co_return false;
    }
    m_loginUrl.clear();
    m_loginId.clear();
    m_addedEmail = result.email;
    m_loggedIn = true;
    m_email = result.email;
    m_plan = result.plan;
    setBusy(false);
    co_return true;
}

void ClaudeSignInModel::logout() {
    signOut();
}

QCoro::Task<bool> ClaudeSignInModel::signOut() {
    QPointer<ClaudeSignInModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || m_busy) co_return false;
    setBusy(true);
    auto call = store->ccAuthLogout(m_chatId);
    const bool ok = co_await call;
    if (!self) co_return ok;
    setBusy(false);
    auto again = refresh();
    co_await again;
    co_return ok;
}

void ClaudeSignInModel::openLoginPage() const {
    if (!m_loginUrl.isEmpty()) QDesktopServices::openUrl(QUrl(m_loginUrl));
}
