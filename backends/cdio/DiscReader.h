#pragma once

#include "backends/cdio/DriveTable.h"
#include "backends/media/PcmSource.h"

#include <memory>

namespace cdio {

// CD audio read through libcdio-paranoia, as 44.1 kHz stereo PCM: one track with its exact
// boundaries (sectors x 588 frames, its INDEX 00 gap belonging to the track before), or any
// stretch of sectors (for playback).
//
// Created on any thread (it opens the drive and raises Error at once when it cannot: no disc,
// no such track, a data track, an image libcdio cannot read); then read() on one thread at a
// time. interrupt(), currentSector() and totalSectors() may be called from any thread.
class DiscReader final : public PcmSource {
public:
    struct Options {
        // Full paranoia (overlapped reads, verification, jitter and drop fixes, a bounded
        // number of retries), as cd-paranoia does by default. Off: plain reads, for playback.
        bool paranoia = true;
        // Read offset correction in samples (stereo frames): the output's frame i is the
        // drive's frame i + offset. Negative values move the other way. Samples that would
        // come from outside the disc's audio area are silence.
        qint32 offsetFrames = 0;
    };

    // The whole of track number track (from 1).
    static std::unique_ptr<DiscReader> track(const Drive& drive, int track, Options options);
    static std::unique_ptr<DiscReader> track(const Drive& drive, int track) {
        return DiscReader::track(drive, track, Options());
    }
    // Sectors first up to (not including) end; what lies outside the audio area is silence.
    static std::unique_ptr<DiscReader> sectors(const Drive& drive, qint32 first, qint32 end,
                                               Options options);
    ~DiscReader() override;

    PcmFormat format() const override;
    qint64 expectedFrames() const override;
    // Raises Error naming the drive (or image) and the track when the disc goes away (tray
    // opened, image deleted or cut short), when a sector cannot be read reliably, and once
    // interrupt() was called.
    qint64 read(qint16* buffer, qint64 maxFrames) override;

    // Ends a read in progress as soon as the drive answers, and every later one, with Error.
    void interrupt() override;
    // Grows with every answer of the drive, also while paranoia re-reads a bad sector.
    quint64 activity() const override;
    // Sectors delivered so far, and in all.
    qint32 currentSector() const;
    qint32 totalSectors() const;

private:
    struct Impl;
    explicit DiscReader(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> d;
};

} // namespace cdio
