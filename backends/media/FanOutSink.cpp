#include "backends/media/FanOutSink.h"

#include "components/Error.h"

FanOutSink::FanOutSink(std::vector<std::unique_ptr<PcmSink>> sinks) : m_sinks(std::move(sinks)) {
    if (m_sinks.empty())
        throw Error(QStringLiteral("Cannot write the audio: no output was given"));
    for (const auto& sink : m_sinks) {
        if (!(sink->format() == format()))
            throw Error(QStringLiteral("Cannot write the audio: its outputs expect different "
                                       "formats"));
    }
}

void FanOutSink::write(const qint16* buffer, qint64 frames) {
    for (const auto& sink : m_sinks)
        sink->write(buffer, frames);
}

void FanOutSink::finish() {
    for (const auto& sink : m_sinks)
        sink->finish();
}

void FanOutSink::commit() {
    finish();
    for (const auto& sink : m_sinks)
        sink->commit();
}

void FanOutSink::interrupt() {
    for (const auto& sink : m_sinks)
        sink->interrupt();
}
