// The module of the commands on the sound devices: Qt Multimedia, PulseAudio and ALSA.
#include "app/cli/MixerCommand.h"
#include "app/cli/ModuleEntry.h"
#include "app/cli/PlayCommand.h"
#include "app/cli/RecordCommands.h"

MELVANE_CLI_MODULE_ENTRY int melvaneCliRun(const char* name, const QStringList& arguments) {
    return runModuleCommandTable({{"mixer", runMixerCommand},
                                  {"play", runPlayCommand},
                                  {"devices", runDevicesCommand},
                                  {"record", runRecordCommand}},
                                 name, arguments);
}
static_assert(std::is_same_v<decltype(&melvaneCliRun), ModuleEntry>);
