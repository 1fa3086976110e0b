#include "ui/AgentBarsModel.h"

#include "agent/Builds.h"
#include "agent/Context.h"
#include "agent/Markers.h"
#include "agent/Preferences.h"
#include "core/Localisation.h"
#include "store/Store.h"

#include <QDateTime>
#include <QDesktopServices>
#include <algorithm>
#include <cmath>

namespace {

// The idle advice and the optimistic guess turn by the clock, not by events.
constexpr int kClockMs = 15000;

QString firstLine(const QString& text) {
    return text.section(u'\n', 0, 0);
}

} // namespace

AgentBarsModel::AgentBarsModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store),
      m_openUrl([](const QUrl& url) { QDesktopServices::openUrl(url); }) {
    if (!store) return;
    const auto ifCurrent = [this](qint64 id) {
        if (id == m_chatId) refresh();
    };
    connect(store, &Store::selectionChanged, this,
            [this] { follow(m_store ? m_store->selectedChatId().value_or(0) : 0); });
    connect(store, &Store::ccStateChanged, this, ifCurrent);
    connect(store, &Store::chatChanged, this, ifCurrent);
    connect(store, &Store::buildsChanged, this, ifCurrent);
    connect(store, &Store::deploysChanged, this, ifCurrent);
    connect(store, &Store::timelineChanged, this,
            [ifCurrent](qint64 id, TimelineChange) { ifCurrent(id); });
    connect(store, &Store::chatsReset, this, &AgentBarsModel::refresh);
    connect(store, &Store::sessionChanged, this, &AgentBarsModel::refresh);
    connect(store, &Store::usersChanged, this, &AgentBarsModel::refresh);
    connect(store, &Store::hostChanged, this, &AgentBarsModel::refresh);
    connect(store, &Store::ccModelsChanged, this, &AgentBarsModel::refresh);
    m_clock.setInterval(kClockMs);
    connect(&m_clock, &QTimer::timeout, this, &AgentBarsModel::refresh);
    m_clock.start();
    m_guessExpiry.setSingleShot(true);
    connect(&m_guessExpiry, &QTimer::timeout, this, &AgentBarsModel::refresh);
    follow(store->selectedChatId().value_or(0));
}

// MARK: Following the open conversation

void AgentBarsModel::follow(qint64 chatId) {
    if (chatId == m_chatId) return;
    // A view of another conversation starts over: advice shown again, no stop pending.
    m_chatId = chatId;
    m_idleDismissed = false;
    m_stop = CCStopRequest{};
    refresh();
}

void AgentBarsModel::refresh() {
    m_queue.reset();
    m_stop.observe(working());
    scheduleGuessExpiry();
    emit changed();
    refreshBadges();
}

void AgentBarsModel::refreshBadges() {
    // Readings can turn with the clock alone (the guess after a send expires).
    m_index.badges.clear();
    emit badgesChanged();
}

// The client's guess after a send ends at a deadline, not by an event.
void AgentBarsModel::scheduleGuessExpiry() {
    if (!m_store || !m_chatId) return;
    const auto until = m_store->ccOptimisticWorking().constFind(m_chatId);
    if (until == m_store->ccOptimisticWorking().constEnd()) return;
    const qint64 left = *until - QDateTime::currentMSecsSinceEpoch();
    if (left > 0) m_guessExpiry.start(int(std::min<qint64>(left + 50, 60000)));
}

const QList<Message>& AgentBarsModel::queued() const {
    if (!m_queue)
        m_queue = m_store && m_chatId ? m_store->backloggedMessages(m_chatId) : QList<Message>();
    return *m_queue;
}

const ChatSummary* AgentBarsModel::currentChat() const {
    return m_store && m_chatId ? m_store->chat(m_chatId) : nullptr;
}

bool AgentBarsModel::isSession() const {
    const ChatSummary* chat = currentChat();
    return chat && m_store->isClaudeSessionChat(*chat);
}

// MARK: Idle advice and context

bool AgentBarsModel::showIdleReset() const {
    return currentChat() && m_store->showIdleReset(m_chatId, m_idleDismissed);
}

void AgentBarsModel::dismissIdleReset() {
    m_idleDismissed = true;
    emit changed();
}

bool AgentBarsModel::hasContext() const {
    return isSession() && m_store->ccContext(m_chatId).has_value();
}

QString AgentBarsModel::contextText() const {
    const auto stat = m_store ? m_store->ccContext(m_chatId) : std::nullopt;
    return stat ? Lf(QStringLiteral("Context %@ token"), fmtTokens(stat->ctx)) : QString();
}

double AgentBarsModel::contextShare() const {
    const auto stat = m_store ? m_store->ccContext(m_chatId) : std::nullopt;
    if (!stat) return 0;
    return std::clamp(double(stat->ctx) / double(ccContextWindow), 0.0, 1.0);
}

