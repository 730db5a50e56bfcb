#pragma once

#include "backends/media/PcmSink.h"
#include "backends/media/PcmSource.h"

#include <QObject>
#include <QString>
#include <memory>

// One piece of media work, the only one the program has: every frame of a source into a sink
// on a worker thread, then the sink committed. Conversions (a file into an encoder), rips (CD
// sectors into encoders), burns (a file into a pipe that libburn pulls), recordings (a capture
// into an encoder, ended by stop()) and playback (a file into a pipe that the audio device
// pulls) all run as a MediaJob.
//
// Threads. start(), cancel() and stop() are called on the job's own thread (the thread of the
// QObject, normally the user-interface thread) and return at once: they never wait for the
// worker. The source is read, and the sink written, on the worker; with Options::readAhead the
// source is read on a second thread up to several seconds of audio ahead, so that decoding (or
// a drive's reading) and encoding overlap. Signals are delivered queued, on the job's thread, in
// this order: progress() any number of times, then exactly one of finished() or failed(). A job
// may be started again from the handler of either.
//
// Outcome. finished() comes after the sink's commit(): the file is complete and in place.
// failed(message) comes after the sink was destroyed uncommitted: its temporary file is gone.
// cancel() stops the job: the source and the sink are interrupted, the worker destroys the
// sink (nothing is left behind) and ends on its own; nothing more is reported. A job destroyed
// while its worker runs is cancelled the same way; the worker never touches it again.
//
// Shutdown. Only waitForAll() waits for workers, which finish their cleaning up after a
// cancel; main() and melvane-cli call it after their event loop.
class MediaJob final : public QObject {
    Q_OBJECT
public:
    struct Options {
        // progress() is reported each time framesDone * progressSteps / framesExpected reaches
        // a new whole step, held below progressSteps until finished() (100 for whole percent,
        // 1000 for tenths). With 0, or when the source does not know its length, progress()
        // comes after every piece with step -1.
        int progressSteps = 100;
        // Frames per read of the source: larger is cheaper, smaller answers sooner.
        qint64 pieceFrames = 16384;
        // Read the source on a thread of its own, ahead of the sink. It pays when both sides
        // work (decoding and encoding, reading a CD and encoding): the reader goes on while an
        // encoder is busy with a block, up to about 8 s of audio ahead. A sink that only hands
        // PCM on (a player's pipe) does not need it.
        bool readAhead = true;
        // With readAhead: how long the source may go without delivering a frame or showing
        // activity() before the job fails with a message that says so, in seconds; 0 waits
        // for ever. A source stuck for good (a drive that no longer answers, a file on a
        // network share that went away) then ends the job within that time, and the reading
        // thread is left to come back on its own, if ever.
        int stallSeconds = 0;
        // The source in the words of that message: "track 3 of the image /x/a.cue".
        QString sourceName;
    };

    explicit MediaJob(QObject* parent = nullptr);
    ~MediaJob() override;

    // Starts moving source into sink. Raises Error when a job is still running (see
    // isRunning()) or when the source's format differs from the sink's.
    void start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink,
               const Options& options);
    void start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink);

    // Stops the running job without a trace. Returns true when nothing more will be reported,
    // false when the job had already completed: its output is in place (or its failure
    // known) and finished() (or failed()) is on its way. Harmless without a job.
    bool cancel();

    // Ends the source early (the recorder's Stop): the source is interrupted, what it still
    // delivers is written, and the sink is committed as at the end; finished() follows. A
    // source that cannot be interrupted is read to its end.
    void stop();

    // From start() until finished() or failed() is delivered, or cancel().
    bool isRunning() const { return bool(m_run); }
    // In a handler of failed(): the source stopped delivering (Options::stallSeconds); more
    // work from the same drive or share would most likely stop the same way.
    bool stalled() const { return m_stalled; }

    // Waits, up to msecs, until every worker of every job has ended. False on time-out: the
    // workers still running are left to the end of the process.
    static bool waitForAll(int msecs);

Q_SIGNALS:
    // step is as Options::progressSteps says; framesDone only grows and may pass
    // framesExpected (-1 when unknown), which is an estimate.
    void progress(int step, qint64 framesDone, qint64 framesExpected);
    void finished();
    void failed(const QString& message);

private:
    struct Run;
    std::shared_ptr<Run> m_run;
    bool m_stalled = false;
};

// Moves every frame of source into sink on the calling thread and commits it. Raises Error.
// For short work, tools and tests; anything a user waits for runs as a MediaJob.
void copyPcm(PcmSource& source, PcmSink& sink);
