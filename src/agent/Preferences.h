#pragma once

// Pure helpers of the agent preferences: the short model name of the badge
// and the badge's tint by effort.

#include "model/Config.h"

#include <QColor>
#include <QString>

// "claude-opus-4-8" -> "Opus 4.8", "claude-haiku-4-5-20251001" -> "Haiku 4.5";
// a context-size suffix in brackets is ignored.
QString shortModel(const QString& modelId);

// Warmer as effort grows.
QColor effortTint(Config::CCEffort effort);
