#include "app/cli/MixerCommand.h"

#include "app/cli/CommandKit.h"
#include "backends/audio/MixerDevices.h"
#include "core/VolumeMixer.h"

#include <QCommandLineParser>

namespace {

const char* const kUsage =
    "Usage: melvane-cli mixer [--line N] [--volume PERCENT] [--mute on|off]\n"
    "\n"
    "Shows, and sets when asked, the volume (in percent) and the mute switch of one line of\n"
    "the first audio mixer, as the volume control does. Lines: 0 speakers (master, the\n"
    "default), 1 digital, 2 line in, 3 microphone, 4 CD, 5 wave output, 6 auxiliary. On a sound\n"
    "server (PulseAudio, PipeWire) the mixer has line 0 alone.\n"
    "\n"
    "Options:\n"
    "  --line N            the line, 0 to 6 (default 0)\n"
    "  --volume PERCENT    set the volume, 0 to 100\n"
    "  --mute on|off       mute or unmute the line\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit status: 0 when done, 1 when the mixer or the line is missing or refuses, 2 for a\n"
    "usage error.\n";

const QString kCommand = QStringLiteral("mixer");

int usage(const QString& message) {
    return usageError(kCommand, message);
}

// Says what went wrong with the mixer; returns the exit code for it.
int fail(const QString& message) {
    printError(kCommand, message);
    return 1;
}

} // namespace

int runMixerCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption lineOption(QStringLiteral("line"), {}, QStringLiteral("N"),
                                        QStringLiteral("0"));
    const QCommandLineOption volumeOption(QStringLiteral("volume"), {}, QStringLiteral("PERCENT"));
    const QCommandLineOption muteOption(QStringLiteral("mute"), {}, QStringLiteral("on|off"));
    parser.addOptions({helpOption(), lineOption, volumeOption, muteOption});
    if (const auto code = parseCommand(parser, arguments, QString::fromUtf8(kUsage)))
        return *code;
    if (!parser.positionalArguments().isEmpty())
        return usage(QStringLiteral("it takes no file or other argument"));

    bool ok = false;
    const int line = parser.value(lineOption).toInt(&ok);
    if (!ok || line < 0 || line >= VolumeMixer::MuteOffset)
        return usage(
            QStringLiteral("--line '%1' is not a line: give 0 to 6").arg(parser.value(lineOption)));
    int volume = -1;
    if (parser.isSet(volumeOption)) {
        volume = parser.value(volumeOption).remove(u'%').toInt(&ok);
        if (!ok || volume < 0 || volume > 100)
            return usage(QStringLiteral("--volume '%1' is not a volume: give 0 to 100")
                             .arg(parser.value(volumeOption)));
    }
    const QString mute = parser.value(muteOption);
    if (parser.isSet(muteOption) && mute != QLatin1String("on") && mute != QLatin1String("off"))
        return usage(QStringLiteral("--mute '%1': give on or off").arg(mute));

    MixerDevices mixer;
    VolumeMixer module(mixer);
    if (!module.OpenVolumeMixer(0))
        return fail(QStringLiteral("cannot open the audio mixer (is there a sound card or a "
                                   "sound server?)"));
    const Mixer::Control& volumeControl = module.control(line);
    const Mixer::Control& muteControl = module.control(line + VolumeMixer::MuteOffset);
    int status = 0;
    if (volumeControl.controlId == 0 && muteControl.controlId == 0)
        status = fail(QStringLiteral("the mixer has no line %1").arg(line));
    else if (volume >= 0 && !module.SetVolume(line, volume))
        status = fail(QStringLiteral("line %1 has no volume, or the mixer refused it").arg(line));
    else if (!mute.isEmpty() && !module.SetMute(line + VolumeMixer::MuteOffset, mute == "on"))
        status =
            fail(QStringLiteral("line %1 has no mute switch, or the mixer refused it").arg(line));
    if (status == 0) {
        if (volumeControl.controlId != 0)
            print(stdout,
                  QStringLiteral("%1: %2%\n").arg(volumeControl.name).arg(module.GetVolume(line)));
        if (muteControl.controlId != 0)
            print(stdout, QStringLiteral("%1: %2\n")
                              .arg(muteControl.name, module.GetMute(line + VolumeMixer::MuteOffset)
                                                         ? QStringLiteral("on")
                                                         : QStringLiteral("off")));
    }
    module.CloseVolumeMixer();
    return status;
}
