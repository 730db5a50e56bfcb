#pragma once

#include "backends/burn/WriteRecord.h"
#include "backends/cdio/DriveTable.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace cdio {
class DiscReader;
} // namespace cdio

namespace burning {

// What the read-back found of one track.
struct TrackCheck {
    enum class Result { Identical, Differs, Unreadable, NotChecked };
    Result result = Result::NotChecked;
    qint64 sector = 0;    // where the first difference or the unreadable sector lies, from INDEX 01
    qint64 differing = 0; // sectors that differ
    QString reason;       // why it is unreadable

    // "identical", "differs at 1:02.33", "unreadable at 0:10.00 (…)"
    QString text() const;
    bool identical() const { return result == Result::Identical; }
};

// A track as it was written: its sectors in the WriteRecord and the gap among them.
struct WrittenTrack {
    qint64 firstSector = 0; // in the record
    qint64 sectors = 0;
    qint64 pregapSectors = 0; // of them, before INDEX 01
};

// Reads a disc back with full paranoia and compares it with what was written, every sector of
// every track. The disc's last tracks are the ones written (a disc kept open may hold earlier
// sessions). The drive's combined read and write offset is found first: the one lively sector
// the record keeps is looked for, by correlation, within five sectors either way, and the disc
// is then read with that offset. Where the offset reaches outside the disc's audio (its first
// and last frames), those frames cannot be read and are left out of the comparison.
//
// Paranoia reads ahead, so it gives up some sectors before one it cannot read (even in the
// track before). From there the track is read sector by sector without paranoia, which finds
// the very sector that cannot be read, or shows that the track's own sectors can.
//
// run() works on the calling thread (a worker); interrupt() and the progress come from any.
class DiscVerifier {
public:
    // How far the offset is looked for, in frames either way.
    static constexpr qint32 kOffsetReach = 5 * 588;

    DiscVerifier(cdio::Drive drive, std::vector<WrittenTrack> tracks, const WriteRecord& record);

    // One result per track. A disc that cannot be opened leaves every track unreadable.
    std::vector<TrackCheck> run();
    void interrupt();
    // 0-100.
    int percent() const { return m_percent.load(); }
    // The offset found, in frames; valid once run() has returned.
    qint32 offset() const { return m_offset; }

private:
    // A reader of sectors, known to interrupt() for as long as it lives.
    class Reading {
    public:
        Reading(DiscVerifier& verifier, qint64 first, qint64 end, qint32 offset, bool paranoia);
        ~Reading();
        cdio::DiscReader& operator*() const { return *m_reader; }
        cdio::DiscReader* operator->() const { return m_reader.get(); }

    private:
        DiscVerifier& m_verifier;
        std::unique_ptr<cdio::DiscReader> m_reader;
    };

    qint32 findOffset(qint64 probeDiscSector);
    TrackCheck checkTrack(size_t index, qint64 discFirst, qint64 index1);

    cdio::Drive m_drive;
    std::vector<WrittenTrack> m_tracks;
    const WriteRecord& m_record;
    qint32 m_offset = 0;
    qint64 m_audioFirst = 0; // the disc's audio, in frames
    qint64 m_audioEnd = 0;
    qint64 m_done = 0;
    qint64 m_total = 0;
    std::atomic<int> m_percent{0};
    std::atomic<bool> m_interrupted{false};
    std::mutex m_readerMutex;
    cdio::DiscReader* m_reader = nullptr;
};

} // namespace burning
