#pragma once

#include "backends/media/PcmFormat.h"

class Seekable;

// How long a job waits for a source that delivers nothing before it gives up (see
// MediaJob::Options::stallSeconds): a file answers within moments even from a busy network
// share, while one read command of a struggling CD drive can take half a minute.
constexpr int kFileStallSeconds = 10;
constexpr int kDriveStallSeconds = 30;

// Anything that delivers PCM frames in order: a decoded file, a CD track being ripped, a
// sound-card capture. Pull interface: the consumer asks for frames into its own buffer.
// A source is used from one thread at a time, but that thread may differ from the one that
// created it (a job reads on its worker thread); only interrupt() may come from another.
class PcmSource {
public:
    virtual ~PcmSource() = default;

    virtual PcmFormat format() const = 0;

    // How many frames the source expects to deliver in all, for progress; -1 when unknown.
    // The real count may differ slightly (a compressed file's header is only an estimate).
    virtual qint64 expectedFrames() const = 0;

    // Fills up to maxFrames frames into buffer (maxFrames * channels samples) and returns how
    // many it wrote. Returns fewer only at the end; 0 means the source is exhausted.
    // Raises Error when the data cannot be read or decoded.
    virtual qint64 read(qint16* buffer, qint64 maxFrames) = 0;

    // From any thread, at any time, without blocking: a read() waiting for data (a drive
    // re-reading a bad sector, a capture device) returns soon, and every later read() returns
    // 0 as at the end. Sources whose reads never wait long may leave it as it is.
    virtual void interrupt() {}

    // From any thread: a count that grows while the source works towards its next frames
    // without delivering any yet (a drive answering re-reads of a bad sector), so that a job
    // watching for a source that stopped can tell slow from stuck. Sources that deliver
    // whenever they work leave it at 0.
    virtual quint64 activity() const { return 0; }

    // The source's seeking, or nullptr when it cannot seek.
    virtual Seekable* seekable() { return nullptr; }
};

// What a source that can move to another position offers (a file, a CD track).
class Seekable {
public:
    // Moves to a frame counted from the start in the source's format; the next read() starts
    // there. Raises Error when the source cannot get there. Reading after a seek never counts
    // as a truncated source.
    virtual void seek(qint64 frame) = 0;

protected:
    ~Seekable() = default;
};
