#include "app/cli/RecordCommands.h"

#include "app/cli/CommandKit.h"
#include "app/cli/Interrupts.h"
#include "app/cli/TerminalText.h"
#include "backends/audio/CaptureDevices.h"
#include "backends/audio/SoundRecorder.h"
#include "components/Error.h"
#include "core/RecorderSettings.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>
#include <cmath>
#include <unistd.h>

namespace {

// A year: enough for any recording, and far from overflowing a frame count.
constexpr double kMaximumSeconds = 366.0 * 24 * 3600;

const char* const kDevicesUsage =
    "Usage: melvane-cli devices\n"
    "\n"
    "Lists the capture devices (sound card inputs, the sources of PulseAudio or PipeWire), one\n"
    "per line: the id to give 'melvane-cli record --device', the name, and \"default\" for the\n"
    "system's default input, separated by tabs.\n";

const char* const kRecordUsage =
    "Usage: melvane-cli record [OPTIONS] OUT\n"
    "       melvane-cli record --recover [FOLDER...]\n"
    "\n"
    "Records from a capture device into OUT at 44.1 kHz, 16 bit, stereo, as the sound\n"
    "recorder does, until the given length of audio is in or the recording is interrupted\n"
    "(Ctrl-C). The time recorded is shown meanwhile. OUT gets the ending of its format (.mp3\n"
    "or .wav) and appears complete when the recording ends; a missing folder named\n"
    "\"Recordings\" is made. An OUT that exists is replaced only with --overwrite.\n"
    "\n"
    "Nothing recorded is lost to a crash: while it records, the file is also there as\n"
    "OUT.recording, written to the disk every second. If the program is killed or the\n"
    "computer stops, that file keeps all but the last second; 'melvane-cli record --recover'\n"
    "or the Sound Recorder window at its next start makes it a playable file named OUT (or\n"
    "\"OUT (2)\" ... when OUT is taken). A full disk ends the recording and keeps what was\n"
    "written. An interrupt before any audio came leaves no file.\n"
    "\n"
    "Options:\n"
    "  --device ID          the capture device, as 'melvane-cli devices' lists it (default:\n"
    "                       the system's default input)\n"
    "  --seconds N          stop after N seconds of audio (default: record until interrupted)\n"
    "  --to mp3|wav         the file's format (default: from OUT's ending, else mp3)\n"
    "  --bitrate KBPS       MP3 bit rate in kbit/s, 32 to 320 (default 128)\n"
    "  --encoder lame|shine MP3 encoder: lame (default) or shine (faster)\n"
    "  --overwrite          replace OUT when it exists\n"
    "  --recover            make the interrupted recordings playable files instead: those\n"
    "                       started on this computer, and the .recording files in FOLDER\n"
    "  -h, --help           show this help\n"
    "\n"
    "Exit status: 0 when the recording was saved (or everything was recovered), 1 when it\n"
    "could not start, failed or recorded nothing, 2 for a usage error.\n";

// The capture format melvane-cli records in: CD quality, where the device takes it.
qint32 cdQualityFormat(const QString& deviceId) {
    const std::optional<QAudioDevice> device = findCaptureDevice(deviceId);
    if (!device)
        return 0; // the recorder names the missing device
    const std::vector<CaptureFormat> formats = captureFormats(*device);
    for (size_t i = 0; i < formats.size(); ++i)
        if (formats[i] == CaptureFormat{44100, 16, 2})
            return qint32(i);
    return qint32(formats.size()) - 1;
}

// record --recover: every interrupted recording found, made playable.
int recoverRecordings(const QStringList& folders) {
    SoundRecorder recorder;
    QStringList found;
    for (const QString& folder : folders.isEmpty() ? QStringList{QString()} : folders)
        for (const QString& file : recorder.InterruptedRecordings(folder))
            if (!found.contains(file))
                found << file;
    if (found.isEmpty()) {
        print(stdout, QStringLiteral("No interrupted recordings\n"));
        return 0;
    }
    int status = 0;
    for (const QString& file : std::as_const(found)) {
        try {
            const QString kept = recorder.RecoverRecording(file);
            print(stdout, kept.isEmpty()
                              ? QStringLiteral("%1 held no audio; removed\n").arg(file)
                              : QStringLiteral("Recovered %1 into %2\n").arg(file, kept));
        } catch (const Error& e) {
            printError(QStringLiteral("record"), e.message());
            status = 1;
        }
    }
    return status;
}

} // namespace

int runDevicesCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOption(helpOption());
    if (const auto code = parseCommand(parser, arguments, QString::fromUtf8(kDevicesUsage)))
        return *code;
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("devices"), QStringLiteral("it takes no arguments"));
    const std::vector<CaptureDevice> devices = captureDevices();
    if (devices.empty()) {
        print(stdout, QStringLiteral("No capture devices\n"));
        return 0;
    }
    QString text;
    for (const CaptureDevice& device : devices)
        text += device.id + u'\t' + device.name +
                (device.isDefault ? QStringLiteral("\tdefault\n") : QStringLiteral("\n"));
    print(stdout, text);
    return 0;
}

