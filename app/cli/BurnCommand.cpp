#include "app/cli/BurnCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/DrivesCommand.h"
#include "app/cli/Interrupts.h"
#include "app/cli/TerminalText.h"
#include "backends/burn/Burner.h"
#include "backends/burn/DiscImageSource.h"
#include "backends/burn/ImageRecorder.h"
#include "components/Error.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace {

constexpr int kBarCells = 24;

int burnUsage(const QString& message) {
    return usageError(QStringLiteral("burn"), message);
}

QString megabytes(qint64 bytes) {
    return QString::number(double(bytes) / 1024.0 / 1024.0, 'f', 3) + QStringLiteral(" MB");
}

QString recorderTypeText(qint32 type) {
    static const char* const texts[] = {"CD device",    "CD device",     "CD-R writer",
                                        "CD-RW writer", "CD-ROM reader", "DVD-ROM reader",
                                        "DVD writer"};
    return type >= 0 && type <= 6 ? QLatin1String(texts[type]) : QStringLiteral("unknown");
}

QString discText(AudioBurner& burner) {
    try {
        burner.RefreshDisc();
    } catch (const Error& e) {
        return QStringLiteral("cannot be read: %1").arg(terminalText(e.message()));
    }
    static const char* const types[] = {"no disc", "CD-ROM or write-once disc", "erasable disc",
                                        "DVD-RAM"};
    static const char* const states[] = {"blank", "appendable", "closed or write protected",
                                         "state unknown"};
    const qint32 type = burner.MediaType();
    if (type <= 0 || type > 3)
        return QStringLiteral("no disc");
    const qint32 status = burner.MediaStatus();
    return QStringLiteral("%1, %2, %3 used")
        .arg(QLatin1String(types[type]),
             status >= 0 && status <= 3 ? QLatin1String(states[status]) : QLatin1String("empty"),
             megabytes(burner.MediaUsedSize()));
}

} // namespace

QString BurnCommand::speedsText(AudioBurner& burner) {
    QStringList speeds;
    for (qint16 n = 1; n <= 50; ++n) {
        burner.setWriteSpeed(n);
        if (burner.WriteSpeed() == n)
            speeds << QStringLiteral("%1x").arg(n);
    }
    if (speeds.isEmpty())
        return QStringLiteral("none (it cannot write CDs)");
    if (speeds.size() == 50)
        return QStringLiteral("any (the recorder does not list its speeds)");
    return speeds.join(u' ');
}

int runRecordersCommand(const QStringList& arguments) {
    if (const auto code = plainCommandHelp(
            arguments,
            QStringLiteral("Usage: melvane-cli recorders\n\n"
                           "Lists the recorders the burn panel offers, numbered from 1: the CD "
                           "and DVD\nwriters libburn finds, then the Image Recorder, whose discs "
                           "become CUE/BIN\nimages in MELVANE_IMAGE_DIR (default: the music "
                           "folder).\n")))
        return *code;
    if (arguments.size() > 1) {
        printError(QStringLiteral("recorders"), QStringLiteral("it takes no arguments"));
        return kUsageError;
    }
    const auto burner = burning::makeBurner();
    const qint16 count = burner->RecorderCount();
    QString text;
    for (qint16 n = 1; n <= count; ++n) {
        burner->setCurrentRecorder(n);
        const qint16 read = burner->MaxReadSpeed();
        text += QStringLiteral("%1  %2  %3  %4\n")
                    .arg(n)
                    .arg(terminalText(burner->RecorderVendor()),
                         terminalText(burner->RecorderProduct()),
                         terminalText(burner->RecorderRevision()));
        text += QStringLiteral("   %1; reads %2; buffer %3; burn proof: %4\n")
                    .arg(recorderTypeText(burner->RecorderType()),
                         read > 0 ? QStringLiteral("%1x").arg(read) : QStringLiteral("N/A"),
                         megabytes(burner->BufferSize()),
                         burner->BurnProofFlag() ? QStringLiteral("yes") : QStringLiteral("no"));
        text += QStringLiteral("   disc: %1\n").arg(discText(*burner));
        text += QStringLiteral("   write speeds: %1\n").arg(BurnCommand::speedsText(*burner));
    }
    print(stdout, text);
    return 0;
}

std::optional<qint16> recorderNumber(const QString& text, qint16 count, QString* why) {
    if (text == QLatin1String("image"))
        return count;
    bool number = false;
    const qint16 n = text.toShort(&number);
    if (number && n >= 1 && n <= count)
        return n;
    *why = QStringLiteral("--recorder '%1' is not a recorder: give a number from 1 to %2, or "
                          "'image'")
               .arg(text)
               .arg(count);
    return std::nullopt;
}

int runBurnCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Burns the files (WAV, MP3, WMA) as the tracks of an audio CD, decoding them on the\n"
        "fly, each exactly as long as it decodes (tracks under 4 seconds are padded to 4),\n"
        "without gaps unless the burn method writes track at once. A CUE sheet (with its BIN)\n"
        "is burnt as a whole disc, gaps, ISRCs, catalogue number and CD-Text as they stand.\n"
        "The Image Recorder writes a CUE/BIN pair instead of a disc. Every burn leaves a log,\n"
        "beside the image or in ~/.local/share/melvane/burn-logs."));
    const QCommandLineOption recorder(
        QStringLiteral("recorder"),
        QStringLiteral("The recorder by its number in 'melvane-cli recorders' (default 1), or "
                       "'image' for the Image Recorder."),
        QStringLiteral("N|image"), QStringLiteral("1"));
    const QCommandLineOption imageDir(
        QStringLiteral("image-dir"),
        QStringLiteral("The folder the Image Recorder writes to; it must exist."),
        QStringLiteral("DIR"));
    const QCommandLineOption speed(QStringLiteral("speed"),
                                   QStringLiteral("Write speed factor, 1 to 50 (default: the "
                                                  "highest); the recorder may take a lower one."),
                                   QStringLiteral("N"));
    const QCommandLineOption method(
        QStringLiteral("method"), QStringLiteral("Burn method, 0 (automatic, the default) to 11."),
        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption simulate(QStringLiteral("simulate"),
                                      QStringLiteral("Test burn: go through it, write nothing."));
    const QCommandLineOption keepOpen(QStringLiteral("keep-open"),
                                      QStringLiteral("Leave the disc open instead of finalising "
                                                     "it."));
    const QCommandLineOption verify(
        QStringLiteral("verify"),
        QStringLiteral("Read the finished disc back with full paranoia and compare every track "
                       "with what was written; a difference is an error."));
    parser.addOptions(
        {helpOption(), recorder, imageDir, speed, method, simulate, keepOpen, verify});
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("Files to burn, in order."),
                                 QStringLiteral("FILE..."));
    if (const auto code = parseCommand(
            parser, arguments,
            helpText(parser, QStringLiteral("Usage: melvane-cli burn [OPTIONS] FILE..."),
                     QStringLiteral("Exit status: 0 when the burn went well (and, with "
                                    "--verify, every track is identical),\n1 when it failed, 2 "
                                    "for a usage error, 128 + the signal's number when a\nsignal "
                                    "cancelled it.\n"))))
        return *code;

    BurnRequest request;
    QString why;
    if (parser.isSet(speed)) {
        const std::optional<qint16> chosen = speedOption(parser.value(speed), &why);
        if (!chosen)
            return burnUsage(why);
        request.speed = *chosen;
    }
    bool number = false;
    request.method = parser.value(method).toInt(&number);
    if (!number || request.method < 0 || request.method > 11)
        return burnUsage(QStringLiteral("--method '%1' is not a burn method from 0 to 11")
                             .arg(parser.value(method)));
    request.simulate = parser.isSet(simulate);
    request.keepOpen = parser.isSet(keepOpen);
    request.verify = parser.isSet(verify);
    request.files = parser.positionalArguments();
    if (request.files.isEmpty())
        return burnUsage(QStringLiteral("no files to burn"));
    if (parser.isSet(imageDir)) {
        const QString dir = parser.value(imageDir);
        const QFileInfo info(dir);
        if (info.exists() && !info.isDir())
            return burnUsage(QStringLiteral("the image folder %1 is not a folder").arg(dir));
        if (!info.isDir())
            return burnUsage(QStringLiteral("the image folder %1 does not exist").arg(dir));
        qputenv("MELVANE_IMAGE_DIR", QFile::encodeName(QDir(dir).absolutePath()));
    }

    const auto burner = burning::makeBurner();
    const qint16 count = burner->RecorderCount();
    const std::optional<qint16> chosen = recorderNumber(parser.value(recorder), count, &why);
    if (!chosen)
        return burnUsage(why);
    request.recorder = *chosen;

    BurnCommand job(*burner, request);
    Interrupts interrupts;
    QObject::connect(&interrupts, &Interrupts::interrupted, &job, &BurnCommand::interrupt);
    QObject::connect(
        &job, &BurnCommand::finished, qApp, [](int code) { QCoreApplication::exit(code); },
        Qt::QueuedConnection);
    QMetaObject::invokeMethod(&job, &BurnCommand::start, Qt::QueuedConnection);
    const int code = QCoreApplication::exec();
    if (code == 0 && request.recorder == count && !request.simulate)
        print(stdout, QStringLiteral("Image: %1\n")
                          .arg(terminalText(QDir(burning::ImageRecorder::folder())
                                                .filePath(burner->imageRecorder().lastImage() +
                                                          QStringLiteral(".cue")))));
    return code;
}

BurnCommand::BurnCommand(AudioBurner& burner, BurnRequest request, QObject* parent)
    : QObject(parent), m_burner(burner), m_request(std::move(request)),
      m_terminal(isatty(STDOUT_FILENO)) {
    connect(&m_burner, &AudioBurner::Progress, this, &BurnCommand::onProgress);
    connect(&m_burner, &AudioBurner::Failed, this,
            [this](const QString& message) { m_failure = message; });
    connect(&m_burner, &AudioBurner::BurnFinished, this, &BurnCommand::onFinished);
    connect(&m_burner, &AudioBurner::Notice, this, &BurnCommand::onNotice);
}

