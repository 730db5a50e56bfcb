#pragma once

#include "backends/media/BoundedQueue.h"
#include "backends/media/PcmSink.h"
#include "backends/media/PcmSource.h"

#include <QString>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

// Raw PCM handed from one thread to another through a BoundedQueue, as bytes in the pipe's
// format. One thread writes, one thread reads, each at a time:
// - a job's worker writes through a PipeSink, and a burner's read callback (blocking read()) or
//   an audio device's QIODevice::readData (readAvailable(), never waits) reads;
// - or a capture device writes (tryWrite(), never waits) and a job reads through a PipeSource.
// The writer ends the stream with close() (the reader gets what is queued, then the end) or
// fail(); either side may interrupt() (both give up at once, what is queued is dropped).
class PcmPipe {
public:
    // capacityFrames: how much audio the pipe holds before a writer waits; it is cut into
    // chunks of chunkFrames.
    PcmPipe(PcmFormat format, qint64 capacityFrames, qint64 chunkFrames = 4096);
    PcmPipe(const PcmPipe&) = delete;
    PcmPipe& operator=(const PcmPipe&) = delete;

    PcmFormat format() const { return m_format; }

    // Writer: waits for room. False when the pipe no longer takes data (interrupted, closed).
    bool write(const qint16* samples, qint64 frames);
    // Writer: never waits; the frames taken (whole chunks while there is room).
    qint64 tryWrite(const qint16* samples, qint64 frames);
    void close();
    void fail(const QString& reason);

    // Reader: waits until `bytes` are there, or the end. Returns the bytes copied (fewer only at
    // the end, 0 after it), or -1 when the stream failed or was interrupted (see failure()); a
    // break after part of the bytes returns that part first.
    qint64 read(char* data, qint64 bytes);
    // Reader: as read(), but waits at most `wait` in all: returns what came in that time,
    // perhaps 0 (atEnd() tells the end from a wait in vain).
    qint64 readWithin(char* data, qint64 bytes, std::chrono::milliseconds wait);
    // Reader: never waits. Returns what is there, up to `bytes` (0 when nothing is yet, or at
    // the end: atEnd() tells), or -1 as read() does.
    qint64 readAvailable(char* data, qint64 bytes);
    // Reader: the writer closed the stream and everything was read.
    bool atEnd() const { return m_atEnd; }

    // Either side, any thread.
    void interrupt();
    bool isInterrupted() const { return m_interrupted; }
    QString failure() const;
    // Bytes queued and not read yet; with capacityBytes() the fill of the pipe.
    qint64 queuedBytes() const { return std::max<qint64>(0, m_queuedBytes); }
    qint64 capacityBytes() const;

    // Called on the writer's thread after data arrives or the stream ends (see BoundedQueue);
    // for a reader that found the pipe empty and waits for a signal.
    void setWakeUp(std::function<void()> wakeUp) { m_queue.setWakeUp(std::move(wakeUp)); }

private:
    using Chunk = std::vector<qint16>;
    using Clock = std::chrono::steady_clock;
    // Waits for chunks until the deadline (Clock::time_point::max(): for ever), or not at all.
    qint64 take(char* data, qint64 bytes, bool wait,
                Clock::time_point deadline = Clock::time_point::max());

    const PcmFormat m_format;
    const qint64 m_chunkFrames;
    BoundedQueue<Chunk> m_queue;
    std::atomic<qint64> m_queuedBytes{0};
    std::atomic<bool> m_interrupted{false};
    std::atomic<bool> m_atEnd{false};
    // The reader's chunk being read, and how many of its bytes are read.
    Chunk m_current;
    qint64 m_offset = 0;
};

// A job's sink into a pipe: commit() ends the stream; destroyed without it, the reader gets a
// failure. interrupt() interrupts the pipe.
class PipeSink final : public PcmSink {
public:
    explicit PipeSink(std::shared_ptr<PcmPipe> pipe) : m_pipe(std::move(pipe)) {}
    ~PipeSink() override;

    PcmFormat format() const override { return m_pipe->format(); }
    // Raises Error when the reader has given up.
    void write(const qint16* buffer, qint64 frames) override;
    void finish() override {}
    void commit() override;
    void interrupt() override { m_pipe->interrupt(); }

private:
    std::shared_ptr<PcmPipe> m_pipe;
    bool m_committed = false;
};

// A job's source from a pipe, e.g. captured audio. interrupt() ends the stream after what is
// queued, so a stopped recording keeps its last pieces. A failed pipe raises Error.
class PipeSource final : public PcmSource {
public:
    explicit PipeSource(std::shared_ptr<PcmPipe> pipe) : m_pipe(std::move(pipe)) {}

    PcmFormat format() const override { return m_pipe->format(); }
    qint64 expectedFrames() const override { return -1; }
    qint64 read(qint16* buffer, qint64 maxFrames) override;
    void interrupt() override { m_pipe->close(); }

private:
    std::shared_ptr<PcmPipe> m_pipe;
};
