#pragma once

// The capture layer on Qt Multimedia: the default input device read through
// QAudioSource, and QMediaDevices for word of a changed device. Buffers are
// delivered on the thread that made the layer.

#include "voice/CaptureLayer.h"

#include <QAudioDevice>
#include <QObject>
#include <memory>

class QAudioSource;
class QIODevice;
class QMediaDevices;

class QtCapture : public QObject, public CaptureLayer {
    Q_OBJECT
public:
    QtCapture();
    ~QtCapture() override;

    AudioFormat inputFormat() override;
    bool installTap(const AudioFormat& format, TapBlock tap, QString* error) override;
    void removeTap() override;
    void prepare() override {}
    bool start(QString* error) override;
    void stop() override;
    void reset() override;
    bool isRunning() const override;
    void setConfigurationObserver(std::function<void()> observer) override;

private:
    void readAvailable();
    void devicesChanged();

    QMediaDevices* m_devices = nullptr;
    QAudioDevice m_device;
    std::unique_ptr<QAudioSource> m_source;
    QIODevice* m_io = nullptr;
    AudioFormat m_format;
    TapBlock m_tap;
    std::function<void()> m_observer;
};
