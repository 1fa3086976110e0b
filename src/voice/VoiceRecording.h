#pragma once

// The voice feature above the recorder, one for the whole app: who is being
// recorded for which conversation, locking the hold gesture, sending the
// result as a voice message, and dictation for a composer that wants audio.
// It outlives screen changes, so the overlay can show it anywhere.

#include "voice/AudioRecorder.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class Store;

class VoiceRecording : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(AudioRecorder* recorder READ recorder CONSTANT)
    // 0 when idle.
    Q_PROPERTY(qint64 activeChatId READ activeChatIdOrZero NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(bool locked READ locked NOTIFY changed)
    Q_PROPERTY(bool dictationActive READ dictationActive NOTIFY changed)
    Q_PROPERTY(QString dictationTitle READ dictationTitle NOTIFY changed)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)

public:
    struct Dictation {
        QByteArray data;
        QString path;
    };

    explicit VoiceRecording(AudioRecorder::BackendSource backend, QObject* parent = nullptr);

    void setStore(Store* store);
    AudioRecorder* recorder() const { return m_recorder; }
    std::optional<qint64> activeChatId() const { return m_activeChatId; }
    qint64 activeChatIdOrZero() const { return m_activeChatId.value_or(0); }
    QString title() const { return m_title; }
    bool locked() const { return m_locked; }
    bool dictationActive() const { return m_dictationActive; }
    QString dictationTitle() const { return m_dictationTitle; }
    bool isRecording() const { return m_recorder->isRecording(); }

    Q_INVOKABLE void begin(qint64 chatId, const QString& title);
    Q_INVOKABLE void lock();
    Q_INVOKABLE void finishAndSend(bool priority = false);
    Q_INVOKABLE void cancel();
    Q_INVOKABLE void beginDictation(const QString& title);
    std::optional<Dictation> finishDictation();
    Q_INVOKABLE void cancelDictation();

    // How long an arming that neither recorded nor gave up may hold the state.
    static constexpr int kClearAfterMs = 2800;

signals:
    void changed();

private:
    void clearIfNotRecording();
    void armGaveUp();

    AudioRecorder* m_recorder;
    std::optional<qint64> m_activeChatId;
    QString m_title;
    bool m_locked = false;
    QPointer<Store> m_store;
    bool m_dictationActive = false;
    QString m_dictationTitle;
};
