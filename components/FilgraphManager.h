#pragma once

#include <QString>

// The playback graph of the file player: a file is rendered, then run, paused or stopped.
class FilgraphManager {
public:
    virtual ~FilgraphManager() = default;
    // Raises Error when the file cannot be opened or decoded.
    virtual void RenderFile(const QString& path) = 0;
    virtual void Run() = 0;
    virtual void Pause() = 0;
    // Stops playback; harmless when nothing plays or nothing is rendered.
    virtual void Stop() = 0;
};
