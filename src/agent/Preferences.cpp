// Four settings per session (access level, effort, model, Chrome) with three
// sources each: what the user chose, what the user has just chosen and the
// host has not acted on yet, and what the host reports. The local choice is
// the authority until the host has it; after that, the host is.

#include "agent/Preferences.h"
#include "core/PrefKeys.h"

#include "agent/Persist.h"
#include "store/Store.h"

#include <QJsonArray>

using Config::CCEffort;
using Config::CCPermission;

// MARK: Readers

CCPermission Store::ccPermission(qint64 chatId) const {
    return m_ccPermissions.value(chatId, CCPermission::ask);
}

CCEffort Store::ccEffort(qint64 chatId) const {
    return m_ccEfforts.value(chatId, Config::defaultEffort);
}

QString Store::ccModelChoice(qint64 chatId) const {
    return m_ccModelChoices.value(chatId);
}

bool Store::ccChromeEnabled(qint64 chatId) const {
    return m_ccChrome.value(chatId, false);
}

std::optional<QString> Store::ccModel(qint64 chatId) const {
    const auto it = m_ccModels.constFind(chatId);
    if (it == m_ccModels.constEnd()) return std::nullopt;
    return *it;
}

CCEffort Store::ccBadgeEffort(qint64 chatId) const {
    if (const auto it = m_ccOptimisticEffort.constFind(chatId);
        it != m_ccOptimisticEffort.constEnd())
        return it->value;
    if (const auto it = m_ccReportedEfforts.constFind(chatId); it != m_ccReportedEfforts.constEnd())
        return *it;
    return ccEffort(chatId);
}

QString Store::ccBadgeModelId(qint64 chatId) const {
    if (const auto it = m_ccOptimisticModel.constFind(chatId);
        it != m_ccOptimisticModel.constEnd() && !it->value.isEmpty())
        return it->value;
    if (const auto reported = ccModel(chatId)) return *reported;
    if (const QString chosen = ccModelChoice(chatId); !chosen.isEmpty()) return chosen;
    return defaultModelId();
}

QString Store::defaultModelId() const {
    for (const char* family : {"fable", "opus", "sonnet", "haiku"})
        for (const Config::CCModelInfo& m : availableModels)
            if (m.id.contains(QLatin1String(family))) return m.id;
    return QStringLiteral("claude-fable-5");
}

QString Store::defaultModelName() const {
    const QString id = defaultModelId();
    for (const Config::CCModelInfo& m : availableModels)
        if (m.id == id) return m.name;
    return id;
}

QList<Config::CCModelInfo> Store::modelPickerOptions(const QString& selected) const {
    QList<Config::CCModelInfo> options = availableModels;
    const bool known = std::any_of(options.begin(), options.end(),
                                   [&](const Config::CCModelInfo& m) { return m.id == selected; });
    // An unknown current model stays selectable.
    if (!selected.isEmpty() && !known) options.push_back({selected, selected});
    return options;
}

// MARK: Changers

QCoro::Task<bool> Store::updateCCPermission(qint64 chatId, CCPermission permission) {
    QPointer<Store> self(this);
    m_ccPermissions.insert(chatId, permission);
    saveCCPermissions();
    emit ccStateChanged(chatId);
    auto push = ccSetPermission(chatId, permission);
    const PrefPushResult r = co_await push;
    if (!self) co_return false;
    markPrefSync(chatId, r != PrefPushResult::unreachable);
    co_return r == PrefPushResult::ok;
}

QCoro::Task<bool> Store::updateCCEffort(qint64 chatId, CCEffort effort) {
    QPointer<Store> self(this);
    m_ccEfforts.insert(chatId, effort);
    saveCCEfforts();
    m_ccOptimisticEffort.insert(chatId, {effort, lastRealMsgId(chatId)});
    emit ccStateChanged(chatId);
    auto push = ccSetEffort(chatId, effort);
    const PrefPushResult r = co_await push;
    if (!self) co_return false;
    markPrefSync(chatId, r != PrefPushResult::unreachable);
    co_return r == PrefPushResult::ok;
}

