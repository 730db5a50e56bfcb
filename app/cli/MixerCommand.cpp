#include "app/cli/MixerCommand.h"

#include "backends/audio/MixerDevices.h"
#include "core/VolumeMixer.h"

#include <QCommandLineParser>
#include <cstdio>

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

int fail(const QString& message, int code) {
    std::fprintf(stderr, "melvane-cli mixer: %s\n", qPrintable(message));
    if (code == 2)
        std::fprintf(stderr, "Try 'melvane-cli mixer --help' for more information.\n");
    return code;
}

} // namespace

int runMixerCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, {});
    const QCommandLineOption lineOption(QStringLiteral("line"), {}, QStringLiteral("N"),
                                        QStringLiteral("0"));
    const QCommandLineOption volumeOption(QStringLiteral("volume"), {}, QStringLiteral("PERCENT"));
    const QCommandLineOption muteOption(QStringLiteral("mute"), {}, QStringLiteral("on|off"));
    parser.addOptions({help, lineOption, volumeOption, muteOption});
    if (!parser.parse(arguments))
        return fail(parser.errorText(), 2);
    if (parser.isSet(help)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("it takes no file or other argument"), 2);

    bool ok = false;
    const int line = parser.value(lineOption).toInt(&ok);
    if (!ok || line < 0 || line >= VolumeMixer::MuteOffset)
        return fail(
            QStringLiteral("--line '%1' is not a line: give 0 to 6").arg(parser.value(lineOption)),
            2);
    int volume = -1;
    if (parser.isSet(volumeOption)) {
        volume = parser.value(volumeOption).remove(u'%').toInt(&ok);
        if (!ok || volume < 0 || volume > 100)
            return fail(QStringLiteral("--volume '%1' is not a volume: give 0 to 100")
                            .arg(parser.value(volumeOption)),
                        2);
    }
    const QString mute = parser.value(muteOption);
    if (parser.isSet(muteOption) && mute != QLatin1String("on") && mute != QLatin1String("off"))
        return fail(QStringLiteral("--mute '%1': give on or off").arg(mute), 2);

    MixerDevices mixer;
    VolumeMixer module(mixer);
    if (!module.OpenVolumeMixer(0))
        return fail(QStringLiteral("cannot open the audio mixer (is there a sound card or a "
                                   "sound server?)"),
                    1);
    const Mixer::Control& volumeControl = module.control(line);
    const Mixer::Control& muteControl = module.control(line + VolumeMixer::MuteOffset);
    int status = 0;
    if (volumeControl.controlId == 0 && muteControl.controlId == 0)
        status = fail(QStringLiteral("the mixer has no line %1").arg(line), 1);
    else if (volume >= 0 && !module.SetVolume(line, volume))
        status =
            fail(QStringLiteral("line %1 has no volume, or the mixer refused it").arg(line), 1);
    else if (!mute.isEmpty() && !module.SetMute(line + VolumeMixer::MuteOffset, mute == "on"))
        status = fail(
            QStringLiteral("line %1 has no mute switch, or the mixer refused it").arg(line), 1);
    if (status == 0) {
        if (volumeControl.controlId != 0)
            std::printf("%s: %d%%\n", qPrintable(volumeControl.name), module.GetVolume(line));
        if (muteControl.controlId != 0)
            std::printf("%s: %s\n", qPrintable(muteControl.name),
                        module.GetMute(line + VolumeMixer::MuteOffset) ? "on" : "off");
    }
    module.CloseVolumeMixer();
    return status;
}
