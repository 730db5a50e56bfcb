// The module of the commands on files and CDs: FFmpeg's codecs, libcdio and paranoia, and the
// web look-ups of a disc.
#include "app/cli/DrivesCommand.h"
#include "app/cli/FileCommands.h"
#include "app/cli/ModuleEntry.h"
#include "app/cli/RipCommand.h"
#include "app/cli/TocCommand.h"

MELVANE_CLI_MODULE_ENTRY int melvaneCliRun(const char* name, const QStringList& arguments) {
    return runModuleCommandTable({{"convert", runConvertCommand},
                                  {"info", runInfoCommand},
                                  {"drives", runDrivesCommand},
                                  {"toc", runTocCommand},
                                  {"rip", runRipCommand}},
                                 name, arguments);
}
static_assert(std::is_same_v<decltype(&melvaneCliRun), ModuleEntry>);
