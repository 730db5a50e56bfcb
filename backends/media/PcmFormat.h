#pragma once

#include <QtGlobal>

// The working format of every audio job: interleaved signed 16-bit samples at some rate and
// channel count. A "frame" is one sample for every channel.
struct PcmFormat {
    int sampleRate = 44100;
    int channels = 2;

    int bytesPerFrame() const { return channels * int(sizeof(qint16)); }
    bool isValid() const { return sampleRate > 0 && channels > 0; }
    bool operator==(const PcmFormat&) const = default;

    // Red Book audio: what a CD track holds and what the burner writes.
    static constexpr PcmFormat cdAudio() { return {44100, 2}; }
};
