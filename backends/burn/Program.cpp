#include "backends/burn/Program.h"

#include <algorithm>

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

qint64 sectorsUpTo(qint64 frames, qint64 framesPerSector) {
    return (frames + framesPerSector - 1) / framesPerSector;
}

} // namespace

DiscInfo discInfoOf(const std::vector<PlannedTrack>& tracks) {
    DiscInfo disc;
    disc.title = shared(tracks, &TrackInfo::album);
    disc.performer = shared(tracks, &TrackInfo::performer);
    return disc;
}

qint64 streamFrames(const TrackInfo& info, qint64 frames) {
    const qint64 own = info.padToShortest ? std::max(frames, kShortestTrackFrames) : frames;
    return info.pregapFrames + own;
}

std::vector<TrackPlace> placeTracks(const std::vector<qint64>& stream,
                                    const std::vector<qint64>& pregapFrames, Joining joining,
                                    qint64 framesPerSector) {
    std::vector<TrackPlace> places(stream.size());
    qint64 frame = 0;  // where the track's data begins in a continuous program
    qint64 sector = 0; // the same for separate tracks, which begin on whole sectors
    for (size_t i = 0; i < stream.size(); ++i) {
        TrackPlace& p = places[i];
        const qint64 gap = i < pregapFrames.size() ? pregapFrames[i] : 0;
        if (joining == Joining::Continuous) {
            p.firstSector = frame / framesPerSector;
            p.index1Sector = (frame + gap) / framesPerSector;
            frame += stream[i];
        } else {
            p.firstSector = sector;
            p.index1Sector = sector + gap / framesPerSector;
            sector += sectorsUpTo(stream[i], framesPerSector);
        }
    }
    const qint64 end =
        joining == Joining::Continuous ? sectorsUpTo(frame, framesPerSector) : sector;
    for (size_t i = 0; i < places.size(); ++i)
        places[i].sectors =
            (i + 1 < places.size() ? places[i + 1].firstSector : end) - places[i].firstSector;
    return places;
}

qint64 programSectors(const std::vector<TrackPlace>& places) {
    return places.empty() ? 0 : places.back().firstSector + places.back().sectors;
}

QString playingPosition(qint64 sectors) {
    const qint64 seconds = sectors / kSectorsPerSecond;
    return QStringLiteral("%1:%2.%3")
        .arg(seconds / 60)
        .arg(seconds % 60, 2, 10, QLatin1Char('0'))
        .arg(sectors % kSectorsPerSecond, 2, 10, QLatin1Char('0'));
}

} // namespace burning
