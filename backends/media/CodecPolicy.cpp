#include "backends/media/CodecPolicy.h"

#include <algorithm>
#include <cstdlib>

namespace {

// clang-format off
const CodecPolicy kPolicies[] = {
    // codec                encoder       container ch  bitrate tail delay  independent lame
    // LAME's delay and padding come from LameEncoder.
    {OutputCodec::Mp3Lame,  "libmp3lame", "mp3",    2,  true,   0,   0,     false,      true},
    // shine holds back about a frame and a half (1056 samples, measured): two frames of
    // silence bring out the end, and the LAME tag tells decoders what to trim.
    {OutputCodec::Mp3Shine, "libshine",   "mp3",    2,  true,   2,   1056,  false,      false},
    {OutputCodec::Wma,      "wmav2",      "asf",    2,  true,   0,   0,     true,       false},
    {OutputCodec::Wav,      "pcm_s16le",  "wav",    0,  false,  0,   0,     false,      false},
    {OutputCodec::Wav8,     "pcm_u8",     "wav",    0,  false,  0,   0,     false,      false},
};
// clang-format on

constexpr qint64 kLowestWmaBitRate = 24000;

// MP3 has a fixed list of bit rates per MPEG version; take the nearest, the higher one on a tie.
qint64 nearestMp3BitRate(qint64 wanted, int sampleRate) {
    static constexpr int mpeg1[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    static constexpr int mpeg2[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    const int* table = sampleRate >= 32000 ? mpeg1 : mpeg2;
    qint64 best = table[0] * 1000LL;
    for (int i = 0; i < 14; ++i) {
        const qint64 rate = table[i] * 1000LL;
        if (std::llabs(rate - wanted) <= std::llabs(best - wanted))
            best = rate;
    }
    return best;
}

} // namespace

const CodecPolicy& policyFor(OutputCodec codec) {
    for (const CodecPolicy& policy : kPolicies) {
        if (policy.codec == codec)
            return policy;
    }
    return kPolicies[3];
}

int CodecPolicy::sampleRate(const AVCodec* avCodec, int rate) const {
    if (codec == OutputCodec::Wma && rate > 48000) // wmav2 stops at 48 kHz
        return rate % 11025 == 0 ? 44100 : 48000;
    // libshine announces 32 kHz too, but writes frames no decoder accepts at most bit rates there.
    static constexpr int shineRates[] = {44100, 48000, 0};
    static constexpr int lameRates[] = {44100, 48000, 32000, 22050, 24000,
                                        16000, 11025, 12000, 8000,  0};
    const int* rates = codec == OutputCodec::Mp3Shine  ? shineRates
                       : codec == OutputCodec::Mp3Lame ? lameRates
                                                       : avCodec->supported_samplerates;
    if (!rates)
        return rate;
    int best = rates[0];
    for (const int* r = rates; *r; ++r) {
        if (std::abs(*r - rate) < std::abs(best - rate))
            best = *r;
    }
    return best;
}

qint64 CodecPolicy::bitRate(qint64 wanted, int rate, int channels) const {
    if (!hasBitRate)
        return 0;
    // wmav2 refuses less than 24 kbit/s at any rate and channel count (measured); a lower rate
    // (the rip panel's 22) gets that floor.
    if (codec == OutputCodec::Wma)
        return std::max(wanted, kLowestWmaBitRate);
    const qint64 mp3 = nearestMp3BitRate(wanted, rate);
    // The same flaw in libshine hits mono at 320 kbit/s and 44.1 kHz.
    if (codec == OutputCodec::Mp3Shine && channels == 1 && rate == 44100 && mp3 > 256000)
        return 256000;
    return mp3;
}

AVSampleFormat CodecPolicy::sampleFormat(const AVCodec* codec) {
    if (!codec->sample_fmts)
        return AV_SAMPLE_FMT_S16;
    for (AVSampleFormat wanted : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P}) {
        for (const AVSampleFormat* f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
            if (*f == wanted)
                return wanted;
        }
    }
    return codec->sample_fmts[0];
}
