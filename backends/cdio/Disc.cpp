#include "backends/cdio/Disc.h"

#include "backends/cdio/CdioLog.h"
#include "backends/cdio/CueSheet.h"
#include "components/Error.h"

#include <QFile>
#include <algorithm>
#include <cdio/cdio.h>
#include <cdio/mmc_ll_cmds.h>

namespace cdio {
namespace {

// Between the last audio track of the first session and a data track in the next one lie the
// first session's lead-out and the next one's lead-in and pre-gap: they hold no audio.
constexpr qint32 kSessionGapSectors = 11400;

TocTrack::Kind kindOf(track_format_t format) {
    switch (format) {
    case TRACK_FORMAT_AUDIO:
        return TocTrack::Kind::Audio;
    case TRACK_FORMAT_DATA:
        return TocTrack::Kind::Mode1;
    case TRACK_FORMAT_XA:
        return TocTrack::Kind::Mode2;
    case TRACK_FORMAT_CDI:
        return TocTrack::Kind::CdI;
    default:
        return TocTrack::Kind::Other;
    }
}

qint32 typeOf(TocTrack::Kind kind) {
    switch (kind) {
    case TocTrack::Kind::Audio:
        return 0;
    case TocTrack::Kind::Mode1:
        return 3;
    case TocTrack::Kind::Mode2:
        return 4;
    case TocTrack::Kind::CdI:
        return 5;
    case TocTrack::Kind::Other:
        break;
    }
    return 1;
}

QString reason(const QString& fallback) {
    const QString logged = takeLogMessages();
    return logged.isEmpty() ? fallback : logged;
}

// What keeps track i of a table of contents from being read; empty when nothing does.
QString problemOf(const Toc& toc, int i, const Drive& drive, const QString& dataFile) {
    const TocTrack& t = toc.tracks[i];
    const bool last = i + 1 == toc.tracks.size();
    const qint32 end = last ? toc.leadout : toc.tracks[i + 1].start;
    const QString where =
        drive.image
            ? QStringLiteral("the image %1: its data file %2 ends at %3")
                  .arg(drive.device, dataFile, msfText(toc.leadout))
            : QStringLiteral("the disc in %1, at %2").arg(drive.name(), msfText(toc.leadout));
    if (t.start >= toc.leadout)
        return QStringLiteral("Track %1 starts at %2, after the end of %3")
            .arg(t.number)
            .arg(msfText(t.start), where);
    if (end > toc.leadout)
        return QStringLiteral("Track %1 runs to %2, past the end of %3")
            .arg(t.number)
            .arg(msfText(end), where);
    if (end <= t.start)
        return QStringLiteral("Track %1 of %2 holds no sectors: track %3 starts at %4, where it "
                              "starts")
            .arg(t.number)
            .arg(drive.name())
            .arg(toc.tracks[i + 1].number)
            .arg(msfText(end));
    return {};
}

} // namespace

QString msfText(qint64 sectors) {
    const qint64 frames = sectors % kSectorsPerSecond;
    const qint64 seconds = sectors / kSectorsPerSecond;
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 60, 2, 10, QChar(u'0'))
        .arg(seconds % 60, 2, 10, QChar(u'0'))
        .arg(frames, 2, 10, QChar(u'0'));
}

const TocTrack* Toc::track(int number) const {
    for (const TocTrack& t : tracks)
        if (t.number == number)
            return &t;
    return nullptr;
}

qint32 Toc::lengthSectors() const {
    return tracks.isEmpty() ? 0 : std::max(0, leadout - tracks.first().start);
}

int Toc::audioTrackCount() const {
    int n = 0;
    for (const TocTrack& t : tracks)
        n += t.audio() ? 1 : 0;
    return n;
}

Disc::Disc(const Drive& drive) : m_drive(drive) {
    installLogHandler();
    takeLogMessages();
    if (drive.image) {
        m_sheet = std::make_unique<CueSheet>(drive.device);
        m_numberOffset = m_sheet->firstTrack() - 1;
        m_cd = cdio_open(m_sheet->copyPath().constData(), DRIVER_BINCUE);
        if (!m_cd)
            throw Error(QStringLiteral("Cannot open %1: libcdio refuses it: %2")
                            .arg(drive.name(),
                                 m_sheet->explain(reason(QStringLiteral("it gives no reason")))));
        return;
    }
    m_cd = cdio_open(QFile::encodeName(drive.device).constData(), DRIVER_DEVICE);
    if (!m_cd)
        throw Error(QStringLiteral("Cannot open %1: %2")
                        .arg(drive.name(), reason(QStringLiteral(
                                               "it is not a CD drive, or it cannot be opened"))));
}

