#pragma once

#include "backends/cdio/DriveTable.h"
#include "backends/cdio/ParanoiaStats.h"
#include "backends/media/PcmSource.h"

#include <memory>

namespace cdio {

class Disc;
struct Toc;

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
        // A sector paranoia gives up on after every retry is kept as read (the ripper marks
        // the track suspicious) instead of failing the read. A disc taken out still fails.
        bool keepSkipped = false;
        // When set, what paranoia does is counted here (written while reading; read it once
        // the reading is over).
        std::shared_ptr<ParanoiaStats> statistics = nullptr;
    };

    // The whole of track number track (from 1); track 0 is the audio hidden before the first
    // track (its INDEX 00 gap, from the disc's start), when the first track is audio.
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
    static std::unique_ptr<DiscReader> hiddenTrack(std::unique_ptr<Disc> disc, const Toc& toc,
                                                   Options options);
    std::unique_ptr<Impl> d;
};

// The sectors of sound hidden before the first track (the audio in its INDEX 00 gap from the
// disc's very start, offered as track 0); 0 when there is no such gap or it holds silence.
// Reads the gap, so it takes as long as the drive needs for that.
qint32 hiddenTrackSectors(const Drive& drive);

} // namespace cdio
