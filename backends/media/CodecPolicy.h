#pragma once

// Private to backends/media: what each output codec needs from the encoding glue, in one table,
// so EncodedSink itself knows no codec by name.

#include "backends/media/EncodedSink.h"
#include "backends/media/Ffmpeg.h"

struct CodecPolicy {
    OutputCodec codec;
    const char* encoder;   // FFmpeg's encoder name
    const char* container; // FFmpeg's muxer name
    // MP3 and WMA take at most two channels; WAV keeps them all.
    int maxChannels;
    bool hasBitRate;
    // Frames of silence after the audio, to bring out what the encoder holds back.
    int tailFrames;
    // Encoder delay the file's gapless information must name, for an encoder whose FFmpeg
    // wrapper does not (0 when not needed).
    int gaplessDelay;
    // Frames depend only on their own samples and the frame before: several threads may
    // encode segments at once, byte for byte as one would.
    bool independentFrames;
    // Encoded by libmp3lame itself (LameEncoder), not through FFmpeg's encoder.
    bool lame;

    // The rate the encoder gets for audio at `rate`: the nearest it takes. codec is FFmpeg's
    // encoder; unused for LAME.
    int sampleRate(const AVCodec* codec, int rate) const;
    // The bit rate the file gets for `wanted` bits per second.
    qint64 bitRate(qint64 wanted, int sampleRate, int channels) const;
    // The sample format the encoder gets: 16-bit when it takes it, else its first choice.
    static AVSampleFormat sampleFormat(const AVCodec* codec);
};

const CodecPolicy& policyFor(OutputCodec codec);
