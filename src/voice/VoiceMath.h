#pragma once

// The pure rules of the voice feature: the input meter, the clock texts and
// the words that help a recogniser.

#include "model/Models.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace voice {

// The level of channel 0 of an interleaved buffer, 0 (-55 dB or less) to 1
// (full scale), computed in 32-bit floats.
float meterLevel(const float* samples, int frames, int channels);
// The meter rises at once and falls by a fifth of the gap per buffer.
float smoothLevel(float previous, float incoming);

// "m:ss", rounded to the nearest second, halves away from zero.
QString formatDuration(double seconds);
// "m:ss", truncated: the running clock of a recording.
QString formatClock(double seconds);

// Words of the latest 25 messages (newest first), text then transcript:
// lower-case letter runs of 3 to 30 characters, each once, at most 100.
QStringList recentVocabulary(const QList<Message>& messages);

} // namespace voice
