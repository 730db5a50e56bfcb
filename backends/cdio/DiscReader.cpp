#include "backends/cdio/DiscReader.h"

#include "backends/cdio/CueSheet.h"
#include "backends/cdio/Disc.h"
#include "components/Error.h"

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
    // Set during one paranoia read.
    bool gone = false;
    int skips = 0;
    ParanoiaStats* statistics = nullptr;

    bool imageIntact() const {
        struct stat now {};
        return ::stat(binPath.constData(), &now) == 0 && now.st_ino == binInode &&
               now.st_size >= binSize;
    }
};

thread_local ReadState* t_reading = nullptr;

long readAudio(cdrom_drive_t* drive, void* buffer, lsn_t begin, long sectors) noexcept {
    ReadState* r = t_reading;
    if (!r || r->interrupted.load())
        return -1;
    if (!r->binPath.isEmpty() && !r->imageIntact()) {
        r->gone = true;
        return -1;
    }
    return r->libraryRead(drive, buffer, begin, sectors);
}

void paranoiaEvent(long position, paranoia_cb_mode_t mode) noexcept {
    if (!t_reading)
        return;
    if (mode == PARANOIA_CB_SKIP)
        ++t_reading->skips;
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
    void open();
    void loadSector(qint32 sector);
    bool discStillThere() const;
    [[noreturn]] void failRead(qint32 sector);
};

void DiscReader::Impl::open() {
    const Drive& drive = disc->drive();
    nextFrame = qint64(first) * kFramesPerSector + options.offsetFrames;
    endFrame = qint64(end) * kFramesPerSector + options.offsetFrames;
    cdda = cdio_cddap_identify_cdio(disc->handle(), CDDA_MESSAGE_FORGETIT, nullptr);
    if (!cdda)
        throw Error(QStringLiteral("Cannot read audio from %1").arg(drive.name()));
    cdio_cddap_verbose_set(cdda, CDDA_MESSAGE_FORGETIT, CDDA_MESSAGE_FORGETIT);
    // Paranoia guesses the byte order from the sound, which silence or noise can fool. Images
    // hold little-endian samples, and MMC drives deliver CD audio little-endian too.
    cdda->bigendianp = 0;
    if (cdio_cddap_open(cdda) != 0)
        throw Error(QStringLiteral("Cannot read audio from %1: it holds no audio tracks")
                        .arg(drive.name()));
    audioFirst = cdio_cddap_disc_firstsector(cdda);
    audioLast = cdio_cddap_disc_lastsector(cdda);
    state.statistics = options.statistics.get();
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
        state.binPath = binPathFor(drive.device).toLocal8Bit();
        struct stat info {};
        if (::stat(state.binPath.constData(), &info) != 0)
            throw Error(QStringLiteral("Cannot read %1: its data file is missing").arg(what()));
        state.binInode = info.st_ino;
        state.binSize = info.st_size;
    }
}

void DiscReader::Impl::loadSector(qint32 sector) {
    if (sector < audioFirst || sector > audioLast) {
        std::fill(std::begin(buffer), std::end(buffer), qint16(0));
        return;
    }
    state.gone = false;
    state.skips = 0;
    t_reading = &state;
    if (!options.paranoia) {
        // Plain reads: paranoia's own unverified mode retries a failing read for ever.
        const long got = cdio_cddap_read(cdda, buffer, sector, 1);
        t_reading = nullptr;
        if (state.interrupted || state.gone || got != 1)
            failRead(sector);
        return;
    }
    if (paranoiaNext != sector)
        cdio_paranoia_seek(paranoia, sector, SEEK_SET);
    paranoiaNext = sector + 1;
    const int16_t* data = cdio_paranoia_read_limited(paranoia, paranoiaEvent, kRetries);
    t_reading = nullptr;
    if (state.interrupted || state.gone || !data)
        failRead(sector);
    // A skip on a disc that is still there is damage the statistics report; one because the
    // disc went away ends the read.
    if (state.skips > 0 && (!options.keepSkipped || !discStillThere()))
        failRead(sector);
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
    if (!drive.image && mmc_test_unit_ready(disc->handle(), 0) != DRIVER_OP_SUCCESS)
        throw Error(QStringLiteral("The disc was taken out of %1 while %2 was being read")
                        .arg(drive.name(), part));
    throw Error(QStringLiteral("Sector %1 of %2 cannot be read reliably; the disc may be "
                               "scratched or dirty")
                    .arg(sector)
                    .arg(what()));
}

DiscReader::DiscReader(std::unique_ptr<Impl> impl) : d(std::move(impl)) {}

DiscReader::~DiscReader() = default;

std::unique_ptr<DiscReader> DiscReader::track(const Drive& drive, int number, Options options) {
    auto disc = std::make_unique<Disc>(drive);
    const Toc toc = disc->toc();
    if (number == 0)
        return hiddenTrack(std::move(disc), toc, options);
    const TocTrack* t = toc.track(number);
    if (!t)
        throw Error(QStringLiteral("The disc in %1 has no track %2 (it has %3)")
                        .arg(drive.name())
                        .arg(number)
                        .arg(toc.tracks.size()));
    if (!t->audio())
        throw Error(QStringLiteral("Track %1 of %2 is a data track; only audio tracks can be read "
                                   "as sound")
                        .arg(number)
                        .arg(drive.name()));
    auto impl = std::make_unique<Impl>();
    impl->disc = std::move(disc);
    impl->part = QStringLiteral("track %1").arg(number);
    impl->options = options;
    impl->first = t->start;
    impl->end = t->start + t->sectors;
    impl->open();
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

std::unique_ptr<DiscReader> DiscReader::hiddenTrack(std::unique_ptr<Disc> disc, const Toc& toc,
                                                    Options options) {
    const TocTrack* first = toc.tracks.isEmpty() ? nullptr : &toc.tracks.first();
    if (!first || !first->audio() || first->start <= 0)
        throw Error(QStringLiteral("The disc in %1 has no track 0 (no audio is hidden before its "
                                   "first track)")
                        .arg(disc->drive().name()));
    auto impl = std::make_unique<Impl>();
    impl->disc = std::move(disc);
    impl->part = QStringLiteral("the hidden track before track %1").arg(first->number);
    impl->options = options;
    impl->first = 0;
    impl->end = first->start;
    impl->open();
    // Paranoia's audio area starts at the first track; the gap before it is audio too.
    impl->audioFirst = 0;
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

std::unique_ptr<DiscReader> DiscReader::sectors(const Drive& drive, qint32 first, qint32 end,
                                                Options options) {
    auto impl = std::make_unique<Impl>();
    impl->disc = std::make_unique<Disc>(drive);
    impl->disc->toc();
    impl->part = QStringLiteral("sectors %1 to %2").arg(first).arg(end - 1);
    impl->options = options;
    impl->first = first;
    impl->end = std::max(first, end);
    impl->open();
    return std::unique_ptr<DiscReader>(new DiscReader(std::move(impl)));
}

qint32 hiddenTrackSectors(const Drive& drive) {
    Disc disc(drive);
    const std::optional<Toc> toc = disc.readToc();
    if (!toc || toc->tracks.isEmpty() || !toc->tracks.first().audio() ||
        toc->tracks.first().start <= 0)
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

qint32 DiscReader::currentSector() const {
    return d->current;
}

qint32 DiscReader::totalSectors() const {
    return d->end - d->first;
}

} // namespace cdio
