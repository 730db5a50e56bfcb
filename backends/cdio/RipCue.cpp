// The cue sheet of a rip's files: one FILE per track, gaps appended to the track before.
#include "backends/cdio/RipRecord.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace cdio {
namespace {

// A cue sheet has no escapes: a double quote in a name becomes a single one.
QString quoted(const QString& text) {
    QString plain = text;
    plain.replace(u'"', u'\'');
    plain.replace(u'\n', u' ');
    return u'"' + plain + u'"';
}

QString fileType(const QString& format) {
    return format == QLatin1String("mp3") ? QStringLiteral("MP3") : QStringLiteral("WAVE");
}

const RippedTrack* rippedTrack(const RipRecord& record, int number) {
    for (const RippedTrack& t : record.tracks)
        if (t.number == number && t.ripped())
            return &t;
    return nullptr;
}

// The track's file of this format, named as the sheet (in folder) reaches it.
QString fileOf(const RippedTrack& track, const QString& format, const QDir& folder) {
    for (const QString& file : track.files) {
        if (QFileInfo(file).suffix().compare(format, Qt::CaseInsensitive) != 0)
            continue;
        const QString absolute = QFileInfo(file).absoluteFilePath();
        const QString relative = folder.relativeFilePath(absolute);
        return relative.startsWith(QLatin1String("../")) ? absolute : relative;
    }
    return {};
}

void addTrackLines(QString& sheet, const RipRecord& record, const TocTrack& t) {
    const TrackMetadata facts = record.metadata.track(t.number);
    sheet += QStringLiteral("  TRACK %1 AUDIO\n").arg(t.number, 2, 10, QChar(u'0'));
    QStringList flags;
    if (facts.copyPermitted)
        flags << QStringLiteral("DCP");
    if (facts.preemphasis)
        flags << QStringLiteral("PRE");
    if (!flags.isEmpty())
        sheet += QStringLiteral("    FLAGS %1\n").arg(flags.join(u' '));
    if (!facts.title.isEmpty())
        sheet += QStringLiteral("    TITLE %1\n").arg(quoted(facts.title));
    if (!facts.artist.isEmpty())
        sheet += QStringLiteral("    PERFORMER %1\n").arg(quoted(facts.artist));
    if (!facts.songwriter.isEmpty())
        sheet += QStringLiteral("    SONGWRITER %1\n").arg(quoted(facts.songwriter));
    if (!facts.isrc.isEmpty())
        sheet += QStringLiteral("    ISRC %1\n").arg(facts.isrc);
}

} // namespace

QByteArray cueSheetBytes(const QString& sheet) {
    const bool latin1 =
        std::all_of(sheet.begin(), sheet.end(), [](QChar c) { return c.unicode() < 0x100; });
    return latin1 ? sheet.toLatin1() : sheet.toUtf8();
}

QString ripCueSheet(const RipRecord& record, const QString& format, const QString& folder) {
    const QDir dir(QFileInfo(folder).absoluteFilePath());
    const DiscMetadata& disc = record.metadata;
    QString sheet;
    if (!disc.genre.isEmpty())
        sheet += QStringLiteral("REM GENRE %1\n").arg(quoted(disc.genre));
    if (!disc.year.isEmpty())
        sheet += QStringLiteral("REM DATE %1\n").arg(disc.year);
    sheet += QStringLiteral("REM DISCID %1\n").arg(record.ids.cddbText().toUpper());
    if (!record.ids.musicBrainz.isEmpty())
        sheet += QStringLiteral("REM MUSICBRAINZ_DISCID %1\n").arg(record.ids.musicBrainz);
    sheet += QStringLiteral("REM COMMENT \"Melvane %1.%2\"\n")
                 .arg(MELVANE_VERSION_MAJOR)
                 .arg(MELVANE_VERSION_MINOR);
    if (!disc.mcn.isEmpty())
        sheet += QStringLiteral("CATALOG %1\n").arg(disc.mcn);
    if (!disc.artist.isEmpty())
        sheet += QStringLiteral("PERFORMER %1\n").arg(quoted(disc.artist));
    if (!disc.songwriter.isEmpty())
        sheet += QStringLiteral("SONGWRITER %1\n").arg(quoted(disc.songwriter));
    if (!disc.album.isEmpty())
        sheet += QStringLiteral("TITLE %1\n").arg(quoted(disc.album));

    // The file the sheet is in and where in the disc it starts: a gap goes into the file
    // before its track when that file runs on up to the track.
    const RippedTrack* open = nullptr;
    qint32 openStart = 0;
    const RippedTrack* hidden = rippedTrack(record, 0);
    for (const TocTrack& t : record.toc.tracks) {
        if (!t.audio())
            continue;
        const RippedTrack* track = rippedTrack(record, t.number);
        const QString file = track ? fileOf(*track, format, dir) : QString();
        if (file.isEmpty()) {
            open = nullptr;
            continue;
        }
        const TocTrack* before = record.toc.track(t.number - 1);
        const bool follows = open && before && before->start + before->sectors == t.start;
        const qint32 gap = record.metadata.track(t.number).gapStart;
        const bool firstOnDisc = t.number == record.toc.tracks.first().number;
        if (firstOnDisc && hidden && t.start > 0) {
            // The sound before track 1 is its gap, in a file of its own.
            sheet += QStringLiteral("FILE %1 %2\n")
                         .arg(quoted(fileOf(*hidden, format, dir)), fileType(format));
            addTrackLines(sheet, record, t);
            sheet += QStringLiteral("    INDEX 00 00:00:00\n");
            sheet += QStringLiteral("FILE %1 %2\n").arg(quoted(file), fileType(format));
        } else if (follows && gap >= 0 && gap < t.start) {
            addTrackLines(sheet, record, t);
            sheet += QStringLiteral("    INDEX 00 %1\n").arg(msfText(gap - openStart));
            sheet += QStringLiteral("FILE %1 %2\n").arg(quoted(file), fileType(format));
        } else {
            sheet += QStringLiteral("FILE %1 %2\n").arg(quoted(file), fileType(format));
            addTrackLines(sheet, record, t);
            // Silence before the first track, not ripped: the burner makes it again.
            if (firstOnDisc && t.start > 0)
                sheet += QStringLiteral("    PREGAP %1\n").arg(msfText(t.start));
        }
        sheet += QStringLiteral("    INDEX 01 00:00:00\n");
        open = track;
        openStart = t.start;
    }
    return sheet;
}

} // namespace cdio
