#pragma once

// Private to backends/media: the encoding half of EncodedSink, one kind per way of encoding:
// libmp3lame itself for MP3, FFmpeg's encoders for the rest. Samples go in as the sink's
// converter gives them (the encoder's sample format, rate and channels); packets go to the
// container. Failures go through the sink's SinkFailure.

#include "backends/media/EncodedSink.h"
#include "backends/media/Ffmpeg.h"

#include <memory>

class ContainerWriter;
struct CodecPolicy;
struct SinkFailure;

class SinkEncoder {
public:
    // What every encoder is made from.
    struct Setup {
        const EncodedSink::Options& options;
        const CodecPolicy& policy;
        PcmFormat input;
        ContainerWriter& container;
        SinkFailure& failure;
    };

    virtual ~SinkEncoder() = default;

    // The stream as the muxer sees it: codec, sample format, rate, channels, bit rate.
    const AVCodecContext* stream() const { return m_stream.get(); }
    // Samples per packet, and the samples decoders drop at the start for gapless playback when
    // the file must name them (0 when not).
    int frameSize() const { return m_frameSize; }
    int gaplessDelay() const { return m_gaplessDelay; }

    // data holds one pointer per plane (one for interleaved samples).
    virtual void encode(void** data, int samples) = 0;
    // No more samples: what the encoder holds back goes out too.
    virtual void finish() = 0;

protected:
    ffmpeg::CodecContext m_stream;
    int m_frameSize = 0;
    int m_gaplessDelay = 0;
};

// Open encoders; they raise through setup.failure when the settings are refused.
std::unique_ptr<SinkEncoder> openLameEncoder(const SinkEncoder::Setup& setup);
std::unique_ptr<SinkEncoder> openFfmpegEncoder(const SinkEncoder::Setup& setup);
