#pragma once

// Media the tests make through the media core, and what they measure of what comes back.

#include "backends/media/EncodedSink.h"
#include "backends/media/FileSource.h"
#include "backends/media/MediaJob.h"
#include "tests/media/Mp3Validator.h"
#include "tests/support/ErrorOf.h"
#include "tests/support/TestFiles.h"

#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

// A sine per channel: channel c plays frequency * (1 + c / 2), so a swap of channels shows.
// Silent outside [gateFrom, gateTo) seconds, which marks where the audio starts and ends.
class SineSource final : public PcmSource {
public:
    SineSource(PcmFormat format, double seconds, double frequency = 440.0, double level = 0.5,
               double gateFrom = 0.0, double gateTo = 1.0e9)
        : m_format(format), m_total(std::llround(seconds * format.sampleRate)),
          m_frequency(frequency), m_level(level),
          m_gateFrom(std::llround(gateFrom * format.sampleRate)),
          m_gateTo(std::llround(std::min(gateTo, seconds) * format.sampleRate)) {}
    PcmFormat format() const override { return m_format; }
    qint64 expectedFrames() const override { return m_total; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        const qint64 n = std::min(maxFrames, m_total - m_done);
        for (qint64 frame = m_done; frame < m_done + n; ++frame) {
            const double t = double(frame) / m_format.sampleRate;
            const bool audible = frame >= m_gateFrom && frame < m_gateTo;
            for (int c = 0; c < m_format.channels; ++c) {
                const double x =
                    std::sin(2.0 * std::numbers::pi * channelFrequency(m_frequency, c) * t);
                *buffer++ = audible ? qint16(std::lround(m_level * 32767.0 * x)) : 0;
            }
        }
        m_done += n;
        return n;
    }

    static double channelFrequency(double base, int channel) {
        return base * (1.0 + channel / 2.0);
    }

private:
    PcmFormat m_format;
    qint64 m_total;
    qint64 m_done = 0;
    double m_frequency;
    double m_level;
    qint64 m_gateFrom;
    qint64 m_gateTo;
};

// Encodes a whole source, or a whole file, into path through the core and commits it, in
// place of what is there.
inline void writeSource(PcmSource& source, const QString& path,
                        const EncodedSink::Options& options) {
    EncodedSink::Options replacing = options;
    replacing.overwrite.replace = true;
    EncodedSink sink(path, replacing, source.format());
    const qint64 frames = source.expectedFrames();
    copyPcm(source, sink);
    // The count holds where the file keeps the source's rate, at MP3's own rates.
    static const QList<int> mp3Rates{8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
    if (options.codec == OutputCodec::Mp3Lame && frames > 0 &&
        mp3Rates.contains(source.format().sampleRate))
        mp3check::require(path, frames, std::min(source.format().channels, 2));
}

inline void convertFile(const QString& input, const QString& path,
                        const EncodedSink::Options& options) {
    FileSource source(input);
    writeSource(source, path, options);
}

inline void writeSine(const QString& path, OutputCodec codec, PcmFormat format, double seconds) {
    SineSource source(format, seconds);
    writeSource(source, path, {codec, 128000, {}});
}

struct DecodedAudio {
    PcmFormat format;
    std::vector<qint16> samples;

    qint64 frames() const { return qint64(samples.size()) / format.channels; }
    double at(qint64 frame, int channel) const {
        return samples[size_t(frame * format.channels + channel)] / 32768.0;
    }
    // Frequency (zero crossings) and RMS level (full scale = 1) of one channel, on the middle
    // half, away from the ends where encoders fade in and pad.
    double frequency(int channel) const {
        qint64 first = -1, last = -1, crossings = 0;
        for (qint64 i = frames() / 4 + 1; i < frames() - frames() / 4; ++i) {
            if (at(i - 1, channel) < 0 && at(i, channel) >= 0) {
                crossings += first >= 0;
                first = first < 0 ? i : first;
                last = i;
            }
        }
        return crossings ? double(crossings) * format.sampleRate / double(last - first) : 0.0;
    }
    double rms(int channel) const {
        const qint64 from = frames() / 4, to = frames() - frames() / 4;
        double sum = 0;
        for (qint64 i = from; i < to; ++i)
            sum += at(i, channel) * at(i, channel);
        return to > from ? std::sqrt(sum / double(to - from)) : 0.0;
    }
    // First and last frame of a channel louder than level; -1 when none is.
    std::pair<qint64, qint64> edges(int channel, double level = 0.01) const {
        qint64 first = -1, last = -1;
        for (qint64 i = 0; i < frames(); ++i) {
            if (std::abs(at(i, channel)) > level) {
                first = first < 0 ? i : first;
                last = i;
            }
        }
        return {first, last};
    }
};

// What the source gives, read in blocks, up to its end or up to limit frames.
inline DecodedAudio readAll(PcmSource& source, qint64 block = 4096, qint64 limit = -1) {
    DecodedAudio audio{source.format(), {}};
    std::vector<qint16> buffer(size_t(block * audio.format.channels));
    while (limit < 0 || audio.frames() < limit) {
        const qint64 n =
            source.read(buffer.data(), limit < 0 ? block : std::min(block, limit - audio.frames()));
        if (n == 0)
            break;
        audio.samples.insert(audio.samples.end(), buffer.begin(),
                             buffer.begin() + n * audio.format.channels);
    }
    return audio;
}

inline DecodedAudio decodeFile(const QString& path) {
    FileSource source(path);
    return readAll(source);
}
