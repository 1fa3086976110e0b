#pragma once

// Pure pieces of the context economy: token counts for the gauge, its colour,
// the idle advice, the reset seed and the ready-made health prompts.

#include "model/Models.h"

#include <QColor>
#include <QList>
#include <QString>
#include <functional>

inline constexpr qint64 ccContextWindow = 1000000;
inline constexpr qint64 ccIdleResetAfterMs = 3600000;

// "999", "1.5k", "10k".
QString fmtTokens(qint64 tokens);

// Green when empty, red when full; the share is clamped to 0..1.
QColor ccContextColor(double share);

// The idle advice shows when the context holds something and the person has
// been away for an hour.
bool showIdleReset(bool dismissed, qint64 contextTokens, qint64 activityAtMs, qint64 nowMs);

// Automated screen-control traffic, which would only waste a reset seed.
bool isScreenControlChatter(const QString& text);

// The seed of a reset: the last `limit` of the visible messages (ascending),
// one line each, wrapped in the fixed French framing the agent expects.
// `speaker` names the sender of a message.
QString recentDigestOf(const QList<Message>& visible, int limit,
                       const std::function<QString(const Message&)>& speaker);

struct HealthPrompt {
    QString title;
    QString icon;
    QString text;
};
const QList<HealthPrompt>& healthPrompts();
