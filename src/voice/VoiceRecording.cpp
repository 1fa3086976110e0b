#include "voice/VoiceRecording.h"

#include "core/CrashLog.h"
#include "core/Localisation.h"
#include "store/Store.h"

#include <QTimer>

VoiceRecording::VoiceRecording(AudioRecorder::BackendSource backend, QObject* parent)
    : QObject(parent), m_recorder(new AudioRecorder(std::move(backend), this)) {
    // Views watching this object redraw with every level the recorder publishes.
    connect(m_recorder, &AudioRecorder::changed, this, &VoiceRecording::changed);
    QPointer<VoiceRecording> self(this);
    m_recorder->onArmGaveUp = [self] {
        if (self) self->armGaveUp();
    };
}

void VoiceRecording::setStore(Store* store) {
    m_store = store;
}

void VoiceRecording::begin(qint64 chatId, const QString& title) {
    if (m_activeChatId == chatId || m_recorder->isRecording()) return;
    CrashLog::breadcrumb(QStringLiteral("voice.begin chat=%1").arg(chatId));
    m_title = title;
    // Voice messages get their transcript from the server, not live.
    m_recorder->start({}, false);
    m_activeChatId = chatId;
    m_locked = false;
    emit changed();
    clearIfNotRecording();
}

void VoiceRecording::clearIfNotRecording() {
    QTimer::singleShot(kClearAfterMs, this, [this] {
        if (m_recorder->isRecording() || !m_activeChatId) return;
        m_activeChatId.reset();
        emit changed();
    });
}

void VoiceRecording::lock() {
    if (!m_activeChatId || m_locked) return;
    m_locked = true;
    emit changed();
}

void VoiceRecording::finishAndSend(bool priority) {
    if (!m_activeChatId) return;
    const qint64 chatId = *m_activeChatId;
    m_activeChatId.reset();
    m_locked = false;
    const auto recording = m_recorder->stop();
    emit changed();
    // Too short: nothing is sent and nothing shows.
    if (!recording || !m_store) return;
    // The server transcribes voice messages, whatever engine is chosen for dictation.
    auto send =
        m_store->sendVoiceMessage(chatId, recording->data, recording->path, recording->transcript,
                                  TranscriptionEngine::whisper, priority);
    Q_UNUSED(send);
}

void VoiceRecording::cancel() {
    m_activeChatId.reset();
    m_locked = false;
    m_recorder->cancel();
    emit changed();
}

void VoiceRecording::armGaveUp() {
    m_activeChatId.reset();
    m_dictationActive = false;
    m_locked = false;
    emit changed();
    if (m_store) m_store->showToast(L(QStringLiteral("Microphone unavailable — try again")));
}

void VoiceRecording::beginDictation(const QString& title) {
    if (m_dictationActive || m_recorder->isRecording() || m_activeChatId) return;
    CrashLog::breadcrumb(QStringLiteral("voice.beginDictation"));
    m_dictationTitle = title;
    m_recorder->start({}, false);
    m_dictationActive = true;
    emit changed();
    QTimer::singleShot(kClearAfterMs, this, [this] {
        if (m_recorder->isRecording() || !m_dictationActive) return;
        m_dictationActive = false;
        emit changed();
    });
}

std::optional<VoiceRecording::Dictation> VoiceRecording::finishDictation() {
    if (!m_dictationActive) return std::nullopt;
    m_dictationActive = false;
    const auto recording = m_recorder->stop();
    emit changed();
    if (!recording) return std::nullopt;
    return Dictation{recording->data, recording->path};
}

void VoiceRecording::cancelDictation() {
    m_dictationActive = false;
    m_recorder->cancel();
    emit changed();
}
