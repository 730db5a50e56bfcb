// The rip log and the name of a job's log and cue sheet.
#include "backends/cdio/RipRecord.h"

#include "backends/cdio/CueSheet.h"
#include "backends/media/OutputFile.h"
#include "components/Error.h"

#include <QDir>
#include <QFileInfo>

namespace cdio {
namespace {

QString hex8(quint32 value) {
    return QStringLiteral("%1").arg(value, 8, 16, QChar(u'0'));
}

QString line(const QString& label, const QString& value) {
    return QStringLiteral("%1%2\n").arg(label + u':', -22).arg(value);
}

QString orNone(const QString& value) {
    return value.isEmpty() ? QStringLiteral("(none)") : value;
}

QString peakText(int peak) {
    return QStringLiteral("%1 %").arg(double(peak) * 100.0 / 32768.0, 0, 'f', 1);
}

QString trackName(int number) {
    return QStringLiteral("Track %1").arg(number, 2, 10, QChar(u'0'));
}

void addToc(QString& text, const RipRecord& record) {
    text += QStringLiteral("\nTable of contents\n");
    text += QStringLiteral("  Track  Start     Length    First sector  Last sector  Kind   "
                           "Pre-emphasis  ISRC\n");
    if (record.hiddenSectors > 0)
        text += QStringLiteral("  %1  %2  %3  %4  %5  audio  %6  %7\n")
                    .arg(0, 5)
                    .arg(msfText(0), msfText(record.hiddenSectors))
                    .arg(0, 12)
                    .arg(record.hiddenSectors - 1, 11)
                    .arg(QStringLiteral("no"), -12)
                    .arg(QString());
    for (const TocTrack& t : record.toc.tracks) {
        // No length or last sector for a track past the end: it has none that can be read.
        if (!t.problem.isEmpty()) {
            text += QStringLiteral("  %1  %2  cannot be read: %3\n")
                        .arg(t.number, 5)
                        .arg(msfText(t.start), t.problem);
            continue;
        }
        const TrackMetadata facts = record.metadata.track(t.number);
        text += QStringLiteral("  %1  %2  %3  %4  %5  %6  %7  %8\n")
                    .arg(t.number, 5)
                    .arg(msfText(t.start), msfText(t.sectors))
                    .arg(t.start, 12)
                    .arg(t.start + t.sectors - 1, 11)
                    .arg(t.audio() ? QStringLiteral("audio") : QStringLiteral("data "))
                    .arg(facts.preemphasis ? QStringLiteral("yes") : QStringLiteral("no"), -12)
                    .arg(facts.isrc);
    }
    text += QStringLiteral("  Lead-out at sector %1 (%2)\n")
                .arg(record.toc.leadout)
                .arg(msfText(record.toc.leadout));
}

void addTrack(QString& text, const RippedTrack& track) {
    text += QStringLiteral("\n%1  %2\n").arg(trackName(track.number), track.title);
    for (const QString& file : track.files)
        text += line(QStringLiteral("  File"), file);
    if (!track.ripped()) {
        text += line(QStringLiteral("  Status"), QStringLiteral("FAILED: ") + track.failure);
        if (!track.paranoia.positions().isEmpty())
            text += line(QStringLiteral("  Paranoia"), track.paranoia.summary());
        return;
    }
    text += line(QStringLiteral("  Peak level"), peakText(track.peak));
    text += line(QStringLiteral("  CRC32"), hex8(track.crc32));
    QString accurate =
        QStringLiteral("v1 %1, v2 %2").arg(hex8(track.accurateRipV1), hex8(track.accurateRipV2));
    if (track.verdict)
        accurate += QStringLiteral(": ") + track.verdict->text();
    else if (track.number == 0)
        accurate += QStringLiteral(": not in the database (AccurateRip has no track 0)");
    text += line(QStringLiteral("  AccurateRip"), accurate);
    text += line(QStringLiteral("  Paranoia"), track.paranoia.summary());
    if (!track.paranoia.positions().isEmpty())
        text += line(QStringLiteral("  Positions"), track.paranoia.positions());
    text += line(QStringLiteral("  Status"),
                 track.suspicious() ? QStringLiteral("SUSPICIOUS: paranoia could not read all "
                                                     "of it reliably; the file may hold clicks")
                                    : QStringLiteral("ok"));
}

} // namespace

int RipRecord::accurateRipIndex(int track) const {
    int index = 0;
    for (const TocTrack& t : toc.tracks) {
        index += t.audio() ? 1 : 0;
        if (t.number == track)
            return t.audio() ? index : 0;
    }
    return 0;
}

QString ripLogText(const RipRecord& record) {
    QString text = QStringLiteral("Melvane %1.%2 rip log, %3\n\n")
                       .arg(MELVANE_VERSION_MAJOR)
                       .arg(MELVANE_VERSION_MINOR)
                       .arg(record.started.toString(Qt::ISODate));
    const Drive& drive = record.drive;
    text += line(QStringLiteral("Drive"),
                 QStringLiteral("%1 %2 %3 (%4)")
                     .arg(drive.vendor, drive.product, drive.revision, drive.device)
                     .simplified());
    text += line(QStringLiteral("Read offset"),
                 QStringLiteral("%1%2 samples (%3)")
                     .arg(record.offset > 0 ? QStringLiteral("+") : QString())
                     .arg(record.offset)
                     .arg(record.offsetSource));
    text += line(QStringLiteral("Paranoia"),
                 QStringLiteral("full (overlapped reads verified, jitter and drops corrected), "
                                "20 retries a sector"));
    QString formats = record.formats.join(QStringLiteral(", ")).toUpper();
    if (record.bitrateKbps > 0 && !(record.formats == QStringList{QStringLiteral("wav")}))
        formats += QStringLiteral(" (MP3 and WMA at %1 kbit/s)").arg(record.bitrateKbps);
    text += line(QStringLiteral("Formats"), formats);

    const DiscMetadata& disc = record.metadata;
    text += QStringLiteral("\nDisc\n");
    text += line(QStringLiteral("  Album"), orNone(disc.album));
    text += line(QStringLiteral("  Artist"), orNone(disc.artist));
    if (!disc.year.isEmpty())
        text += line(QStringLiteral("  Year"), disc.year);
    text += line(QStringLiteral("  Names from"),
                 disc.fromLookup() ? QStringLiteral("MusicBrainz release ") + disc.releaseId
                 : disc.album.isEmpty() && disc.tracks.value(1).title.isEmpty()
                     ? QStringLiteral("(none: no CD-Text and no lookup)")
                     : QStringLiteral("CD-Text"));
    text += line(QStringLiteral("  MCN"), orNone(disc.mcn));
    text += line(QStringLiteral("  AccurateRip ID"), record.ids.accurateRipText());
    text += line(QStringLiteral("  MusicBrainz ID"), orNone(record.ids.musicBrainz));
    text += line(QStringLiteral("  CDDB ID"), record.ids.cddbText());
    text += line(QStringLiteral("  AccurateRip"), orNone(record.accurateRipState));
    addToc(text, record);

    text += QStringLiteral("\nTracks\n");
    int ripped = 0;
    int accurate = 0;
    int suspicious = 0;
    int differs = 0;
    for (const RippedTrack& track : record.tracks) {
        addTrack(text, track);
        ripped += track.ripped() ? 1 : 0;
        suspicious += track.ripped() && track.suspicious() ? 1 : 0;
        if (track.verdict && track.verdict->kind == lookup::AccurateRipVerdict::Kind::Accurate)
            ++accurate;
        if (track.verdict && track.verdict->kind == lookup::AccurateRipVerdict::Kind::Differs)
            ++differs;
    }
    text += QStringLiteral("\nSummary: %1 of %2 track(s) ripped, %3 accurately, %4 differing "
                           "from AccurateRip, %5 suspicious\n")
                .arg(ripped)
                .arg(record.tracks.size())
                .arg(accurate)
                .arg(differs)
                .arg(suspicious);
    return text;
}

QString ripReportName(const RipRecord& record) {
    const DiscMetadata& disc = record.metadata;
    QString name = disc.album.isEmpty()    ? QStringLiteral("Audio CD ") + record.ids.cddbText()
                   : disc.artist.isEmpty() ? disc.album
                                           : disc.artist + QStringLiteral(" - ") + disc.album;
    // What no file system takes, and what would make a hidden file.
    for (QChar& c : name)
        if (c == u'/' || c == u'\\' || c < u' ')
            c = u'_';
    while (name.startsWith(u'.'))
        name.remove(0, 1);
    return name.trimmed().left(200);
}

QStringList ripSources(const Drive& drive) {
    if (!drive.image)
        return {};
    try {
        return {drive.device, CueSheet(drive.device).dataFile()};
    } catch (const Error&) {
        return {drive.device}; // a sheet that cannot be read is ripped from by no one
    }
}

void writeFile(const QString& path, const QByteArray& bytes, bool overwrite,
               const QStringList& sources) {
    OutputFile file(path, {overwrite, sources});
    file.write(bytes.constData(), bytes.size());
    file.commit();
}

} // namespace cdio
