#include "backends/audio/EqualizerSource.h"

#include "backends/media/Ffmpeg.h"
#include "components/Error.h"
#include "components/FilgraphManager.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <algorithm>
#include <cstring>

namespace {

// Frames taken from the inner source per push into the graph.
constexpr qint64 kPushFrames = 2048;

QString failure(const QString& what, int code) {
    return QStringLiteral("The equaliser %1: %2.").arg(what, ffmpeg::errorText(code));
}

QByteArray bandName(int band) {
    return "band" + QByteArray::number(band);
}

} // namespace

void EqualizerGains::set(int band, double gain) {
    m_gains[size_t(band)].store(gain);
    m_version.fetch_add(1);
}

void EqualizerGains::reset() {
    for (auto& gain : m_gains)
        gain.store(0.0);
    m_version.fetch_add(1);
}

struct EqualizerSource::Graph {
    struct Deleter {
        void operator()(AVFilterGraph* p) const { avfilter_graph_free(&p); }
    };
    std::unique_ptr<AVFilterGraph, Deleter> graph;
    AVFilterContext* source = nullptr;
    AVFilterContext* sink = nullptr;
    std::array<double, EqualizerGains::BandCount> applied{};
    quint64 version = 0;
    ffmpeg::Frame out = ffmpeg::makeFrame(); // a filtered frame being handed out
    qint64 outOffset = 0;                    // frames of `out` already handed out
    qint64 pushed = 0;                       // frames pushed in, for the timestamps
    bool innerEnded = false;
    bool ended = false;
};

EqualizerSource::EqualizerSource(std::unique_ptr<PcmSource> inner,
                                 std::shared_ptr<const EqualizerGains> gains)
    : m_inner(std::move(inner)), m_gains(std::move(gains)) {
    ffmpeg::initialise();
    build();
}

EqualizerSource::~EqualizerSource() = default;

void EqualizerSource::build() {
    const PcmFormat pcm = m_inner->format();
    auto g = std::make_unique<Graph>();
    g->graph.reset(avfilter_graph_alloc());
    if (!g->graph)
        throw Error(failure(QStringLiteral("could not be set up"), AVERROR(ENOMEM)));
    // One thread: the graph runs on whatever thread reads the source.
    g->graph->nb_threads = 1;

    AVChannelLayout layout;
    av_channel_layout_default(&layout, pcm.channels);
    char layoutName[64] = {};
    av_channel_layout_describe(&layout, layoutName, sizeof layoutName);
    av_channel_layout_uninit(&layout);

    const QByteArray sourceArgs = QStringLiteral("time_base=1/%1:sample_rate=%1:sample_fmt=s16:"
                                                 "channel_layout=%2")
                                      .arg(pcm.sampleRate)
                                      .arg(QLatin1String(layoutName))
                                      .toLatin1();
    int rc = avfilter_graph_create_filter(&g->source, avfilter_get_by_name("abuffer"), "in",
                                          sourceArgs.constData(), nullptr, g->graph.get());
    if (rc >= 0)
        rc = avfilter_graph_create_filter(&g->sink, avfilter_get_by_name("abuffersink"), "out",
                                          nullptr, nullptr, g->graph.get());
    if (rc < 0)
        throw Error(failure(QStringLiteral("could not be set up"), rc));

    // Float in the middle, so that boosted bands do not clip before the last step, which
    // converts back to the source's own format. Every gain starts at zero.
    QByteArray chain = "aformat=sample_fmts=fltp";
    for (int band = 0; band < EqualizerGains::BandCount; ++band) {
        if (!FilgraphManager::EqBandInUse(band, pcm.sampleRate))
            continue;
        chain += ",equalizer@" + bandName(band) +
                 "=f=" + QByteArray::number(FilgraphManager::EqBandFrequencies[size_t(band)]) +
                 ":t=o:w=" + QByteArray::number(FilgraphManager::EqBandOctaves) + ":g=0";
    }
    chain += ",aformat=sample_fmts=s16:sample_rates=" + QByteArray::number(pcm.sampleRate) +
             ":channel_layouts=" + QByteArray(layoutName);

    AVFilterInOut* outputs = avfilter_inout_alloc();
    AVFilterInOut* inputs = avfilter_inout_alloc();
    if (outputs && inputs) {
        outputs->name = av_strdup("in");
        outputs->filter_ctx = g->source;
        inputs->name = av_strdup("out");
        inputs->filter_ctx = g->sink;
        rc =
            avfilter_graph_parse_ptr(g->graph.get(), chain.constData(), &inputs, &outputs, nullptr);
    } else {
        rc = AVERROR(ENOMEM);
    }
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (rc >= 0)
        rc = avfilter_graph_config(g->graph.get(), nullptr);
    if (rc < 0)
        throw Error(failure(QStringLiteral("could not be set up"), rc));
    m_graph = std::move(g);
    applyGains();
}

