#include "backends/burn/Recorder.h"

#include "components/Error.h"

namespace burning {

namespace {

QString shared(const std::vector<PlannedTrack>& tracks, QString TrackInfo::*field) {
    if (tracks.empty())
        return {};
    const QString first = tracks.front().info.*field;
    for (const PlannedTrack& t : tracks)
        if (t.info.*field != first)
            return {};
    return first;
}

QString playingTime(qint64 sectors, bool roundUp) {
    const qint64 seconds = (sectors + (roundUp ? kSectorsPerSecond - 1 : 0)) / kSectorsPerSecond;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

DiscText discTextOf(const std::vector<PlannedTrack>& tracks) {
    return {shared(tracks, &TrackInfo::album), shared(tracks, &TrackInfo::performer)};
}

void checkFits(qint64 needed, qint64 room, const QString& recorder) {
    if (needed <= room)
        return;
    throw Error(QStringLiteral("The compilation does not fit on the disc in %1: it needs %2 "
                               "minutes, the disc has room for %3.")
                    .arg(recorder, playingTime(needed, true), playingTime(room, false)));
}

} // namespace burning
