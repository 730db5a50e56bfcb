#pragma once

#include "backends/cdio/Disc.h"
#include "backends/cdio/RipRecord.h"

#include <QMap>
#include <QObject>
#include <QStringList>
#include <cstdio>
#include <memory>
#include <vector>

// What `rip` was asked to do, already checked against the disc.
struct RipRequest {
    QStringList formats; // "wav", "mp3", "wma": each once, in the order given
    int bitrateKbps = 128;
    QList<int> tracks; // audio tracks of the disc, ascending; 0 the audio hidden before 1
    qint32 offsetSamples = 0;
    bool offsetGiven = false;
    QString outputFolder;
    bool overwrite = false; // a file of a track's name may be replaced
    bool lookup = false;    // names and album facts from MusicBrainz
    int release = 0;        // which of the releases found, from 1; 0 when not chosen
    bool named = false;     // files named after the tracks' names, not TrackNN
    bool writeLog = true;   // a log and a cue sheet beside the files
    bool verify = true;     // AccurateRip
    // Per track, its title tag and the stem of its files (see RipPreparation).
    QMap<int, QString> titles;
    QMap<int, QString> stems;
};

namespace cdio {
class AccurateRipCheck;
}

// Rips the tracks of a request with full paranoia, each read once into all its formats, tagged,
// and its checksums, compared with AccurateRip. A track that fails is named and the others go
// on; a track that differs from AccurateRip or that paranoia could not read reliably is kept
// and named. At the end the log and the cue sheets are written. finished() carries the exit
// code (0, 1 when a track failed, differs or is suspicious, 128 + the signal's number when
// interrupted).
//
// Several tracks may be in work at once: the reading is far quicker than the encoding, so on
// an image the encoders of neighbouring tracks keep every core busy. A real drive gets one
// track at a time, since two readers would make it seek back and forth. The results are still
// printed in track order: one checksum line per track, then the disc's AccurateRip ID.
class RipBatch final : public QObject {
    Q_OBJECT
public:
    // record holds the disc and collects the tracks; check (when not null) has its answer.
    RipBatch(std::shared_ptr<cdio::RipRecord> record, const cdio::AccurateRipCheck* check,
             RipRequest request, int tracksAtOnce, QObject* parent = nullptr);
    ~RipBatch() override;

    void start();
    // Cancels the tracks in work (their files are never put in place) and ends the batch.
    void interrupt(int signalNumber);

    // "Track07.mp3".
    static QString fileName(int track, const QString& format);

Q_SIGNALS:
    void finished(int exitCode);

private:
    struct Rip;

    void startMore();
    void startTrack(Rip& rip);
    void onProgress(Rip& rip, int percent);
    void onEnded(Rip& rip, const QString& failure);
    void reportInOrder();
    void giveUp();
    void endInterrupted(int signalNumber);
    void end(int exitCode);
    void drawProgress();
    void clearProgress();
    void say(std::FILE* stream, const QString& line);
    void record(const Rip& rip);
    bool writeReports();

    std::shared_ptr<cdio::RipRecord> m_record;
    const cdio::AccurateRipCheck* m_check;
    cdio::Drive m_drive;
    cdio::Toc m_toc;
    RipRequest m_request;
    int m_tracksAtOnce;
    std::vector<std::unique_ptr<Rip>> m_rips; // one per track asked for, in order
    size_t m_nextToStart = 0;
    size_t m_nextToReport = 0;
    int m_running = 0;
    int m_failed = 0;
    QStringList m_differing;  // tracks AccurateRip knows otherwise
    QStringList m_suspicious; // tracks paranoia could not read reliably
    bool m_interrupted = false;
    bool m_ended = false;
    bool m_discGone = false; // a track failed because the disc went: the rest are left
    // Progress: a line redrawn in place on a terminal, plain lines at quarters otherwise.
    std::FILE* m_barStream = nullptr;
    bool m_barShown = false;
};
