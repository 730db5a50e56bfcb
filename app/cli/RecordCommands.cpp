#include "app/cli/RecordCommands.h"

#include "app/cli/Interrupts.h"
#include "app/cli/TerminalText.h"
#include "backends/audio/CaptureDevices.h"
#include "backends/audio/SoundRecorder.h"
#include "components/Error.h"
#include "recorder/RecorderSettings.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>
#include <cstdio>
#include <unistd.h>

namespace {

const char* const kDevicesUsage =
    "Usage: melvane-cli devices\n"
    "\n"
    "Lists the capture devices (sound card inputs, the sources of PulseAudio or PipeWire), one\n"
    "per line: the id to give 'melvane-cli record --device', the name, and \"default\" for the\n"
    "system's default input, separated by tabs.\n";

const char* const kRecordUsage =
    "Usage: melvane-cli record [OPTIONS] OUT\n"
    "\n"
    "Records from a capture device into OUT at 44.1 kHz, 16 bit, stereo, as the sound\n"
    "recorder does, until the given length of audio is in or the recording is interrupted\n"
    "(Ctrl-C). The time recorded is shown meanwhile. OUT appears complete when the recording\n"
    "ends; a missing folder named \"Recordings\" is made.\n"
    "\n"
    "Options:\n"
    "  --device ID          the capture device, as 'melvane-cli devices' lists it (default:\n"
    "                       the system's default input)\n"
    "  --seconds N          stop after N seconds of audio (default: record until interrupted)\n"
    "  --to mp3|wav         the file's format (default: from OUT's ending, else mp3)\n"
    "  --bitrate KBPS       MP3 bit rate in kbit/s, 32 to 320 (default 128)\n"
    "  --encoder lame|shine MP3 encoder: lame (default) or shine (faster)\n"
    "  -h, --help           show this help\n"
    "\n"
    "Exit status: 0 when the recording was saved, 1 when it could not start or failed, 2 for\n"
    "a usage error.\n";

void print(std::FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

int usageError(const QString& command, const QString& message) {
    print(stderr, QStringLiteral("melvane-cli %1: %2\nTry 'melvane-cli %1 --help' for more "
                                 "information.\n")
                      .arg(command, message));
    return 2;
}

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

} // namespace

int runDevicesCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, {});
    parser.addOption(help);
    if (!parser.parse(arguments))
        return usageError(QStringLiteral("devices"), parser.errorText());
    if (parser.isSet(help)) {
        print(stdout, QString::fromUtf8(kDevicesUsage));
        return 0;
    }
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
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, {});
    const QCommandLineOption device(QStringLiteral("device"), {}, QStringLiteral("ID"));
    const QCommandLineOption seconds(QStringLiteral("seconds"), {}, QStringLiteral("N"));
    const QCommandLineOption to(QStringLiteral("to"), {}, QStringLiteral("mp3|wav"));
    const QCommandLineOption bitrate(QStringLiteral("bitrate"), {}, QStringLiteral("KBPS"),
                                     QStringLiteral("128"));
    const QCommandLineOption encoder(QStringLiteral("encoder"), {}, QStringLiteral("lame|shine"),
                                     QStringLiteral("lame"));
    parser.addOptions({help, device, seconds, to, bitrate, encoder});
    if (!parser.parse(arguments))
        return usageError(command, parser.errorText());
    if (parser.isSet(help)) {
        print(stdout, QString::fromUtf8(kRecordUsage));
        return 0;
    }
    const QStringList outputs = parser.positionalArguments();
    if (outputs.size() != 1)
        return usageError(command, outputs.isEmpty() ? QStringLiteral("no output file given")
                                                     : QStringLiteral("give one output file"));
    const QString out = outputs.first();

    SoundRecorder recorder;
    recorder.setFileName(out);
    recorder.setDevice(parser.value(device));
    const QString format = parser.isSet(to) ? parser.value(to) : QFileInfo(out).suffix().toLower();
    if (parser.isSet(to) && format != QLatin1String("mp3") && format != QLatin1String("wav"))
        return usageError(
            command, QStringLiteral("unknown format '%1' for --to: give mp3 or wav").arg(format));
    recorder.setOutputFormat(format == QLatin1String("wav") ? 0 : 1);
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
        if (!number || limit <= 0)
            return usageError(command, QStringLiteral("--seconds '%1' is not a length: give "
                                                      "seconds above 0, such as 10")
                                           .arg(parser.value(seconds)));
    }
    recorder.setPCMFormat(cdQualityFormat(parser.value(device)));
    recorder.setMaximumSeconds(limit);

    Interrupts interrupts;
    try {
        recorder.StartRecording();
    } catch (const Error& e) {
        print(stderr, QStringLiteral("melvane-cli record: %1\n").arg(terminalText(e.message())));
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
        print(stderr, QStringLiteral("melvane-cli record: %1\n").arg(terminalText(failure)));
        return 1;
    }
    print(stdout, QStringLiteral("Recorded %1 into %2\n").arg(time, terminalText(out)));
    return 0;
}
