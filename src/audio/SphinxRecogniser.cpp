#include "audio/SphinxRecogniser.h"

#include <QDebug>
#include <QFileInfo>
#include <QPointer>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
#include <pocketsphinx.h>
}

namespace {
constexpr int kDecoderRate = 16000;
}

struct SphinxRecogniser::Worker {
    QString modelDir;
    std::function<void(const QString&)> deliver;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<PcmBuffer> queue;
    bool ending = false;
    bool cancelled = false;
    std::thread thread;

    cmd_ln_t* config = nullptr;
    ps_decoder_t* decoder = nullptr;
    SwrContext* resampler = nullptr;
    AudioFormat resamplerFormat;
    QString lastText;

    ~Worker() {
        {
            const std::lock_guard guard(lock);
            ending = true;
            cancelled = true;
        }
        wake.notify_one();
        if (thread.joinable()) thread.join();
        swr_free(&resampler);
        if (decoder) ps_free(decoder);
        if (config) cmd_ln_free_r(config);
    }

    bool load() {
        const QByteArray dir = modelDir.toUtf8();
        const QByteArray hmm = dir + "/en-us", lm = dir + "/en-us.lm.bin",
                         dict = dir + "/cmudict-en-us.dict";
        config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-lm",
                             lm.constData(), "-dict", dict.constData(), "-logfn", "/dev/null",
                             // Digital silence (a muted or virtual input) would skew the
                             // normalisation the first words are heard with.
                             "-dither", "yes", nullptr);
        if (config) decoder = ps_init(config);
        return decoder && ps_start_utt(decoder) >= 0;
    }

    // 16 kHz mono 16-bit samples of one buffer, through a resampler kept per format.
    std::vector<int16_t> convert(const PcmBuffer& b) {
        if (!resampler || !(resamplerFormat == b.format)) {
            swr_free(&resampler);
            AVChannelLayout in, out;
            av_channel_layout_default(&in, b.format.channels);
            av_channel_layout_default(&out, 1);
            swr_alloc_set_opts2(&resampler, &out, AV_SAMPLE_FMT_S16, kDecoderRate, &in,
                                AV_SAMPLE_FMT_FLT, b.format.sampleRate, 0, nullptr);
            if (!resampler || swr_init(resampler) < 0) {
                swr_free(&resampler);
                return {};
            }
            resamplerFormat = b.format;
        }
        const int room = swr_get_out_samples(resampler, b.frames());
        std::vector<int16_t> out(size_t(std::max(room, 0)));
        auto* outPtr = reinterpret_cast<uint8_t*>(out.data());
        const auto* inPtr = reinterpret_cast<const uint8_t*>(b.samples.data());
        const int made = swr_convert(resampler, &outPtr, room, &inPtr, b.frames());
        out.resize(size_t(std::max(made, 0)));
        return out;
    }

    void decode(const PcmBuffer& b) {
        const std::vector<int16_t> pcm = convert(b);
        if (pcm.empty()) return;
        ps_process_raw(decoder, pcm.data(), pcm.size(), FALSE, FALSE);
        publish();
    }

    void publish() {
        int32 score = 0;
        const char* hyp = ps_get_hyp(decoder, &score);
        const QString text = hyp ? QString::fromUtf8(hyp).trimmed() : QString();
        if (text.isEmpty() || text == lastText) return;
        lastText = text;
        deliver(text);
    }

    void run() {
        if (!load()) {
            qWarning() << "[Velmarin] the English speech model did not load from" << modelDir;
            return;
        }
        for (;;) {
            std::unique_lock guard(lock);
            wake.wait(guard, [this] { return ending || !queue.empty(); });
            if (cancelled) return;
            if (queue.empty()) break;
            PcmBuffer next = std::move(queue.front());
            queue.pop_front();
            guard.unlock();
            decode(next);
        }
        ps_end_utt(decoder);
        publish();
    }
};

SphinxRecogniser::SphinxRecogniser(const QString& modelDir) : m_modelDir(modelDir) {}

SphinxRecogniser::~SphinxRecogniser() {
    cancel();
}

bool SphinxRecogniser::isAvailable() const {
    return QFileInfo::exists(m_modelDir + QStringLiteral("/en-us.lm.bin"));
}

void SphinxRecogniser::begin(const QStringList&, std::function<void(const QString&)> onPartial) {
    // The language model is fixed: contextual words cannot bias this engine.
    cancel();
    m_onPartial = std::move(onPartial);
    m_worker = std::make_unique<Worker>();
    m_worker->modelDir = m_modelDir;
    QPointer<SphinxRecogniser> self(this);
    m_worker->deliver = [self](const QString& text) {
        if (!self) return;
        QMetaObject::invokeMethod(
            self.data(),
            [self, text] {
                if (self) self->deliver(text);
            },
            Qt::QueuedConnection);
    };
    m_worker->thread = std::thread([w = m_worker.get()] { w->run(); });
}

void SphinxRecogniser::deliver(const QString& text) {
    if (m_onPartial) m_onPartial(text);
}

void SphinxRecogniser::append(const PcmBuffer& buffer) {
    if (!m_worker) return;
    {
        const std::lock_guard guard(m_worker->lock);
        if (m_worker->ending) return;
        m_worker->queue.push_back(buffer);
    }
    m_worker->wake.notify_one();
}

void SphinxRecogniser::endAudio() {
    if (!m_worker) return;
    {
        const std::lock_guard guard(m_worker->lock);
        m_worker->ending = true;
    }
    m_worker->wake.notify_one();
}

void SphinxRecogniser::cancel() {
    m_onPartial = nullptr;
    m_worker.reset();
}