QString BurnCommand::phaseText(qint32 state, qint32 trackPhase) {
    if (state == 3)
        return QStringLiteral("Finalise Disc");
    if (state == 4)
        return QStringLiteral("Verify");
    if (state != 2)
        return QStringLiteral("Prepare");
    switch (trackPhase) {
    case 1:
        return QStringLiteral("Fill Buffer");
    case 3:
        return QStringLiteral("Close Track");
    default:
        return QStringLiteral("Burn Track");
    }
}

void BurnCommand::start() {
    m_clock.start();
    try {
        m_burner.setCurrentRecorder(m_request.recorder);
        m_burner.RefreshDisc();
        m_burner.setBurnMethod(m_request.method);
        m_burner.setWriteSpeed(m_request.speed > 0 ? m_request.speed : m_burner.MaxWriteSpeed());
        m_burner.setRealBurn(!m_request.simulate);
        m_burner.setKeepDiscOpen(m_request.keepOpen);
        m_burner.setVerifyAfterBurning(m_request.verify);
        for (const QString& file : m_request.files) {
            m_burner.AddTrack(file);
            m_tracks += 1;
            if (burning::isCueSheet(file)) {
                try {
                    m_tracks +=
                        qint16(burning::DiscImageSource(file).description().tracks.size() - 1);
                } catch (const Error&) {
                    // The burn refuses it, saying why.
                }
            }
        }
        print(stdout, QStringLiteral("%1 %2 track(s), %3, on %4 %5 at %6x\n")
                          .arg(m_request.simulate ? QStringLiteral("Test-burning")
                                                  : QStringLiteral("Burning"))
                          .arg(m_tracks)
                          .arg(megabytes(m_burner.CompilationSize()),
                               terminalText(m_burner.RecorderVendor()),
                               terminalText(m_burner.RecorderProduct()))
                          .arg(m_burner.WriteSpeed()));
        m_burner.StartBurn();
    } catch (const Error& e) {
        printError(m_request.command, e.message());
        Q_EMIT finished(1);
    }
}

void BurnCommand::interrupt(int signalNumber) {
    if (m_signal != 0)
        return;
    m_signal = signalNumber;
    m_burner.CancelBurn();
}

void BurnCommand::onProgress(qint16 percent) {
    const qint32 state = m_burner.State();
    const QString phase = phaseText(state, m_burner.TrackPhase());
    const qint16 tracks = m_tracks;
    const int shown = qBound(0, int(percent), 100);
    const QString line = QStringLiteral("%1  track %2/%3  [%4%5] %6%  buffer %7%")
                             .arg(phase, -13)
                             .arg(qMax<qint16>(1, m_burner.CurrentTrack()))
                             .arg(tracks)
                             .arg(QString(shown * kBarCells / 100, u'#'))
                             .arg(QString(kBarCells - shown * kBarCells / 100, u'.'))
                             .arg(shown, 3)
                             .arg(m_burner.BufferFill(), 3);
    if (m_terminal) {
        drawLine(line);
        return;
    }
    // Into a file or a pipe: a line per phase change and per quarter.
    const int step = shown / 25;
    if (phase != m_lastPhase || step != m_lastStep) {
        m_lastPhase = phase;
        m_lastStep = step;
        print(stdout, line + u'\n');
    }
}

void BurnCommand::onNotice(const QString& text, bool warning) {
    clearLine();
    if (warning)
        printError(m_request.command, QStringLiteral("warning: ") + text);
    else
        print(stdout, terminalText(text) + u'\n');
    // A file or a pipe gets the next progress line afresh.
    m_lastPhase.clear();
}

void BurnCommand::drawLine(const QString& line) {
    print(stdout, QStringLiteral("\r%1\033[K").arg(line));
    m_lineShown = true;
}

void BurnCommand::clearLine() {
    if (m_lineShown)
        print(stdout, QStringLiteral("\r\033[K"));
    m_lineShown = false;
}

void BurnCommand::onFinished(qint32 status, const QString& text) {
    clearLine();
    const double seconds = double(m_clock.elapsed()) / 1000.0;
    if (status == AudioBurner::BurnSucceeded) {
        print(stdout, QStringLiteral("%1 (%2 s)\n").arg(text).arg(seconds, 0, 'f', 1));
        Q_EMIT finished(0);
    } else if (status == AudioBurner::BurnCancelled && m_signal != 0) {
        printError(m_request.command,
                   QStringLiteral("interrupted; the burn was cancelled and nothing was kept"));
        Q_EMIT finished(128 + m_signal);
    } else {
        printError(m_request.command, m_failure.isEmpty() ? text : m_failure);
        Q_EMIT finished(1);
    }
}
