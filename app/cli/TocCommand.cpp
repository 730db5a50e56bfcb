#include "app/cli/TocCommand.h"

#include "app/cli/DrivesCommand.h"
#include "app/cli/TerminalText.h"
#include "backends/cdio/Checksums.h"
#include "backends/cdio/Disc.h"
#include "components/Error.h"

#include <QStringList>
#include <cstdio>

namespace {

QString megabytes(qint64 sectors) {
    return QStringLiteral("%1 MB").arg(double(sectors) * 2352 / 1024 / 1024, 0, 'f', 2);
}

// The table, and the reasons why tracks of it cannot be read.
QString tocText(const cdio::Drive& drive, QStringList* problems) {
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
    text += QStringLiteral("AccurateRip disc ID %1\n").arg(cdio::accurateRipDiscId(toc));
    return text;
}

} // namespace

int runTocCommand(const QStringList& arguments) {
    if (const auto code = cdCommandHelp(
            arguments,
            QStringLiteral(
                "Usage: melvane-cli toc DRIVE\n\n"
                "Prints the table of contents of the disc in DRIVE: a number from 'melvane-cli\n"
                "drives', a device such as /dev/sr0, or the path of a CUE sheet. Starts and\n"
                "lengths are mm:ss:ff (75 frames a second); an INDEX 00 gap counts in the\n"
                "track before it.\n"
                "Exit status: 0 when the disc was read, 1 when it could not be or a track of\n"
                "it cannot be read (such as one past the end of an image), 2 for a usage "
                "error.\n")))
        return *code;
    if (arguments.size() != 2) {
        std::fputs("melvane-cli toc: give one drive: a number from 'melvane-cli drives', a "
                   "device or a CUE sheet\n",
                   stderr);
        return 2;
    }
    try {
        QStringList problems;
        std::fputs(tocText(driveFromArgument(arguments[1]), &problems).toLocal8Bit().constData(),
                   stdout);
        std::fflush(stdout);
        for (const QString& problem : problems)
            std::fputs(
                QStringLiteral("melvane-cli toc: %1\n").arg(problem).toLocal8Bit().constData(),
                stderr);
        return problems.isEmpty() ? 0 : 1;
    } catch (const Error& e) {
        std::fputs(QStringLiteral("melvane-cli toc: %1\n")
                       .arg(terminalText(e.message()))
                       .toLocal8Bit()
                       .constData(),
                   stderr);
        return 1;
    }
}
