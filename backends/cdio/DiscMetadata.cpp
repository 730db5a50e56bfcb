#include "backends/cdio/DiscMetadata.h"

#include "backends/lookup/MusicBrainz.h"

#include <cdio/cdio.h>
#include <cdio/cdtext.h>

namespace cdio {
namespace {

QString takeText(char* text) {
    if (!text)
        return {};
    const QString value = QString::fromLatin1(text).trimmed();
    cdio_free(text);
    return value;
}

// libcdio hands CD-Text over in UTF-8, whatever the disc's character set (a CUE sheet's text it
// takes as ISO 8859-1).
QString cdText(cdtext_t* text, cdtext_field_t field, int track) {
    const char* value = text ? cdtext_get_const(text, field, track_t(track)) : nullptr;
    return value ? QString::fromUtf8(value).trimmed() : QString();
}

// Drives answer "no catalogue number" with thirteen zeros.
QString meaningfulCode(QString code) {
    return code.count(u'0') == code.size() ? QString() : code;
}

} // namespace

QString readTrackIsrc(Disc& disc, int track) {
    return meaningfulCode(
        takeText(cdio_get_track_isrc(disc.handle(), track_t(disc.libcdioTrack(track)))));
}

DiscMetadata readDiscMetadata(Disc& disc, bool withIsrcs) {
    DiscMetadata metadata;
    const std::optional<Toc> toc = disc.readToc();
    if (!toc)
        return metadata;
    CdIo_t* cd = disc.handle();
    cdtext_t* text = cdio_get_cdtext(cd);
    metadata.album = cdText(text, CDTEXT_FIELD_TITLE, 0);
    metadata.artist = cdText(text, CDTEXT_FIELD_PERFORMER, 0);
    metadata.songwriter = cdText(text, CDTEXT_FIELD_SONGWRITER, 0);
    metadata.genre = cdText(text, CDTEXT_FIELD_GENRE, 0);
    metadata.mcn = meaningfulCode(takeText(cdio_get_mcn(cd)));
    for (const TocTrack& t : toc->tracks) {
        const int n = disc.libcdioTrack(t.number);
        TrackMetadata track;
        track.title = cdText(text, CDTEXT_FIELD_TITLE, n);
        track.artist = cdText(text, CDTEXT_FIELD_PERFORMER, n);
        track.songwriter = cdText(text, CDTEXT_FIELD_SONGWRITER, n);
        track.isrc = cdText(text, CDTEXT_FIELD_ISRC, n);
        if (withIsrcs && t.audio() && track.isrc.isEmpty())
            track.isrc = readTrackIsrc(disc, t.number);
        track.preemphasis = cdio_get_track_preemphasis(cd, track_t(n)) == CDIO_TRACK_FLAG_TRUE;
        track.copyPermitted = cdio_get_track_copy_permit(cd, track_t(n)) == CDIO_TRACK_FLAG_TRUE;
        // libcdio answers for a track without INDEX 00 with anything; only a gap that lies
        // between the track before and this one is believed.
        const lsn_t gap = cdio_get_track_pregap_lsn(cd, track_t(n));
        const TocTrack* before = toc->track(t.number - 1);
        if (gap != CDIO_INVALID_LSN && gap >= 0 && gap < t.start &&
            (!before || gap > before->start))
            track.gapStart = gap;
        metadata.tracks.insert(t.number, track);
    }
    return metadata;
}

void applyRelease(DiscMetadata& metadata, const lookup::Release& release, const Toc& toc) {
    metadata.album = release.title;
    metadata.artist = release.artist;
    metadata.year = release.year();
    metadata.releaseId = release.id;
    metadata.artistIds = release.artistIds;
    if (metadata.mcn.isEmpty() && release.barcode.size() == 13)
        metadata.mcn = release.barcode;
    int next = 0;
    for (const TocTrack& t : toc.tracks) {
        if (!t.audio() || next >= release.tracks.size())
            continue;
        const lookup::ReleaseTrack& from = release.tracks[next++];
        TrackMetadata& track = metadata.tracks[t.number];
        track.title = from.title;
        track.artist = from.artist;
        track.trackId = from.trackId;
        track.recordingId = from.recordingId;
    }
}

QMap<QString, QString> trackTags(const DiscMetadata& metadata, int track, int total,
                                 const QString& title, const QString& format) {
    const TrackMetadata facts = metadata.track(track);
    const QString artist = facts.artist.isEmpty() ? metadata.artist : facts.artist;
    const bool wma = format == QLatin1String("wma");
    const bool mp3 = format == QLatin1String("mp3");
    QMap<QString, QString> tags;
    auto put = [&](const QString& key, const QString& value) {
        if (!value.isEmpty())
            tags.insert(key, value);
    };
    put(QStringLiteral("title"), title);
    put(QStringLiteral("track"), QStringLiteral("%1/%2").arg(track).arg(total));
    put(QStringLiteral("artist"), artist);
    put(QStringLiteral("album"), metadata.album);
    if (!format.startsWith(QLatin1String("wav")))
        put(QStringLiteral("album_artist"), metadata.artist);
    put(wma ? QStringLiteral("WM/Year") : QStringLiteral("date"), metadata.year);
    put(mp3   ? QStringLiteral("TSRC")
        : wma ? QStringLiteral("WM/ISRC")
              : QStringLiteral("ISRC"),
        facts.isrc);
    if (!mp3 && !wma)
        return tags; // LIST/INFO has no fields for the identifiers
    // The names Picard gives them: TXXX frames in ID3v2, "MusicBrainz/..." attributes in ASF.
    const QString prefix = wma ? QStringLiteral("MusicBrainz/") : QStringLiteral("MusicBrainz ");
    put(prefix + QStringLiteral("Album Id"), metadata.releaseId);
    put(prefix + QStringLiteral("Album Artist Id"), metadata.artistIds.join(u'/'));
    put(prefix + QStringLiteral("Release Track Id"), facts.trackId);
    if (wma)
        put(prefix + QStringLiteral("Track Id"), facts.recordingId);
    put(prefix + QStringLiteral("Disc Id"), metadata.musicBrainzDiscId);
    return tags;
}

} // namespace cdio
