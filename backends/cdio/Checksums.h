#pragma once

#include "backends/cdio/Disc.h"
#include "backends/media/PcmSink.h"

#include <QList>
#include <vector>

namespace cdio {

// The checksums of one ripped track, taken as its PCM goes by (a sink beside the encoders):
// the CRC-32 of its bytes (16-bit little-endian samples, left then right, as in a WAV file)
// and its AccurateRip v1 and v2 checksums; and its peak level. AccurateRip leaves out the first
// 2939 samples of a disc's first audio track and the last 2940 of its last one, so the track's
// place on the disc and its length must be known before the first write.
class TrackChecksums final : public PcmSink {
public:
    TrackChecksums(qint64 trackFrames, bool firstTrack, bool lastTrack);

    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    void write(const qint16* buffer, qint64 frames) override;
    void finish() override {}
    void commit() override {}

    quint32 crc32() const;
    quint32 accurateRipV1() const { return m_sumLow; }
    quint32 accurateRipV2() const { return m_sumLow + m_sumHigh; }
    // The largest sample magnitude, 0 to 32768.
    int peak() const { return m_peak; }

private:
    qint64 m_position = 0; // frames taken so far
    qint64 m_checkFrom;    // AccurateRip counts frames numbered (from 1) checkFrom to checkTo
    qint64 m_checkTo;
    quint32 m_crc = 0; // zlib's running CRC-32, complete at every step
    quint32 m_sumLow = 0;
    quint32 m_sumHigh = 0;
    int m_peak = 0;
};

// The AccurateRip disc ID: "nnn-aaaaaaaa-bbbbbbbb-ffffffff", nnn the number of audio tracks,
// then the two AccurateRip IDs (from the audio tracks, numbered from 1, and the lead-out) and
// the freedb disc ID (from every track), in lower-case hexadecimal.
QString accurateRipDiscId(const Toc& toc);

// A track's AccurateRip v1 checksum as a drive with each read offset from -margin to +margin
// would give it, in that order: samples holds the track's frames with margin more on either
// side (silence beyond the disc's edges). The sum is linear, so each offset costs a step.
QList<quint32> accurateRipV1AtOffsets(const std::vector<qint16>& samples, qint64 margin,
                                      bool firstTrack, bool lastTrack);

} // namespace cdio
