#pragma once

#include "backends/media/PcmSink.h"

#include <memory>
#include <vector>

// One stream into several sinks, e.g. a track ripped to WAV and MP3 from one read. Every sink
// takes the same format; they are written in turn on the caller's thread.
//
// finish() finishes every sink before commit() puts any in place, so a failure while finishing
// leaves none; a failure while committing (rare: a rename) leaves those committed before it.
class FanOutSink final : public PcmSink {
public:
    // Raises Error when there is no sink or their formats differ.
    explicit FanOutSink(std::vector<std::unique_ptr<PcmSink>> sinks);

    PcmFormat format() const override { return m_sinks.front()->format(); }
    void write(const qint16* buffer, qint64 frames) override;
    void finish() override;
    void commit() override;
    void interrupt() override;

private:
    std::vector<std::unique_ptr<PcmSink>> m_sinks;
};
