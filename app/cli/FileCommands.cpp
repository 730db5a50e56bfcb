#include "app/cli/FileCommands.h"

#include "app/cli/CommandKit.h"
#include "app/cli/ConvertCommand.h"
#include "app/cli/InfoCommand.h"
#include "app/cli/Interrupts.h"
#include "app/cli/ProgressPrinter.h"
#include "backends/media/Codecs.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QThread>
#include <fcntl.h>
#include <optional>

namespace {

// The program's arguments as they were given, by the names Qt decoded them to, for the names
// that are not valid UTF-8 and so arrive spoilt (Qt's strings are Unicode). Read from the
// kernel's copy, since QCoreApplication keeps its own argv to itself.
QHash<QString, QByteArray> rawArguments() {
    QHash<QString, QByteArray> raw;
    QFile file(QStringLiteral("/proc/self/cmdline"));
    if (!file.open(QIODevice::ReadOnly))
        return raw;
    // Each argument ends with a zero byte; the first is the program.
    QList<QByteArray> arguments = file.readAll().split('\0');
    arguments.removeLast();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString name = QFile::decodeName(arguments[i]);
        if (QFile::encodeName(name) != arguments[i])
            raw.insert(name, arguments[i]);
    }
    return raw;
}

// A file given by such a name could not be found by it, so each is opened once, by its
// original bytes, and read through /proc/self/fd instead. Returns the path to open per name;
// empty for names that need nothing.
QStringList openPaths(const QStringList& names) {
    const QHash<QString, QByteArray> rawNames = rawArguments();
    QStringList paths;
    bool any = false;
    for (const QString& name : names) {
        QString path;
        if (const auto raw = rawNames.constFind(name); raw != rawNames.constEnd()) {
            const int fd = ::open(raw->constData(), O_PATH | O_CLOEXEC);
            if (fd >= 0)
                path = QStringLiteral("/proc/self/fd/%1").arg(fd);
        }
        any |= !path.isEmpty();
        paths << path;
    }
    return any ? paths : QStringList();
}

// More files at once only hold more audio in memory.
constexpr int kMostFilesAtOnce = 16;

} // namespace

