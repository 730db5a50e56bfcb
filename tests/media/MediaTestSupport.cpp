#include "tests/media/MediaTestSupport.h"

#include "backends/media/FileSource.h"
#include "backends/media/Transcode.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

SineSource::SineSource(PcmFormat format, double seconds, double frequency, double level,
                       double gateFrom, double gateTo)
    : m_format(format), m_total(std::llround(seconds * format.sampleRate)),
      m_frequency(frequency), m_level(level),
      m_gateFrom(std::llround(gateFrom * format.sampleRate)),
      m_gateTo(std::llround(std::min(gateTo, seconds) * format.sampleRate)) {}

qint64 SineSource::read(qint16* buffer, qint64 maxFrames) {
    const qint64 n = std::min(maxFrames, m_total - m_done);
    for (qint64 i = 0; i < n; ++i) {
        const qint64 frame = m_done + i;
        const double t = double(frame) / m_format.sampleRate;
        const bool audible = frame >= m_gateFrom && frame < m_gateTo;
        for (int c = 0; c < m_format.channels; ++c) {
            const double f = channelFrequency(m_frequency, c);
            buffer[i * m_format.channels + c] =
                audible ? qint16(std::lround(m_level * 32767.0 *
                                             std::sin(2.0 * std::numbers::pi * f * t)))
                        : 0;
        }
    }
    m_done += n;
    return n;
}

void writeSource(PcmSource& source, const QString& path, const EncodedSink::Options& options) {
    EncodedSink sink(path, options, source.format());
    std::atomic<bool> never{false};
    if (!transcode(source, sink, never))
        throw std::logic_error("transcode stopped without being cancelled");
    sink.commit();
}

void convertFile(const QString& input, const QString& path, const EncodedSink::Options& options) {
    FileSource source(input);
    writeSource(source, path, options);
}

void writeSine(const QString& path, OutputCodec codec, PcmFormat format, double seconds,
               qint64 bitRate) {
    SineSource source(format, seconds);
    writeSource(source, path, {codec, bitRate, {}});
}

namespace {
// The part of a channel worth measuring: the middle half.
std::pair<qint64, qint64> middle(const DecodedAudio& audio) {
    const qint64 frames = audio.frames();
    return {frames / 4, frames - frames / 4};
}
} // namespace

double DecodedAudio::frequency(int channel) const {
    const auto [from, to] = middle(*this);
    qint64 first = -1;
    qint64 last = -1;
    qint64 crossings = 0;
    for (qint64 i = from + 1; i < to; ++i) {
        const qint16 a = samples[size_t((i - 1) * format.channels + channel)];
        const qint16 b = samples[size_t(i * format.channels + channel)];
        if (a < 0 && b >= 0) {
            if (first < 0)
                first = i;
            else
                ++crossings;
            last = i;
        }
    }
    if (crossings == 0)
        return 0.0;
    return double(crossings) * format.sampleRate / double(last - first);
}

double DecodedAudio::rms(int channel) const {
    const auto [from, to] = middle(*this);
    double sum = 0;
    for (qint64 i = from; i < to; ++i) {
        const double v = samples[size_t(i * format.channels + channel)] / 32768.0;
        sum += v * v;
    }
    return to > from ? std::sqrt(sum / double(to - from)) : 0.0;
}

std::pair<qint64, qint64> DecodedAudio::edges(int channel, double level) const {
    qint64 first = -1;
    qint64 last = -1;
    for (qint64 i = 0; i < frames(); ++i) {
        if (std::abs(samples[size_t(i * format.channels + channel)] / 32768.0) > level) {
            if (first < 0)
                first = i;
            last = i;
        }
    }
    return {first, last};
}

DecodedAudio decodeFile(const QString& path) {
    FileSource source(path);
    DecodedAudio audio;
    audio.format = source.format();
    std::vector<qint16> block(size_t(4096 * audio.format.channels));
    while (const qint64 n = source.read(block.data(), 4096))
        audio.samples.insert(audio.samples.end(), block.begin(),
                             block.begin() + n * audio.format.channels);
    return audio;
}

FileState fileState(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return {QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1),
            QFileInfo(path).lastModified()};
}

QStringList folderEntries(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot, QDir::Name);
}
