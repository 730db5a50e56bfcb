#include "backends/cdio/DiscReader.h"

#include "backends/cdio/Disc.h"
#include "components/Error.h"

#include <QFile>
#include <QStringList>
#include <algorithm>
#include <atomic>
#include <cdio/cdio.h>
#include <cdio/memory.h>
#include <cdio/mmc_ll_cmds.h>
#include <cdio/paranoia/cdda.h>
#include <cdio/paranoia/paranoia.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <vector>

namespace cdio {
namespace {

// Retries of a sector before paranoia gives up on it; cd-paranoia's default.
constexpr int kRetries = 20;
constexpr int kSectorSamples = kFramesPerSector * 2;
// Sectors of paranoia's cache model for an image (see open()).
constexpr int kImageCacheModelSectors = 100;
// Drive reads for one sector, far beyond what paranoia's retries of a bad one take.
constexpr long kMostReadsPerSector = 50000;

qint32 sectorOf(qint64 frame) {
    return qint32(frame >= 0 ? frame / kFramesPerSector
                             : -((-frame + kFramesPerSector - 1) / kFramesPerSector));
}

// What paranoia's callbacks need; they carry no context, so the reader reading on this thread
// is found through t_reading.
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

    bool imageIntact() const {
        struct stat now {};
        return ::stat(binPath.constData(), &now) == 0 && now.st_ino == binInode &&
               now.st_size >= binSize;
    }
};

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

} // namespace

struct DiscReader::Impl {
    std::unique_ptr<Disc> disc;
    QString part; // "track 3", "sectors 0 to 99"
    Options options;
    qint32 first = 0;
    qint32 end = 0;
    qint32 audioFirst = 0; // the disc's audio area, both ends included
    qint32 audioLast = -1;
    Toc toc;
    qint64 nextFrame = 0;
    qint64 endFrame = 0;

    cdrom_drive_t* cdda = nullptr;
    cdrom_paranoia_t* paranoia = nullptr;
    qint32 paranoiaNext = INT_MIN;
    qint32 bufferSector = INT_MIN;
    qint16 buffer[kSectorSamples] = {};
    ReadState state;
    std::atomic<qint32> current = 0;

    ~Impl() {
        if (paranoia)
            cdio_paranoia_free(paranoia);
        if (cdda)
            cdio_cddap_close_no_free_cdio(cdda);
    }

    QString what() const { return part + QStringLiteral(" of ") + disc->drive().name(); }
    bool holdsSound(qint32 sector) const;
    void open(const Toc& toc);
    void loadSector(qint32 sector);
    bool discStillThere() const;
    [[noreturn]] void failRead(qint32 sector);
    QString positionText(qint32 from, qint32 to) const;
};

// Paranoia's own words, from its message buffer, which is freed.
QString paranoiaText(char* messages) {
    const QString text = QString::fromLocal8Bit(messages).simplified();
    cdio_cddap_free_messages(messages);
    return text;
}

bool DiscReader::Impl::holdsSound(qint32 sector) const {
    if (sector < audioFirst || sector > audioLast)
        return false;
    for (const auto& [from, to] : state.holes) {
        if (sector >= from && sector < to)
            return false;
    }
    return true;
}

