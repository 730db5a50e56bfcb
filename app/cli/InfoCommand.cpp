#include "app/cli/InfoCommand.h"

#include "components/Error.h"
#include "shell/common/CommonHelpers.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

QString infoLine(HarnMediaUtils& x, const QString& path, const QString& openPath) {
    const QString ending = path.right(3);
    const QString file = openPath.isEmpty() ? path : openPath;
    QString type;
    float duration = 0;
    float size = 0;
    // Open, then duration, then size: the order the list reads them in.
    if (ending == QLatin1String("wma")) {
        type = QStringLiteral("WMA");
        x.ReadWmaInfo(file);
        duration = x.WmaDuration();
        size = x.WmaSizeMB();
    } else if (ending == QLatin1String("mp3")) {
        type = QStringLiteral("MP3");
        x.ReadMp3Info(file);
        duration = x.Mp3Duration();
        size = x.Mp3SizeMB();
    } else if (ending == QLatin1String("wav")) {
        type = QStringLiteral("WAV");
        x.ReadWavInfo(file);
        duration = x.WavDuration();
        size = x.WavSizeMB();
    } else {
        throw Error(QStringLiteral("Cannot tell the type of %1: its name does not end in \"mp3\", "
                                   "\"wma\" or \"wav\" (lower case)")
                        .arg(path));
    }
    return QStringLiteral("%1\t%2\t%3\t%4 mb")
        .arg(path, type, ConvertSeconds(duration, true, true, true),
             QString::number(double(size), 'f', 2));
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
            // Keep the two streams in order when both go to the same place.
            std::fflush(stdout);
            std::fputs(QStringLiteral("melvane-cli: %1\n").arg(message).toLocal8Bit().constData(),
                       stderr);
            exitCode = 1;
        }
    }
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        const int err = errno ? errno : EIO;
        std::fputs(QStringLiteral("melvane-cli: cannot write the file list: %1\n")
                       .arg(QString::fromLocal8Bit(std::strerror(err)))
                       .toLocal8Bit()
                       .constData(),
                   stderr);
        exitCode = 1;
    }
    return exitCode;
}