QString AgentBarsModel::contextPercent() const {
    const auto stat = m_store ? m_store->ccContext(m_chatId) : std::nullopt;
    if (!stat) return {};
    const double share = double(stat->ctx) / double(ccContextWindow);
    return QString::number(std::lround(share * 100)) + u'%';
}

QColor AgentBarsModel::contextColor() const {
    return ccContextColor(contextShare());
}

QString AgentBarsModel::modelBadge() const {
    if (!m_store || !m_chatId) return {};
    return shortModel(m_store->ccBadgeModelId(m_chatId)) + u' ' +
           Config::shortLabel(m_store->ccBadgeEffort(m_chatId));
}

QColor AgentBarsModel::modelBadgeTint() const {
    return effortTint(m_store && m_chatId ? m_store->ccBadgeEffort(m_chatId)
                                          : Config::defaultEffort);
}

QVariantList AgentBarsModel::modelOptions() const {
    if (!m_store || !m_chatId) return {};
    const QString chosen = m_store->ccModelChoice(m_chatId);
    QVariantList out;
    for (const Config::CCModelInfo& info : m_store->modelPickerOptions(chosen))
        out << QVariantMap{{QStringLiteral("id"), info.id},
                           // The inherited entry names the model it stands for.
                           {QStringLiteral("name"),
                            info.id.isEmpty()
                                ? m_store->defaultModelName() + L(QStringLiteral(" (default)"))
                                : info.name},
                           {QStringLiteral("selected"), info.id == chosen}};
    return out;
}

QVariantList AgentBarsModel::effortOptions() const {
    if (!m_store || !m_chatId) return {};
    const Config::CCEffort chosen = m_store->ccEffort(m_chatId);
    QVariantList out;
    for (Config::CCEffort e : Config::allEfforts)
        out << QVariantMap{{QStringLiteral("raw"), Config::rawValue(e)},
                           {QStringLiteral("name"), L(Config::label(e))},
                           {QStringLiteral("selected"), e == chosen}};
    return out;
}

void AgentBarsModel::setModel(const QString& modelId) {
    if (!m_store || !m_chatId) return;
    [](QPointer<Store> store, qint64 chatId, QString id) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->updateCCModel(chatId, id);
        co_await call;
    }(m_store, m_chatId, modelId);
}

void AgentBarsModel::setEffort(const QString& raw) {
    const auto effort = Config::effortFromRaw(raw);
    if (!m_store || !m_chatId || !effort) return;
    [](QPointer<Store> store, qint64 chatId, Config::CCEffort e) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->updateCCEffort(chatId, e);
        co_await call;
    }(m_store, m_chatId, *effort);
}

void AgentBarsModel::resetContext(bool keepRecent) {
    if (!m_store || !m_chatId) return;
    std::optional<QString> seed;
    if (keepRecent) seed = m_store->recentDigest(m_chatId);
    m_idleDismissed = true;
    [](QPointer<Store> store, qint64 chatId, std::optional<QString> s) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->ccClearContext(chatId, s);
        co_await call;
    }(m_store, m_chatId, std::move(seed));
    emit changed();
}

// MARK: Build bar

bool AgentBarsModel::hasBuild() const {
    return m_store && m_chatId && m_store->builds().contains(m_chatId);
}

QString AgentBarsModel::buildLine() const {
    return hasBuild() ? ::buildBarLine(m_store->builds().value(m_chatId)) : QString();
}

QString AgentBarsModel::buildSymbol() const {
    return hasBuild() ? ::buildSymbol(m_store->builds().value(m_chatId)) : QString();
}

int AgentBarsModel::buildPercent() const {
    if (!hasBuild()) return -1;
    const auto percent = m_store->builds().value(m_chatId).percent;
    return percent ? int(std::clamp<qint64>(*percent, 0, 100)) : -1;
}

bool AgentBarsModel::buildActive() const {
    return hasBuild() && m_store->builds().value(m_chatId).isActive();
}

// MARK: Working status and queue

bool AgentBarsModel::working() const {
    return m_store && m_chatId && m_store->ccWorking(m_chatId);
}

QString AgentBarsModel::statusLine() const {
    if (!working()) return {};
    // The summary's working message, else the generic line; both read the same way.
    const auto text = m_store->ccStatusText(m_chatId);
    return ccStatusLineOf(text ? *text : L(QStringLiteral("Claude is working…")));
}

bool AgentBarsModel::chromeActive() const {
    return m_store && m_chatId && m_store->ccChromeActive(m_chatId);
}

bool AgentBarsModel::screenshotActive() const {
    return m_store && m_chatId && m_store->ccScreenshotActive(m_chatId);
}