void DiscReader::Impl::open(const Toc& toc) {
    const Drive& drive = disc->drive();
    nextFrame = qint64(first) * kFramesPerSector + options.offsetFrames;
    endFrame = qint64(end) * kFramesPerSector + options.offsetFrames;
    this->toc = toc;
    // Data tracks hold no sound (a mixed disc has them anywhere), nor does what lies between a
    // session's last track and the next session's first.
    for (int i = 0; i < toc.tracks.size(); ++i) {
        const TocTrack& t = toc.tracks[i];
        const qint32 next = i + 1 < toc.tracks.size() ? toc.tracks[i + 1].start : toc.leadout;
        if (!t.audio())
            state.holes.append({t.start, t.start + t.sectors});
        else if (t.start + t.sectors < next)
            state.holes.append({t.start + t.sectors, next});
    }
    char* identifying = nullptr;
    cdda = cdio_cddap_identify_cdio(disc->handle(), CDDA_MESSAGE_LOGIT, &identifying);
    const QString identified = paranoiaText(identifying);
    if (!cdda)
        throw Error(QStringLiteral("Cannot read audio from %1: %2")
                        .arg(drive.name(), identified.isEmpty()
                                               ? QStringLiteral("libcdio-paranoia refuses it")
                                               : identified));
    cdio_cddap_verbose_set(cdda, CDDA_MESSAGE_FORGETIT, CDDA_MESSAGE_LOGIT);
    // Paranoia guesses the byte order from the sound, which silence or noise can fool. Images
    // hold little-endian samples, and MMC drives deliver CD audio little-endian too.
    cdda->bigendianp = 0;
    if (cdio_cddap_open(cdda) != 0) {
        const QString why = paranoiaText(cdio_cddap_errors(cdda));
        throw Error(QStringLiteral("Cannot read audio from %1: %2")
                        .arg(drive.name(), why.isEmpty()
                                               ? QStringLiteral("libcdio-paranoia cannot open it")
                                               : why));
    }
    audioFirst = cdio_cddap_disc_firstsector(cdda);
    audioLast = cdio_cddap_disc_lastsector(cdda);
    state.statistics = options.statistics.get();
    state.keepSkipped = options.keepSkipped;
    state.libraryRead = cdda->read_audio;
    cdda->read_audio = readAudio;
    if (options.paranoia) {
        paranoia = cdio_paranoia_init(cdda);
        cdio_paranoia_modeset(paranoia, PARANOIA_MODE_FULL ^ PARANOIA_MODE_NEVERSKIP);
        // The cache model is how far paranoia reads to push a drive's own cache out before a
        // re-read. An image has no such cache, and the default model holds 20 MB per reader.
        if (drive.image)
            cdio_paranoia_cachemodel_size(paranoia, kImageCacheModelSectors);
    }
    if (drive.image) {
        state.binPath = QFile::encodeName(disc->dataFile());
        struct stat info {};
        if (::stat(state.binPath.constData(), &info) != 0)
            throw Error(QStringLiteral("Cannot read %1: its data file is missing").arg(what()));
        state.binInode = info.st_ino;
        state.binSize = info.st_size;
    }
}

void DiscReader::Impl::loadSector(qint32 sector) {
    if (!holdsSound(sector)) {
        std::fill(std::begin(buffer), std::end(buffer), qint16(0));
        return;
    }
    state.gone = false;
    state.skips = 0;
    state.reads = 0;
    state.abandoned = false;
    state.failed.clear();
    state.failedRun = {0, 0};
    t_reading = &state;
    if (!options.paranoia) {
        // Plain reads: paranoia's own unverified mode retries a failing read for ever.
        const long got = cdio_cddap_read(cdda, buffer, sector, 1);
        t_reading = nullptr;
        if (state.interrupted || state.gone || got != 1)
            failRead(sector);
        return;
    }
    if (paranoiaNext != sector && cdio_paranoia_seek(paranoia, sector, SEEK_SET) < 0) {
        t_reading = nullptr;
        paranoiaNext = INT_MIN;
        failRead(sector);
    }
    paranoiaNext = sector + 1;
    const int16_t* data = cdio_paranoia_read_limited(paranoia, paranoiaEvent, kRetries);
    t_reading = nullptr;
    // A skip on a disc that is still there is damage the statistics report; one because the
    // disc went away ends the read.
    if (state.interrupted || state.gone || !data ||
        (state.skips > 0 && (!options.keepSkipped || !discStillThere()))) {
        paranoiaNext = INT_MIN; // paranoia's place is unknown after a failure
        failRead(sector);
    }
    std::memcpy(buffer, data, sizeof buffer);
}