Disc::~Disc() {
    if (m_cd)
        cdio_destroy(m_cd);
}

QString Disc::dataFile() const {
    return m_sheet ? m_sheet->dataFile() : QString();
}

std::optional<Toc> Disc::readToc() {
    if (m_toc || !m_cd)
        return m_toc;
    const track_t first = cdio_get_first_track_num(m_cd);
    const track_t count = cdio_get_num_tracks(m_cd);
    if (first == CDIO_INVALID_TRACK || count == CDIO_INVALID_TRACK || count == 0)
        return std::nullopt;
    Toc toc;
    toc.leadout = cdio_get_track_lsn(m_cd, CDIO_CDROM_LEADOUT_TRACK);
    if (toc.leadout == CDIO_INVALID_LSN)
        return std::nullopt;
    for (int n = first; n < first + count; ++n) {
        TocTrack t;
        t.number = n + m_numberOffset;
        t.start = cdio_get_track_lsn(m_cd, track_t(n));
        t.kind = kindOf(cdio_get_track_format(m_cd, track_t(n)));
        if (t.start == CDIO_INVALID_LSN)
            return std::nullopt;
        toc.tracks.append(t);
    }
    lsn_t lastSession = 0;
    if (m_drive.image || cdio_get_last_session(m_cd, &lastSession) != DRIVER_OP_SUCCESS)
        lastSession = 0;
    for (int i = 0; i < toc.tracks.size(); ++i) {
        TocTrack& t = toc.tracks[i];
        const bool last = i + 1 == toc.tracks.size();
        const qint32 end = last ? toc.leadout : toc.tracks[i + 1].start;
        t.sectors = std::max(0, std::min(end, toc.leadout) - t.start);
        if (!last && lastSession > 0 && t.audio() && !toc.tracks[i + 1].audio() &&
            end >= lastSession && t.sectors > kSessionGapSectors)
            t.sectors -= kSessionGapSectors;
        t.problem = problemOf(toc, i, m_drive, dataFile());
    }
    m_toc = toc;
    return m_toc;
}

Toc Disc::toc() {
    std::optional<Toc> toc = readToc();
    if (!toc)
        throw Error(QStringLiteral("There is no readable disc in %1").arg(m_drive.name()));
    return *toc;
}

qint32 Disc::discType(int track) {
    const std::optional<Toc> toc = readToc();
    if (!toc)
        return 0;
    if (track != 0) {
        const TocTrack* t = toc->track(track);
        if (!t)
            throw Error(
                QStringLiteral("The disc in %1 has no track %2").arg(m_drive.name()).arg(track));
        return typeOf(t->kind);
    }
    if (toc->audioTrackCount() > 0)
        return 0;
    if (cdio_get_discmode(m_cd) == CDIO_DISC_MODE_CD_I)
        return 5;
    const TocTrack::Kind kind = toc->tracks.first().kind;
    for (const TocTrack& t : toc->tracks)
        if (t.kind != kind)
            return 1;
    return typeOf(kind);
}

qint32 Disc::discState() {
    if (m_drive.image) {
        toc();
        return 0;
    }
    // Standard disc information: byte 2, bits 0-1 hold the disc status.
    unsigned char info[34] = {};
    if (mmc_read_disc_information(m_cd, info, sizeof info, CDIO_MMC_READ_DISC_INFO_STANDARD, 0) ==
        DRIVER_OP_SUCCESS) {
        static constexpr qint32 kStates[4] = {2, 1, 0, 3}; // empty, incomplete, complete, other
        return kStates[info[2] & 3];
    }
    // A drive that cannot tell (a plain reader) holds a pressed or finalised disc if any.
    toc();
    return 0;
}

void Disc::eject() {
    if (m_drive.image)
        return;
    takeLogMessages();
    const driver_return_code_t rc = cdio_eject_media(&m_cd);
    if (rc != DRIVER_OP_SUCCESS)
        throw Error(
            QStringLiteral("Cannot open the tray of %1: %2")
                .arg(m_drive.name(), reason(QString::fromLocal8Bit(cdio_driver_errmsg(rc)))));
}

} // namespace cdio
