#include "app/cli/InfoCommand.h"

#include "components/Error.h"
#include "shell/common/CommonHelpers.h"

#include <cstdio>
#include <exception>

QString infoLine(HarnMediaUtils& x, const QString& path) {
    const QString ending = path.right(3);
    QString type;
    float duration = 0;
    float size = 0;
    // Open, then duration, then size: the order the list reads them in.
    if (ending == QLatin1String("wma")) {
        type = QStringLiteral("WMA");
        x.ReadWmaInfo(path);
        duration = x.WmaDuration();
        size = x.WmaSizeMB();
    } else if (ending == QLatin1String("mp3")) {
        type = QStringLiteral("MP3");
        x.ReadMp3Info(path);
        duration = x.Mp3Duration();
        size = x.Mp3SizeMB();
    } else if (ending == QLatin1String("wav")) {
        type = QStringLiteral("WAV");
        x.ReadWavInfo(path);
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

int runInfo(HarnMediaUtils& x, const QStringList& files) {
    int exitCode = 0;
    for (const QString& path : files) {
        try {
            const QString line = infoLine(x, path) + u'\n';
            std::fputs(line.toLocal8Bit().constData(), stdout);
        } catch (const std::exception& e) {
            // Keep the two streams in order when both go to the same place.
            std::fflush(stdout);
            std::fputs(QStringLiteral("melvane-cli: %1\n")
                           .arg(QString::fromUtf8(e.what()))
                           .toLocal8Bit()
                           .constData(),
                       stderr);
            exitCode = 1;
        }
    }
    std::fflush(stdout);
    return exitCode;
}
