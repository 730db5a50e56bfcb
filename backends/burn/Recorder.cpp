#include "backends/burn/Recorder.h"

#include "components/Error.h"

namespace burning {

namespace {

QString playingTime(qint64 sectors, bool roundUp) {
    const qint64 seconds = (sectors + (roundUp ? kSectorsPerSecond - 1 : 0)) / kSectorsPerSecond;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

void checkFits(qint64 needed, qint64 room, const QString& recorder) {
    if (needed <= room)
        return;
    throw Error(QStringLiteral("The compilation does not fit on the disc in %1: it needs %2 "
                               "minutes, the disc has room for %3.")
                    .arg(recorder, playingTime(needed, true), playingTime(room, false)));
}

} // namespace burning
