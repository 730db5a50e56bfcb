#pragma once

#include "backends/media/PcmSource.h"

#include <memory>

// CD audio in whole sectors: 588 stereo frames of 44.1 kHz each (2352 bytes).
constexpr qint64 kCdFramesPerSector = 588;
constexpr qint64 kCdBytesPerSector = kCdFramesPerSector * 4;

// Sectors needed to hold `frames` frames of CD audio (rounded up); 0 for none.
constexpr qint64 cdSectorsFor(qint64 frames) {
    return frames > 0 ? (frames + kCdFramesPerSector - 1) / kCdFramesPerSector : 0;
}

// Delivers exactly `sectors` CD sectors from a source of CD audio: what the source has, cut at
// that length or padded with silence up to it. A burner announces a track's length before it
// writes it; a file's decoded length is known only at its end (its header is an estimate), so
// it is fitted to the announced length:
//
//   auto file = std::make_unique<FileSource>(path, PcmFormat::cdAudio());
//   const qint64 sectors = cdSectorsFor(file->expectedFrames());
//   auto track = std::make_unique<SectorFitSource>(std::move(file), sectors);
//
// The inner source must deliver PcmFormat::cdAudio() (raises Error otherwise); its errors pass
// through, and so does interrupt().
class SectorFitSource final : public PcmSource {
public:
    SectorFitSource(std::unique_ptr<PcmSource> inner, qint64 sectors);

    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    qint64 expectedFrames() const override { return m_total; }
    qint64 read(qint16* buffer, qint64 maxFrames) override;
    void interrupt() override { m_inner->interrupt(); }

    qint64 sectors() const { return m_total / kCdFramesPerSector; }
    // Frames of silence added (or, negative, frames cut) so far.
    qint64 padded() const { return m_padded; }

private:
    std::unique_ptr<PcmSource> m_inner;
    qint64 m_total;
    qint64 m_done = 0;
    qint64 m_padded = 0;
    bool m_innerEnded = false;
};
