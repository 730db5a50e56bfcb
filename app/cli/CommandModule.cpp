#include "app/cli/CommandModule.h"

#include "components/Error.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <dlfcn.h>

int runModuleCommand(const char* module, const char* name, const QStringList& arguments) {
    const QString file = QLatin1String(module) + QLatin1String(".so");
    const QString programFolder = QCoreApplication::applicationDirPath();
    // Installed, the modules are in the program's library folder; in the build, beside it.
    const QString installed =
        programFolder + QLatin1String("/" MELVANE_CLI_MODULE_FOLDER "/") + file;
    const QString path =
        QFileInfo::exists(installed) ? installed : programFolder + QLatin1Char('/') + file;
    const QString what = QStringLiteral("cannot run '%1': its part of melvane-cli, %2, ")
                             .arg(QLatin1String(name), installed);
    if (!QFileInfo::exists(path))
        throw Error(what + QStringLiteral("is missing; reinstall Melvane"));
    // Never unloaded: the process ends without the libraries' clean-up (see endProcess).
    void* handle = ::dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        throw Error(what + QStringLiteral("cannot be loaded: ") +
                    QString::fromLocal8Bit(dlerror()));
    const auto entry = reinterpret_cast<ModuleEntry>(::dlsym(handle, kModuleEntry));
    const int code = entry ? entry(name, arguments) : kNoSuchCommand;
    if (code == kNoSuchCommand)
        throw Error(what + QStringLiteral("does not have that command; reinstall Melvane"));
    return code;
}
