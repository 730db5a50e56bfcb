// MP3 through libmp3lame itself (LameEncoder): LAME makes the frames, on every core when the
// sink is parallel; the stream context only describes them to the muxer.

#include "backends/media/CodecPolicy.h"
#include "backends/media/ContainerWriter.h"
#include "backends/media/LameEncoder.h"
#include "backends/media/SinkEncoder.h"
#include "backends/media/SinkFailure.h"
#include "components/Error.h"

#include <QThread>

#include <algorithm>

namespace {

class LameSinkEncoder final : public SinkEncoder {
public:
    explicit LameSinkEncoder(const Setup& setup);

    void encode(void** data, int samples) override;
    void finish() override;

private:
    void writeFrames(bool wait);

    ContainerWriter& m_container;
    SinkFailure& m_failure;
    std::unique_ptr<LameEncoder> m_lame;
    std::vector<uint8_t> m_frame;
    ffmpeg::Packet m_packet = ffmpeg::makePacket();
    int64_t m_nextPts = 0;
};

LameSinkEncoder::LameSinkEncoder(const Setup& setup)
    : m_container(setup.container), m_failure(setup.failure) {
    const EncodedSink::Options& options = setup.options;
    const int sampleRate = setup.policy.sampleRate(nullptr, setup.input.sampleRate);
    const int channels = std::min(setup.input.channels, setup.policy.maxChannels);
    const bool variable = options.vbrQuality >= 0;
    if (variable && options.vbrQuality > 9)
        m_failure.raise(
            QStringLiteral("V%1 is not a LAME quality (0 to 9)").arg(options.vbrQuality));
    if (!variable && options.bitRate <= 0)
        m_failure.raise(QStringLiteral("%1 bit/s is not a valid bit rate").arg(options.bitRate));
    const qint64 bitRate =
        variable ? 0 : setup.policy.bitRate(options.bitRate, sampleRate, channels);
    LameEncoder::Settings settings;
    settings.sampleRate = sampleRate;
    settings.channels = channels;
    settings.bitRateKbps = int(bitRate / 1000);
    settings.vbrQuality = options.vbrQuality;
    settings.workers = options.cores > 0 ? options.cores : QThread::idealThreadCount();
    try {
        m_lame = std::make_unique<LameEncoder>(settings);
    } catch (const Error& e) {
        m_failure.raise(e.message());
    }
    m_stream.reset(avcodec_alloc_context3(nullptr));
    if (!m_stream)
        m_failure.raise(QStringLiteral("out of memory"));
    m_stream->codec_type = AVMEDIA_TYPE_AUDIO;
    m_stream->codec_id = AV_CODEC_ID_MP3;
    m_stream->sample_fmt = AV_SAMPLE_FMT_S16;
    m_stream->sample_rate = sampleRate;
    av_channel_layout_default(&m_stream->ch_layout, channels);
    m_stream->time_base = {1, sampleRate};
    m_stream->bit_rate = bitRate;
    m_stream->frame_size = m_lame->samplesPerFrame();
    m_stream->initial_padding = m_lame->startPadding();
    m_frameSize = m_lame->samplesPerFrame();
    m_gaplessDelay = m_lame->startPadding();
}

// Hands LAME's finished frames to the muxer; with wait, all of them up to the end.
void LameSinkEncoder::writeFrames(bool wait) {
    try {
        while (m_lame->takeFrame(m_frame, wait)) {
            if (av_new_packet(m_packet.get(), int(m_frame.size())) < 0)
                m_failure.raise(QStringLiteral("out of memory"));
            std::copy(m_frame.begin(), m_frame.end(), m_packet->data);
            m_packet->pts = m_packet->dts = m_nextPts;
            m_packet->duration = m_frameSize;
            m_nextPts += m_frameSize;
            m_container.write(m_packet.get());
        }
    } catch (const Error& e) {
        if (m_failure.failed)
            throw;
        m_failure.raise(e.message());
    }
}

void LameSinkEncoder::encode(void** data, int samples) {
    try {
        m_lame->write(static_cast<const qint16*>(data[0]), samples);
    } catch (const Error& e) {
        m_failure.raise(e.message());
    }
    writeFrames(false);
}

void LameSinkEncoder::finish() {
    try {
        m_lame->finish();
    } catch (const Error& e) {
        m_failure.raise(e.message());
    }
    writeFrames(true);
}

} // namespace

std::unique_ptr<SinkEncoder> openLameEncoder(const SinkEncoder::Setup& setup) {
    return std::make_unique<LameSinkEncoder>(setup);
}
