#pragma once

#include <QObject>
#include <QString>

// The playback graph of the file player: a file is rendered, then run, paused or stopped.
class FilgraphManager : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // Raises Error when the file cannot be opened or decoded, or there is no audio output.
    virtual void RenderFile(const QString& path) = 0;
    // Plays from the current position: the start after RenderFile or Stop, where it was after
    // Pause. Raises Error when nothing is rendered or the output refuses to start.
    virtual void Run() = 0;
    virtual void Pause() = 0;
    // Stops playback and rewinds, so the next Run plays from the start; harmless when nothing
    // plays or nothing is rendered.
    virtual void Stop() = 0;

Q_SIGNALS:
    // Playback broke after Run returned (e.g. the file turned out damaged); playback stopped.
    void Failed(const QString& message);
};
