#pragma once

// Private to backends/cdio: what libcdio-paranoia calls back while a DiscReader reads a sector,
// the drive's reads and paranoia's events. Its callbacks carry no context, so the state of the
// reader reading on a thread is set for them with readingOn() and cleared with readingOff().

#include <QByteArray>
#include <QList>
#include <atomic>
#include <cdio/paranoia/cdda.h>
#include <cdio/paranoia/paranoia.h>
#include <sys/types.h>
#include <utility>

namespace cdio {

struct ParanoiaStats;

struct ReadState {
    long (*libraryRead)(cdrom_drive_t*, void*, lsn_t, long) = nullptr;
    // An image's data file as it was when opened: libcdio reads a deleted or shortened file as
    // success with nothing read, so the reader checks it itself.
    QByteArray binPath;
    ino_t binInode = 0;
    off_t binSize = 0;
    std::atomic<bool> interrupted = false;
    // Drive reads answered, for anyone watching whether the reader still gets anywhere.
    std::atomic<quint64> answered = 0;
    // Stretches without sound, first sector and one past the last (data tracks, the gaps
    // between sessions): they read as silence, never from the drive, which may refuse them.
    QList<std::pair<qint32, qint32>> holes;
    // Set during one paranoia read.
    bool gone = false;
    // Sectors the drive reported it could not read (its sense data), and the stretch of the
    // last failed read when it did not say.
    QList<qint32> failed;
    qint32 lastFailed = -1; // the sector of the latest failed read, when the drive named it
    std::pair<qint32, qint32> failedRun{0, 0};
    int skips = 0;
    long reads = 0;
    bool abandoned = false;
    // A skipped sector is kept as read, so paranoia goes on reading after it.
    bool keepSkipped = false;
    ParanoiaStats* statistics = nullptr;

    bool imageIntact() const;
};

void readingOn(ReadState& state);
void readingOff();

// Takes the place of the drive's read_audio: silence for the holes, the image checked, each
// failure noted; ENOMEDIUM, the one error paranoia never retries, when it must stop.
long readAudio(cdrom_drive_t* drive, void* buffer, lsn_t begin, long sectors) noexcept;
// Paranoia's callback: skips, read errors where the drive placed them, and the statistics.
void paranoiaEvent(long position, paranoia_cb_mode_t mode) noexcept;

} // namespace cdio
