#include "app/cli/CopyCommands.h"

#include "app/cli/BurnCommand.h"
#include "app/cli/CommandKit.h"
#include "app/cli/DrivesCommand.h"
#include "app/cli/Interrupts.h"
#include "app/cli/TerminalText.h"
#include "backends/burn/Burner.h"
#include "backends/burn/DiscCopy.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/ImageRecorder.h"
#include "components/Error.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <unistd.h>

namespace {

constexpr int kBarCells = 24;

// A stage's progress: a bar redrawn on a terminal, a line per quarter otherwise.
class StageProgress {
public:
    void show(const QString& stage, int percent) {
        percent = qBound(0, percent, 100);
        const QString line = QStringLiteral("%1 [%2%3] %4%")
                                 .arg(stage, -8)
                                 .arg(QString(percent * kBarCells / 100, u'#'))
                                 .arg(QString(kBarCells - percent * kBarCells / 100, u'.'))
                                 .arg(percent, 3);
        if (m_terminal) {
            print(stdout, QStringLiteral("\r%1\033[K").arg(line));
            m_shown = true;
        } else if (stage != m_stage || percent / 25 != m_step) {
            print(stdout, line + u'\n');
        }
        m_stage = stage;
        m_step = percent / 25;
    }
    void clear() {
        if (m_shown)
            print(stdout, QStringLiteral("\r\033[K"));
        m_shown = false;
    }

private:
    bool m_terminal = isatty(STDOUT_FILENO);
    bool m_shown = false;
    QString m_stage;
    int m_step = -1;
};

// Runs the event loop until code is set; Ctrl-C and the like call cancel.
int runUntilDone(const std::function<void()>& start, const std::function<void(int)>& cancel) {
    Interrupts interrupts;
    QObject::connect(&interrupts, &Interrupts::interrupted, qApp, cancel);
    QMetaObject::invokeMethod(qApp, start, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

} // namespace

int runRipImageCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Reads a whole audio CD into a CUE/BIN image with full paranoia: every sector from the\n"
        "first track to the lead-out, the gaps between tracks kept (as INDEX 00), and the\n"
        "catalogue number, ISRCs, flags and CD-Text in the cue sheet. The image is named\n"
        "after the disc's title (\"Audio CD\" without one), numbered on when the name is\n"
        "taken, and appears only once complete. 'melvane-cli burn' burns it as a copy."));
    const QCommandLineOption to(QStringLiteral("to"), QStringLiteral("image"),
                                QStringLiteral("image"));
    const QCommandLineOption offset(
        QStringLiteral("offset"),
        QStringLiteral("The drive's read offset in samples, corrected while reading."),
        QStringLiteral("SAMPLES"), QStringLiteral("0"));
    const QCommandLineOption out(QStringLiteral("out"),
                                 QStringLiteral("Folder the image goes to; it must exist."),
                                 QStringLiteral("DIR"));
    parser.addOptions({helpOption(), to, offset, out});
    parser.addPositionalArgument(QStringLiteral("DRIVE"), QStringLiteral("The drive to read."));
    const QString command = QStringLiteral("rip");
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser, QStringLiteral("Usage: melvane-cli rip --to image [--offset SAMPLES] "
                                            "--out DIR DRIVE"))))
        return *code;
    QString why;
    const std::optional<qint32> samples = offsetOption(parser.value(offset), &why);
    if (!samples)
        return usageError(command, why);
    const QString folder = parser.value(out);
    if (folder.isEmpty())
        return usageError(command,
                          QStringLiteral("missing --out: give the folder the image goes to"));
    if (!QFileInfo(folder).isDir())
        return usageError(command, QStringLiteral("the output folder %1 does not exist or is not "
                                                  "a folder")
                                       .arg(folder));
    if (parser.positionalArguments().size() != 1)
        return usageError(command, QStringLiteral("give one drive: a number from 'melvane-cli "
                                                  "drives', a device or a CUE sheet"));

    burning::ImageFiles files;
    burning::DiscImageRip rip(files);
    StageProgress progress;
    int code = 0;
    QObject::connect(&rip, &burning::DiscImageRip::progress, &rip,
                     [&](int percent) { progress.show(QStringLiteral("Reading"), percent); });
    QObject::connect(&rip, &burning::DiscImageRip::finished, &rip, [&](const QString& cue) {
        progress.clear();
        print(stdout, QStringLiteral("%1 tracks read.\nImage: %2\n")
                          .arg(rip.description().tracks.size())
                          .arg(terminalText(QFileInfo(cue).absoluteFilePath())));
        QCoreApplication::exit(0);
    });
    QObject::connect(&rip, &burning::DiscImageRip::failed, &rip, [&](const QString& message) {
        progress.clear();
        printError(command, message);
        QCoreApplication::exit(1);
    });
    const auto start = [&] {
        try {
            rip.start(driveFromArgument(parser.positionalArguments().first()), folder, {},
                      *samples);
        } catch (const Error& e) {
            printError(command, e.message());
            QCoreApplication::exit(1);
        }
    };
    code = runUntilDone(start, [&](int signalNumber) {
        rip.cancel();
        progress.clear();
        printError(command, QStringLiteral("interrupted; no image was kept"));
        QCoreApplication::exit(128 + signalNumber);
    });
    return code;
}

int runCopyCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Copies an audio CD: reads it into an image with full paranoia (gaps, catalogue\n"
        "number, ISRCs, flags and CD-Text kept), reads it again to make sure the image is\n"
        "right, burns the image session at once, and verifies the burnt disc against it.\n"
        "The image is kept only while the copy runs, in the image folder."));
    const QCommandLineOption recorder(
        QStringLiteral("recorder"),
        QStringLiteral("The recorder by its number in 'melvane-cli recorders', or 'image' for "
                       "the Image Recorder."),
        QStringLiteral("N|image"));
    const QCommandLineOption offset(QStringLiteral("offset"),
                                    QStringLiteral("The source drive's read offset in samples."),
                                    QStringLiteral("SAMPLES"), QStringLiteral("0"));
    const QCommandLineOption speed(QStringLiteral("speed"),
                                   QStringLiteral("Write speed factor, 1 to 50 (default: the "
                                                  "highest)."),
                                   QStringLiteral("N"));
    const QCommandLineOption simulate(QStringLiteral("simulate"),
                                      QStringLiteral("Test burn: go through it, write nothing."));
    const QCommandLineOption imageDir(
        QStringLiteral("image-dir"),
        QStringLiteral("The folder for the image while the copy runs, and where the Image "
                       "Recorder writes; it must exist."),
        QStringLiteral("DIR"));
    parser.addOptions({helpOption(), recorder, offset, speed, simulate, imageDir});
    parser.addPositionalArgument(QStringLiteral("SOURCE-DRIVE"),
                                 QStringLiteral("The drive with the disc to copy."));
    const QString command = QStringLiteral("copy");
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser,
                     QStringLiteral("Usage: melvane-cli copy --recorder N|image [OPTIONS] "
                                    "SOURCE-DRIVE"),
                     QStringLiteral("Exit status: 0 when the copy is verified identical, 1 when "
                                    "it failed, 2 for a usage\nerror, 128 + the signal's number "
                                    "when interrupted.\n"))))
        return *code;
    QString why;
    const std::optional<qint32> samples = offsetOption(parser.value(offset), &why);
    if (!samples)
        return usageError(command, why);
    BurnRequest request;
    request.command = command;
    request.verify = true;
    request.simulate = parser.isSet(simulate);
    if (parser.isSet(speed)) {
        const std::optional<qint16> chosen = speedOption(parser.value(speed), &why);
        if (!chosen)
            return usageError(command, why);
        request.speed = *chosen;
    }
    if (parser.isSet(imageDir)) {
        const QString dir = parser.value(imageDir);
        if (!QFileInfo(dir).isDir())
            return usageError(command, QStringLiteral("the image folder %1 does not exist or is "
                                                      "not a folder")
                                           .arg(dir));
        qputenv("MELVANE_IMAGE_DIR", QFile::encodeName(QDir(dir).absolutePath()));
    }
    if (parser.positionalArguments().size() != 1)
        return usageError(command, QStringLiteral("give the source drive: a number from "
                                                  "'melvane-cli drives', a device or a CUE sheet"));
    if (!parser.isSet(recorder))
        return usageError(command,
                          QStringLiteral("missing --recorder: give the recorder to burn on"));
    const auto burner = burning::makeBurner();
    const qint16 count = burner->RecorderCount();
    const std::optional<qint16> chosen = recorderNumber(parser.value(recorder), count, &why);
    if (!chosen)
        return usageError(command, why);
    request.recorder = *chosen;
    const bool toImage = *chosen == count;

    const QString folder = burning::ImageRecorder::folder();
    QDir().mkpath(folder);
    QTemporaryDir work(folder + QStringLiteral("/.melvane-copy-XXXXXX"));
    if (!work.isValid()) {
        printError(command, QStringLiteral("cannot make a folder for the image in %1: %2")
                                .arg(folder, work.errorString()));
        return 1;
    }
    burning::ImageFiles files;
    burning::DiscImageRip rip(files);
    burning::ImageComparison comparison;
    std::unique_ptr<BurnCommand> burn;
    StageProgress progress;
    cdio::Drive source;
    const auto fail = [&](const QString& message) {
        progress.clear();
        printError(command, message);
        QCoreApplication::exit(1);
    };
    QObject::connect(&rip, &burning::DiscImageRip::progress, &rip,
                     [&](int percent) { progress.show(QStringLiteral("Reading"), percent); });
    QObject::connect(&rip, &burning::DiscImageRip::failed, &rip, fail);
    QObject::connect(&rip, &burning::DiscImageRip::finished, &rip, [&](const QString& cue) {
        progress.clear();
        print(stdout, QStringLiteral("%1 tracks read; reading the disc again to check them.\n")
                          .arg(rip.description().tracks.size()));
        try {
            comparison.start(source, cue);
        } catch (const Error& e) {
            fail(e.message());
            return;
        }
        QObject::connect(
            &comparison, &burning::ImageComparison::finished, &comparison,
            [&, cue](const std::vector<burning::TrackCheck>& checks) {
                progress.clear();
                QStringList faults;
                for (size_t i = 0; i < checks.size(); ++i)
                    if (!checks[i].identical())
                        faults << QStringLiteral("track %1 %2").arg(i + 1).arg(checks[i].text());
                if (!faults.isEmpty()) {
                    fail(QStringLiteral("the disc reads differently the second "
                                        "time (%1); it may be scratched or dirty")
                             .arg(faults.join(QStringLiteral(", "))));
                    return;
                }
                print(stdout, QStringLiteral("Every track read the same twice.\n"));
                request.files = {cue};
                burn = std::make_unique<BurnCommand>(*burner, request);
                QObject::connect(burn.get(), &BurnCommand::finished, qApp,
                                 [](int code) { QCoreApplication::exit(code); });
                burn->start();
            });
    });
    QObject::connect(&comparison, &burning::ImageComparison::progress, &comparison,
                     [&](int percent) { progress.show(QStringLiteral("Checking"), percent); });
    const auto start = [&] {
        try {
            source = driveFromArgument(parser.positionalArguments().first());
            rip.start(source, work.path(), QStringLiteral("copy"), *samples);
        } catch (const Error& e) {
            fail(e.message());
        }
    };
    const int code = runUntilDone(start, [&](int signalNumber) {
        if (burn) {
            burn->interrupt(signalNumber);
            return;
        }
        rip.cancel();
        comparison.cancel();
        progress.clear();
        printError(command, QStringLiteral("interrupted; nothing was burnt"));
        QCoreApplication::exit(128 + signalNumber);
    });
    if (code == 0 && toImage && !request.simulate)
        print(stdout, QStringLiteral("Image: %1\n")
                          .arg(terminalText(QDir(folder).filePath(
                              burner->imageRecorder().lastImage() + QStringLiteral(".cue")))));
    return code;
}
