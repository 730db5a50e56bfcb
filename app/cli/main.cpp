// melvane-cli: Melvane's work without a window, for scripts and batches: converting and
// describing files, CD drives and rips, the mixer, playing, recording and burning, over the
// same components as the windows.
#include "app/cli/CommandKit.h"
#include "app/cli/CommandModule.h"
#include "core/ProcessEnd.h"
#include "core/ProcessMemory.h"

#include <QCoreApplication>
#include <cstdio>
#include <exception>

namespace {

const char* const kToolHelp =
    "Usage: melvane-cli COMMAND [OPTIONS] [ARGUMENTS...]\n"
    "\n"
    "Melvane without a window: converts and describes audio files, rips and burns audio\n"
    "CDs, plays, records and sets the mixer, for scripts and batch work.\n"
    "\n"
    "Commands:\n"
    "  convert   convert WAV files to MP3 or WMA, or MP3 and WMA files to WAV\n"
    "  info      show the type, duration and size of audio files\n"
    "  drives    list the CD drives\n"
    "  toc       show the tracks of the disc in a CD drive\n"
    "  rip       rip CD tracks to WAV, MP3 or WMA with paranoia, with checksums\n"
    "  mixer     show or set the volume and mute of a mixer line\n"
    "  play      play a file through the player's equaliser\n"
    "  devices   list the capture devices (sound card inputs)\n"
    "  record    record from a capture device to MP3 or WAV\n"
    "  recorders list the CD recorders, the image recorder last\n"
    "  burn      burn WAV, MP3 and WMA files as an audio CD (or a CUE/BIN image)\n"
    "  copy      copy an audio CD: read, check, burn and verify\n"
    "\n"
    "Options:\n"
    "  -h, --help      show this help\n"
    "  -v, --version   show the version\n"
    "\n"
    "Run 'melvane-cli COMMAND --help' for the options of a command.\n"
    "Exit status: 0 when every file was handled, 1 when a file failed, 2 for a usage error.\n";

int run(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("melvane-cli"));
    QCoreApplication::setApplicationVersion(
        QStringLiteral("%1.%2").arg(MELVANE_VERSION_MAJOR).arg(MELVANE_VERSION_MINOR));

    QStringList arguments = QCoreApplication::arguments();
    // "help COMMAND" is "COMMAND --help".
    if (arguments.value(1) == QLatin1String("help") && arguments.size() > 2)
        arguments = {arguments[0], arguments[2], QStringLiteral("--help")};
    const QString first = arguments.value(1);
    // Each command: its name and the module that has it.
    const struct {
        const char* name;
        const char* module;
    } commands[] = {
        {"convert", kMediaModule},  {"info", kMediaModule},    {"drives", kMediaModule},
        {"toc", kMediaModule},      {"rip", kMediaModule},     {"mixer", kAudioModule},
        {"play", kAudioModule},     {"devices", kAudioModule}, {"record", kAudioModule},
        {"recorders", kBurnModule}, {"burn", kBurnModule},     {"copy", kBurnModule},
    };
    for (const auto& command : commands) {
        if (first != QLatin1String(command.name))
            continue;
        // The module's jobs, once cancelled, have removed their temporary files by the time it
        // returns or raises.
        try {
            return runModuleCommand(command.module, command.name, arguments.mid(1));
        } catch (const std::exception& e) {
            printError(QString(), QString::fromUtf8(e.what()));
        }
        return 1;
    }
    if (first == QLatin1String("-h") || first == QLatin1String("--help") ||
        first == QLatin1String("help")) {
        print(stdout, QString::fromUtf8(kToolHelp));
        return 0;
    }
    if (first == QLatin1String("-v") || first == QLatin1String("--version")) {
        print(stdout,
              QStringLiteral("melvane-cli %1\n").arg(QCoreApplication::applicationVersion()));
        return 0;
    }
    if (first.isEmpty()) {
        print(stderr, QString::fromUtf8(kToolHelp));
        return kUsageError;
    }
    return usageError(QString(), QStringLiteral("unknown command '%1'").arg(first));
}

} // namespace

int main(int argc, char** argv) {
    returnLargeBlocksToTheSystem();
    endProcess(run(argc, argv));
}
