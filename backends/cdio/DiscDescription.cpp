#include "backends/cdio/DiscDescription.h"

#include "backends/cdio/CdioLog.h"
#include "backends/cdio/Disc.h"

#include <cdio/cdio.h>
#include <cdio/cdtext.h>
#include <cdio/mmc.h>
#include <cdio/mmc_ll_cmds.h>

#include <cstdlib>
#include <vector>

namespace cdio {
namespace {

// Sectors read at once while looking for a gap in the Q sub-channel.
constexpr int kQBatch = 25;
constexpr int kQBlock = 2352 + 16;

QString taken(char* text) {
    const QString value = text ? QString::fromLatin1(text).trimmed() : QString();
    std::free(text);
    return value;
}

QString textOf(const cdtext_t* text, cdtext_field_t field, track_t track) {
    const char* value = text ? cdtext_get_const(text, field, track) : nullptr;
    return value ? QString::fromUtf8(value) : QString();
}

int fromBcd(quint8 value) {
    return (value >> 4) * 10 + (value & 0x0f);
}

// The Q sub-channel of sectors [first, first + count): per sector its track and index number
// (-1 where the Q frame carries no position). Empty when the drive cannot say.
std::vector<std::pair<int, int>> positions(CdIo_t* cd, qint32 first, int count) {
    std::vector<unsigned char> buffer(size_t(count) * kQBlock);
    if (mmc_read_cd(cd, buffer.data(), first, CDIO_MMC_READ_TYPE_CDDA, false, false, 0, true, false,
                    0, 2, kQBlock, unsigned(count)) != DRIVER_OP_SUCCESS)
        return {};
    std::vector<std::pair<int, int>> result;
    for (int i = 0; i < count; ++i) {
        const unsigned char* q = buffer.data() + size_t(i) * kQBlock + 2352;
        if ((q[0] & 0x0f) == 1)
            result.emplace_back(fromBcd(q[1]), fromBcd(q[2]));
        else
            result.emplace_back(-1, -1);
    }
    return result;
}

// Where track's INDEX 00 begins on a drive: walking back from INDEX 01 while the Q
// sub-channel says index 0 of this track.
qint32 gapStart(CdIo_t* cd, int track, qint32 start, qint32 previousStart) {
    qint32 gap = start;
    for (qint32 end = start; end > previousStart;) {
        const qint32 first = std::max(previousStart, end - kQBatch);
        const auto q = positions(cd, first, end - first);
        if (q.empty())
            return start;
        for (int i = int(q.size()) - 1; i >= 0; --i) {
            if (q[size_t(i)].first == -1)
                continue; // another kind of Q frame: as the one after it
            if (q[size_t(i)].first != track || q[size_t(i)].second != 0)
                return gap;
            gap = first + i;
        }
        end = first;
    }
    return gap;
}

} // namespace

DiscDescription describeDisc(const Drive& drive) {
    installLogHandler();
    Disc disc(drive);
    const Toc toc = disc.toc();
    CdIo_t* cd = disc.handle();
    DiscDescription d;
    d.leadout = toc.leadout;
    d.catalog = taken(cdio_get_mcn(cd));
    if (d.catalog.size() != 13 || d.catalog == QLatin1String("0000000000000"))
        d.catalog.clear();
    const cdtext_t* text = cdio_get_cdtext(cd);
    d.title = textOf(text, CDTEXT_FIELD_TITLE, 0);
    d.performer = textOf(text, CDTEXT_FIELD_PERFORMER, 0);
    d.songwriter = textOf(text, CDTEXT_FIELD_SONGWRITER, 0);
    for (qsizetype i = 0; i < toc.tracks.size(); ++i) {
        const TocTrack& t = toc.tracks[i];
        // libcdio numbers an image's tracks from 1, whatever its sheet says.
        const auto number = track_t(disc.libcdioTrack(t.number));
        TrackDescription track;
        track.number = t.number;
        track.start = t.start;
        track.pregapStart = t.start;
        track.audio = t.audio();
        if (i > 0) {
            if (drive.image) {
                const lsn_t gap = cdio_get_track_pregap_lsn(cd, number);
                if (gap != CDIO_INVALID_LSN && gap < t.start && gap >= toc.tracks[i - 1].start)
                    track.pregapStart = gap;
            } else if (t.audio() && toc.tracks[i - 1].audio()) {
                track.pregapStart = gapStart(cd, t.number, t.start, toc.tracks[i - 1].start);
            }
        }
        track.preEmphasis = cdio_get_track_preemphasis(cd, number) == CDIO_TRACK_FLAG_TRUE;
        track.copyPermitted = cdio_get_track_copy_permit(cd, number) == CDIO_TRACK_FLAG_TRUE;
        track.isrc = taken(cdio_get_track_isrc(cd, number));
        if (track.isrc.size() != 12)
            track.isrc.clear();
        track.title = textOf(text, CDTEXT_FIELD_TITLE, number);
        track.performer = textOf(text, CDTEXT_FIELD_PERFORMER, number);
        track.songwriter = textOf(text, CDTEXT_FIELD_SONGWRITER, number);
        d.tracks.append(track);
    }
    for (qsizetype i = 0; i < d.tracks.size(); ++i)
        d.tracks[i].end = i + 1 < d.tracks.size() ? d.tracks[i + 1].pregapStart : d.leadout;
    takeLogMessages();
    return d;
}

} // namespace cdio
