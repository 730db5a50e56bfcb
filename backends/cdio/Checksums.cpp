#include "backends/cdio/Checksums.h"

#include "backends/cdio/DiscIds.h"

#include <QtEndian>
#include <algorithm>
#include <cstdlib>

#include <zlib.h>

namespace cdio {
namespace {

// AccurateRip's edges: five sectors, less one sample at the start.
constexpr qint64 kSkippedAtStart = 5 * kFramesPerSector - 1;
constexpr qint64 kSkippedAtEnd = 5 * kFramesPerSector;
} // namespace

TrackChecksums::TrackChecksums(qint64 trackFrames, bool firstTrack, bool lastTrack)
    : m_checkFrom(firstTrack ? kSkippedAtStart + 1 : 1),
      m_checkTo(lastTrack ? trackFrames - kSkippedAtEnd : trackFrames) {}

void TrackChecksums::write(const qint16* buffer, qint64 frames) {
    // zlib's CRC-32 works on several bytes a step; a byte-table one took a fifth of a WAV
    // rip's time.
    if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
        m_crc = crc32_z(m_crc, reinterpret_cast<const Bytef*>(buffer),
                        size_t(frames) * 2 * sizeof(qint16));
    } else {
        for (qint64 i = 0; i < frames * 2; ++i) {
            const qint16 sample = qToLittleEndian(buffer[i]);
            m_crc = crc32_z(m_crc, reinterpret_cast<const Bytef*>(&sample), sizeof sample);
        }
    }
    // Only the frames inside AccurateRip's edges count; the loop over them has no branch, so
    // the compiler can widen it.
    const qint64 first = m_position + 1; // the number of buffer's first frame
    m_position += frames;
    const qint64 from = std::max(first, m_checkFrom);
    const qint64 to = std::min(m_position, m_checkTo);
    quint32 low = m_sumLow;
    quint32 high = m_sumHigh;
    for (qint64 number = from; number <= to; ++number) {
        const qint64 i = number - first;
        const quint32 word = quint16(buffer[2 * i]) | quint32(quint16(buffer[2 * i + 1])) << 16;
        const quint64 product = quint64(word) * quint64(quint32(number));
        low += quint32(product);
        high += quint32(product >> 32);
    }
    m_sumLow = low;
    m_sumHigh = high;
    int peak = m_peak;
    for (qint64 i = 0; i < frames * 2; ++i)
        peak = std::max(peak, std::abs(int(buffer[i])));
    m_peak = peak;
}

quint32 TrackChecksums::crc32() const {
    return m_crc;
}

QList<quint32> accurateRipV1AtOffsets(const std::vector<qint16>& samples, qint64 margin,
                                      bool firstTrack, bool lastTrack) {
    const qint64 frames = qint64(samples.size() / 2) - 2 * margin;
    QList<quint32> sums;
    if (frames <= 0 || margin < 0)
        return sums;
    // Frames a to b of the track (from 1) count; x(i) is frame i as read with the offset.
    const qint64 a = firstTrack ? kSkippedAtStart + 1 : 1;
    const qint64 b = lastTrack ? frames - kSkippedAtEnd : frames;
    if (b < a)
        return sums;
    auto x = [&](qint64 i, qint64 offset) {
        const size_t at = size_t(margin + i - 1 + offset) * 2;
        return quint32(quint16(samples[at])) | quint32(quint16(samples[at + 1])) << 16;
    };
    quint32 sum = 0;   // the sum of i * x(i) over a..b
    quint32 plain = 0; // the sum of x(i) over a..b
    for (qint64 i = a; i <= b; ++i) {
        sum += quint32(i) * x(i, -margin);
        plain += x(i, -margin);
    }
    sums.append(sum);
    for (qint64 offset = -margin; offset < margin; ++offset) {
        // Moving by one frame: every weight drops by one, the first frame leaves, a new last
        // one comes in with weight b.
        sum = sum - plain - quint32(a - 1) * x(a, offset) + quint32(b) * x(b + 1, offset);
        plain = plain - x(a, offset) + x(b + 1, offset);
        sums.append(sum);
    }
    return sums;
}

QString accurateRipDiscId(const Toc& toc) {
    return discIdsOf(toc).accurateRipText();
}

} // namespace cdio
