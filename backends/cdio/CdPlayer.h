#pragma once

#include "backends/cdio/DriveTable.h"

namespace cdio {

// The sound behind MCI's play, pause, resume and stop: reads a stretch of a disc's sectors on a
// worker thread (a DiscReader without paranoia) and plays it through the media core's audio
// output. Every call is made on the user-interface thread and returns at once.
class CdPlayer {
public:
    enum class State { Stopped, Playing, Paused };

    virtual ~CdPlayer() = default;

    // Plays sectors first up to (not including) end of the drive's disc, replacing whatever
    // plays. A disc that cannot be read stops the player (state() turns Stopped).
    virtual void play(const Drive& drive, qint32 first, qint32 end) = 0;
    // Holds the position; resume() goes on from there.
    virtual void pause() = 0;
    virtual void resume() = 0;
    virtual void stop() = 0;

    // Stopped also once the end was reached or the read failed.
    virtual State state() const = 0;
    // The sector being heard; meaningful while Playing or Paused.
    virtual qint32 position() const = 0;
};

} // namespace cdio
