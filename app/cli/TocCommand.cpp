#include "app/cli/TocCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/DiscLookups.h"
#include "app/cli/DrivesCommand.h"
#include "app/cli/TerminalText.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscIds.h"
#include "backends/cdio/DiscMetadata.h"
#include "backends/cdio/DiscReader.h"
#include "components/Error.h"

#include <QStringList>

namespace {

QString megabytes(qint64 sectors) {
    return QStringLiteral("%1 MB").arg(double(sectors) * 2352 / 1024 / 1024, 0, 'f', 2);
}

// What the disc says of itself beyond its tracks: hidden audio, catalogue number, CD-Text,
// ISRCs and flags; nothing for a disc that says nothing.
QString metadataText(const cdio::Drive& drive, const cdio::Toc& toc,
                     const cdio::DiscMetadata& metadata) {
    QString text;
    if (const qint32 hidden = cdio::hiddenTrackSectors(drive))
        text += QStringLiteral("Hidden track 0: %1 of audio before track %2 (--tracks 0 rips "
                               "it)\n")
                    .arg(cdio::msfText(hidden))
                    .arg(toc.tracks.first().number);
    if (!metadata.mcn.isEmpty())
        text += QStringLiteral("Catalogue number (MCN) %1\n").arg(metadata.mcn);
    if (!metadata.album.isEmpty() || !metadata.artist.isEmpty())
        text += QStringLiteral("CD-Text: %1%2\n")
                    .arg(terminalText(metadata.artist),
                         metadata.artist.isEmpty() || metadata.album.isEmpty()
                             ? terminalText(metadata.album)
                             : QStringLiteral(" - ") + terminalText(metadata.album));
    QString tracks;
    for (const cdio::TocTrack& t : toc.tracks) {
        const cdio::TrackMetadata facts = metadata.track(t.number);
        QStringList parts;
        if (!facts.title.isEmpty())
            parts << terminalText(facts.title);
        if (!facts.artist.isEmpty() && facts.artist != metadata.artist)
            parts << QStringLiteral("(%1)").arg(terminalText(facts.artist));
        if (!facts.isrc.isEmpty())
            parts << QStringLiteral("ISRC ") + facts.isrc;
        if (facts.preemphasis)
            parts << QStringLiteral("pre-emphasis");
        if (!parts.isEmpty())
            tracks += QStringLiteral("%1   %2\n").arg(t.number, 5).arg(parts.join(u' '));
    }
    if (!tracks.isEmpty())
        text += QStringLiteral("Track  Title, ISRC, flags\n") + tracks;
    return text;
}

// The table, what the disc says of itself, and the reasons why tracks of it cannot be read.
QString tocText(const cdio::Drive& drive, bool lookUp, QStringList* problems) {
    cdio::Disc disc(drive);
    const cdio::Toc toc = disc.toc();
    QString text =
        QStringLiteral("%1  (%2)\n").arg(driveDescription(drive), terminalText(drive.device));
    text += QStringLiteral("Track  Start     Length    Sectors  Size        Kind\n");
    for (const cdio::TocTrack& t : toc.tracks) {
        if (!t.problem.isEmpty()) {
            text += QStringLiteral("%1   %2  cannot be read (see below)\n")
                        .arg(t.number, 5)
                        .arg(cdio::msfText(t.start));
            *problems << t.problem;
            continue;
        }
        text += QStringLiteral("%1   %2  %3  %4  %5  %6\n")
                    .arg(t.number, 5)
                    .arg(cdio::msfText(t.start), cdio::msfText(t.sectors))
                    .arg(t.sectors, 7)
                    .arg(megabytes(t.sectors), 10)
                    .arg(t.audio() ? QStringLiteral("audio") : QStringLiteral("data"));
    }
    text += QStringLiteral("Disc length %1, %2 tracks, %3\n")
                .arg(cdio::msfText(toc.lengthSectors()))
                .arg(toc.tracks.size())
                .arg(megabytes(toc.lengthSectors()));
    const cdio::DiscIds ids = cdio::discIdsOf(toc);
    text += QStringLiteral("AccurateRip disc ID %1\n").arg(ids.accurateRipText());
    if (!ids.musicBrainz.isEmpty())
        text += QStringLiteral("MusicBrainz disc ID %1\n").arg(ids.musicBrainz);
    text += QStringLiteral("CDDB disc ID %1\n").arg(ids.cddbText());
    text += metadataText(drive, toc, cdio::readDiscMetadata(disc));
    if (lookUp && !ids.musicBrainz.isEmpty())
        text += lookupText(lookUpDisc(ids.musicBrainz), ids.musicBrainz, ids.musicBrainzSubmission);
    return text;
}

} // namespace

int runTocCommand(const QStringList& arguments) {
    QStringList rest = arguments;
    const bool lookUp = rest.removeAll(QStringLiteral("--lookup")) > 0;
    if (const auto code = plainCommandHelp(
            rest,
            QStringLiteral(
                "Usage: melvane-cli toc [--lookup] DRIVE\n\n"
                "Prints the table of contents of the disc in DRIVE: a number from 'melvane-cli\n"
                "drives', a device such as /dev/sr0, or the path of a CUE sheet. Starts and\n"
                "lengths are mm:ss:ff (75 frames a second); an INDEX 00 gap counts in the\n"
                "track before it. Then the disc's AccurateRip, MusicBrainz and CDDB disc IDs,\n"
                "audio hidden before the first track, and what the disc tells of itself:\n"
                "its catalogue number, CD-Text, ISRCs and pre-emphasis.\n"
                "  --lookup   also ask MusicBrainz for the releases this disc belongs to, with\n"
                "             their track names (MELVANE_MUSICBRAINZ_URL sets the service's\n"
                "             address, by default https://musicbrainz.org/ws/2/).\n"
                "Exit status: 0 when the disc was read, 1 when it could not be or a track of\n"
                "it cannot be read (such as one past the end of an image), 2 for a usage "
                "error.\n")))
        return *code;
    const QString command = QStringLiteral("toc");
    if (rest.size() != 2) {
        printError(command, QStringLiteral("give one drive: a number from 'melvane-cli drives', a "
                                           "device or a CUE sheet"));
        return kUsageError;
    }
    try {
        QStringList problems;
        print(stdout, tocText(driveFromArgument(rest[1]), lookUp, &problems));
        for (const QString& problem : problems)
            printError(command, problem);
        return problems.isEmpty() ? 0 : 1;
    } catch (const Error& e) {
        printError(command, e.message());
        return 1;
    }
}
