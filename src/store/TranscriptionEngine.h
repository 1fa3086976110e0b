#pragma once

#include <QString>
#include <optional>

// Who turns speech into text: on the device or on the server.
enum class TranscriptionEngine { apple, whisper };
inline constexpr TranscriptionEngine allTranscriptionEngines[] = {TranscriptionEngine::apple,
                                                                  TranscriptionEngine::whisper};

inline QString rawValue(TranscriptionEngine e) {
    return e == TranscriptionEngine::apple ? QStringLiteral("apple") : QStringLiteral("whisper");
}

inline std::optional<TranscriptionEngine> engineFromRaw(const QString& raw) {
    if (raw == QLatin1String("apple")) return TranscriptionEngine::apple;
    if (raw == QLatin1String("whisper")) return TranscriptionEngine::whisper;
    return std::nullopt;
}

inline QString displayName(TranscriptionEngine e) {
    return e == TranscriptionEngine::apple ? QStringLiteral("Apple (on-device)")
                                           : QStringLiteral("Whisper (OpenAI)");
}

inline bool isOnDevice(TranscriptionEngine e) { return e == TranscriptionEngine::apple; }