QCoro::Task<bool> Store::updateCCModel(qint64 chatId, QString model) {
    QPointer<Store> self(this);
    m_ccModelChoices.insert(chatId, model);
    saveCCModelChoice();
    m_ccOptimisticModel.insert(chatId, {model, lastRealMsgId(chatId)});
    emit ccStateChanged(chatId);
    auto push = ccSetModel(chatId, model);
    const PrefPushResult r = co_await push;
    if (!self) co_return false;
    markPrefSync(chatId, r != PrefPushResult::unreachable);
    co_return r == PrefPushResult::ok;
}

QCoro::Task<bool> Store::updateCCChrome(qint64 chatId, bool enabled) {
    QPointer<Store> self(this);
    m_ccChrome.insert(chatId, enabled);
    saveCCChrome();
    emit ccStateChanged(chatId);
    auto push = ccSetChrome(chatId, enabled);
    const PrefPushResult r = co_await push;
    if (!self) co_return false;
    markPrefSync(chatId, r != PrefPushResult::unreachable);
    co_return r == PrefPushResult::ok;
}

void Store::markPrefSync(qint64 chatId, bool synced) {
    // A refusal counts as settled: sending it again would not help.
    if (synced)
        m_pendingPrefSync.remove(chatId);
    else
        m_pendingPrefSync.insert(chatId);
    savePendingPrefSync();
}

// MARK: Pushers

