#pragma once

// Media the tests make themselves, through the transcoding core, and the measurements they take
// of what comes back.

#include "backends/media/EncodedSink.h"
#include "backends/media/PcmSource.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <vector>

// A sine per channel: channel c plays frequency * (1 + c / 2), so a swap of channels shows.
// Outside [gateFrom, gateTo) seconds it is silent, which marks where the audio starts and ends.
class SineSource final : public PcmSource {
public:
    SineSource(PcmFormat format, double seconds, double frequency = 440.0, double level = 0.5,
               double gateFrom = 0.0, double gateTo = 1.0e9);
    PcmFormat format() const override { return m_format; }
    qint64 expectedFrames() const override { return m_total; }
    qint64 read(qint16* buffer, qint64 maxFrames) override;

    static double channelFrequency(double base, int channel) { return base * (1.0 + channel / 2.0); }

private:
    PcmFormat m_format;
    qint64 m_total;
    qint64 m_done = 0;
    double m_frequency;
    double m_level;
    qint64 m_gateFrom;
    qint64 m_gateTo;
};

// Encodes a whole source, or a whole file, into path through the core and commits it.
void writeSource(PcmSource& source, const QString& path, const EncodedSink::Options& options);
void convertFile(const QString& input, const QString& path, const EncodedSink::Options& options);
// A sine of the given length written with the given codec.
void writeSine(const QString& path, OutputCodec codec, PcmFormat format, double seconds,
               qint64 bitRate = 128000);

struct DecodedAudio {
    PcmFormat format;
    std::vector<qint16> samples;
    qint64 frames() const { return qint64(samples.size()) / format.channels; }
    // Frequency from zero crossings and level (RMS, full scale = 1) of one channel, measured
    // on the middle half, away from the ends where encoders fade in and pad.
    double frequency(int channel) const;
    double rms(int channel) const;
    // First and last frame of a channel louder than level (full scale = 1); -1 when none is.
    std::pair<qint64, qint64> edges(int channel, double level = 0.01) const;
};

// Reads a whole file through the core's FileSource.
DecodedAudio decodeFile(const QString& path);

// What a test compares to prove a file untouched.
struct FileState {
    QByteArray sha1;
    QDateTime modified;
    bool operator==(const FileState&) const = default;
};
FileState fileState(const QString& path);

// Every entry of a folder, hidden ones (temporary files) included.
QStringList folderEntries(const QString& folder);
