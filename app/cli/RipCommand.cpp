#include "app/cli/RipCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/CommandModule.h"
#include "app/cli/DrivesCommand.h"
#include "app/cli/Interrupts.h"
#include "app/cli/RipBatch.h"
#include "app/cli/RipPreparation.h"
#include "backends/cdio/TrackRip.h"
#include "components/Error.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QThread>
#include <algorithm>

namespace {

// True when `rip` was asked for an image (--to image), which the burning engine's module writes.
bool asksForImage(const QStringList& arguments) {
    for (qsizetype i = 0; i < arguments.size(); ++i)
        if ((arguments[i] == QLatin1String("--to") && arguments.value(i + 1) == "image") ||
            arguments[i] == QLatin1String("--to=image"))
            return true;
    return false;
}

// Tracks in work at once on an image, one per core: each has a reader and an encoder thread,
// and paranoia holds some 25 MB per reader, so more would cost memory for little.
constexpr int kMostTracksAtOnce = 2;

int ripUsage(const QString& message) {
    return usageError(QStringLiteral("rip"), message);
}

const char* const kEpilogue =
    "DRIVE is a number from 'melvane-cli drives', a device such as /dev/sr0, or the path\n"
    "of a CUE sheet. Each track is read once, with full paranoia, into every format asked\n"
    "for, as DIR/TrackNN.wav, .mp3 or .wma (with --named, the track's name from the disc's\n"
    "CD-Text or the lookup); a file appears only once it is complete. Every file is tagged:\n"
    "title, track number and count, and when known artist, album, year, ISRC and the\n"
    "MusicBrainz identifiers. A track whose file exists already fails and the file is kept,\n"
    "unless --overwrite is given. After each track a line gives its checksums, in\n"
    "lower-case hexadecimal, and what the AccurateRip database says of them:\n"
    "  Track NN  CRC32 xxxxxxxx  ARv1 xxxxxxxx  ARv2 xxxxxxxx  accurately ripped (confidence N, "
    "v2)\n"
    "(the CRC-32 of its PCM bytes as a WAV file holds them, its AccurateRip v1 and v2\n"
    "checksums, then \"not in database\" or \"differs\" instead when so; nothing when the\n"
    "database cannot be reached), and at the end the disc's AccurateRip disc ID. A track\n"
    "paranoia could not read reliably is kept and marked SUSPICIOUS. Without --tracks every\n"
    "audio track is ripped; asking for a data track is refused; track 0 is the audio\n"
    "hidden before track 1, when the disc has some. Without --offset a drive's read offset\n"
    "is looked for with AccurateRip (an image has none).\n"
    "Beside the files go a log (drive, offset, the disc's TOC and IDs, and per track its\n"
    "file, peak level, checksums, AccurateRip result and what paranoia did) and a cue sheet\n"
    "that burns the files back as the same disc, named after the album (NAME.log,\n"
    "NAME.cue), unless --no-log is given.\n"
    "MELVANE_MUSICBRAINZ_URL and MELVANE_ACCURATERIP_URL set the services' addresses (by\n"
    "default https://musicbrainz.org/ws/2/ and http://www.accuraterip.com/accuraterip/).\n"
    "Progress is a bar on a terminal and plain lines otherwise.\n"
    "Exit status: 0 when every track was ripped, 1 when a track failed, differs from\n"
    "AccurateRip or is suspicious, or the disc could not be read, 2 for a usage error (a\n"
    "track the disc does not have or that is not audio included), 128 + the signal's number\n"
    "when interrupted.\n";

} // namespace

std::optional<QList<int>> parseTrackList(const QString& text, QString* why) {
    QList<int> tracks;
    auto number = [](const QString& part, bool* ok) {
        const int n = part.trimmed().toInt(ok);
        *ok = *ok && n >= 0 && n <= 99;
        return n;
    };
    for (const QString& part : text.split(u',')) {
        const QStringList ends = part.split(u'-');
        bool ok = ends.size() <= 2;
        const int first = ok ? number(ends.first(), &ok) : 0;
        bool lastOk = ok;
        const int last = ok && ends.size() == 2 ? number(ends.last(), &lastOk) : first;
        if (!ok || !lastOk || last < first) {
            *why = QStringLiteral("--tracks '%1' is not a list of tracks: '%2' should be a track "
                                  "number from 0 to 99 or a range such as 3-5")
                       .arg(text, part);
            return std::nullopt;
        }
        for (int n = first; n <= last; ++n)
            tracks << n;
    }
    std::sort(tracks.begin(), tracks.end());
    tracks.erase(std::unique(tracks.begin(), tracks.end()), tracks.end());
    return tracks;
}

