#pragma once

#include "backends/burn/TrackFeed.h"

#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace burning {

// One track of a burn: where it comes from, what it will be, and the feed that delivers it.
struct PlannedTrack {
    QString source; // the file, or "track 2 of the image x.cue", as messages and the log say
    TrackInfo info;
    std::unique_ptr<TrackFeed> feed;
    // Decodes the file to count the frames its feed delivers, when info.frames is only the
    // header's estimate; empty otherwise. Runs on a worker thread (see TrackOpener::measure).
    std::function<qint64(const std::atomic<bool>& stop)> measure;
};

// The disc's CD-Text of a compilation of files: the album and the performer that every track
// shares, else empty.
DiscInfo discInfoOf(const std::vector<PlannedTrack>& tracks);

// How the tracks of a burn follow each other in what the writer receives (the program).
enum class Joining {
    // One stream, as a session-at-once burn and the image recorder write it: each track's
    // frames run on from the one before, without silence between. A track begins on the
    // sector that holds its first frame, so its INDEX 01 is its first frame rounded down to a
    // sector, and the frames before it in that sector are the previous track's last ones. Only
    // the end of the last track is padded with silence to a whole sector.
    Continuous,
    // Each track on sectors of its own, as a track-at-once burn writes it: its end is padded
    // with silence to a whole sector, and the recorder writes the 2-second pause between.
    Separate,
};

// Where a track lies in the program, in sectors from its start.
struct TrackPlace {
    qint64 firstSector = 0;  // of its data: its INDEX 00 gap when it has one, else INDEX 01
    qint64 index1Sector = 0; // its INDEX 01
    qint64 sectors = 0;      // written for it, from firstSector on
};

// The frames a track takes in the program, with frames from INDEX 01 on: its gap, then its
// frames, padded to 4 seconds when it is a file.
qint64 streamFrames(const TrackInfo& info, qint64 frames);

// Places the tracks; stream holds each one's frames in the program (streamFrames()). A track
// of a disc image comes in whole sectors, gap and all, so its places are exact either way.
std::vector<TrackPlace> placeTracks(const std::vector<qint64>& stream,
                                    const std::vector<qint64>& pregapFrames, Joining joining,
                                    qint64 framesPerSector = kFramesPerSector);

// The sectors of the whole program.
qint64 programSectors(const std::vector<TrackPlace>& places);

// "M:SS.ff" of a count of sectors (75 frames a second), as a CD player shows a position.
QString playingPosition(qint64 sectors);

} // namespace burning
