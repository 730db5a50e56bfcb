#pragma once

#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscIds.h"
#include "backends/cdio/DiscMetadata.h"
#include "backends/cdio/ParanoiaStats.h"
#include "backends/lookup/AccurateRip.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace cdio {

// One track of a rip job, as its log tells it.
struct RippedTrack {
    enum class Outcome { Ripped, Failed };
    int number = 0; // 0: the audio hidden before track 1
    QString title;  // the row's name, also the file's title tag
    QStringList files;
    Outcome outcome = Outcome::Ripped;
    QString failure;
    quint32 crc32 = 0;
    quint32 accurateRipV1 = 0;
    quint32 accurateRipV2 = 0;
    int peak = 0; // 0 to 32768
    ParanoiaStats paranoia;
    std::optional<lookup::AccurateRipVerdict> verdict;

    bool ripped() const { return outcome == Outcome::Ripped; }
    bool suspicious() const { return paranoia.suspicious(); }
};

// A rip job from start to end: the disc, how it was read, what became of each track. Both
// the command line and the window fill one and write its log and cue sheet at the end.
struct RipRecord {
    Drive drive;
    Toc toc;
    DiscMetadata metadata;
    DiscIds ids;
    qint32 hiddenSectors = 0; // sound before track 1 (track 0), see hiddenTrackSectors
    qint32 offset = 0;
    QString offsetSource;     // how the offset came about: "given", "found by AccurateRip ..."
    QString accurateRipState; // what the database said of the disc as a whole
    QStringList formats;      // "wav", "mp3", "wma"
    int bitrateKbps = 0;
    QDateTime started;
    QList<RippedTrack> tracks; // in track order

    int audioTrackCount() const { return toc.audioTrackCount(); }
    // The track's place among the audio tracks (from 1), as AccurateRip counts; 0 for none.
    int accurateRipIndex(int track) const;
};

// The log: program, drive, offset, paranoia, the disc's TOC and IDs, then each track's file,
// peak, checksums, AccurateRip result and paranoia counts, and a summary.
QString ripLogText(const RipRecord& record);

// The cue sheet for the files of one format, in folder: one FILE per track, each track's
// INDEX 00 gap at the end of the file before it (where it was ripped), with CATALOG, ISRC,
// FLAGS and the CD-Text, so that the files burn back as the same disc.
QString ripCueSheet(const RipRecord& record, const QString& format, const QString& folder);
// A cue sheet's bytes: ISO 8859-1, CD-Text's own character set and what libcdio and burners
// read, when every character fits; UTF-8 otherwise.
QByteArray cueSheetBytes(const QString& sheet);

// The name the log and cue sheet go by: "Artist - Album", "Album", or "Audio CD <CDDB ID>",
// with what a file name cannot hold replaced.
QString ripReportName(const RipRecord& record);

// The files a rip reads, never to be written over whatever the user allows: an image's sheet and
// its data file; none for a drive.
QStringList ripSources(const Drive& drive);

// Writes bytes as a file, whole or not at all (OutputFile); an existing file is replaced
// only with overwrite, and never one of sources. Raises Error (OutputExistsError when the name
// is taken).
void writeFile(const QString& path, const QByteArray& bytes, bool overwrite,
               const QStringList& sources = {});

} // namespace cdio
