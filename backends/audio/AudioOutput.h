#pragma once

#include "backends/media/PcmSource.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

class QAudioSink;
class QTimer;
class MediaJob;
class PcmPipe;
class PipeDevice;

// The one audio output of the program: plays a PcmSource on the default output device through
// Qt Multimedia. Users: the file player's graph (FilterGraph), CD playback (Mci), the recorder's
// player.
//
// A MediaJob decodes the source on its worker into a PcmPipe, about half a second ahead; the
// audio device pulls from the pipe (QAudioSink in pull mode) without ever waiting, on this
// object's thread. Nothing the source raises reaches Qt: a source that fails ends playback with
// failed(message).
//
// Playing again after stop() and seeking need a fresh source: open() takes a factory, called
// once at once and again for each start after a stop and each seek, which then moves the new
// source to the position through its Seekable capability.
//
// An output that stops taking sound while it has some to play (its device removed or
// suspended, the sound server hung) ends playback with failed() after StallLimit.
//
// All methods are called on the object's thread; none waits for the worker.
class AudioOutput final : public QObject {
    Q_OBJECT
public:
    enum class State { Stopped, Playing, Paused };
    using SourceFactory = std::function<std::unique_ptr<PcmSource>()>;

    // How long the device may hold its position while it has sound to play.
    static constexpr int StallLimit = 5000; // ms

    explicit AudioOutput(QObject* parent = nullptr);
    ~AudioOutput() override;

    // The format to give a source for the default output: `wanted` when the device takes it,
    // else the device's own rate with at most two channels. Raises Error when the machine has
    // no audio output.
    static PcmFormat playableFormat(PcmFormat wanted);

    // Stops what plays and takes what to play next, from its start. makeSource is called here
    // (its Error passes through: a file that cannot be decoded is refused at once). Raises
    // Error when there is no output or it does not take the source's format.
    void open(SourceFactory makeSource);
    bool isOpen() const { return bool(m_makeSource); }

    // Plays from position(), or resumes after pause(). Raises Error when nothing is open or
    // the device refuses to start.
    void start();
    void pause();
    // Stops; position() stays, so start() plays on from there.
    void stop();
    // Moves to a position in seconds, playing, paused or stopped. Raises Error when the
    // source cannot seek.
    void seek(double seconds);
    bool canSeek() const { return m_canSeek; }

    // Seconds from the source's start of what the device has played.
    double position() const;
    // The source's length in seconds; -1 when it does not know.
    double duration() const;
    State state() const { return m_state; }
    PcmFormat format() const { return m_format; }

Q_SIGNALS:
    // Played to the end: the state is Stopped and the position back at the start.
    void finished();
    // Playback broke (the source raised, the device failed); the state is Stopped.
    void failed(const QString& message);

private:
    void play(std::unique_ptr<PcmSource> source);
    void teardown();
    void onSinkState();
    void checkDrained();
    void checkStalled();
    void watchForStalls();
    void fail(const QString& message);
    qint64 playedFrames() const;

    SourceFactory m_makeSource;
    std::unique_ptr<PcmSource> m_first; // made by open(), played by the first start()
    PcmFormat m_format;
    qint64 m_expected = -1;
    bool m_canSeek = false;
    State m_state = State::Stopped;
    qint64 m_startFrame = 0; // where the stream now playing began
    qint64 m_position = 0;   // while stopped

    MediaJob* m_job = nullptr; // one per stream: a finished one may still have news queued
    std::shared_ptr<PcmPipe> m_pipe;
    std::unique_ptr<PipeDevice> m_device;
    // No parent: Qt 6.4 gives the sink's backend the same parent, which would delete it twice.
    std::unique_ptr<QAudioSink> m_sink;
    // Stopped sinks, deleted when no signal of theirs can be running.
    std::vector<std::unique_ptr<QAudioSink>> m_retired;
    QTimer* m_drainTimer = nullptr;
    // Watches the device's position while playing.
    QTimer* m_stallTimer = nullptr;
    qint64 m_lastProcessed = -1;
    QElapsedTimer m_sinceProgress;
};
