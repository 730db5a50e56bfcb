#pragma once

#include "backends/media/PcmFormat.h"

// Anything that consumes PCM frames: an encoder writing a file, a pipe to another thread.
// Push interface, used from one thread at a time (not necessarily the creator's); only
// interrupt() may come from another.
//
// A sink destroyed without commit() leaves no trace of its output.
class PcmSink {
public:
    virtual ~PcmSink() = default;

    // The format write() expects.
    virtual PcmFormat format() const = 0;

    // Takes frames (frames * channels interleaved samples). Raises Error on failure.
    virtual void write(const qint16* buffer, qint64 frames) = 0;

    // The end of the stream comes in two steps, so that a job can still be cancelled until the
    // very moment its output appears. finish() completes the output (drains the encoder, writes
    // the trailer, flushes to the disk) and may take a while; commit() then makes it the result
    // (puts the file in place) and is quick. commit() finishes first when finish() was not
    // called; calling either again does nothing. Both raise Error on failure; the output is then
    // discarded.
    virtual void finish() = 0;
    virtual void commit() = 0;

    // From any thread, at any time, without blocking: a write() waiting for room (a pipe whose
    // reader stopped) returns soon; the sink is then given up. Sinks whose writes never wait
    // long may leave it as it is.
    virtual void interrupt() {}
};