bool DiscReader::Impl::discStillThere() const {
    if (disc->drive().image)
        return state.imageIntact();
    return mmc_test_unit_ready(disc->handle(), 0) == DRIVER_OP_SUCCESS;
}

void DiscReader::Impl::failRead(qint32 sector) {
    const Drive& drive = disc->drive();
    if (state.interrupted)
        throw Error(QStringLiteral("Reading %1 was stopped").arg(what()));
    if (state.gone)
        throw Error(QStringLiteral("The image %1 was deleted or cut short while %2 was being read")
                        .arg(drive.device, part));
    if (drive.image)
        throw Error(QStringLiteral("Sector %1 of %2 cannot be read from its data file %3%4")
                        .arg(sector)
                        .arg(what(), disc->dataFile(),
                             state.abandoned ? QStringLiteral(": libcdio-paranoia gave up on it")
                                             : QString()));
    if (mmc_test_unit_ready(disc->handle(), 0) != DRIVER_OP_SUCCESS)
        throw Error(QStringLiteral("The disc was taken out of %1 while %2 was being read")
                        .arg(drive.name(), part));
    QString subject = what();
    subject[0] = subject[0].toUpper();
    if (!state.failed.isEmpty()) {
        std::sort(state.failed.begin(), state.failed.end());
        QStringList runs;
        for (qsizetype i = 0; i < state.failed.size();) {
            qsizetype j = i;
            while (j + 1 < state.failed.size() && state.failed[j + 1] == state.failed[j] + 1)
                ++j;
            runs << positionText(state.failed[i], state.failed[j]);
            i = j + 1;
        }
        throw Error(QStringLiteral("%1 cannot be read reliably: the drive cannot read %2; the "
                                   "disc may be scratched or dirty")
                        .arg(subject, runs.join(QStringLiteral(", "))));
    }
    if (state.failedRun.second > state.failedRun.first)
        throw Error(
            QStringLiteral("%1 cannot be read reliably: the drive cannot read some of "
                           "%2; the disc may be scratched or dirty")
                .arg(subject, positionText(state.failedRun.first, state.failedRun.second - 1)));
    throw Error(QStringLiteral("%1 cannot be read reliably: its audio at %2 never reads the same "
                               "twice; the disc may be scratched or dirty")
                    .arg(subject, positionText(sector, sector)));
}

// "00:01:25 into track 2 (sector 250 of the disc)", or a stretch from one sector to another.
QString DiscReader::Impl::positionText(qint32 from, qint32 to) const {
    const QString sectors = from == to ? QStringLiteral("sector %1").arg(from)
                                       : QStringLiteral("sectors %1 to %2").arg(from).arg(to);
    for (const TocTrack& t : toc.tracks) {
        if (from < t.start || from >= t.start + t.sectors)
            continue;
        const QString time =
            from == to ? msfText(from - t.start)
                       : msfText(from - t.start) + QStringLiteral(" to ") + msfText(to - t.start);
        return QStringLiteral("%1 into track %2 (%3 of the disc)")
            .arg(time)
            .arg(t.number)
            .arg(sectors);
    }
    return sectors + QStringLiteral(" of the disc");
}

DiscReader::DiscReader(std::unique_ptr<Impl> impl) : d(std::move(impl)) {}

DiscReader::~DiscReader() = default;

