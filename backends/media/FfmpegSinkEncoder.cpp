// WMA, WAV and shine's MP3 through FFmpeg's encoders: the samples queue in a FIFO until a frame
// is full; wmav2's frames may be encoded on several threads at once (ParallelEncoder).

#include "backends/media/CodecPolicy.h"
#include "backends/media/ContainerWriter.h"
#include "backends/media/ParallelEncoder.h"
#include "backends/media/SinkEncoder.h"
#include "backends/media/SinkFailure.h"
#include "components/Error.h"

#include <algorithm>

namespace {

// Frames per encoder call when the codec takes any size (PCM).
constexpr int kVariableFrameSize = 4096;

class FfmpegSinkEncoder final : public SinkEncoder {
public:
    explicit FfmpegSinkEncoder(const Setup& setup);

    void encode(void** data, int samples) override;
    void finish() override;

private:
    ffmpeg::CodecContext makeEncoder(const AVCodec* codec) const;
    bool newFrameBuffer();
    void toFifo(void** data, int samples);
    void encodeFromFifo(int samples, int padTo);
    void encode(const AVFrame* f);
    [[noreturn]] void encoderFailed(int code) const;

    const CodecPolicy& m_policy;
    ContainerWriter& m_container;
    SinkFailure& m_failure;
    int m_sampleRate = 0;
    int m_channels = 0;
    qint64 m_bitRate = 0;
    bool m_globalHeader = false;
    std::unique_ptr<ParallelEncoder> m_parallel;
    ffmpeg::Fifo m_fifo;
    ffmpeg::Frame m_frame = ffmpeg::makeFrame();
    ffmpeg::Packet m_packet = ffmpeg::makePacket();
    int64_t m_nextPts = 0;
};

FfmpegSinkEncoder::FfmpegSinkEncoder(const Setup& setup)
    : m_policy(setup.policy), m_container(setup.container), m_failure(setup.failure),
      m_globalHeader(setup.container.wantsGlobalHeader()) {
    const EncodedSink::Options& options = setup.options;
    m_gaplessDelay = m_policy.gaplessDelay;
    const AVCodec* codec = avcodec_find_encoder_by_name(m_policy.encoder);
    if (!codec)
        m_failure.raise(QStringLiteral("this FFmpeg has no %1 encoder")
                            .arg(QString::fromUtf8(m_policy.encoder)));
    m_sampleRate = m_policy.sampleRate(codec, setup.input.sampleRate);
    m_channels = m_policy.maxChannels > 0 ? std::min(setup.input.channels, m_policy.maxChannels)
                                          : setup.input.channels;
    if (m_policy.hasBitRate && options.bitRate <= 0)
        m_failure.raise(QStringLiteral("%1 bit/s is not a valid bit rate").arg(options.bitRate));
    m_bitRate = m_policy.bitRate(options.bitRate, m_sampleRate, m_channels);
    m_stream = makeEncoder(codec);
    const bool variable =
        (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) || m_stream->frame_size <= 0;
    m_frameSize = variable ? kVariableFrameSize : m_stream->frame_size;
    if (options.cores != 1 && m_policy.independentFrames && ParallelEncoder::suits(codec))
        m_parallel = std::make_unique<ParallelEncoder>([&] { return makeEncoder(codec); }, 2);

    m_fifo.reset(av_audio_fifo_alloc(m_stream->sample_fmt, m_channels, m_frameSize * 4));
    if (!m_fifo || !newFrameBuffer())
        m_failure.raise(QStringLiteral("out of memory"));
    // wmav2 cannot be drained: its first frame only primes the overlap and decoders drop it, so
    // lead in with that much silence to keep the first samples.
    if (!(codec->capabilities & AV_CODEC_CAP_DELAY)) {
        const int leadIn = std::min(m_stream->initial_padding, m_frameSize);
        if (leadIn > 0) {
            av_samples_set_silence(m_frame->data, 0, leadIn, m_channels, m_stream->sample_fmt);
            toFifo(reinterpret_cast<void**>(m_frame->data), leadIn);
        }
    }
}

// A fresh encoder with the sink's settings; raises when it refuses them. The first describes
// the stream and encodes when no ParallelEncoder does.
ffmpeg::CodecContext FfmpegSinkEncoder::makeEncoder(const AVCodec* codec) const {
    ffmpeg::CodecContext context(avcodec_alloc_context3(codec));
    if (!context)
        m_failure.raise(QStringLiteral("out of memory"));
    context->sample_fmt = CodecPolicy::sampleFormat(codec);
    context->sample_rate = m_sampleRate;
    av_channel_layout_default(&context->ch_layout, m_channels);
    context->time_base = {1, m_sampleRate};
    context->bit_rate = m_bitRate;
    if (m_globalHeader)
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    ffmpeg::clearLastLog();
    const int ret = avcodec_open2(context.get(), codec, nullptr);
    if (ret < 0) {
        const QString why = ffmpeg::lastLog();
        m_failure.raise(
            QStringLiteral("the %1 encoder refuses %2 bit/s at %3 Hz with %4 channel(s) (%5)")
                .arg(QString::fromUtf8(codec->name))
                .arg(m_bitRate)
                .arg(m_sampleRate)
                .arg(m_channels)
                .arg(why.isEmpty() ? ffmpeg::errorText(ret) : why));
    }
    return context;
}

bool FfmpegSinkEncoder::newFrameBuffer() {
    m_frame->format = m_stream->sample_fmt;
    m_frame->sample_rate = m_sampleRate;
    m_frame->nb_samples = m_frameSize;
    return av_channel_layout_copy(&m_frame->ch_layout, &m_stream->ch_layout) >= 0 &&
           av_frame_get_buffer(m_frame.get(), 0) >= 0;
}

void FfmpegSinkEncoder::toFifo(void** data, int samples) {
    if (samples > 0 && av_audio_fifo_write(m_fifo.get(), data, samples) < samples)
        m_failure.raise(QStringLiteral("out of memory"));
}

void FfmpegSinkEncoder::encode(void** data, int samples) {
    toFifo(data, samples);
    while (av_audio_fifo_size(m_fifo.get()) >= m_frameSize)
        encodeFromFifo(m_frameSize, m_frameSize);
}

void FfmpegSinkEncoder::encoderFailed(int code) const {
    const QString why = ffmpeg::lastLog();
    m_failure.raise(QStringLiteral("the %1 encoder failed (%2)")
                        .arg(QString::fromUtf8(m_stream->codec->name),
                             why.isEmpty() ? ffmpeg::errorText(code) : why));
}

// One frame, or null for the end: through the parallel encoders or the one of the stream.
void FfmpegSinkEncoder::encode(const AVFrame* f) {
    if (m_parallel) {
        try {
            if (f)
                m_parallel->add(f);
            else
                m_parallel->finish();
            while (m_parallel->takePacket(m_packet.get(), !f))
                m_container.write(m_packet.get());
        } catch (const Error& e) {
            m_failure.raise(e.message());
        }
        return;
    }
    ffmpeg::clearLastLog();
    int ret = avcodec_send_frame(m_stream.get(), f);
    if (ret < 0)
        encoderFailed(ret);
    while ((ret = avcodec_receive_packet(m_stream.get(), m_packet.get())) >= 0)
        m_container.write(m_packet.get());
    if (ret != AVERROR(EAGAIN) && ret != AVERROR_EOF)
        encoderFailed(ret);
}

// Encodes one frame of `samples` from the FIFO, padded with silence up to `padTo`.
void FfmpegSinkEncoder::encodeFromFifo(int samples, int padTo) {
    // A frame still referenced by an encoder gets a new buffer, without copying the old.
    if (!av_frame_is_writable(m_frame.get())) {
        av_frame_unref(m_frame.get());
        if (!newFrameBuffer())
            m_failure.raise(QStringLiteral("out of memory"));
    }
    m_frame->nb_samples = padTo;
    const int got = std::max(
        0, av_audio_fifo_read(m_fifo.get(), reinterpret_cast<void**>(m_frame->data), samples));
    if (got < padTo)
        av_samples_set_silence(m_frame->data, got, padTo - got, m_channels, m_stream->sample_fmt);
    m_frame->pts = m_nextPts;
    m_nextPts += padTo;
    encode(m_frame.get());
}

void FfmpegSinkEncoder::finish() {
    const int rest = av_audio_fifo_size(m_fifo.get());
    const unsigned caps = m_stream->codec->capabilities;
    if (rest > 0) {
        const bool shortOk =
            caps & (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
        encodeFromFifo(rest, shortOk || m_frameSize == kVariableFrameSize ? rest : m_frameSize);
    }
    for (int i = 0; i < m_policy.tailFrames; ++i)
        encodeFromFifo(0, m_frameSize);
    encode(nullptr);
}

} // namespace

std::unique_ptr<SinkEncoder> openFfmpegEncoder(const SinkEncoder::Setup& setup) {
    return std::make_unique<FfmpegSinkEncoder>(setup);
}