int runRipCommand(const QStringList& arguments) {
    // A whole disc into one image takes options of its own.
    if (asksForImage(arguments))
        return runModuleCommand(kBurnModule, "rip-image", arguments);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Rips the tracks of an audio CD to WAV, MP3 or WMA files, bit-exact and "
                       "verified."));
    const QCommandLineOption to(
        QStringLiteral("to"),
        QStringLiteral("Formats: wav, mp3 or wma, several separated by commas (wav,mp3); or "
                       "image, the whole disc as one CUE/BIN image (see 'rip --to image "
                       "--help')."),
        QStringLiteral("FORMATS"));
    const QCommandLineOption bitrate(
        QStringLiteral("bitrate"),
        QStringLiteral("Bit rate of MP3 and WMA files in kbit/s (default 128)."),
        QStringLiteral("KBPS"), QStringLiteral("128"));
    const QCommandLineOption tracks(QStringLiteral("tracks"),
                                    QStringLiteral("Tracks to rip, such as 1,3-5 (default: every "
                                                   "audio track); 0 is the audio hidden before "
                                                   "track 1."),
                                    QStringLiteral("LIST"));
    const QCommandLineOption offset(
        QStringLiteral("offset"),
        QStringLiteral("The drive's read offset in samples, corrected while reading; may be "
                       "negative. Samples from beyond the disc's edges are silence."),
        QStringLiteral("SAMPLES"), QStringLiteral("0"));
    const QCommandLineOption out(QStringLiteral("out"),
                                 QStringLiteral("Folder the files go to; it must exist."),
                                 QStringLiteral("DIR"));
    const QCommandLineOption overwrite(QStringLiteral("overwrite"),
                                       QStringLiteral("Replace files of the same name in DIR."));
    const QCommandLineOption lookUp(
        QStringLiteral("lookup"),
        QStringLiteral("Look the disc up on MusicBrainz for its track names and album facts."));
    const QCommandLineOption release(
        QStringLiteral("release"),
        QStringLiteral("Which of several releases the lookup found to take (default 1)."),
        QStringLiteral("N"));
    const QCommandLineOption named(
        QStringLiteral("named"),
        QStringLiteral("Name the files after the tracks' names instead of TrackNN."));
    const QCommandLineOption noLog(QStringLiteral("no-log"),
                                   QStringLiteral("Write no log and no cue sheet."));
    const QCommandLineOption noAccurateRip(
        QStringLiteral("no-accuraterip"),
        QStringLiteral("Do not compare the checksums with the AccurateRip database."));
    parser.addOptions({helpOption(), to, bitrate, tracks, offset, out, overwrite, lookUp, release,
                       named, noLog, noAccurateRip});
    parser.addPositionalArgument(QStringLiteral("DRIVE"), QStringLiteral("The drive to rip."));
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser,
                     QStringLiteral("Usage: melvane-cli rip --to wav|mp3|wma[,...] [--bitrate "
                                    "KBPS] [--tracks 1,3-5]\n"
                                    "                       [--offset SAMPLES] [--lookup "
                                    "[--release N]] [--named]\n"
                                    "                       [--no-log] [--no-accuraterip] "
                                    "[--overwrite] --out DIR DRIVE\n"
                                    "       melvane-cli rip --to image [--offset SAMPLES] --out "
                                    "DIR DRIVE"),
                     QString::fromUtf8(kEpilogue))))
        return *code;

    RipRequest request;
    if (!parser.isSet(to))
        return ripUsage(QStringLiteral("missing --to: give wav, mp3 or wma, or several "
                                       "separated by commas"));
    for (const QString& format : parser.value(to).split(u',')) {
        if (format != QLatin1String("wav") && format != QLatin1String("mp3") &&
            format != QLatin1String("wma"))
            return ripUsage(QStringLiteral("unknown format '%1' for --to: give wav, mp3 or wma, "
                                           "or several separated by commas")
                                .arg(format));
        if (!request.formats.contains(format))
            request.formats << format;
    }
    QString why;
    const std::optional<int> kbps = bitrateOption(parser.value(bitrate), &why);
    if (!kbps)
        return ripUsage(why);
    request.bitrateKbps = *kbps;
    request.offsetGiven = parser.isSet(offset);
    const std::optional<qint32> samples = offsetOption(parser.value(offset), &why);
    if (!samples)
        return ripUsage(why);
    request.offsetSamples = *samples;
    std::optional<QList<int>> asked;
    if (parser.isSet(tracks)) {
        asked = parseTrackList(parser.value(tracks), &why);
        if (!asked)
            return ripUsage(why);
    }
    if (!parser.isSet(out) || parser.value(out).isEmpty())
        return ripUsage(QStringLiteral("missing --out: give the folder the files go to"));
    request.outputFolder = parser.value(out);
    request.overwrite = parser.isSet(overwrite);
    request.lookup = parser.isSet(lookUp);
    request.named = parser.isSet(named);
    request.writeLog = !parser.isSet(noLog);
    request.verify = !parser.isSet(noAccurateRip);
    if (parser.isSet(release)) {
        bool number = false;
        request.release = parser.value(release).toInt(&number);
        if (!number || request.release < 1 || !request.lookup)
            return ripUsage(request.lookup
                                ? QStringLiteral("--release '%1' is not a release: give its "
                                                 "number in the lookup's list, from 1")
                                      .arg(parser.value(release))
                                : QStringLiteral("--release chooses among the releases of "
                                                 "--lookup; give --lookup too"));
    }
    if (!QFileInfo(request.outputFolder).isDir())
        return ripUsage(QStringLiteral("the output folder %1 does not exist or is not a folder")
                            .arg(request.outputFolder));
    const QStringList drives = parser.positionalArguments();
    if (drives.size() != 1)
        return ripUsage(QStringLiteral("give one drive: a number from 'melvane-cli drives', a "
                                       "device or a CUE sheet"));

    cdio::Drive drive;
    cdio::Toc toc;
    try {
        drive = driveFromArgument(drives.first());
        toc = cdio::Disc(drive).toc();
    } catch (const Error& e) {
        printError(QStringLiteral("rip"), e.message());
        return 1;
    }
    if (toc.audioTrackCount() == 0) {
        printError(QStringLiteral("rip"),
                   QStringLiteral("the disc in %1 holds no audio tracks").arg(drive.name()));
        return 1;
    }
    if (asked && asked->contains(0))
        request.tracks << 0;
    for (const cdio::TocTrack& t : toc.tracks) {
        if (t.audio() && (!asked || asked->contains(t.number)))
            request.tracks << t.number;
    }
    for (const int n : asked.value_or(QList<int>())) {
        if (const QString why = n == 0 ? QString() : toc.whyNotAudio(n, drive.name());
            !why.isEmpty())
            return ripUsage(why);
    }

    RipPreparation prepared = prepareRip(drive, toc, request);
    if (prepared.usageError)
        return ripUsage(prepared.failure);
    if (!prepared.failure.isEmpty()) {
        printError(QStringLiteral("rip"), prepared.failure);
        return 1;
    }
    const int atOnce =
        drive.image ? std::clamp(QThread::idealThreadCount(), 1, kMostTracksAtOnce) : 1;
    RipBatch batch(prepared.record, prepared.check.get(), request, atOnce);
    Interrupts interrupts;
    QObject::connect(&interrupts, &Interrupts::interrupted, &batch, &RipBatch::interrupt);
    QObject::connect(
        &batch, &RipBatch::finished, qApp, [](int code) { QCoreApplication::exit(code); },
        Qt::QueuedConnection);
    QMetaObject::invokeMethod(&batch, &RipBatch::start, Qt::QueuedConnection);
    return QCoreApplication::exec();
}
