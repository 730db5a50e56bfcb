#pragma once

#include "backends/media/PcmFormat.h"

// Anything that delivers PCM frames in order: a decoded file, a CD track being ripped, a
// sound-card capture. Pull interface: the consumer asks for frames into its own buffer.
// A source is used from one thread at a time, but that thread may differ from the one that
// created it (the transcoder reads on a helper thread).
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
};
