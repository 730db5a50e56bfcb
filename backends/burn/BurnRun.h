#pragma once

#include "backends/burn/Recorder.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <vector>

namespace burning {

// One burn from start to end, on any recorder. The writing itself runs on a writer thread (the
// subclass's); this base follows it from the user-interface thread by polling: it starts each
// track's feed while the track before it is written, turns the writer's state into the status
// the engine shows, and ends the burn exactly once with finished().
//
// Before the writing begins, the first track's buffer is filled ("Fill Buffer"): the writer
// starts once the first feed is 90 % full (or has stopped), at the latest after ten seconds.
class BurnRun : public QObject {
    Q_OBJECT
public:
    struct Status {
        qint32 state = 0;      // 2 writing, 3 finalising
        qint32 trackPhase = 0; // 1 filling the buffer, 2 writing, 3 closing a track
        qint16 percent = 0;    // of the whole writing (state 2) or of the finalising (state 3)
        qint16 track = 0;      // 1-based
        qint32 totalBlocks = 0;
        qint32 writtenBlocks = 0;
        qint16 bufferFill = 0;
    };

    BurnRun(std::vector<PlannedTrack> tracks, const BurnSettings& settings);
    ~BurnRun() override;

    // Returns at once; progressed() and finished() follow from the event loop.
    void start();
    // Returns at once. Ends the burn with BurnCancelled, unless finalising has begun (then the
    // burn completes) or it is over.
    void cancel();

    const Status& status() const { return m_status; }
    bool isOver() const { return m_over; }

Q_SIGNALS:
    void progressed();
    // code: AudioBurner::BurnStatus; text: what happened, in words for the user.
    void finished(qint32 code, const QString& text);

protected:
    // What the writer is doing, as the subclass sees it.
    struct Sample {
        bool ended = false;     // the writer has stopped; finishWriting() may run
        bool closing = false;   // closing the track (or, at the end, the session)
        bool finishing = false; // writing the lead-out / closing the session
        bool preparing = false; // before the current track's data (lead-in, pregap, spawning)
        int track = 0;          // 0-based
        qint64 written = 0;     // sectors of track data written in all
    };

    // Starts the writer; raises Error when it cannot.
    virtual void beginWriting() = 0;
    virtual Sample sample() = 0;
    // Asks the writer to stop; returns at once.
    virtual void stopWriting() = 0;
    // After the writer ended, or when the burn ends before it began: frees what the writing
    // used (the drive above all) and returns its error, empty when everything was written.
    virtual QString finishWriting() = 0;

    std::vector<PlannedTrack>& tracks() { return m_tracks; }
    const std::vector<PlannedTrack>& tracks() const { return m_tracks; }
    const BurnSettings& settings() const { return m_settings; }
    bool cancelRequested() const { return m_cancelRequested; }
    // Ends every feed's reads at once.
    void cancelFeeds();
    // From the writer's thread: look at it now rather than at the next poll (it has ended).
    void wake();

private:
    enum class Stage { Idle, Filling, Writing, Over };

    void tick();
    void fillTick();
    void writeTick();
    void startFeedsUpTo(int track);
    // The burn ends by finalising the disc: State 3 follows the tracks.
    bool closesDisc() const;
    // reportDone: one last progressed() at 100 %, in State 3 when the disc was closed.
    void end(qint32 code, const QString& text, bool reportDone = false);

    std::vector<PlannedTrack> m_tracks;
    BurnSettings m_settings;
    Status m_status;
    Stage m_stage = Stage::Idle;
    QTimer m_timer;
    QElapsedTimer m_filling;
    int m_feedsStarted = 0;
    bool m_cancelRequested = false;
    bool m_over = false;
    bool m_inTick = false;
};

} // namespace burning
