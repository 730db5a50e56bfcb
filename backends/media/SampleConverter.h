#pragma once

// Private to backends/media: the one place that changes audio's sample format, rate or channel
// count (libswresample), used by FileSource (decoded frames to 16-bit PCM) and EncodedSink
// (16-bit PCM to what the encoder takes).

#include "backends/media/Ffmpeg.h"

#include <QString>
#include <functional>

class SampleConverter {
public:
    struct Format {
        AVSampleFormat sampleFormat = AV_SAMPLE_FMT_S16;
        int sampleRate = 0;
        int channels = 0;
    };

    // describe turns a library reason into the caller's error text ("Cannot read x: ...").
    SampleConverter(Format output, std::function<QString(const QString& why)> describe);
    SampleConverter(const SampleConverter&) = delete;
    SampleConverter& operator=(const SampleConverter&) = delete;
    ~SampleConverter();

    // Sets the input; a change of format, rate or channel layout re-creates the converter
    // (decoders may change mid-file). Returns true when the input needs no conversion at all
    // and may be copied as it is. An unordered layout of more channels than the output (a
    // 64-channel WAV) is mixed down evenly, channel i into output channel i mod channels.
    // Raises Error.
    bool setInput(AVSampleFormat sampleFormat, int sampleRate, const AVChannelLayout& layout);
    bool setInput(AVSampleFormat sampleFormat, int sampleRate, int channels);

    // The most samples per channel that converting `samples` input samples can give.
    int outputRoom(int samples) const;
    // Converts; in may be null to drain what the converter holds back. Returns the samples
    // per channel written to out. Raises Error.
    int convert(const uint8_t* const* in, int samples, uint8_t* const* out, int room);
    // What the converter still holds at the end, into out (outputRoom(0) samples at most).
    int drain(uint8_t* const* out, int room) { return convert(nullptr, 0, out, room); }

    // Forgets what the converter holds (after a seek).
    void reset() {
        m_context.reset();
        m_configured = false;
    }
    bool isActive() const { return bool(m_context); }
    const Format& output() const { return m_output; }

private:
    [[noreturn]] void fail(int code) const;
    void mixDownUnordered(int inChannels);

    Format m_output;
    std::function<QString(const QString&)> m_describe;
    ffmpeg::Resampler m_context;
    bool m_configured = false;
    bool m_copy = false;
    int m_inFormat = -1;
    int m_inRate = 0;
    AVChannelLayout m_inLayout = {};
};
