#pragma once

#include "backends/cdio/DriveTable.h"
#include "backends/cdio/ParanoiaStats.h"
#include "backends/media/EncodedSink.h"
#include "backends/media/PcmSource.h"

#include <QStringList>
#include <memory>

namespace cdio {

// Far beyond any drive's read offset (in samples); a number past it is a typing error.
constexpr qint32 kLargestReadOffset = 100000;

class DiscReader;
class TrackChecksums;
struct RippedTrack;
struct Toc;

// One track's rip, the same for the window and melvane-cli: the track read with full paranoia
// and the drive's read offset corrected, into every file asked for at once (one encoder each)
// and its CRC32 and AccurateRip checksums, as the source and sink of one media job. The
// checksums and what paranoia did stay here for the rip's record once the job has ended.
//
// Steps, in this order: open (any thread), addFile per format, takeSource and takeSink for the
// job, then fillIn once the job has finished.
class TrackRip {
public:
    // Opens the track: track 0 is the audio hidden before track 1. Raises Error as DiscReader
    // does (no disc, no such track, a data track).
    TrackRip(const Drive& drive, int track, qint32 offsetSamples);
    ~TrackRip();
    TrackRip(const TrackRip&) = delete;
    TrackRip& operator=(const TrackRip&) = delete;

    int track() const { return m_track; }
    qint32 totalSectors() const { return m_sectors; }
    // Creates the file's encoder and its hidden temporary file; raises Error (OutputExistsError
    // for a file the overwrite rule keeps).
    void addFile(const QString& path, const EncodedSink::Options& options);
    QStringList files() const { return m_files; }

    // The reader, let go of the moment the track is read (paranoia holds megabytes of cache and
    // the encoders may still have seconds of work).
    std::unique_ptr<PcmSource> takeSource();
    // Every file and the checksums; toc tells whether the track is the first or last audio
    // track, whose checksums leave out the disc's edges.
    std::unique_ptr<PcmSink> takeSink(const Toc& toc);
    // "track 3 of drive 1:0:0 (/dev/sr0)", "the hidden track of ...".
    QString sourceName() const;
    // How long the source may deliver nothing before the job gives up.
    int stallSeconds() const;

    // After the job finished: the checksums, the peak and what paranoia did.
    void fillIn(RippedTrack& track) const;
    // What paranoia did so far (also for a failed track).
    const ParanoiaStats& paranoia() const { return *m_paranoia; }

private:
    Drive m_drive;
    int m_track;
    qint32 m_sectors = 0;
    qint64 m_frames = 0;
    PcmFormat m_format;
    std::unique_ptr<DiscReader> m_reader;
    std::shared_ptr<ParanoiaStats> m_paranoia = std::make_shared<ParanoiaStats>();
    std::shared_ptr<TrackChecksums> m_sums;
    std::vector<std::unique_ptr<PcmSink>> m_sinks;
    QStringList m_files;
};

} // namespace cdio
