#include "backends/cdio/DiscIds.h"

#include <algorithm>
#include <discid/discid.h>
#include <memory>

namespace cdio {
namespace {

// A disc's addresses count from the start of the lead-in's last two seconds.
constexpr qint32 kLeadInSectors = 150;

int digitSum(qint32 n) {
    int sum = 0;
    for (; n > 0; n /= 10)
        sum += n % 10;
    return sum;
}

quint32 freedbId(const Toc& toc) {
    int sum = 0;
    for (const TocTrack& t : toc.tracks)
        sum += digitSum((t.start + kLeadInSectors) / kSectorsPerSecond);
    const qint32 first = toc.tracks.isEmpty() ? 0 : toc.tracks.first().start;
    const quint32 seconds = quint32((toc.leadout + kLeadInSectors) / kSectorsPerSecond -
                                    (first + kLeadInSectors) / kSectorsPerSecond);
    return quint32(sum % 255) << 24 | seconds << 8 | quint32(toc.tracks.size());
}

void musicBrainzId(const Toc& toc, DiscIds& ids) {
    // Trailing data tracks are left out; the last audio track ends where its length says.
    qsizetype end = toc.tracks.size();
    while (end > 0 && !toc.tracks[end - 1].audio())
        --end;
    if (end == 0)
        return;
    int offsets[100] = {};
    const TocTrack& last = toc.tracks[end - 1];
    offsets[0] = last.start + last.sectors + kLeadInSectors;
    for (qsizetype i = 0; i < end; ++i)
        offsets[toc.tracks[i].number] = toc.tracks[i].start + kLeadInSectors;
    const std::unique_ptr<DiscId, void (*)(DiscId*)> disc(discid_new(), discid_free);
    if (!disc || !discid_put(disc.get(), toc.tracks.first().number, last.number, offsets))
        return;
    ids.musicBrainz = QString::fromLatin1(discid_get_id(disc.get()));
    ids.musicBrainzSubmission = QString::fromLatin1(discid_get_submission_url(disc.get()));
}

} // namespace

QString DiscIds::accurateRipText() const {
    return QStringLiteral("%1-%2-%3-%4")
        .arg(accurateRip.audioTracks, 3, 10, QChar(u'0'))
        .arg(accurateRip.id1, 8, 16, QChar(u'0'))
        .arg(accurateRip.id2, 8, 16, QChar(u'0'))
        .arg(accurateRip.cddb, 8, 16, QChar(u'0'));
}

QString DiscIds::cddbText() const {
    return QStringLiteral("%1").arg(cddb, 8, 16, QChar(u'0'));
}

DiscIds discIdsOf(const Toc& toc) {
    DiscIds ids;
    quint32 audio = 0;
    for (const TocTrack& t : toc.tracks) {
        if (!t.audio())
            continue;
        ++audio;
        ids.accurateRip.id1 += quint32(t.start);
        ids.accurateRip.id2 += quint32(std::max(t.start, 1)) * audio;
    }
    ids.accurateRip.id1 += quint32(toc.leadout);
    ids.accurateRip.id2 += quint32(toc.leadout) * (audio + 1);
    ids.accurateRip.audioTracks = int(audio);
    ids.cddb = freedbId(toc);
    ids.accurateRip.cddb = ids.cddb;
    musicBrainzId(toc, ids);
    return ids;
}

} // namespace cdio