std::unique_ptr<DiscReader> DiscReader::track(const Drive& drive, int number, Options options) {
    auto disc = std::make_unique<Disc>(drive);
    const Toc toc = disc->toc();
    if (number == 0)
        return hiddenTrack(std::move(disc), toc, options);
    if (QString why = toc.whyNotAudio(number, drive.name()); !why.isEmpty()) {
        why[0] = why[0].toUpper();
        throw Error(why);
    }
    const TocTrack* t = toc.track(number);
    if (!t->problem.isEmpty())
        throw Error(t->problem);
    auto impl = std::make_unique<Impl>();
    impl->disc = std::move(disc);
    impl->part = QStringLiteral("track %1").arg(number);
    impl->options = options;
    impl->first = t->start;
    impl->end = t->start + t->sectors;
    impl->open(toc);
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

std::unique_ptr<DiscReader> DiscReader::hiddenTrack(std::unique_ptr<Disc> disc, const Toc& toc,
                                                    Options options) {
    const TocTrack* first = toc.tracks.isEmpty() ? nullptr : &toc.tracks.first();
    if (!first || !first->audio() || first->start <= 0)
        throw Error(QStringLiteral("The disc in %1 has no track 0 (no audio is hidden before its "
                                   "first track)")
                        .arg(disc->drive().name()));
    // A first track past the end of an image leaves no end to the gap before it.
    if (first->start > toc.leadout)
        throw Error(first->problem);
    auto impl = std::make_unique<Impl>();
    impl->disc = std::move(disc);
    impl->part = QStringLiteral("the hidden track before track %1").arg(first->number);
    impl->options = options;
    impl->first = 0;
    impl->end = first->start;
    impl->open(toc);
    // Paranoia's audio area starts at the first track; the gap before it is audio too.
    impl->audioFirst = 0;
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

std::unique_ptr<DiscReader> DiscReader::sectors(const Drive& drive, qint32 first, qint32 end,
                                                Options options) {
    auto impl = std::make_unique<Impl>();
    impl->disc = std::make_unique<Disc>(drive);
    const Toc toc = impl->disc->toc();
    impl->part = QStringLiteral("sectors %1 to %2").arg(first).arg(end - 1);
    impl->options = options;
    impl->first = first;
    impl->end = std::max(first, end);
    impl->open(toc);
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

qint32 hiddenTrackSectors(const Drive& drive) {
    Disc disc(drive);
    const std::optional<Toc> toc = disc.readToc();
    if (!toc || toc->tracks.isEmpty() || !toc->tracks.first().audio() ||
        toc->tracks.first().start <= 0 || toc->tracks.first().start > toc->leadout)
        return 0;
    DiscReader::Options plain;
    plain.paranoia = false;
    const std::unique_ptr<DiscReader> reader = DiscReader::track(drive, 0, plain);
    std::vector<qint16> buffer(kFramesPerSector * 2 * 75);
    for (qint64 n; (n = reader->read(buffer.data(), kFramesPerSector * 75)) > 0;) {
        if (std::any_of(buffer.begin(), buffer.begin() + n * 2, [](qint16 s) { return s != 0; }))
            return toc->tracks.first().start;
    }
    return 0;
}

PcmFormat DiscReader::format() const {
    return PcmFormat::cdAudio();
}

qint64 DiscReader::expectedFrames() const {
    return qint64(d->end - d->first) * kFramesPerSector;
}

qint64 DiscReader::read(qint16* buffer, qint64 maxFrames) {
    if (d->state.interrupted)
        d->failRead(d->bufferSector);
    qint64 done = 0;
    while (done < maxFrames && d->nextFrame < d->endFrame) {
        const qint32 sector = sectorOf(d->nextFrame);
        if (sector != d->bufferSector) {
            d->bufferSector = INT_MIN;
            d->loadSector(sector);
            d->bufferSector = sector;
        }
        const qint64 within = d->nextFrame - qint64(sector) * kFramesPerSector;
        const qint64 n =
            std::min({kFramesPerSector - within, maxFrames - done, d->endFrame - d->nextFrame});
        std::memcpy(buffer + done * 2, d->buffer + within * 2, size_t(n) * 2 * sizeof(qint16));
        done += n;
        d->nextFrame += n;
        d->current = std::clamp(sector - d->first + 1, 0, d->end - d->first);
    }
    return done;
}

void DiscReader::interrupt() {
    d->state.interrupted = true;
}

quint64 DiscReader::activity() const {
    return d->state.answered.load(std::memory_order_relaxed);
}

qint32 DiscReader::currentSector() const {
    return d->current;
}

qint32 DiscReader::totalSectors() const {
    return d->end - d->first;
}

} // namespace cdio
