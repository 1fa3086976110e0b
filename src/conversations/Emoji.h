#pragma once

#include <QString>
#include <QStringList>

// True for a short message made only of emoji (at most eight, spaces aside),
// which the bubble shows large. Uses ICU grapheme clusters and emoji
// properties.
bool isEmojiOnly(const QString& text);

// The fixed reaction choices, in display order.
QStringList quickReactions();
