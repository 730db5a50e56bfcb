#include "backends/cdio/Checksums.h"

#include <QtEndian>
#include <algorithm>

extern "C" {
#include <libavutil/crc.h>
}

namespace cdio {
namespace {

// AccurateRip's edges: five sectors, less one sample at the start.
constexpr qint64 kSkippedAtStart = 5 * kFramesPerSector - 1;
constexpr qint64 kSkippedAtEnd = 5 * kFramesPerSector;
// A disc's addresses count from the start of the lead-in's last two seconds.
constexpr qint32 kLeadInSectors = 150;

int digitSum(qint32 n) {
    int sum = 0;
    for (; n > 0; n /= 10)
        sum += n % 10;
    return sum;
}

} // namespace

TrackChecksums::TrackChecksums(qint64 trackFrames, bool firstTrack, bool lastTrack)
    : m_checkFrom(firstTrack ? kSkippedAtStart + 1 : 1),
      m_checkTo(lastTrack ? trackFrames - kSkippedAtEnd : trackFrames) {}

void TrackChecksums::write(const qint16* buffer, qint64 frames) {
    const AVCRC* table = av_crc_get_table(AV_CRC_32_IEEE_LE);
    if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
        m_crc = av_crc(table, m_crc, reinterpret_cast<const uint8_t*>(buffer),
                       size_t(frames) * 2 * sizeof(qint16));
    } else {
        for (qint64 i = 0; i < frames * 2; ++i) {
            const qint16 sample = qToLittleEndian(buffer[i]);
            m_crc = av_crc(table, m_crc, reinterpret_cast<const uint8_t*>(&sample), 2);
        }
    }
    for (qint64 i = 0; i < frames; ++i) {
        const qint64 number = ++m_position;
        if (number < m_checkFrom || number > m_checkTo)
            continue;
        const quint32 word = quint16(buffer[2 * i]) | quint32(quint16(buffer[2 * i + 1])) << 16;
        const quint64 product = quint64(word) * quint64(quint32(number));
        m_sumLow += quint32(product);
        m_sumHigh += quint32(product >> 32);
    }
}

quint32 TrackChecksums::crc32() const {
    return ~m_crc;
}

QString accurateRipDiscId(const Toc& toc) {
    quint32 id1 = 0;
    quint32 id2 = 0;
    quint32 audio = 0;
    int freedbSum = 0;
    for (const TocTrack& t : toc.tracks) {
        freedbSum += digitSum((t.start + kLeadInSectors) / kSectorsPerSecond);
        if (!t.audio())
            continue;
        ++audio;
        id1 += quint32(t.start);
        id2 += quint32(std::max(t.start, 1)) * audio;
    }
    id1 += quint32(toc.leadout);
    id2 += quint32(toc.leadout) * (audio + 1);
    const qint32 first = toc.tracks.isEmpty() ? 0 : toc.tracks.first().start;
    const quint32 seconds = quint32((toc.leadout + kLeadInSectors) / kSectorsPerSecond -
                                    (first + kLeadInSectors) / kSectorsPerSecond);
    const quint32 freedb =
        quint32(freedbSum % 255) << 24 | seconds << 8 | quint32(toc.tracks.size());
    return QStringLiteral("%1-%2-%3-%4")
        .arg(audio, 3, 10, QChar(u'0'))
        .arg(id1, 8, 16, QChar(u'0'))
        .arg(id2, 8, 16, QChar(u'0'))
        .arg(freedb, 8, 16, QChar(u'0'));
}

} // namespace cdio