QCoro::Task<PrefPushResult> Store::pushPref(QString op, qint64 chatId, QJsonObject extra) {
    QPointer<Store> self(this);
    extra.insert(QStringLiteral("chatId"), QJsonValue(chatId));
    auto request = ccRequest(op, QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return PrefPushResult::unreachable;
    if (reply->value(QLatin1String("ok")) == QJsonValue(true)) co_return PrefPushResult::ok;
    if (self) m_ccPrefsUnsupported.insert(chatId);
    co_return PrefPushResult::unsupported;
}

QCoro::Task<PrefPushResult> Store::ccSetPermission(qint64 chatId, CCPermission permission) {
    const QJsonObject extra{{QStringLiteral("perm"), Config::rawValue(permission)}};
    return pushPref(QStringLiteral("setperm"), chatId, extra);
}

QCoro::Task<PrefPushResult> Store::ccSetEffort(qint64 chatId, CCEffort effort) {
    const QJsonObject extra{{QStringLiteral("effort"), Config::rawValue(effort)}};
    return pushPref(QStringLiteral("seteffort"), chatId, extra);
}

QCoro::Task<PrefPushResult> Store::ccSetModel(qint64 chatId, QString model) {
    const QJsonObject extra{{QStringLiteral("model"), model}};
    return pushPref(QStringLiteral("setmodel"), chatId, extra);
}

QCoro::Task<PrefPushResult> Store::ccSetChrome(qint64 chatId, bool enabled) {
    const QJsonObject extra{{QStringLiteral("chrome"), enabled}};
    return pushPref(QStringLiteral("setchrome"), chatId, extra);
}

// MARK: Sync

QCoro::Task<> Store::flushPendingPrefs() {
    QPointer<Store> self(this);
    if (m_pendingPrefSync.isEmpty()) co_return;
    const QList<qint64> snapshot(m_pendingPrefSync.begin(), m_pendingPrefSync.end());
    for (qint64 chatId : snapshot) {
        if (m_ccPrefsUnsupported.contains(chatId)) {
            m_pendingPrefSync.remove(chatId);
            continue;
        }
        // All four go out, not only the one that changed: the host may have
        // lost any of them while it was away.
        auto perm = ccSetPermission(chatId, ccPermission(chatId));
        const PrefPushResult a = co_await perm;
        if (!self) co_return;
        auto effort = ccSetEffort(chatId, ccEffort(chatId));
        const PrefPushResult b = co_await effort;
        if (!self) co_return;
        auto model = ccSetModel(chatId, ccModelChoice(chatId));
        const PrefPushResult c = co_await model;
        if (!self) co_return;
        auto chrome = ccSetChrome(chatId, ccChromeEnabled(chatId));
        const PrefPushResult d = co_await chrome;
        if (!self) co_return;
        const auto unreachable = PrefPushResult::unreachable;
        if (a != unreachable && b != unreachable && c != unreachable && d != unreachable)
            m_pendingPrefSync.remove(chatId);
    }
    savePendingPrefSync();
}

QCoro::Task<> Store::ccSyncPrefs(qint64 chatId) {
    QPointer<Store> self(this);
    if (m_ccPrefsUnsupported.contains(chatId)) co_return;
    auto flush = flushPendingPrefs();
    co_await flush;
    // A choice that did not get through must not be overwritten by the host's old value.
    if (!self || m_pendingPrefSync.contains(chatId)) co_return;
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("getprefs"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!self || !reply) co_return;
    if (reply->value(QLatin1String("ok")) != QJsonValue(true)) {
        m_ccPrefsUnsupported.insert(chatId);
        co_return;
    }
    auto models = loadAvailableModels(chatId);
    co_await models;
    // The user may have chosen something while the requests were out.
    if (!self || m_pendingPrefSync.contains(chatId)) co_return;
    applySyncedPrefs(chatId, *reply);
}

void Store::applySyncedPrefs(qint64 chatId, const QJsonObject& reply) {
    bool changed = false;
    if (const auto effort = Config::effortFromRaw(reply.value(QLatin1String("effort")).toString());
        effort && m_ccEfforts.value(chatId, Config::defaultEffort) != *effort) {
        m_ccEfforts.insert(chatId, *effort);
        saveCCEfforts();
        changed = true;
    }
    if (const QJsonValue model = reply.value(QLatin1String("model"));
        model.isString() && ccModelChoice(chatId) != model.toString()) {
        m_ccModelChoices.insert(chatId, model.toString());
        saveCCModelChoice();
        changed = true;
    }
    if (const auto perm = Config::permissionFromRaw(reply.value(QLatin1String("perm")).toString());
        perm && m_ccPermissions.value(chatId, CCPermission::ask) != *perm) {
        m_ccPermissions.insert(chatId, *perm);
        saveCCPermissions();
        changed = true;
    }
    if (const QJsonValue chrome = reply.value(QLatin1String("chrome"));
        chrome.isBool() || chrome.isDouble()) {
        const bool on = chrome.isBool() ? chrome.toBool() : chrome.toDouble() != 0;
        if (ccChromeEnabled(chatId) != on) {
            m_ccChrome.insert(chatId, on);
            saveCCChrome();
            changed = true;
        }
    }
    if (const QString workdir = reply.value(QLatin1String("workdir")).toString();
        !workdir.isEmpty() && m_ccWorkdirs.value(chatId) != workdir) {
        m_ccWorkdirs.insert(chatId, workdir);
        saveCCWorkdirs();
        changed = true;
    }
    // These flags never fall.
    if (reply.value(QLatin1String("chromeUsed")) == QJsonValue(true) &&
        !m_ccChromeUsedChats.value(chatId)) {
        m_ccChromeUsedChats.insert(chatId, true);
        saveCCChromeUsed();
        changed = true;
    }
    if (reply.value(QLatin1String("screenshotUsed")) == QJsonValue(true) &&
        !m_ccScreenshotUsedChats.value(chatId)) {
        m_ccScreenshotUsedChats.insert(chatId, true);
        saveCCScreenshotUsed();
        changed = true;
    }
    if (changed) emit ccStateChanged(chatId);
}

QCoro::Task<> Store::loadAvailableModels(qint64 chatId) {
    QPointer<Store> self(this);
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("models"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!self || !reply || reply->value(QLatin1String("ok")) != QJsonValue(true)) co_return;
    QList<Config::CCModelInfo> list{{QString(), QStringLiteral("Default (inherit)")}};
    for (const QJsonValue& item : reply->value(QLatin1String("models")).toArray()) {
        const QJsonObject o = item.toObject();
        const QJsonValue id = o.value(QLatin1String("id"));
        if (!id.isString() || id.toString().isEmpty()) continue;
        const QJsonValue name = o.value(QLatin1String("name"));
        list.push_back({id.toString(), name.isString() ? name.toString() : id.toString()});
    }
    // An empty answer keeps what we had.
    if (list.size() <= 1 || list == availableModels) co_return;
    availableModels = list;
    emit ccModelsChanged();
}

// MARK: Pure helpers

QString shortModel(const QString& modelId) {
    const QString base = modelId.section(QLatin1Char('['), 0, 0);
    QString family;
    QStringList versions;
    for (const QString& piece : base.split(QLatin1Char('-'))) {
        const bool digits =
            !piece.isEmpty() &&
            std::all_of(piece.begin(), piece.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
        if (digits && piece.size() <= 2) {
            versions << piece;
        } else if (digits) {
            break; // a date
        } else if (!versions.isEmpty()) {
            break;
        } else if (piece.compare(QLatin1String("claude"), Qt::CaseInsensitive) != 0 &&
                   !piece.isEmpty()) {
            family = piece.left(1).toUpper() + piece.mid(1).toLower();
        }
    }
    if (versions.isEmpty()) return family;
    return (family + QLatin1Char(' ') + versions.join(QLatin1Char('.'))).trimmed();
}

QColor effortTint(CCEffort effort) {
    switch (effort) {
    case CCEffort::low:
        return QColor::fromRgbF(1.0f, 0.95f, 0.65f);
    case CCEffort::medium:
        return QColor::fromRgbF(0.98f, 0.8f, 0.22f);
    case CCEffort::high:
        return QColor::fromRgbF(1.0f, 0.58f, 0.18f);
    case CCEffort::xhigh:
        return QColor::fromRgbF(1.0f, 0.48f, 0.44f);
    case CCEffort::max:
        return QColor::fromRgbF(0.88f, 0.18f, 0.18f);
    }
    return {};
}

// MARK: Persistence

void Store::loadCCPermissions() {
    m_ccPermissions =
        agentprefs::readRawMap<CCPermission>(PrefKey::ccPermissions, Config::permissionFromRaw);
}

void Store::saveCCPermissions() const {
    agentprefs::writeRawMap(PrefKey::ccPermissions, m_ccPermissions);
}

void Store::loadCCEfforts() {
    m_ccEfforts = agentprefs::readRawMap<CCEffort>(PrefKey::ccEfforts, Config::effortFromRaw);
}

void Store::saveCCEfforts() const {
    agentprefs::writeRawMap(PrefKey::ccEfforts, m_ccEfforts);
}

void Store::loadCCModelChoice() {
    m_ccModelChoices = prefsmaps::readIdMap<QString>(PrefKey::ccModelChoice);
}

void Store::saveCCModelChoice() const {
    prefsmaps::writeIdMap(PrefKey::ccModelChoice, m_ccModelChoices);
}

void Store::loadCCModels() {
    m_ccModels = prefsmaps::readIdMap<QString>(PrefKey::ccModels);
}

void Store::saveCCModels() const {
    prefsmaps::writeIdMap(PrefKey::ccModels, m_ccModels);
}

void Store::loadCCChrome() {
    m_ccChrome = prefsmaps::readIdMap<bool>(PrefKey::ccChrome);
}

void Store::saveCCChrome() const {
    prefsmaps::writeIdMap(PrefKey::ccChrome, m_ccChrome);
}

void Store::loadPendingPrefSync() {
    const auto ids = Prefs::shared().readJson<QList<qint64>>(PrefKey::ccPendingPrefSync);
    m_pendingPrefSync = ids ? QSet<qint64>(ids->begin(), ids->end()) : QSet<qint64>{};
}

void Store::savePendingPrefSync() const {
    QList<qint64> ids(m_pendingPrefSync.begin(), m_pendingPrefSync.end());
    std::sort(ids.begin(), ids.end());
    Prefs::shared().writeJson(PrefKey::ccPendingPrefSync, ids);
}

void Store::loadCCReportedEfforts() {
    m_ccReportedEfforts =
        agentprefs::readRawMap<CCEffort>(PrefKey::ccReportedEfforts, Config::effortFromRaw);
}

void Store::saveCCReportedEfforts() const {
    agentprefs::writeRawMap(PrefKey::ccReportedEfforts, m_ccReportedEfforts);
}

void Store::loadCCWorkdirs() {
    m_ccWorkdirs = prefsmaps::readIdMap<QString>(PrefKey::ccWorkdirs);
}

void Store::saveCCWorkdirs() const {
    prefsmaps::writeIdMap(PrefKey::ccWorkdirs, m_ccWorkdirs);
}
