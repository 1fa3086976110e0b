#include "ui/UsageViewModel.h"

#include "agent/Usage.h"
#include "core/Localisation.h"
#include "store/Store.h"

#include <QVariantMap>

namespace {
// Pace moves with time alone; a tick a minute keeps the ticks honest.
constexpr int tickMs = 30 * 1000;

bool sameEmail(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QVariantMap pie(const QString& shortName, double windowSeconds,
                const std::optional<ClaudeUsageWindow>& w, const QDateTime& now) {
    const ClaudeUsageWindow window = w.value_or(ClaudeUsageWindow{});
    const auto expected = UsagePace::expected(window, windowSeconds, now);
    return {{QStringLiteral("short"), shortName},
            {QStringLiteral("util"), UsagePace::util(window)},
            {QStringLiteral("expected"), expected.value_or(-1)},
            {QStringLiteral("overPace"), UsagePace::overPace(window, windowSeconds, now)}};
}
} // namespace

UsageViewModel::UsageViewModel(Store* store, QObject* parent) : QObject(parent), m_store(store) {
    connect(store, &Store::hostChanged, this, &UsageViewModel::changed);
    connect(store, &Store::accountsChanged, this, &UsageViewModel::changed);
    connect(store, &Store::chatsReset, this, &UsageViewModel::changed);
    m_tick.setInterval(tickMs);
    connect(&m_tick, &QTimer::timeout, this, &UsageViewModel::changed);
    m_tick.start();
}

void UsageViewModel::setNow(const QDateTime& now) {
    m_fixedNow = now;
    emit changed();
}

QDateTime UsageViewModel::now() const {
    return m_fixedNow.value_or(QDateTime::currentDateTimeUtc());
}

QVariantMap UsageViewModel::card(const QString& title, const QString& shortName,
                                 double windowSeconds, const ClaudeUsageWindow& w,
                                 const QDateTime& now) {
    const auto expected = UsagePace::expected(w, windowSeconds, now);
    const bool over = UsagePace::overPace(w, windowSeconds, now);
    const auto reset = w.resetDate();
    return {{QStringLiteral("title"), title},
            {QStringLiteral("short"), shortName},
            {QStringLiteral("util"), UsagePace::util(w)},
            {QStringLiteral("expected"), expected.value_or(-1)},
            {QStringLiteral("overPace"), over},
            {QStringLiteral("pill"), UsagePace::statusPill(over)},
            {QStringLiteral("countdown"), reset ? UsagePace::countdown(*reset, now) : QString()},
            {QStringLiteral("resetClock"), reset ? UsagePace::resetClock(*reset, now) : QString()}};
}

QVariantMap UsageViewModel::accountEntry(const ClaudeAccount& account) const {
    const QDateTime at = now();
    QVariantList cards;
    if (account.usage) {
        if (account.usage->fiveHour)
            cards << card(QStringLiteral("5-hour window"), QStringLiteral("5h"),
                          UsagePace::fiveHourWindow, *account.usage->fiveHour, at);
        if (account.usage->sevenDay)
            cards << card(QStringLiteral("7-day window"), QStringLiteral("7d"),
                          UsagePace::sevenDayWindow, *account.usage->sevenDay, at);
    }
    QVariantList clients;
    for (const ClaudeClient& c : account.clients)
        clients << QVariantMap{{QStringLiteral("name"), c.name},
                               {QStringLiteral("subtitle"), c.subtitle.value_or(QString())},
                               {QStringLiteral("answering"), c.answering},
                               {QStringLiteral("isMac"), c.isMac()}};
    QVariantList chats;
    const QString email = account.email.value_or(QString());
    if (!email.isEmpty())
        for (const ChatSummary& chat : m_store->chatsOnAccount(email))
            // Only conversations with the agent run on an account.
            if (m_store->isClaudeCodeChat(chat))
                chats << QVariantMap{
                    {QStringLiteral("id"), chat.id},
                    {QStringLiteral("title"),
                     chat.displayTitle(m_store->me() ? std::optional<qint64>(m_store->me()->id)
                                                     : std::nullopt)}};
    // A named account: its one machine signs in with another main account.
    const ClaudeClient* holder = account.clients.size() == 1 ? &account.clients.first() : nullptr;
    const bool held =
        holder && !email.isEmpty() && !sameEmail(holder->email.value_or(QString()), email);
    return {{QStringLiteral("email"), email},
            {QStringLiteral("hasUsage"), !cards.isEmpty()},
            {QStringLiteral("cards"), cards},
            {QStringLiteral("clients"), clients},
            {QStringLiteral("chats"), chats},
            {QStringLiteral("held"), held},
            {QStringLiteral("holder"), holder ? holder->name : QString()},
            {QStringLiteral("mainEmail"), holder ? holder->email.value_or(QString()) : QString()}};
}

QVariantList UsageViewModel::accounts() const {
    QVariantList out;
    if (!m_store) return out;
    for (const ClaudeAccount& account : m_store->claudeAccounts())
        out << accountEntry(account);
    return out;
}

bool UsageViewModel::empty() const {
    return !m_store || m_store->claudeAccounts().isEmpty();
}

QVariantList UsageViewModel::pies() const {
    const std::optional<ClaudeUsage> usage = m_store ? m_store->claudeUsage() : std::nullopt;
    const QDateTime at = now();
    return {pie(QStringLiteral("5h"), UsagePace::fiveHourWindow,
                usage ? usage->fiveHour : std::nullopt, at),
            pie(QStringLiteral("7d"), UsagePace::sevenDayWindow,
                usage ? usage->sevenDay : std::nullopt, at)};
}

QStringList UsageViewModel::knownAccounts() const {
    return m_store ? m_store->knownAccountEmails() : QStringList();
}

void UsageViewModel::moveChat(qint64 chatId, const QString& email) {
    [](QPointer<UsageViewModel> self, qint64 chat, QString target) -> QCoro::Task<> {
        auto call = self->move(chat, target);
        const std::optional<QString> failure = co_await call;
        if (self && failure) emit self->moveFailed(*failure);
    }(QPointer<UsageViewModel>(this), chatId, email);
}

QCoro::Task<std::optional<QString>> UsageViewModel::move(qint64 chatId, QString email) {
    QPointer<UsageViewModel> self(this);
    QPointer<Store> store = m_store;
    if (!store) co_return std::nullopt;
    m_moving = true;
    emit movingChanged();
    auto call = store->switchChatAccount(chatId, email);
    const std::optional<QString> failure = co_await call;
    if (!self) co_return failure;
    m_moving = false;
    emit movingChanged();
    emit changed();
    co_return failure;
}
