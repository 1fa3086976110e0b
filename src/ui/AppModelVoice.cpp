// The voice parts of the app's view model: recording for the open
// conversation from the keyboard, and the clock texts.
#include "store/Store.h"
#include "ui/AppModel.h"
#include "voice/VoiceMath.h"

bool AppModel::whisperAvailable() const {
    return m_store && m_store->availableServerEngines().contains(TranscriptionEngine::whisper);
}

QString AppModel::formatDuration(double seconds) const {
    return voice::formatDuration(seconds);
}

QString AppModel::formatClock(double seconds) const {
    return voice::formatClock(seconds);
}

void AppModel::toggleVoiceRecording() {
    if (m_voice->activeChatId()) {
        m_voice->finishAndSend();
        return;
    }
    const qint64 chatId = selectedChatId();
    if (chatId == 0 || m_voice->isRecording()) return;
    m_voice->begin(chatId, selectedChatTitle());
    // Started from the keyboard: there is no press to hold, so it runs hands-free.
    m_voice->lock();
}
