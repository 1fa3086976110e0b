#include "audio/QtCapture.h"

#include <QAudioSource>
#include <QMediaDevices>
#include <cstring>

QtCapture::QtCapture() : m_devices(new QMediaDevices(this)) {
    connect(m_devices, &QMediaDevices::audioInputsChanged, this, &QtCapture::devicesChanged);
}

QtCapture::~QtCapture() {
    removeTap();
}

AudioFormat QtCapture::inputFormat() {
    const QAudioDevice device = QMediaDevices::defaultAudioInput();
    if (device.isNull()) return {};
    const QAudioFormat preferred = device.preferredFormat();
    return AudioFormat{preferred.sampleRate(), preferred.channelCount()};
}

bool QtCapture::installTap(const AudioFormat& format, TapBlock tap, QString* error) {
    removeTap();
    const QAudioDevice device = QMediaDevices::defaultAudioInput();
    if (device.isNull()) {
        *error = QStringLiteral("no input device");
        return false;
    }
    QAudioFormat wanted;
    wanted.setSampleRate(format.sampleRate);
    wanted.setChannelCount(format.channels);
    wanted.setSampleFormat(QAudioFormat::Float);
    if (!device.isFormatSupported(wanted)) wanted.setSampleFormat(QAudioFormat::Int16);
    if (!device.isFormatSupported(wanted)) {
        *error = QStringLiteral("the input does not take %1 Hz, %2 channels")
                     .arg(format.sampleRate)
                     .arg(format.channels);
        return false;
    }
    m_device = device;
    m_source = std::make_unique<QAudioSource>(device, wanted);
    m_format = format;
    m_tap = std::move(tap);
    return true;
}

void QtCapture::removeTap() {
    if (m_source) {
        m_source->disconnect(this);
        m_source->stop();
    }
    m_io = nullptr;
    m_source.reset();
    m_tap = nullptr;
}

bool QtCapture::start(QString* error) {
    if (!m_source) {
        *error = QStringLiteral("no tap installed");
        return false;
    }
    m_io = m_source->start();
    if (!m_io || m_source->error() != QAudio::NoError) {
        *error = QStringLiteral("the input did not open (error %1)").arg(int(m_source->error()));
        m_io = nullptr;
        return false;
    }
    connect(m_io, &QIODevice::readyRead, this, &QtCapture::readAvailable);
    // A device that vanishes stops the source with an error: that is a change too.
    connect(m_source.get(), &QAudioSource::stateChanged, this, [this](QAudio::State state) {
        if (state == QAudio::StoppedState && m_source && m_source->error() != QAudio::NoError &&
            m_observer)
            m_observer();
    });
    return true;
}

void QtCapture::readAvailable() {
    if (!m_io || !m_tap || !m_source) return;
    const QByteArray bytes = m_io->readAll();
    const QAudioFormat f = m_source->format();
    const int bytesPerSample = f.bytesPerSample();
    if (bytesPerSample <= 0) return;
    const qsizetype count = bytes.size() / bytesPerSample;
    PcmBuffer buffer{m_format, std::vector<float>(size_t(count))};
    if (f.sampleFormat() == QAudioFormat::Float) {
        std::memcpy(buffer.samples.data(), bytes.constData(), size_t(count) * sizeof(float));
    } else {
        const auto* in = reinterpret_cast<const qint16*>(bytes.constData());
        for (qsizetype i = 0; i < count; ++i)
            buffer.samples[size_t(i)] = float(in[i]) / 32768.0f;
    }
    buffer.samples.resize(size_t(buffer.frames() * m_format.channels));
    if (buffer.frames() > 0) m_tap(buffer);
}

void QtCapture::stop() {
    if (m_source) m_source->stop();
    m_io = nullptr;
}

void QtCapture::reset() {
    stop();
}

bool QtCapture::isRunning() const {
    return m_source && m_io && m_source->error() == QAudio::NoError &&
           m_source->state() != QAudio::StoppedState;
}

void QtCapture::setConfigurationObserver(std::function<void()> observer) {
    m_observer = std::move(observer);
}

void QtCapture::devicesChanged() {
    // Only a different default input, or the loss of ours, needs a re-arm.
    if (!m_source || !m_observer) return;
    if (QMediaDevices::defaultAudioInput() == m_device) return;
    m_observer();
}