void AgentBarsModel::stop() {
    if (!m_store || !m_chatId || m_stop.showsStopping()) return;
    m_stop.press();
    [](QPointer<Store> store, qint64 chatId) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->ccStopSession(chatId);
        co_await call;
    }(m_store, m_chatId);
    emit changed();
}

void AgentBarsModel::sendNow(qint64 messageId) {
    if (!m_store || !m_chatId) return;
    [](QPointer<Store> store, qint64 chatId, qint64 id) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->ccSendNow(chatId, id);
        co_await call;
    }(m_store, m_chatId, messageId);
}

int AgentBarsModel::backlogCount() const {
    return int(queued().size());
}

QString AgentBarsModel::backlogText() const {
    const int count = backlogCount();
    return count > 0 ? backlogBarText(count) : QString();
}

QVariantList AgentBarsModel::backlog() const {
    QVariantList out;
    for (const Message& m : queued())
        out << QVariantMap{{QStringLiteral("id"), m.id},
                           {QStringLiteral("text"), firstLine(backlogDraft(m.id))},
                           {QStringLiteral("priority"), m.isPriority()}};
    return out;
}

QString AgentBarsModel::backlogDraft(qint64 messageId) const {
    for (const Message& m : queued()) {
        if (m.id != messageId) continue;
        if (m.media && m.media->kind == QLatin1String("audio"))
            return m.transcript.value_or(QString());
        return m.displayText();
    }
    return {};
}

// MARK: Composer icons

bool AgentBarsModel::showScreenshot() const {
    return m_store && m_chatId && m_store->claudeInputHelperOnline() &&
           m_store->chatHasMacTools(m_chatId);
}

QVariantList AgentBarsModel::healthPrompts() const {
    QVariantList out;
    for (const HealthPrompt& p : ::healthPrompts())
        out << QVariantMap{{QStringLiteral("title"), p.title}, {QStringLiteral("icon"), p.icon}};
    return out;
}

void AgentBarsModel::sendHealthPrompt(int index) {
    const auto& prompts = ::healthPrompts();
    if (!m_store || !m_chatId || index < 0 || index >= prompts.size()) return;
    [](QPointer<Store> store, qint64 chatId, QString text) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->sendMessage(chatId, text);
        co_await call;
    }(m_store, m_chatId, prompts[index].text);
}

void AgentBarsModel::requestScreenshot() {
    if (!showScreenshot()) return;
    // The agent side answers this fixed text with a capture of the Mac.
    [](QPointer<Store> store, qint64 chatId, QString text) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->sendMessage(chatId, text);
        co_await call;
    }(m_store, m_chatId, QStringLiteral("📸 Capture écran"));
}

// MARK: Deploy chip

std::optional<DeployTarget> AgentBarsModel::shownDeploy() const {
    if (!m_store || !m_chatId) return std::nullopt;
    if (auto active = m_store->activeDeploy(m_chatId)) return active;
    if (auto latest = m_store->latestDeploy(m_chatId)) return latest->target;
    // The assistant's own conversation shows the newest deploy of all.
    const ChatSummary* chat = currentChat();
    if (chat && !chat->isGroup() && m_store->agentId()) {
        const bool withAssistant =
            std::any_of(chat->members.begin(), chat->members.end(),
                        [&](const User& u) { return u.id == *m_store->agentId(); });
        if (withAssistant) return m_store->lastGlobalDeploy();
    }
    return std::nullopt;
}

QVariantMap AgentBarsModel::deploy() const {
    const auto target = shownDeploy();
    if (!target) return {};
    const bool app = target->isApp();
    const QString label =
        target->label && !target->label->isEmpty() ? *target->label : prettyURL(target->url);
    return {{QStringLiteral("word"), L(app ? QStringLiteral("Update") : QStringLiteral("Preview"))},
            {QStringLiteral("symbol"),
             app ? QStringLiteral("arrow.down.app.fill") : QStringLiteral("safari.fill")},
            {QStringLiteral("label"), label},
            {QStringLiteral("isApp"), app},
            {QStringLiteral("fresh"), m_store->activeDeploy(m_chatId).has_value()}};
}

void AgentBarsModel::openTarget(const DeployTarget& target) {
    const auto url = deployURL(target);
    if (!url) return;
    // An app opens in the system's handler; the web preview opens in the
    // system browser too until the app has its own preview.
    m_openUrl(*url);
    m_store->markDeploySeen(m_chatId);
    emit changed();
}

void AgentBarsModel::openDeploy() {
    if (const auto target = shownDeploy()) openTarget(*target);
}

QVariantList AgentBarsModel::deployMenu() const {
    const auto target = shownDeploy();
    if (!target) return {};
    const auto entry = [](const char* title, const char* icon, const char* action) {
        return QVariantMap{{QStringLiteral("title"), QString::fromUtf8(title)},
                           {QStringLiteral("icon"), QString::fromUtf8(icon)},
                           {QStringLiteral("action"), QString::fromUtf8(action)}};
    };
    if (target->isApp()) return {entry("Installer", "arrow.down.app", "open")};
    return {entry("Aperçu + retours", "cursorarrow.rays", "preview"),
            entry("Ouvrir dans Safari", "safari", "open")};
}