void EqualizerSource::applyGains() {
    Graph& g = *m_graph;
    const quint64 version = m_gains->version();
    if (version == g.version)
        return;
    g.version = version;
    const int rate = m_inner->format().sampleRate;
    for (int band = 0; band < EqualizerGains::BandCount; ++band) {
        const double gain = m_gains->get(band);
        if (gain == g.applied[size_t(band)] || !FilgraphManager::EqBandInUse(band, rate))
            continue;
        char answer[64] = {};
        const int rc = avfilter_graph_send_command(
            g.graph.get(), ("equalizer@" + bandName(band)).constData(), "g",
            QByteArray::number(gain, 'f', 3).constData(), answer, sizeof answer, 0);
        if (rc < 0)
            throw Error(failure(QStringLiteral("did not take a new gain"), rc));
        g.applied[size_t(band)] = gain;
    }
}

PcmFormat EqualizerSource::format() const {
    return m_inner->format();
}

qint64 EqualizerSource::expectedFrames() const {
    return m_inner->expectedFrames();
}

qint64 EqualizerSource::read(qint16* buffer, qint64 maxFrames) {
    Graph& g = *m_graph;
    applyGains();
    const PcmFormat pcm = m_inner->format();
    const int frameBytes = pcm.bytesPerFrame();
    std::vector<qint16> input;
    qint64 done = 0;
    while (done < maxFrames && !g.ended) {
        if (g.outOffset < g.out->nb_samples) {
            const qint64 n = std::min<qint64>(maxFrames - done, g.out->nb_samples - g.outOffset);
            std::memcpy(buffer + done * pcm.channels, g.out->data[0] + g.outOffset * frameBytes,
                        size_t(n * frameBytes));
            done += n;
            g.outOffset += n;
            continue;
        }
        av_frame_unref(g.out.get());
        g.outOffset = 0;
        const int rc = av_buffersink_get_frame(g.sink, g.out.get());
        if (rc == AVERROR_EOF) {
            g.ended = true;
        } else if (rc == AVERROR(EAGAIN)) {
            if (g.innerEnded)
                throw Error(failure(QStringLiteral("stopped early"), rc));
            // The graph wants more: push the next piece of the inner source, or its end.
            input.resize(size_t(kPushFrames * pcm.channels));
            const qint64 got = m_inner->read(input.data(), kPushFrames);
            int pushed = 0;
            if (got == 0) {
                g.innerEnded = true;
                pushed = av_buffersrc_add_frame_flags(g.source, nullptr, 0);
            } else {
                ffmpeg::Frame in = ffmpeg::makeFrame();
                in->format = AV_SAMPLE_FMT_S16;
                in->sample_rate = pcm.sampleRate;
                av_channel_layout_default(&in->ch_layout, pcm.channels);
                in->nb_samples = int(got);
                in->pts = g.pushed;
                pushed = av_frame_get_buffer(in.get(), 0);
                if (pushed >= 0) {
                    std::memcpy(in->data[0], input.data(), size_t(got * frameBytes));
                    pushed = av_buffersrc_add_frame_flags(g.source, in.get(), 0);
                }
                g.pushed += got;
            }
            if (pushed < 0)
                throw Error(failure(QStringLiteral("failed"), pushed));
        } else if (rc < 0) {
            throw Error(failure(QStringLiteral("failed"), rc));
        }
    }
    return done;
}

void EqualizerSource::interrupt() {
    m_inner->interrupt();
}

Seekable* EqualizerSource::seekable() {
    return m_inner->seekable() ? this : nullptr;
}

void EqualizerSource::seek(qint64 frame) {
    Seekable* inner = m_inner->seekable();
    if (!inner)
        throw Error(QStringLiteral("This source cannot be moved to another position."));
    inner->seek(frame);
    // A fresh graph: nothing from before the seek is left in its buffers. The gains stay.
    m_graph.reset();
    build();
}
