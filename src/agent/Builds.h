#pragma once

// Pure texts of build and deploy tracking: the build bar and row lines, their
// symbols, and how a deploy target becomes a link and a notification.

#include "model/Models.h"

#include <QString>
#include <QUrl>
#include <optional>

// The build bar: "Compiling app… 40%", "Deploying web…", "Queued · app".
QString buildBarLine(const BuildStatus& status);
// The short form in the conversation list.
QString buildRowHint(const BuildStatus& status);
// "clock" while waiting, "paperplane.fill" while shipping, else "hammer.fill".
QString buildSymbol(const BuildStatus& status);

// The link behind a deploy chip; a missing scheme means https.
std::optional<QUrl> deployURL(const DeployTarget& target);
// The URL without its scheme, for labels.
QString prettyURL(const QString& url);
// What a notification or chip calls the deploy: its label, else the bare URL.
QString deployShownName(const DeployTarget& target);
// "✅ Done — ready to preview · <name>" or, for an app, "… update ready to install …".
QString deployReadyBody(const DeployTarget& target);
