#pragma once

#include "backends/burn/DiscVerifier.h"
#include "backends/burn/ProgramReader.h"
#include "backends/burn/Recorder.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

namespace burning {

// One burn from start to end, on any recorder. The writing itself runs on a writer thread (the
// subclass's: libburn's own, or a task); this base follows it from the user-interface thread by
// polling, as libburn is followed: it starts each
// track's feed while the track before it is written, turns the writer's state into the status
// the engine shows, and ends the burn exactly once with finished().
//
// A recorder that must know every track's length before it writes (plansAhead()) first has the
// files whose headers only estimate it decoded once to count their frames, several at a time
// ("Fill Buffer"). Then the first track's buffer is filled: the writer starts once the first
// feed is 90 % full (or has stopped), at the latest after ten seconds. With verify set, a burn
// whose writing went well is read back and compared (State 4) before it ends; a difference
// fails the burn.
class BurnRun : public QObject {
    Q_OBJECT
public:
    // A line for the status; a warning tells of something the burn does not do as asked.
    struct Notice {
        QString text;
        bool warning = false;
    };

    struct Status {
        qint32 state = 0;      // 2 writing, 3 finalising, 4 verifying
        qint32 trackPhase = 0; // 1 filling the buffer, 2 writing, 3 closing a track
        qint16 percent = 0;    // of the whole writing (2), the finalising (3), the reading (4)
        qint16 track = 0;      // 1-based
        qint32 totalBlocks = 0;
        qint32 writtenBlocks = 0;
        qint16 bufferFill = 0;
    };

    // What the burn did with each track, for the log.
    struct TrackReport {
        QString source;
        qint64 frames = 0;  // as its source delivered them (from INDEX 01)
        qint64 padded = 0;  // frames of silence added to reach 4 seconds
        qint64 sectors = 0; // written
        quint32 crc32 = 0;  // of the sectors written
        TrackCheck check;
    };

    BurnRun(std::vector<PlannedTrack> tracks, DiscInfo disc, const BurnSettings& settings);
    ~BurnRun() override;

    // Returns at once; progressed() and finished() follow from the event loop.
    void start();
    // Returns at once. Ends the burn with BurnCancelled, unless finalising has begun (then the
    // burn completes) or it is over.
    void cancel();

    const Status& status() const { return m_status; }
    bool isOver() const { return m_over; }
    // A cancel was taken: the burn ends with BurnCancelled.
    bool cancelRequested() const { return m_cancelRequested; }
    // Lines for the status that came up since the last call.
    QList<Notice> takeNotices() { return std::exchange(m_notices, {}); }
    // Once over: each track as written (empty when the writing never began), the read offset
    // the verification found, how the recorder wrote, and what it said about a failure.
    std::vector<TrackReport> report() const;
    std::optional<qint32> verifiedOffset() const { return m_verifiedOffset; }
    virtual QString writeMode() const = 0;
    virtual QStringList recorderMessages() const { return {}; }

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

    // How the tracks follow each other, and whether their lengths must be exact beforehand.
    virtual Joining joining() const = 0;
    virtual bool plansAhead() const = 0;
    virtual int sectorBytes() const { return kAudioSectorBytes; }
    // Every length is known now (after the measuring): the last chance to refuse, with Error.
    virtual void lengthsKnown() {}
    // Starts the writer, which reads the program from reader(); raises Error when it cannot.
    virtual void beginWriting() = 0;
    virtual Sample sample() = 0;
    // Asks the writer to stop; returns at once.
    virtual void stopWriting() = 0;
    // After the writer ended, or when the burn ends before it began: frees what the writing
    // used (the drive above all) and returns its error, empty when everything was written.
    virtual QString finishWriting() = 0;
    // The drive to read the finished disc from, for the verification.
    virtual std::optional<cdio::Drive> readBackDrive() const = 0;

    std::vector<PlannedTrack>& tracks() { return m_tracks; }
    const std::vector<PlannedTrack>& tracks() const { return m_tracks; }
    const DiscInfo& disc() const { return m_disc; }
    const BurnSettings& settings() const { return m_settings; }
    ProgramReader& reader() { return *m_reader; }
    // Where the tracks lie: as planned, or as learnt once the program was read to its end.
    std::vector<TrackPlace> places() const;
    // Ends every feed's reads at once.
    void cancelFeeds();
    // A line for the status.
    void addNotice(const QString& line, bool warning = false) { m_notices.append({line, warning}); }
    // From any thread: look at the writer now rather than at the next poll (it has ended).
    void wake();

private:
    enum class Stage { Idle, Measuring, Filling, Writing, Verifying, Over };
    struct Measured;

    void tick();
    void measureTick();
    void beginFilling();
    void fillTick();
    void writeTick();
    void verifyTick();
    void writingDone();
    void startFeedsUpTo(int track);
    void collectNotices();
    // The burn ends by finalising the disc: State 3 follows the tracks.
    bool closesDisc() const;
    // reportDone: one last progressed() at 100 %, in State 3 when the disc was closed.
    void end(qint32 code, const QString& text, bool reportDone = false);

    std::vector<PlannedTrack> m_tracks;
    DiscInfo m_disc;
    BurnSettings m_settings;
    Status m_status;
    Stage m_stage = Stage::Idle;
    QTimer m_timer;
    QElapsedTimer m_filling;
    int m_feedsStarted = 0;
    bool m_cancelRequested = false;
    bool m_over = false;
    bool m_inTick = false;
    bool m_wrote = false;
    std::unique_ptr<ProgramReader> m_reader;
    std::shared_ptr<Measured> m_measured;
    std::unique_ptr<DiscVerifier> m_verifier;
    QFuture<std::vector<TrackCheck>> m_verifying;
    std::vector<TrackCheck> m_checks;
    std::optional<qint32> m_verifiedOffset;
    QList<Notice> m_notices;
};

} // namespace burning
