#pragma once

#include <QString>
#include <QtGlobal>

#include <atomic>
#include <functional>
#include <memory>

namespace burning {

// One CD sector of audio: 588 stereo frames of 16-bit little-endian PCM at 44.1 kHz.
inline constexpr int kAudioSectorBytes = 2352;
inline constexpr int kFrameBytes = 4;
inline constexpr qint64 kFramesPerSector = kAudioSectorBytes / kFrameBytes;
// Frames per second of a CD, in sectors: MSF times count in these.
inline constexpr int kSectorsPerSecond = 75;
inline constexpr qint64 kFramesPerSecond = kFramesPerSector * kSectorsPerSecond;
// The shortest track the audio-CD standard allows; shorter ones are padded with silence.
inline constexpr qint64 kShortestTrackFrames = 4 * kFramesPerSecond;

// One track's data as it goes to the writer: the PCM its file decodes to (CD audio, exactly
// the frames the decoder delivers, no padding), or a stretch of a disc image. Produced ahead
// into a bounded queue.
//
// Threads: the engine creates and starts a feed on the user-interface thread; read() is then
// called on a writer thread (libburn's, or the image recorder's) while cancel() and fill() may
// come from any thread.
class TrackFeed {
public:
    virtual ~TrackFeed() = default;

    // Begins producing (decoding ahead into the queue). Called once, before or after the first
    // read(); the engine starts a track's feed when the track before it starts being written.
    virtual void start() = 0;

    // Blocks until bytes bytes (whole frames) are in buffer and returns bytes; returns fewer
    // only at the end of the track's data, 0 once it is over. Raises Error (naming the file and
    // the reason) when the data cannot be produced. After cancel() it returns 0 at once.
    virtual qint64 read(char* buffer, qint64 bytes) = 0;

    // Ends a blocked read() at once and stops producing. Safe to call more than once.
    virtual void cancel() = 0;

    // How full the queue is, 0-100; 100 once the producer has stopped (ended, failed or
    // cancelled), so that a writer waiting for a full buffer never waits in vain.
    virtual int fill() const = 0;
};

// What a track of the disc will be. Frames are CD frames (4 bytes); a disc image's pregap and
// track are whole sectors.
struct TrackInfo {
    qint64 frames = 0;         // from INDEX 01 to the end, as the feed delivers them
    bool exact = false;        // frames is what the feed delivers, not a header's estimate
    qint64 pregapFrames = 0;   // the feed's data before INDEX 01 (an INDEX 00 gap)
    bool padToShortest = true; // a file shorter than 4 s is padded; a disc image's track is not
    QString title;
    QString performer;
    QString songwriter;
    QString album;
    QString isrc; // 12 characters, or empty
    bool preEmphasis = false;
    bool copyPermitted = false;
};

// What a whole disc carries beside its tracks: the media catalogue number and the disc's
// CD-Text.
struct DiscInfo {
    QString catalog; // 13 digits, or empty
    QString title;
    QString performer;
    QString songwriter;
};

// Turns the compilation's files into feeds. Called on the user-interface thread, except
// measure() (see there).
class TrackOpener {
public:
    virtual ~TrackOpener() = default;
    // Reads the file's header, not its audio: frames is an estimate unless the header states
    // the exact count. Raises Error, naming the file and the reason, when it cannot be decoded
    // as audio.
    virtual TrackInfo probe(const QString& path) = 0;
    // Decodes the whole file and returns the frames its feed will deliver; 0 when stop was set
    // on the way. Runs on a worker thread, several at once. Raises Error as probe() does.
    virtual qint64 measure(const QString& path, const std::atomic<bool>& stop) = 0;
    // A feed that delivers the file as CD audio (resampled and mixed to 44.1 kHz stereo). Cheap:
    // decoding begins with the feed's start(). Raises Error when the file cannot be opened.
    virtual std::unique_ptr<TrackFeed> open(const QString& path) = 0;
};

} // namespace burning
