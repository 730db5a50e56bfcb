#include "backends/audio/PcmDevice.h"

#include <algorithm>
#include <cstring>

PcmDevice::PcmDevice(std::unique_ptr<PcmSource> source, QObject* parent)
    : QIODevice(parent), m_source(std::move(source)) {}

qint64 PcmDevice::bytesAvailable() const {
    return qint64(m_pending.size()) + QIODevice::bytesAvailable();
}

void PcmDevice::restart() {
    m_pending.clear();
    m_ended = false;
}

qint64 PcmDevice::readData(char* data, qint64 maxSize) {
    qint64 done = 0;
    if (!m_pending.empty()) {
        const qint64 n = std::min<qint64>(maxSize, qint64(m_pending.size()));
        std::memcpy(data, m_pending.data(), size_t(n));
        m_pending.erase(m_pending.begin(), m_pending.begin() + n);
        done = n;
    }
    if (done == maxSize || m_ended)
        return done;

    const int bytesPerFrame = m_source->format().bytesPerFrame();
    // Round up to whole frames; what does not fit waits in m_pending.
    const qint64 frames = (maxSize - done + bytesPerFrame - 1) / bytesPerFrame;
    m_buffer.resize(size_t(frames * m_source->format().channels));
    const qint64 got = m_source->read(m_buffer.data(), frames);
    if (got < frames)
        m_ended = true;
    const qint64 bytes = got * bytesPerFrame;
    const qint64 now = std::min(bytes, maxSize - done);
    std::memcpy(data + done, m_buffer.data(), size_t(now));
    const char* rest = reinterpret_cast<const char*>(m_buffer.data()) + now;
    m_pending.assign(rest, rest + (bytes - now));
    return done + now;
}
