#pragma once

#include "app/cli/CommandModule.h"

#include <initializer_list>

// A module's side of kModuleEntry: each module defines
//     MELVANE_CLI_MODULE_ENTRY int melvaneCliRun(const char* name, const QStringList& arguments)
// over its table of commands with runModuleCommandTable.
#define MELVANE_CLI_MODULE_ENTRY extern "C" __attribute__((visibility("default")))

struct ModuleCommand {
    const char* name;
    int (*run)(const QStringList& arguments);
};

// Runs the command called `name`, or returns kNoSuchCommand. The module's own jobs, once
// cancelled, finish removing their temporary files before this returns or raises.
int runModuleCommandTable(std::initializer_list<ModuleCommand> commands, const char* name,
                          const QStringList& arguments);
