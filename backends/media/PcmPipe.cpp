#include "backends/media/PcmPipe.h"

#include "components/Error.h"

#include <algorithm>
#include <cstring>

namespace {
size_t chunksFor(qint64 capacityFrames, qint64 chunkFrames) {
    return size_t(std::max<qint64>(1, (capacityFrames + chunkFrames - 1) / chunkFrames));
}
} // namespace

PcmPipe::PcmPipe(PcmFormat format, qint64 capacityFrames, qint64 chunkFrames)
    : m_format(format), m_chunkFrames(std::max<qint64>(1, chunkFrames)),
      m_queue(chunksFor(capacityFrames, m_chunkFrames)) {}

qint64 PcmPipe::capacityBytes() const {
    return qint64(m_queue.capacity()) * m_chunkFrames * m_format.bytesPerFrame();
}

bool PcmPipe::write(const qint16* samples, qint64 frames) {
    while (frames > 0) {
        const qint64 n = std::min(frames, m_chunkFrames);
        Chunk chunk(samples, samples + n * m_format.channels);
        if (!m_queue.push(std::move(chunk)))
            return false;
        m_queuedBytes += n * m_format.bytesPerFrame();
        samples += n * m_format.channels;
        frames -= n;
    }
    return true;
}

qint64 PcmPipe::tryWrite(const qint16* samples, qint64 frames) {
    qint64 done = 0;
    while (done < frames) {
        const qint64 n = std::min(frames - done, m_chunkFrames);
        const qint16* from = samples + done * m_format.channels;
        Chunk chunk(from, from + n * m_format.channels);
        if (!m_queue.tryPush(chunk))
            break;
        m_queuedBytes += n * m_format.bytesPerFrame();
        done += n;
    }
    return done;
}

void PcmPipe::close() {
    m_queue.close();
}

void PcmPipe::fail(const QString& reason) {
    m_queue.fail(reason);
}

void PcmPipe::interrupt() {
    m_interrupted = true;
    m_queue.interrupt();
}

QString PcmPipe::failure() const {
    if (m_interrupted)
        return QStringLiteral("the audio stream was stopped");
    return m_queue.failure();
}

qint64 PcmPipe::read(char* data, qint64 bytes) {
    return take(data, bytes, true);
}

qint64 PcmPipe::readWithin(char* data, qint64 bytes, std::chrono::milliseconds wait) {
    return take(data, bytes, true, Clock::now() + wait);
}

qint64 PcmPipe::readAvailable(char* data, qint64 bytes) {
    return take(data, bytes, false);
}

qint64 PcmPipe::take(char* data, qint64 bytes, bool wait, Clock::time_point deadline) {
    using Status = BoundedQueue<Chunk>::Status;
    qint64 done = 0;
    while (done < bytes) {
        const qint64 left = qint64(m_current.size() * sizeof(qint16)) - m_offset;
        if (left > 0) {
            const qint64 n = std::min(left, bytes - done);
            std::memcpy(data + done, reinterpret_cast<const char*>(m_current.data()) + m_offset,
                        size_t(n));
            m_offset += n;
            done += n;
            m_queuedBytes -= n;
            continue;
        }
        Status status = Status::Empty;
        if (!wait)
            status = m_queue.tryPop(m_current);
        else if (deadline == Clock::time_point::max())
            status = m_queue.pop(m_current);
        else
            status = m_queue.popWithin(m_current,
                                       std::max(Clock::duration::zero(), deadline - Clock::now()));
        m_offset = 0;
        if (status == Status::Item)
            continue;
        m_current.clear();
        if (status == Status::Ended)
            m_atEnd = true;
        if (status == Status::Failed || status == Status::Interrupted)
            return done > 0 ? done : -1;
        break;
    }
    return done;
}

PipeSink::~PipeSink() {
    if (!m_committed)
        m_pipe->fail(QStringLiteral("the audio stream ended early"));
}

void PipeSink::write(const qint16* buffer, qint64 frames) {
    if (!m_pipe->write(buffer, frames))
        throw Error(QStringLiteral("Cannot pass on the audio: %1").arg(m_pipe->failure()));
}

void PipeSink::commit() {
    m_pipe->close();
    m_committed = true;
}

qint64 PipeSource::read(qint16* buffer, qint64 maxFrames) {
    const int bytesPerFrame = m_pipe->format().bytesPerFrame();
    const qint64 got = m_pipe->read(reinterpret_cast<char*>(buffer), maxFrames * bytesPerFrame);
    if (got >= 0)
        return got / bytesPerFrame;
    if (m_pipe->isInterrupted())
        return 0;
    throw Error(m_pipe->failure());
}
