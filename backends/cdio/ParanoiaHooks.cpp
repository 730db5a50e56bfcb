#include "backends/cdio/ParanoiaHooks.h"

#include "backends/cdio/ParanoiaStats.h"

#include <algorithm>
#include <cdio/cdio.h>
#include <cdio/memory.h>
#include <cdio/mmc_ll_cmds.h>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace cdio {
namespace {

// Drive reads for one sector, far beyond what paranoia's retries of a bad one take.
constexpr long kMostReadsPerSector = 50000;

thread_local ReadState* t_reading = nullptr;

// Where a read failed: a drive names the sector in its sense data (MEDIUM ERROR with the
// INFORMATION field valid); paranoia's own place is only where it was reading ahead from.
void noteFailure(cdrom_drive_t* drive, ReadState& r, qint32 begin, long sectors) noexcept {
    cdio_mmc_request_sense_t* sense = nullptr;
    const int length = drive->p_cdio ? mmc_last_cmd_sense(drive->p_cdio, &sense) : 0;
    if (length >= 7 && sense && sense->valid && (sense->sense_key == 3 || sense->sense_key == 4)) {
        const qint32 lba =
            qint32(quint32(sense->information[0]) << 24 | quint32(sense->information[1]) << 16 |
                   quint32(sense->information[2]) << 8 | sense->information[3]);
        if (lba >= begin && lba < begin + sectors) {
            r.lastFailed = lba;
            if (!r.failed.contains(lba))
                r.failed.append(lba);
        }
    } else {
        r.lastFailed = -1;
    }
    cdio_free(sense);
    r.failedRun = {begin, qint32(begin + sectors)};
}

} // namespace

bool ReadState::imageIntact() const {
    struct stat now {};
    return ::stat(binPath.constData(), &now) == 0 && now.st_ino == binInode &&
           now.st_size >= binSize;
}

void readingOn(ReadState& state) {
    t_reading = &state;
}

void readingOff() {
    t_reading = nullptr;
}

long readAudio(cdrom_drive_t* drive, void* buffer, lsn_t begin, long sectors) noexcept {
    ReadState* r = t_reading;
    if (!r || r->interrupted.load()) {
        errno = ENOMEDIUM;
        return -1;
    }
    // Paranoia gives up on a sector by skipping it, which fails the read unless skipped sectors
    // are kept; and it can go round for ever when its idea of the audio area is wrong. Either
    // way it is made to return at once: ENOMEDIUM is the one error it never retries.
    if ((r->skips > 0 && !r->keepSkipped) || ++r->reads > kMostReadsPerSector) {
        r->abandoned = true;
        errno = ENOMEDIUM;
        return -1;
    }
    if (!r->binPath.isEmpty() && !r->imageIntact()) {
        r->gone = true;
        errno = ENOMEDIUM;
        return -1;
    }
    long done = 0;
    while (done < sectors) {
        const qint32 at = qint32(begin + done);
        qint32 stop = qint32(begin + sectors);
        bool silent = false;
        for (const auto& [from, to] : r->holes) {
            if (at >= from && at < to) {
                silent = true;
                stop = std::min(stop, to);
            } else if (from > at) {
                stop = std::min(stop, from);
            }
        }
        // Paranoia reads into no buffer to move the drive's head and push out its cache.
        char* into =
            buffer ? static_cast<char*>(buffer) + qint64(done) * CDIO_CD_FRAMESIZE_RAW : nullptr;
        if (silent) {
            if (into)
                std::memset(into, 0, size_t(stop - at) * CDIO_CD_FRAMESIZE_RAW);
            done += stop - at;
            continue;
        }
        const long got = r->libraryRead(drive, into, at, stop - at);
        r->answered.fetch_add(1, std::memory_order_relaxed);
        if (got < stop - at) {
            noteFailure(drive, *r, at, stop - at);
            return done > 0 ? done + std::max(0L, got) : got;
        }
        done += got;
    }
    return done;
}

// A skip is paranoia giving up on a sector. Unless skipped sectors are kept, it may then go
// round without reading anything, when the sector lies outside what it takes for the audio
// area: ENOMEDIUM makes it return as soon as a round ends with nothing read. A kept skip fills
// the sector with what paranoia has, so its rounds end.
void paranoiaEvent(long position, paranoia_cb_mode_t mode) noexcept {
    if (!t_reading)
        return;
    if (mode == PARANOIA_CB_SKIP) {
        ++t_reading->skips;
        if (!t_reading->keepSkipped) {
            t_reading->abandoned = true;
            errno = ENOMEDIUM;
        }
    }
    // A read error is where the drive failed, not where paranoia's read-ahead began.
    // When the drive did not name it, the error is counted without a place.
    if (mode == PARANOIA_CB_READERR)
        position = t_reading->lastFailed >= 0 ? long(t_reading->lastFailed) * CD_FRAMEWORDS : -1;
    if (t_reading->statistics)
        t_reading->statistics->take(position, mode);
}

} // namespace cdio
