#include "audio/AacFileWriter.h"

#include <QDebug>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace {

QString avText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace

struct AacFileWriter::Impl {
    AudioFormat format;
    AVFormatContext* container = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    AVAudioFifo* fifo = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    int64_t samplesEncoded = 0;

    std::mutex lock;
    std::condition_variable wake;
    std::deque<PcmBuffer> queue;
    bool closing = false;
    std::thread worker;

    ~Impl() { release(); }

    bool open(const QString& path, QString* error);
    bool openCodec(QString* error);
    void run();
    void encodeQueued(PcmBuffer buffer);
    void encodeFrames(bool final);
    void sendFrame(AVFrame* frame);
    void finish();
    void release();
};

bool AacFileWriter::Impl::open(const QString& path, QString* error) {
    const QByteArray file = path.toUtf8();
    int rc = avformat_alloc_output_context2(&container, nullptr, "ipod", file.constData());
    if (rc < 0 || !container) {
        *error = QStringLiteral("no MPEG-4 muxer: ") + avText(rc);
        return false;
    }
    if (!openCodec(error)) return false;
    rc = avio_open(&container->pb, file.constData(), AVIO_FLAG_WRITE);
    if (rc < 0) {
        *error = QStringLiteral("cannot create the file: ") + avText(rc);
        return false;
    }
    rc = avformat_write_header(container, nullptr);
    if (rc < 0) {
        *error = QStringLiteral("cannot write the header: ") + avText(rc);
        return false;
    }
    fifo = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, format.channels, codec->frame_size * 4);
    frame = av_frame_alloc();
    packet = av_packet_alloc();
    return fifo && frame && packet;
}

bool AacFileWriter::Impl::openCodec(QString* error) {
    const AVCodec* aac = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!aac) {
        *error = QStringLiteral("no AAC encoder");
        return false;
    }
    stream = avformat_new_stream(container, nullptr);
    codec = avcodec_alloc_context3(aac);
    if (!stream || !codec) {
        *error = QStringLiteral("out of memory");
        return false;
    }
    codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec->sample_rate = format.sampleRate;
    av_channel_layout_default(&codec->ch_layout, format.channels);
    codec->time_base = AVRational{1, format.sampleRate};
    if (container->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int rc = avcodec_open2(codec, aac, nullptr);
    if (rc >= 0) rc = avcodec_parameters_from_context(stream->codecpar, codec);
    if (rc < 0) {
        *error = QStringLiteral("cannot open the AAC encoder: ") + avText(rc);
        return false;
    }
    stream->time_base = codec->time_base;
    return true;
}

void AacFileWriter::Impl::run() {
    for (;;) {
        std::unique_lock guard(lock);
        wake.wait(guard, [this] { return closing || !queue.empty(); });
        if (queue.empty()) break;
        PcmBuffer next = std::move(queue.front());
        queue.pop_front();
        guard.unlock();
        encodeQueued(std::move(next));
    }
    finish();
}

void AacFileWriter::Impl::encodeQueued(PcmBuffer buffer) {
    const int frames = buffer.frames();
    if (frames <= 0) return;
    // The encoder wants one plane per channel.
    std::vector<std::vector<float>> planes(size_t(format.channels),
                                           std::vector<float>(size_t(frames)));
    std::vector<void*> pointers;
    for (int c = 0; c < format.channels; ++c) {
        for (int i = 0; i < frames; ++i)
            planes[size_t(c)][size_t(i)] = buffer.samples[size_t(i * format.channels + c)];
        pointers.push_back(planes[size_t(c)].data());
    }
    if (av_audio_fifo_write(fifo, pointers.data(), frames) < frames) return;
    encodeFrames(false);
}

void AacFileWriter::Impl::encodeFrames(bool final) {
    const int size = codec->frame_size;
    while (av_audio_fifo_size(fifo) >= size || (final && av_audio_fifo_size(fifo) > 0)) {
        const int count = std::min(size, av_audio_fifo_size(fifo));
        av_frame_unref(frame);
        frame->nb_samples = count;
        frame->format = codec->sample_fmt;
        frame->sample_rate = codec->sample_rate;
        av_channel_layout_copy(&frame->ch_layout, &codec->ch_layout);
        if (av_frame_get_buffer(frame, 0) < 0) return;
        av_audio_fifo_read(fifo, reinterpret_cast<void**>(frame->data), count);
        frame->pts = samplesEncoded;
        samplesEncoded += count;
        sendFrame(frame);
    }
}

// A frame the encoder refuses is dropped: the file stays readable without it.
void AacFileWriter::Impl::sendFrame(AVFrame* input) {
    if (avcodec_send_frame(codec, input) < 0) return;
    while (avcodec_receive_packet(codec, packet) >= 0) {
        av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        av_interleaved_write_frame(container, packet);
        av_packet_unref(packet);
    }
}

void AacFileWriter::Impl::finish() {
    encodeFrames(true);
    sendFrame(nullptr);
    const int rc = av_write_trailer(container);
    if (rc < 0) qWarning() << "[Velmarin] finishing a voice file failed:" << avText(rc);
}

void AacFileWriter::Impl::release() {
    av_packet_free(&packet);
    av_frame_free(&frame);
    if (fifo) av_audio_fifo_free(fifo);
    fifo = nullptr;
    avcodec_free_context(&codec);
    if (container) {
        if (container->pb) avio_closep(&container->pb);
        avformat_free_context(container);
        container = nullptr;
    }
}

AacFileWriter::AacFileWriter() {
    // The encoder's statistics are noise in the app's log.
    av_log_set_level(AV_LOG_ERROR);
}

AacFileWriter::~AacFileWriter() {
    close();
}

bool AacFileWriter::open(const QString& path, const AudioFormat& format, QString* error) {
    if (d || !format.isValid()) {
        *error = QStringLiteral("invalid format");
        return false;
    }
    auto impl = std::make_unique<Impl>();
    impl->format = format;
    if (!impl->open(path, error)) return false;
    d = std::move(impl);
    d->worker = std::thread([impl = d.get()] { impl->run(); });
    return true;
}

AudioFormat AacFileWriter::processingFormat() const {
    return d ? d->format : AudioFormat{};
}

bool AacFileWriter::write(const PcmBuffer& buffer) {
    if (!d || !(buffer.format == d->format)) return false;
    {
        const std::lock_guard guard(d->lock);
        if (d->closing) return false;
        d->queue.push_back(buffer);
    }
    d->wake.notify_one();
    return true;
}

void AacFileWriter::close() {
    if (!d) return;
    {
        const std::lock_guard guard(d->lock);
        d->closing = true;
    }
    d->wake.notify_one();
    if (d->worker.joinable()) d->worker.join();
    d.reset();
}
