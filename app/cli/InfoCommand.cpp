#include "app/cli/InfoCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/TerminalText.h"
#include "components/Error.h"
#include "core/CommonHelpers.h"
#include "core/ConvertRules.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

QString infoLine(HarnMediaUtils& x, const QString& path, const QString& openPath) {
    const QString file = openPath.isEmpty() ? path : openPath;
    const ConvertRules::FileType type = ConvertRules::typeOf(path);
    if (type == ConvertRules::FileType::Unknown)
        throw Error(QStringLiteral("Cannot tell the type of %1: its name does not end in \"mp3\", "
                                   "\"wma\" or \"wav\"")
                        .arg(path));
    // Open, then duration, then size: the order the list reads them in.
    const ConvertRules::InfoOperations ops = ConvertRules::infoOperations(type);
    (x.*ops.read)(file);
    const float duration = (x.*ops.duration)();
    const float size = (x.*ops.sizeMB)();
    // One line per file, whatever its name holds.
    return QStringLiteral("%1\t%2\t%3\t%4 mb")
        .arg(terminalText(path), ConvertRules::typeText(type),
             ConvertSeconds(duration, true, true, true), QString::number(double(size), 'f', 2));
}

int runInfo(HarnMediaUtils& x, const QStringList& files, const QStringList& openAs) {
    int exitCode = 0;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString& path = files[i];
        const QString openPath = openAs.value(i);
        try {
            const QString line = infoLine(x, path, openPath) + u'\n';
            std::fputs(line.toLocal8Bit().constData(), stdout);
        } catch (const std::exception& e) {
            QString message = QString::fromUtf8(e.what());
            if (!openPath.isEmpty())
                message.replace(openPath, path);
            printError(QString(), message);
            exitCode = 1;
        }
    }
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        const int err = errno ? errno : EIO;
        printError(QString(), QStringLiteral("cannot write the file list: %1")
                                  .arg(QString::fromLocal8Bit(std::strerror(err))));
        exitCode = 1;
    }
    return exitCode;
}
