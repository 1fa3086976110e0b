#pragma once

// Fixed values: the well-known servers and the enumerations that tune a
// conversation's agent. No state, apart from a test hook for the servers.

#include "model/Json.h"

#include <QList>
#include <QString>
#include <optional>

namespace Config {

// The three well-known servers, from the build settings.
QString publicServer();
QString defaultServer();
QString macServer();
// Tests point the well-known servers at their own loopback ports.
void overrideWellKnownServers(const QString& publicUrl, const QString& defaultUrl,
                              const QString& macUrl);
void resetWellKnownServers();

enum class CCPermission { ask, dangerous };
inline constexpr CCPermission allPermissions[] = {CCPermission::ask, CCPermission::dangerous};
std::optional<CCPermission> permissionFromRaw(const QString& raw);
QString rawValue(CCPermission p);
QString label(CCPermission p);
QString detail(CCPermission p);
QString icon(CCPermission p);

enum class CCEffort { low, medium, high, xhigh, max };
inline constexpr CCEffort allEfforts[] = {CCEffort::low, CCEffort::medium, CCEffort::high,
                                          CCEffort::xhigh, CCEffort::max};
inline constexpr CCEffort defaultEffort = CCEffort::medium;
std::optional<CCEffort> effortFromRaw(const QString& raw);
QString rawValue(CCEffort e);
QString label(CCEffort e);
QString detail(CCEffort e);
QString shortLabel(CCEffort e);
QString icon(CCEffort e);

enum class CCModel { defaultModel, opus, sonnet, haiku, fable };
inline constexpr CCModel allModels[] = {CCModel::defaultModel, CCModel::opus, CCModel::sonnet,
                                        CCModel::haiku, CCModel::fable};
std::optional<CCModel> modelFromId(const QString& modelId);
QString modelId(CCModel m);
QString label(CCModel m);
QString shortLabel(CCModel m);
QString icon(CCModel m);

struct CCModelInfo {
    QString id;
    QString name;

    static CCModelInfo fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const CCModelInfo&) const = default;
};

const QList<CCModelInfo>& fallbackModels();

} // namespace Config
