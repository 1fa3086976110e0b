#pragma once

// What FFmpeg reads back from an audio file: its duration, codec and format.

#include <QString>

extern "C" {
#include <libavformat/avformat.h>
}

struct AudioProbe {
    bool ok = false;
    double seconds = 0;
    QString codec;
    int sampleRate = 0;
    int channels = 0;
    QString container;
};

inline AudioProbe probeAudio(const QString& path) {
    AudioProbe p;
    AVFormatContext* ctx = nullptr;
    const QByteArray file = path.toUtf8();
    if (avformat_open_input(&ctx, file.constData(), nullptr, nullptr) < 0) return p;
    if (avformat_find_stream_info(ctx, nullptr) >= 0 && ctx->nb_streams == 1) {
        const AVStream* s = ctx->streams[0];
        p.ok = true;
        p.codec = QString::fromUtf8(avcodec_get_name(s->codecpar->codec_id));
        p.sampleRate = s->codecpar->sample_rate;
        p.channels = s->codecpar->ch_layout.nb_channels;
        p.container = QString::fromUtf8(ctx->iformat->name);
        p.seconds = s->duration != AV_NOPTS_VALUE ? double(s->duration) * av_q2d(s->time_base)
                                                  : double(ctx->duration) / AV_TIME_BASE;
    }
    avformat_close_input(&ctx);
    return p;
}
