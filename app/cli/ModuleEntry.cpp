#include "app/cli/ModuleEntry.h"

#include "backends/media/MediaJob.h"

#include <QScopeGuard>
#include <cstring>

int runModuleCommandTable(std::initializer_list<ModuleCommand> commands, const char* name,
                          const QStringList& arguments) {
    for (const ModuleCommand& command : commands) {
        if (std::strcmp(command.name, name) != 0)
            continue;
        const auto waitForJobs = qScopeGuard([] { MediaJob::waitForAll(10000); });
        return command.run(arguments);
    }
    return kNoSuchCommand;
}
