#include "backends/cdio/DiscReader.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/ParanoiaHooks.h"
#include "backends/cdio/ReadError.h"
#include "components/Error.h"

#include <QFile>
#include <algorithm>
#include <atomic>
#include <cdio/cdio.h>
#include <cdio/mmc_ll_cmds.h>
#include <cdio/paranoia/cdda.h>
#include <cdio/paranoia/paranoia.h>
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

qint32 sectorOf(qint64 frame) {
    return qint32(frame >= 0 ? frame / kFramesPerSector
                             : -((-frame + kFramesPerSector - 1) / kFramesPerSector));
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
    readingOn(state);
    if (!options.paranoia) {
        // Plain reads: paranoia's own unverified mode retries a failing read for ever.
        const long got = cdio_cddap_read(cdda, buffer, sector, 1);
        readingOff();
        if (state.interrupted || state.gone || got != 1)
            failRead(sector);
        return;
    }
    if (paranoiaNext != sector && cdio_paranoia_seek(paranoia, sector, SEEK_SET) < 0) {
        readingOff();
        paranoiaNext = INT_MIN;
        failRead(sector);
    }
    paranoiaNext = sector + 1;
    const int16_t* data = cdio_paranoia_read_limited(paranoia, paranoiaEvent, kRetries);
    readingOff();
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
    throwReadError(*disc, part, toc, state, sector);
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
