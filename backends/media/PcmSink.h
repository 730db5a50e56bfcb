#pragma once

#include "backends/media/PcmFormat.h"

// Anything that consumes PCM frames: an encoder writing a file, a live output. Push interface.
class PcmSink {
public:
    virtual ~PcmSink() = default;

    // The format write() expects.
    virtual PcmFormat format() const = 0;

    // Takes frames (frames * channels interleaved samples). Raises Error on failure.
    virtual void write(const qint16* buffer, qint64 frames) = 0;

    // Ends the stream: everything written so far becomes the final result. Raises Error on
    // failure. A sink destroyed without commit() leaves no trace of its output.
    virtual void commit() = 0;
};
