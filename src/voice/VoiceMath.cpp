#include "voice/VoiceMath.h"

#include <QSet>
#include <algorithm>
#include <cmath>

namespace voice {

float meterLevel(const float* samples, int frames, int channels) {
    if (!samples || frames <= 0 || channels <= 0) return 0.0f;
    float sum = 0.0f;
    for (int i = 0; i < frames; ++i) {
        const float s = samples[size_t(i) * size_t(channels)];
        sum += s * s;
    }
    const float rms = std::sqrt(sum / float(frames));
    const float db = 20.0f * std::log10(std::max(rms, 1.0e-7f));
    return std::clamp((db + 55.0f) / 55.0f, 0.0f, 1.0f);
}

float smoothLevel(float previous, float incoming) {
    if (previous < incoming) return incoming;
    return previous * 0.8f + incoming * 0.2f;
}

QString formatDuration(double seconds) {
    const long long whole = std::llround(seconds);
    return QString::asprintf("%lld:%02lld", whole / 60, whole % 60);
}

QString formatClock(double seconds) {
    const long long whole = static_cast<long long>(seconds);
    return QString::asprintf("%lld:%02lld", whole / 60, whole % 60);
}

namespace {

constexpr int kMessages = 25;
constexpr int kWords = 100;

// Appends the new words of `text`; false once the list is full.
bool collectWords(const QString& text, QSet<QString>& seen, QStringList& words) {
    QString piece;
    const auto flush = [&] {
        const QString word = piece.toLower();
        piece.clear();
        if (word.size() < 3 || word.size() > 30 || seen.contains(word)) return;
        seen.insert(word);
        words.append(word);
    };
    for (const QChar c : text + QLatin1Char(' ')) {
        if (c.isLetter()) {
            piece.append(c);
            continue;
        }
        flush();
        if (words.size() >= kWords) return false;
    }
    return true;
}

} // namespace

QStringList recentVocabulary(const QList<Message>& messages) {
    QSet<QString> seen;
    QStringList words;
    const qsizetype first = std::max<qsizetype>(0, messages.size() - kMessages);
    for (qsizetype i = messages.size() - 1; i >= first; --i) {
        const Message& m = messages[i];
        const QString text = m.text + QLatin1Char(' ') + m.transcript.value_or(QString());
        if (!collectWords(text, seen, words)) break;
    }
    return words;
}

} // namespace voice