void AgentBarsModel::deployMenuAction(const QString& action) {
    if (action == QLatin1String("open") || action == QLatin1String("preview")) openDeploy();
}

// MARK: Bubble badges

// Histories are kept in id order with pending copies at the end; that lets a
// badge find its message and the prompt before it by a short search. Any
// other order falls back to walking the whole array.
void AgentBarsModel::ensureIndex() {
    if (m_index.epoch == m_store->statusEpoch() && m_index.chatId == m_chatId) return;
    m_index = BadgeIndex{};
    m_index.epoch = m_store->statusEpoch();
    m_index.chatId = m_chatId;
    const QList<Message> list = m_store->messages().value(m_chatId);
    qsizetype end = 0;
    while (end < list.size() && list[end].id > 0 && (end == 0 || list[end - 1].id < list[end].id))
        ++end;
    bool ordered = true;
    for (qsizetype i = end; i < list.size() && ordered; ++i)
        ordered = list[i].id <= 0;
    m_index.orderedEnd = ordered ? end : -1;
}

const Message* AgentBarsModel::findMessage(qint64 id, qsizetype* row) const {
    const auto list = m_store->messages().constFind(m_chatId);
    if (list == m_store->messages().constEnd()) return nullptr;
    qsizetype at = -1;
    if (m_index.orderedEnd >= 0) {
        const auto first = list->cbegin();
        const auto it = std::lower_bound(first, first + m_index.orderedEnd, id,
                                         [](const Message& m, qint64 v) { return m.id < v; });
        if (it != first + m_index.orderedEnd && it->id == id) at = it - first;
    } else {
        for (qsizetype i = 0; i < list->size() && at < 0; ++i)
            if (list->at(i).id == id) at = i;
    }
    if (at < 0) return nullptr;
    if (row) *row = at;
    return &list->at(at);
}

bool AgentBarsModel::isPersonsPrompt(const Message& m) const {
    const auto agentId = m_store->agentId();
    return m.id > 0 && !(agentId && m.senderId == *agentId) && !m_store->isBotUser(m.senderId) &&
           !m.isCCControl() && !m.isCCWorking();
}

QVariantMap AgentBarsModel::badge(qint64 messageId) {
    if (!m_store || !m_chatId || messageId <= 0) return {};
    ensureIndex();
    if (const auto cached = m_index.badges.constFind(messageId);
        cached != m_index.badges.constEnd())
        return *cached;
    const Message* message = findMessage(messageId, nullptr);
    if (!message) return {};
    const QVariantMap computed = computeBadge(*message);
    m_index.badges.insert(messageId, computed);
    return computed;
}

QVariantMap AgentBarsModel::computeBadge(const Message& m) const {
    const auto status = m_store->ccStatus(m);
    QVariantMap out{{QStringLiteral("status"),
                     status && *status != CCMessageStatus::done ? rawValue(*status) : QString()},
                    {QStringLiteral("priority"), m.isPriority()},
                    {QStringLiteral("id"), m.id}};
    if (!status && !(m_store->me() && m.senderId == m_store->me()->id)) {
        const QVariantMap quote = answeredQuote(m);
        if (!quote.isEmpty()) out.insert(QStringLiteral("answered"), quote);
    }
    return out;
}

// An agent answer quotes the prompt it answers, unless that prompt is simply
// the latest one before it.
QVariantMap AgentBarsModel::answeredQuote(const Message& bubble) const {
    if (bubble.replyTo || !mayHoldLineMarkers(bubble.text)) return {};
    const auto answered = bubble.ccAnswersId();
    if (!answered || *answered <= 0 || *answered >= bubble.id) return {};
    std::optional<Message> quoted;
    if (m_index.orderedEnd < 0) {
        quoted = answeredPrompt(
            bubble, m_store->messages().value(m_chatId),
            [this](qint64 id) { return m_store->isBotUser(id); }, m_store->agentId());
    } else {
        // The newest prompt before the bubble is the first one found walking back.
        qsizetype row = 0;
        if (!findMessage(bubble.id, &row)) return {};
        const QList<Message>& list = *m_store->messages().constFind(m_chatId);
        while (--row >= 0 && !isPersonsPrompt(list[row])) {
        }
        if (row < 0 || list[row].id == *answered) return {};
        if (const Message* m = findMessage(*answered, nullptr)) quoted = *m;
    }
    if (!quoted) return {};
    return {{QStringLiteral("id"), quoted->id},
            {QStringLiteral("senderName"), quoted->senderName},
            {QStringLiteral("text"), firstLine(quoted->displayText())}};
}
