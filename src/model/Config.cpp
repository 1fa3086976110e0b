#include "model/Config.h"

#include "BuildSettings.h"

namespace Config {

namespace {
struct WellKnown {
    QString publicUrl = QString::fromUtf8(BuildSettings::publicServer);
    QString defaultUrl = QString::fromUtf8(BuildSettings::defaultServer);
    QString macUrl = QString::fromUtf8(BuildSettings::macServer);
};

WellKnown& wellKnown() {
    static WellKnown servers;
    return servers;
}
} // namespace

QString publicServer() { return wellKnown().publicUrl; }
QString defaultServer() { return wellKnown().defaultUrl; }
QString macServer() { return wellKnown().macUrl; }

void overrideWellKnownServers(const QString& publicUrl, const QString& defaultUrl,
                              const QString& macUrl) {
    wellKnown() = {publicUrl, defaultUrl, macUrl};
}

void resetWellKnownServers() { wellKnown() = WellKnown{}; }

// MARK: CCPermission

std::optional<CCPermission> permissionFromRaw(const QString& raw) {
    if (raw == QLatin1String("ask")) return CCPermission::ask;
    // "full" is how earlier versions stored the dangerous level.
    if (raw == QLatin1String("dangerous") || raw == QLatin1String("full"))
        return CCPermission::dangerous;
    return std::nullopt;
}

QString rawValue(CCPermission p) {
    return p == CCPermission::ask ? QStringLiteral("ask") : QStringLiteral("dangerous");
}

QString label(CCPermission p) {
    return p == CCPermission::ask ? QStringLiteral("Ask permission") : QStringLiteral("Dangerous");
}

QString detail(CCPermission p) {
    return p == CCPermission::ask
               ? QStringLiteral("Claude asks you here before running commands or changing files.")
               : QStringLiteral(
                     "Claude does anything — runs shell, edits files — without asking. ⚠️");
}

QString icon(CCPermission p) {
    return p == CCPermission::ask ? QStringLiteral("hand.raised")
                                  : QStringLiteral("exclamationmark.triangle.fill");
}

// MARK: CCEffort

namespace {
struct EffortRow {
    CCEffort effort;
    const char* raw;
    const char* label;
    const char* detail;
    const char* shortLabel;
    const char* icon;
};

constexpr EffortRow effortRows[] = {
    {CCEffort::low, "low", "Low", "Fastest, lightest thinking — quick answers, least quota.",
     "low", "gauge.low"},
    {CCEffort::medium, "medium", "Medium", "Light reasoning for straightforward tasks.", "med",
     "gauge.medium"},
    {CCEffort::high, "high", "High", "Balanced default — solid reasoning for most work.", "high",
     "gauge.high"},
    {CCEffort::xhigh, "xhigh", "Extra high", "Deeper reasoning for harder problems (slower).",
     "xhi", "brain.head.profile"},
    {CCEffort::max, "max", "Max", "Maximum reasoning — slowest, heaviest on quota.", "max",
     "brain.head.profile.fill"},
};

const EffortRow& row(CCEffort e) { return effortRows[static_cast<int>(e)]; }
} // namespace

std::optional<CCEffort> effortFromRaw(const QString& raw) {
    for (const EffortRow& r : effortRows)
        if (raw == QLatin1String(r.raw)) return r.effort;
    return std::nullopt;
}

QString rawValue(CCEffort e) { return QString::fromUtf8(row(e).raw); }
QString label(CCEffort e) { return QString::fromUtf8(row(e).label); }
QString detail(CCEffort e) { return QString::fromUtf8(row(e).detail); }
QString shortLabel(CCEffort e) { return QString::fromUtf8(row(e).shortLabel); }
QString icon(CCEffort e) { return QString::fromUtf8(row(e).icon); }

// MARK: CCModel

namespace {
struct ModelRow {
    CCModel model;
    const char* id;
    const char* label;
    const char* shortLabel;
};

constexpr ModelRow modelRows[] = {
    {CCModel::defaultModel, "", "Default (inherit)", "auto"},
    {CCModel::opus, "claude-opus-4-8", "Opus 4.8", "4.8"},
    {CCModel::sonnet, "claude-sonnet-4-6", "Sonnet 4.6", "4.6"},
    {CCModel::haiku, "claude-haiku-4-5-20251001", "Haiku 4.5", "4.5"},
    {CCModel::fable, "claude-fable-5", "Fable 5", "5"},
};

const ModelRow& row(CCModel m) { return modelRows[static_cast<int>(m)]; }
} // namespace

std::optional<CCModel> modelFromId(const QString& id) {
    for (const ModelRow& r : modelRows)
        if (id == QLatin1String(r.id)) return r.model;
    return std::nullopt;
}

QString modelId(CCModel m) { return QString::fromUtf8(row(m).id); }
QString label(CCModel m) { return QString::fromUtf8(row(m).label); }
QString shortLabel(CCModel m) { return QString::fromUtf8(row(m).shortLabel); }
QString icon(CCModel) { return QStringLiteral("cpu"); }

// MARK: Models a server reports

CCModelInfo CCModelInfo::fromJson(const QJsonObject& o) {
    return {json::req<QString>(o, QLatin1StringView("id")),
            json::req<QString>(o, QLatin1StringView("name"))};
}

QJsonObject CCModelInfo::toJson() const {
    QJsonObject o;
    json::put(o, QLatin1StringView("id"), id);
    json::put(o, QLatin1StringView("name"), name);
    return o;
}

const QList<CCModelInfo>& fallbackModels() {
    static const QList<CCModelInfo> models = {
        {QString(), QStringLiteral("Default (inherit)")},
        {QStringLiteral("claude-sonnet-5"), QStringLiteral("Claude Sonnet 5")},
        {QStringLiteral("claude-fable-5"), QStringLiteral("Claude Fable 5")},
        {QStringLiteral("claude-opus-4-8"), QStringLiteral("Claude Opus 4.8")},
        {QStringLiteral("claude-haiku-4-5-20251001"), QStringLiteral("Claude Haiku 4.5")},
    };
    return models;
}

} // namespace Config
