#pragma once

#include "backends/burn/Program.h"
#include "backends/burn/WriteRecord.h"

#include <QStringList>

#include <atomic>
#include <mutex>
#include <vector>

namespace burning {

// The program as the writer receives it: the tracks' feeds one after another, joined as the
// burn writes them (Joining), with the silence the rules ask for (a file shorter than 4
// seconds padded to 4 seconds; a separate track's end, and the program's end, padded to a
// whole sector). What goes out is recorded in the WriteRecord.
//
// When the frames of every track are known before the burn (planned), the places are fixed and
// a feed that delivers another count fails the burn. Otherwise (the image recorder, which can
// place its tracks after writing them) the places are learnt as the feeds end.
//
// read() runs on the writer's thread, in order; currentTrack() and takeNotices() from any.
class ProgramReader {
public:
    ProgramReader(std::vector<PlannedTrack>& tracks, Joining joining, bool planned,
                  int sectorBytes = kAudioSectorBytes);

    // Fills buffer with the next bytes of the program; fewer only at its end, then 0. Raises
    // Error when a feed fails or delivers another count than planned.
    qint64 read(char* buffer, qint64 bytes);

    // The track being read, 0-based.
    int currentTrack() const { return m_track.load(); }
    bool atEnd() const { return m_ended.load(); }
    // The frames each feed delivered; complete once atEnd().
    const std::vector<qint64>& delivered() const { return m_delivered; }
    // The tracks' places: as planned, or once atEnd() as learnt.
    std::vector<TrackPlace> places() const;
    const WriteRecord& record() const { return m_record; }
    // Lines for the status that came up while reading (a track padded to 4 seconds).
    QStringList takeNotices();

private:
    enum class Stage { Feed, Padding, Ended };

    void endOfFeed();
    void nextTrack();
    qint64 sectorFrames() const { return m_sectorBytes / kFrameBytes; }

    std::vector<PlannedTrack>& m_tracks;
    Joining m_joining;
    bool m_planned;
    int m_sectorBytes;
    Stage m_stage = Stage::Feed;
    std::atomic<int> m_track{0};
    std::atomic<bool> m_ended{false};
    std::vector<qint64> m_delivered; // frames, gap included
    qint64 m_programFrames = 0;      // frames handed out so far
    qint64 m_padding = 0;            // frames of silence still due
    WriteRecord m_record;
    std::mutex m_noticeMutex;
    QStringList m_notices;
};

// The line for the status about a track padded to the shortest length a CD allows.
QString paddedNotice(int trackNumber, const QString& source, qint64 frames);

} // namespace burning