int runConvertCommand(const QStringList& arguments) {
    const QString command = QStringLiteral("convert");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Converts the files into the output folder, as many at a time as the computer has cores:\n"
        "WAV files to MP3 or WMA, MP3 and WMA files to WAV. Each output keeps the source's\n"
        "whole file name, however long, with its last three characters (the ending) replaced:\n"
        "song.wav gives song.mp3. A file whose output exists is left out unless --overwrite is\n"
        "given; the files being converted are never written over. A file that fails does not\n"
        "stop the others."));
    const QCommandLineOption to(QStringLiteral("to"),
                                QStringLiteral("Target format: mp3, wma or wav."),
                                QStringLiteral("mp3|wma|wav"));
    const QCommandLineOption bitrate(
        QStringLiteral("bitrate"),
        QStringLiteral("Bit rate of MP3 and WMA outputs in kbit/s (default 128)."),
        QStringLiteral("KBPS"), QStringLiteral("128"));
    const QCommandLineOption encoder(
        QStringLiteral("encoder"),
        QStringLiteral("MP3 encoder: lame (default) or shine (faster, lower quality)."),
        QStringLiteral("lame|shine"), QStringLiteral("lame"));
    const QCommandLineOption out(QStringLiteral("out"),
                                 QStringLiteral("Folder the outputs go to; it must exist."),
                                 QStringLiteral("DIR"));
    const QCommandLineOption overwrite(
        QStringLiteral("overwrite"),
        QStringLiteral("Replace outputs that exist already (never a file being converted)."));
    const QCommandLineOption jobs(
        QStringLiteral("jobs"),
        QStringLiteral("Files converted at once (default: one per core); 1 converts them one "
                       "after another, each on every core."),
        QStringLiteral("N"));
    parser.addOptions({to, bitrate, encoder, out, overwrite, jobs, helpOption()});
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("Files to convert."),
                                 QStringLiteral("FILE..."));
    // "-dash.wav" is one unknown option, not the options d, a, s ...
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser,
                     QStringLiteral("Usage: melvane-cli convert --to mp3|wma|wav --out DIR "
                                    "[--overwrite] [OPTIONS] FILE...\n"),
                     QStringLiteral("Progress is a bar on a terminal and plain lines otherwise.\n"
                                    "Exit status: 0 when every file was converted, 1 when a file "
                                    "failed,\n2 for a usage error, 128 + the signal's number when "
                                    "interrupted.\n"))))
        return *code;

    ConvertRequest request;
    if (!parser.isSet(to))
        return usageError(command, QStringLiteral("missing --to: give mp3, wma or wav"));
    const QString target = parser.value(to);
    if (target == QLatin1String("mp3"))
        request.target = ConvertRequest::Target::Mp3;
    else if (target == QLatin1String("wma"))
        request.target = ConvertRequest::Target::Wma;
    else if (target == QLatin1String("wav"))
        request.target = ConvertRequest::Target::Wav;
    else
        return usageError(command, QStringLiteral("unknown target '%1' for --to: give mp3, wma or "
                                                  "wav")
                                       .arg(target));

    QString why;
    const std::optional<int> kbps = bitrateOption(parser.value(bitrate), &why);
    if (!kbps)
        return usageError(command, why);
    request.bitrateKbps = *kbps;

    const QString encoderName = parser.value(encoder);
    if (encoderName == QLatin1String("lame"))
        request.encoderSwitch = 0;
    else if (encoderName == QLatin1String("shine"))
        request.encoderSwitch = 1;
    else
        return usageError(command, QStringLiteral("unknown encoder '%1' for --encoder: give lame "
                                                  "or shine")
                                       .arg(encoderName));

    if (!parser.isSet(out))
        return usageError(command, QStringLiteral("missing --out: give the output folder"));
    request.outputFolder = parser.value(out);
    const QFileInfo folder(request.outputFolder);
    if (request.outputFolder.isEmpty())
        return usageError(command, QStringLiteral("--out is empty: give the output folder"));
    if (folder.exists() && !folder.isDir())
        return usageError(
            command,
            QStringLiteral("--out names %1, which is not a folder").arg(request.outputFolder));
    if (!folder.exists())
        return usageError(
            command,
            QStringLiteral("the output folder %1 does not exist").arg(request.outputFolder));

    int filesAtOnce = QThread::idealThreadCount();
    if (parser.isSet(jobs)) {
        bool ok = false;
        filesAtOnce = parser.value(jobs).toInt(&ok);
        if (!ok || filesAtOnce < 1 || filesAtOnce > kMostFilesAtOnce)
            return usageError(command, QStringLiteral("--jobs takes a number of files from 1 to "
                                                      "%1, not '%2'")
                                           .arg(kMostFilesAtOnce)
                                           .arg(parser.value(jobs)));
    }

    request.overwrite = parser.isSet(overwrite);
    request.files = parser.positionalArguments();
    if (request.files.isEmpty())
        return usageError(command, QStringLiteral("no files to convert"));
    request.openAs = openPaths(request.files);

    std::vector<ConvertCodecs> codecs(
        size_t(std::min<qsizetype>(filesAtOnce, request.files.size())));
    for (ConvertCodecs& set : codecs) {
        set.mEnc = std::make_unique<Mp3Encoder>();
        set.mDec = std::make_unique<Mp3Decoder>();
        set.waEnc = std::make_unique<WmaEncoder>();
        set.waDec = std::make_unique<WmaDecoder>();
    }
    ProgressPrinter printer;
    ConvertCommand job(std::move(request), std::move(codecs), printer);
    Interrupts interrupts;
    QObject::connect(&interrupts, &Interrupts::interrupted, &job, &ConvertCommand::interrupt);
    QObject::connect(
        &job, &ConvertCommand::finished, qApp, [](int code) { QCoreApplication::exit(code); },
        Qt::QueuedConnection);
    // Started from the event loop, so that even a batch that ends at once can end the loop.
    QMetaObject::invokeMethod(&job, &ConvertCommand::start, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

int runInfoCommand(const QStringList& arguments) {
    const QString command = QStringLiteral("info");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints one line per file, as the conversion list shows it, separated by tabs:\n"
        "path, type (MP3, WMA or WAV from the name's ending in lower case), duration, size in mb.\n"
        "Control characters of a name are shown escaped (\\n, \\t, \\x1b ...)."));
    parser.addOption(helpOption());
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("Files to describe."),
                                 QStringLiteral("FILE..."));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser, QStringLiteral("Usage: melvane-cli info FILE...\n"),
                     QStringLiteral("Exit status: 0 when every file was described, 1 when a "
                                    "file could not be,\n2 for a usage error.\n"))))
        return *code;
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty())
        return usageError(command, QStringLiteral("no files to describe"));
    MediaInfo x;
    return runInfo(x, files, openPaths(files));
}
