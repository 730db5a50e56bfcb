#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

namespace burning {

// One CD sector of audio: 588 stereo frames of 16-bit little-endian PCM at 44.1 kHz.
inline constexpr int kAudioSectorBytes = 2352;
// Frames per second of a CD, in sectors: MSF times count in these.
inline constexpr int kSectorsPerSecond = 75;

// One track's data as it goes to the writer, produced ahead by a decoder into a bounded queue.
//
// Threads: the engine creates and starts a feed on the user-interface thread; read() is then
// called on a writer thread (libburn's, or the image recorder's) while cancel() and fill() may
// come from any thread.
class SectorFeed {
public:
    virtual ~SectorFeed() = default;

    // Begins producing (decoding ahead into the queue). Called once, before or after the first
    // read(); the engine starts a track's feed when the track before it starts being written.
    virtual void start() = 0;

    // Blocks until bytes bytes are in buffer and returns bytes; returns fewer only at the end
    // of the track, 0 once it is over. The track delivers exactly the sectors it was opened
    // with. Raises Error (naming the file and the reason) when the data cannot be produced.
    // After cancel() it returns 0 at once.
    virtual qint64 read(char* buffer, qint64 bytes) = 0;

    // Ends a blocked read() at once and stops producing. Safe to call more than once.
    virtual void cancel() = 0;

    // How full the queue is, 0-100; 100 once the producer has stopped (ended, failed or
    // cancelled), so that a writer waiting for a full buffer never waits in vain.
    virtual int fill() const = 0;
};

// What a track will be, learnt from its file without decoding it.
struct TrackInfo {
    qint64 sectors = 0; // whole CD sectors, the last one padded with silence
    QString title;
    QString performer;
    QString album;
};

// Turns the compilation's files into feeds. Called on the user-interface thread.
class TrackOpener {
public:
    virtual ~TrackOpener() = default;
    // Raises Error, naming the file and the reason, when it cannot be decoded as audio.
    virtual TrackInfo probe(const QString& path) = 0;
    // A feed that delivers exactly sectors sectors of the file as CD audio (resampled, cut or
    // padded with silence). Cheap: decoding begins with the feed's start(). Raises Error when
    // the file cannot be opened.
    virtual std::unique_ptr<SectorFeed> open(const QString& path, qint64 sectors) = 0;
};

} // namespace burning
