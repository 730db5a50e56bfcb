#include "backends/cdio/Disc.h"

#include "backends/cdio/CdioLog.h"
#include "backends/cdio/CueSheet.h"
#include "components/Error.h"

#include <QFile>
#include <QMap>
#include <algorithm>
#include <cdio/cdio.h>
#include <cdio/memory.h>
#include <cdio/mmc_ll_cmds.h>

namespace cdio {
namespace {

// Between the last track of the first session and the first of the next lie the first
// session's lead-out and the next one's lead-in and pre-gap: they hold no audio.
constexpr qint32 kSessionGapSectors = 11400;

// Where each session's lead-out starts, by the number of every track in it, from the full
// table of contents (READ TOC format 2: its A2 point per session, its track points). Empty
// when the drive cannot tell.
QMap<int, qint32> sessionEnds(CdIo_t* cd) {
    unsigned char reply[4 + 11 * 120] = {};
    mmc_cdb_t cdb = {{0}};
    CDIO_MMC_SET_COMMAND(cdb.field, CDIO_MMC_GPCMD_READ_TOC);
    cdb.field[1] = 0x02; // MSF
    cdb.field[2] = CDIO_MMC_READTOC_FMT_FULTOC;
    CDIO_MMC_SET_READ_LENGTH16(cdb.field, sizeof reply);
    if (mmc_run_cmd(cd, 10000, &cdb, SCSI_MMC_DATA_READ, sizeof reply, reply) != DRIVER_OP_SUCCESS)
        return {};
    const int length = std::min<int>(sizeof reply, 2 + (reply[0] << 8 | reply[1]));
    QMap<int, qint32> leadOuts;               // by session
    QList<std::pair<int, int>> trackSessions; // track, session
    for (int at = 4; at + 11 <= length; at += 11) {
        const unsigned char* d = reply + at;
        const int point = d[3];
        const qint32 lsn = (d[8] * 60 + d[9]) * 75 + d[10] - 150;
        if ((d[1] >> 4) != 1)
            continue; // not a position (ADR 1)
        if (point == 0xA2)
            leadOuts[d[0]] = lsn;
        else if (point >= 1 && point <= 99)
            trackSessions.append({point, d[0]});
    }
    QMap<int, qint32> ends;
    for (const auto& [track, session] : trackSessions)
        if (leadOuts.contains(session))
            ends[track] = leadOuts[session];
    return ends;
}

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

QString Toc::whyNotAudio(int number, const QString& driveName) const {
    const TocTrack* t = track(number);
    if (!t)
        return QStringLiteral("the disc in %1 has no track %2 (it has %3)")
            .arg(driveName)
            .arg(number)
            .arg(tracks.size());
    if (!t->audio())
        return QStringLiteral("track %1 of %2 is a data track; only audio tracks can be ripped")
            .arg(number)
            .arg(driveName);
    return {};
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
    // A track ends where the next one starts or, the last of a session, at its lead-out.
    lsn_t lastSession = 0;
    if (m_drive.image || cdio_get_last_session(m_cd, &lastSession) != DRIVER_OP_SUCCESS)
        lastSession = 0;
    const QMap<int, qint32> ends = lastSession > 0 ? sessionEnds(m_cd) : QMap<int, qint32>();
    for (int i = 0; i < toc.tracks.size(); ++i) {
        TocTrack& t = toc.tracks[i];
        const bool last = i + 1 == toc.tracks.size();
        qint32 end = std::min(last ? toc.leadout : toc.tracks[i + 1].start, toc.leadout);
        const qint32 sessionEnd = ends.value(t.number - m_numberOffset, end);
        if (sessionEnd > t.start && sessionEnd < end)
            end = sessionEnd;
        else if (ends.isEmpty() && !last && lastSession > 0 && t.start < lastSession &&
                 end >= lastSession && end - t.start > kSessionGapSectors)
            end -= kSessionGapSectors; // a drive without the full table: the second session
        t.sectors = std::max(0, end - t.start);
        t.problem = problemOf(toc, i, m_drive, dataFile());
    }
    m_toc = toc;
    return m_toc;
}

Toc Disc::toc() {
    std::optional<Toc> toc = readToc();
    if (toc)
        return *toc;
    if (!m_drive.image) {
        // Say why when the drive can tell: a blank disc has no table of contents yet.
        unsigned char info[34] = {};
        if (mmc_read_disc_information(m_cd, info, sizeof info, CDIO_MMC_READ_DISC_INFO_STANDARD,
                                      0) == DRIVER_OP_SUCCESS &&
            (info[2] & 3) == 0)
            throw Error(QStringLiteral("The disc in %1 is blank: it holds no tracks to read")
                            .arg(m_drive.name()));
        cdio_mmc_request_sense_t* sense = nullptr;
        const bool ready = mmc_test_unit_ready(m_cd, 0) == DRIVER_OP_SUCCESS;
        const bool absent =
            !ready && mmc_last_cmd_sense(m_cd, &sense) >= 13 && sense && sense->asc == 0x3A;
        cdio_free(sense);
        if (absent)
            throw Error(QStringLiteral("There is no disc in %1").arg(m_drive.name()));
    }
    throw Error(QStringLiteral("There is no readable disc in %1").arg(m_drive.name()));
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
