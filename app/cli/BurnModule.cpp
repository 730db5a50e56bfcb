// The module of the commands on the burning engine (libburn) and its image recorder.
#include "app/cli/BurnCommand.h"
#include "app/cli/CopyCommands.h"
#include "app/cli/ModuleEntry.h"

MELVANE_CLI_MODULE_ENTRY int melvaneCliRun(const char* name, const QStringList& arguments) {
    return runModuleCommandTable({{"recorders", runRecordersCommand},
                                  {"burn", runBurnCommand},
                                  {"copy", runCopyCommand},
                                  {"rip-image", runRipImageCommand}},
                                 name, arguments);
}
static_assert(std::is_same_v<decltype(&melvaneCliRun), ModuleEntry>);
