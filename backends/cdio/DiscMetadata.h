#pragma once

#include "backends/cdio/Disc.h"

#include <QMap>
#include <QString>
#include <QStringList>

namespace lookup {
struct Release;
}

namespace cdio {

// What is known about one track beyond its place on the disc.
struct TrackMetadata {
    QString title;
    QString artist;
    QString songwriter;
    QString isrc;
    bool preemphasis = false;
    bool copyPermitted = false;
    qint32 gapStart = -1; // sector (LSN) of INDEX 00 when the disc tells it, else -1
    QString trackId;      // MusicBrainz release track and recording, after a lookup
    QString recordingId;
};

// What is known about a disc beyond its table of contents: its CD-Text, catalogue number and
// per-track codes and flags, read with libcdio (from a drive, or from a CUE sheet's TITLE,
// PERFORMER, SONGWRITER, CATALOG, ISRC and FLAGS lines); and what a MusicBrainz lookup added.
struct DiscMetadata {
    QString album;
    QString artist;
    QString songwriter;
    QString genre;
    QString year;
    QString mcn;       // the catalogue number (UPC/EAN), empty when the disc has none
    QString releaseId; // MusicBrainz, after a lookup
    QStringList artistIds;
    QString musicBrainzDiscId;
    QMap<int, TrackMetadata> tracks; // by track number

    TrackMetadata track(int number) const { return tracks.value(number); }
    bool fromLookup() const { return !releaseId.isEmpty(); }
};

// Reads the disc's CD-Text, MCN, flags and gaps; ISRCs too when withIsrcs is set (a drive
// answers each with a sub-channel read). Never raises: what cannot be read stays empty.
DiscMetadata readDiscMetadata(Disc& disc, bool withIsrcs = true);
// One track's ISRC, read on its own; empty when it has none.
QString readTrackIsrc(Disc& disc, int track);

// Takes a release's album facts and track names over what the disc said. The release's
// tracks are matched to the disc's audio tracks in order.
void applyRelease(DiscMetadata& metadata, const lookup::Release& release, const Toc& toc);

// The tags of a track's file, with the keys FFmpeg's muxer for the format writes: ID3v2 frames
// for "mp3", ASF attributes for "wma", LIST/INFO for "wav". title is the row's name; total
// the number of audio tracks. Only what is known is there.
QMap<QString, QString> trackTags(const DiscMetadata& metadata, int track, int total,
                                 const QString& title, const QString& format);

} // namespace cdio