int runRecordCommand(const QStringList& arguments) {
    const QString command = QStringLiteral("record");
    QCommandLineParser parser;
    const QCommandLineOption device(QStringLiteral("device"), {}, QStringLiteral("ID"));
    const QCommandLineOption seconds(QStringLiteral("seconds"), {}, QStringLiteral("N"));
    const QCommandLineOption to(QStringLiteral("to"), {}, QStringLiteral("mp3|wav"));
    const QCommandLineOption bitrate(QStringLiteral("bitrate"), {}, QStringLiteral("KBPS"),
                                     QStringLiteral("128"));
    const QCommandLineOption encoder(QStringLiteral("encoder"), {}, QStringLiteral("lame|shine"),
                                     QStringLiteral("lame"));
    const QCommandLineOption overwrite(QStringLiteral("overwrite"));
    const QCommandLineOption recover(QStringLiteral("recover"));
    parser.addOptions({helpOption(), device, seconds, to, bitrate, encoder, overwrite, recover});
    if (const auto code = parseCommand(parser, arguments, QString::fromUtf8(kRecordUsage)))
        return *code;
    if (parser.isSet(recover))
        return recoverRecordings(parser.positionalArguments());
    const QStringList outputs = parser.positionalArguments();
    if (outputs.size() != 1)
        return usageError(command, outputs.isEmpty() ? QStringLiteral("no output file given")
                                                     : QStringLiteral("give one output file"));
    const QString given = outputs.first();

    SoundRecorder recorder;
    recorder.setDevice(parser.value(device));
    const QString ending = QFileInfo(given).suffix().toLower();
    const bool named = ending == QLatin1String("mp3") || ending == QLatin1String("wav");
    const QString format = parser.isSet(to) ? parser.value(to) : ending;
    if (parser.isSet(to) && format != QLatin1String("mp3") && format != QLatin1String("wav"))
        return usageError(
            command, QStringLiteral("unknown format '%1' for --to: give mp3 or wav").arg(format));
    if (named && format != ending)
        return usageError(command, QStringLiteral("--to %1 does not fit the name %2: a %1 file "
                                                  "ends in .%1")
                                       .arg(format, given));
    const qint32 outputFormat = format == QLatin1String("wav") ? 0 : 1;
    const QString out = recordingFileName(given, outputFormat);
    recorder.setFileName(out);
    recorder.setOutputFormat(outputFormat);
    bool number = false;
    const int kbps = parser.value(bitrate).toInt(&number);
    if (!number || kbps < 32 || kbps > 320)
        return usageError(command, QStringLiteral("--bitrate '%1' is not an MP3 bit rate: give "
                                                  "kbit/s from 32 to 320, such as 128")
                                       .arg(parser.value(bitrate)));
    recorder.setMP3Bitrate(kbps);
    const QString encoderName = parser.value(encoder);
    if (encoderName != QLatin1String("lame") && encoderName != QLatin1String("shine"))
        return usageError(command,
                          QStringLiteral("unknown encoder '%1' for --encoder: give lame or shine")
                              .arg(encoderName));
    recorder.setEncoderDLL(encoderName == QLatin1String("lame") ? QStringLiteral("lame_enc.dll")
                                                                : QStringLiteral("bladeenc.dll"));
    double limit = 0;
    if (parser.isSet(seconds)) {
        limit = parser.value(seconds).toDouble(&number);
        if (!number || !std::isfinite(limit) || limit <= 0 || limit > kMaximumSeconds)
            return usageError(command, QStringLiteral("--seconds '%1' is not a length: give "
                                                      "seconds above 0, such as 10, up to a "
                                                      "year; leave it out to record until "
                                                      "interrupted")
                                           .arg(parser.value(seconds)));
    }
    recorder.setPCMFormat(cdQualityFormat(parser.value(device)));
    recorder.setMaximumSeconds(limit);

    // Folders, devices and pipes are refused by the output file itself, whatever is asked.
    if (QFileInfo(out).isFile() && !parser.isSet(overwrite)) {
        printError(command,
                   QStringLiteral("%1 exists already; give --overwrite to replace it.").arg(out));
        return 1;
    }
    for (const QString& file : recorder.InterruptedRecordings(QFileInfo(out).path()))
        printError(command, QStringLiteral("an interrupted recording is waiting: %1 ('melvane-cli "
                                           "record --recover' makes it a playable file)")
                                .arg(file));

    Interrupts interrupts;
    try {
        recorder.StartRecording();
    } catch (const Error& e) {
        printError(command, e.message());
        return 1;
    }
    // The time in place on a terminal, a line every ten seconds otherwise.
    const bool terminal = isatty(STDERR_FILENO);
    QString failure;
    QTimer clock;
    int lastLine = 0;
    QObject::connect(&clock, &QTimer::timeout, [&] {
        const double t = recorder.RecordedTime() / 1000.0;
        if (terminal)
            print(
                stderr,
                QStringLiteral("\rRecording %1  %2 ").arg(terminalText(out), FormatRecordTime(t)));
        else if (int(t) / 10 > lastLine)
            print(stderr,
                  QStringLiteral("Recording %1  %2\n").arg(terminalText(out), FormatRecordTime(t)));
        lastLine = std::max(lastLine, int(t) / 10);
    });
    QObject::connect(&interrupts, &Interrupts::interrupted, [&] { recorder.StopRecording(); });
    QObject::connect(&recorder, &Record::Failed,
                     [&](const QString& message) { failure = message; });
    QObject::connect(&recorder, &Record::RecordingStopped, [] { QCoreApplication::exit(0); });
    clock.start(200);
    QCoreApplication::exec();
    clock.stop();
    const QString time = FormatRecordTime(recorder.RecordedTime() / 1000.0);
    print(stderr, terminal ? QStringLiteral("\r") : QString());
    if (!failure.isEmpty()) {
        printError(command, failure);
        return 1;
    }
    print(stdout, QStringLiteral("Recorded %1 into %2\n").arg(time, terminalText(out)));
    return 0;
}
