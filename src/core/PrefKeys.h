#pragma once

// Every key of the preferences file, in one place: a key written under one
// name and read under another loses the value without a word.

#include <QLatin1String>

namespace PrefKey {

// The signed-in account and where it lives.
inline constexpr QLatin1String token("token");
inline constexpr QLatin1String me("me");
inline constexpr QLatin1String primaryBaseURL("primaryBaseURL");
inline constexpr QLatin1String guestServerURL("guestServerURL");
inline constexpr QLatin1String extraServers("extraServers");
inline constexpr QLatin1String serverTokens("serverTokens");
inline constexpr QLatin1String serverPins("serverPins");

// The look and the language.
inline constexpr QLatin1String design("design");
inline constexpr QLatin1String accent("accent");
inline constexpr QLatin1String appLanguage("appLanguage");
inline constexpr QLatin1String transcriptionEngine("transcriptionEngine");

// Conversations.
inline constexpr QLatin1String mutedChats("mutedChats");
inline constexpr QLatin1String notifPrefs("notifPrefs");
inline constexpr QLatin1String userActivity("userActivity");

// The agent host and its accounts.
inline constexpr QLatin1String claudeCodeEnabled("claudeCodeEnabled");
inline constexpr QLatin1String claudeHostName("claudeHostName");
inline constexpr QLatin1String claudeUsageCache("claudeUsageCache");
inline constexpr QLatin1String serverPlatform("serverPlatform");
inline constexpr QLatin1String serverOSByServer("serverOSByServer");
inline constexpr QLatin1String serverClaudeEmail("serverClaudeEmail");
inline constexpr QLatin1String serverClaudeUsage("serverClaudeUsage");

// Agent sessions, keyed by conversation.
inline constexpr QLatin1String ccWorkdirs("ccWorkdirs");
inline constexpr QLatin1String ccModels("ccModels");
inline constexpr QLatin1String ccModelChoice("ccModelChoice");
inline constexpr QLatin1String ccEfforts("ccEfforts");
inline constexpr QLatin1String ccReportedEfforts("ccReportedEfforts");
inline constexpr QLatin1String ccPermissions("ccPermissions");
inline constexpr QLatin1String ccChrome("ccChrome");
inline constexpr QLatin1String ccPendingPrefSync("ccPendingPrefSync");
inline constexpr QLatin1String ccContextStats("ccContextStats");
inline constexpr QLatin1String ccContextFloor("ccContextFloor");
inline constexpr QLatin1String ccSeenHighWater("ccSeenHighWater");
inline constexpr QLatin1String ccProcessedIds("ccProcessedIds");
inline constexpr QLatin1String ccScreenshotUsedChats("ccScreenshotUsedChats");
inline constexpr QLatin1String ccChromeUsedChats("ccChromeUsedChats");
inline constexpr QLatin1String ccSeenDeploy("ccSeenDeploy");
inline constexpr QLatin1String ccNotifiedDeploy("ccNotifiedDeploy");
inline constexpr QLatin1String ccDeployByChat("ccDeployByChat");
inline constexpr QLatin1String ccGlobalDeploy("ccGlobalDeploy");
inline constexpr QLatin1String ccGlobalDeployId("ccGlobalDeployId");

// The crash trail: the latest breadcrumbs, and the risky work in progress.
inline constexpr QLatin1String crashTrail("crashTrail");
inline constexpr QLatin1String crashActivity("crashActivity");

// Set once this device's key is registered with a server; see
// Store::keyRegisteredKey for the one form the suffix takes.
inline constexpr QLatin1String deviceKeyRegisteredPrefix("deviceKeyRegistered:");

} // namespace PrefKey
