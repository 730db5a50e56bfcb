#include "backends/media/Codecs.h"

#include "backends/media/MediaProbe.h"
#include "components/Error.h"

#include <algorithm>
#include <limits>

void MediaInfo::read(const QString& path, float& duration, float& sizeMB) {
    // A failed read must not leave the previous file's figures behind.
    duration = 0;
    sizeMB = 0;
    const MediaFacts facts = probeMediaFile(path);
    duration = float(facts.duration);
    sizeMB = float(double(facts.sizeBytes) / 1024.0 / 1024.0);
}

void MediaInfo::ReadWmaInfo(const QString& path) {
    read(path, m_wmaDuration, m_wmaSizeMB);
}

void MediaInfo::ReadMp3Info(const QString& path) {
    read(path, m_mp3Duration, m_mp3SizeMB);
}

void MediaInfo::ReadWavInfo(const QString& path) {
    read(path, m_wavDuration, m_wavSizeMB);
}

void WmaFileReader::Open(const QString& path) {
    *this = WmaFileReader();
    const MediaFacts facts = probeMediaFile(path);
    if (facts.formatName != QLatin1String("asf") ||
        !facts.codecName.startsWith(QLatin1String("wma")))
        throw Error(QStringLiteral("Cannot read %1: it is not a WMA file (FFmpeg reads it as %2 "
                                   "with %3 audio)")
                        .arg(path, facts.formatName, facts.codecName));
    m_title = facts.tags.value(QStringLiteral("title"));
    m_author =
        facts.tags.value(QStringLiteral("artist"), facts.tags.value(QStringLiteral("author")));
    m_album = facts.tags.value(QStringLiteral("album"));
    m_duration = facts.duration;
    m_bitrate = qint32(std::clamp<qint64>(facts.bitRate, 0, std::numeric_limits<qint32>::max()));
    m_sampleRate = facts.sampleRate;
    m_channels = facts.channels;
}
