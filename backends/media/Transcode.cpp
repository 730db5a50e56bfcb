#include "backends/media/Transcode.h"

#include "components/Error.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <vector>

namespace {

// 16384 frames is about 0.4 s at 44.1 kHz: large enough to keep per-call costs low, small enough
// for prompt progress and cancel; six of them in flight is ample to decouple the two threads.
constexpr qint64 kChunkFrames = 16384;
constexpr int kChunks = 6;
// How often a waiting encoder side looks at the cancel flag.
constexpr auto kCancelPoll = std::chrono::milliseconds(20);

struct Chunk {
    std::unique_ptr<qint16[]> samples;
    qint64 frames = 0;
};

// The queue between the reading thread and the encoding thread. Chunks circulate between the
// free and the full list, so no memory is allocated once the transcode runs.
class ChunkQueue {
public:
    explicit ChunkQueue(int channels) {
        for (int i = 0; i < kChunks; ++i) {
            m_chunks.push_back({std::make_unique<qint16[]>(size_t(kChunkFrames * channels)), 0});
            m_free.push_back(i);
        }
    }

    // Reader side. -1 when the consumer has stopped.
    int takeFree() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_stopped || !m_free.empty(); });
        if (m_stopped)
            return -1;
        const int id = m_free.front();
        m_free.pop_front();
        return id;
    }
    void putFull(int id) {
        {
            std::lock_guard lock(m_mutex);
            m_full.push_back(id);
        }
        m_changed.notify_all();
    }
    void finish(std::exception_ptr error) {
        {
            std::lock_guard lock(m_mutex);
            m_ended = true;
            m_error = error;
        }
        m_changed.notify_all();
    }

    // Consumer side. -1 at the end of the source or on cancel (cancelled() tells which).
    int takeFull(const std::atomic<bool>& cancel) {
        std::unique_lock lock(m_mutex);
        while (m_full.empty() && !m_ended) {
            if (cancel.load())
                return -1;
            m_changed.wait_for(lock, kCancelPoll);
        }
        if (cancel.load() || m_full.empty())
            return -1;
        const int id = m_full.front();
        m_full.pop_front();
        return id;
    }
    void putFree(int id) {
        {
            std::lock_guard lock(m_mutex);
            m_free.push_back(id);
        }
        m_changed.notify_all();
    }
    void stop() {
        {
            std::lock_guard lock(m_mutex);
            m_stopped = true;
        }
        m_changed.notify_all();
    }
    std::exception_ptr error() {
        std::lock_guard lock(m_mutex);
        return m_error;
    }

    Chunk& operator[](int id) { return m_chunks[size_t(id)]; }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Chunk> m_chunks;
    std::deque<int> m_free;
    std::deque<int> m_full;
    bool m_ended = false;
    bool m_stopped = false;
    std::exception_ptr m_error;
};

} // namespace

bool transcode(PcmSource& source, PcmSink& sink, const std::atomic<bool>& cancel,
               const TranscodeProgress& progress) {
    const PcmFormat format = source.format();
    if (!(format == sink.format()))
        throw Error(QStringLiteral("Cannot convert: the source delivers %1 Hz, %2 channel(s), but "
                                   "the output expects %3 Hz, %4 channel(s)")
                        .arg(format.sampleRate)
                        .arg(format.channels)
                        .arg(sink.format().sampleRate)
                        .arg(sink.format().channels));
    const qint64 expected = source.expectedFrames();

    ChunkQueue queue(format.channels);
    std::thread reader([&] {
        try {
            for (;;) {
                const int id = queue.takeFree();
                if (id < 0)
                    return;
                Chunk& chunk = queue[id];
                chunk.frames = source.read(chunk.samples.get(), kChunkFrames);
                if (chunk.frames == 0) {
                    queue.finish(nullptr);
                    return;
                }
                queue.putFull(id);
            }
        } catch (...) {
            queue.finish(std::current_exception());
        }
    });
    // Whatever way we leave, the reader must stop before the queue and the source go away.
    struct Joiner {
        ChunkQueue& queue;
        std::thread& thread;
        ~Joiner() {
            queue.stop();
            thread.join();
        }
    } joiner{queue, reader};

    qint64 done = 0;
    for (;;) {
        const int id = queue.takeFull(cancel);
        if (id < 0)
            break;
        const Chunk& chunk = queue[id];
        sink.write(chunk.samples.get(), chunk.frames);
        done += chunk.frames;
        queue.putFree(id);
        if (progress)
            progress(done, expected);
    }
    if (cancel.load())
        return false;
    if (const std::exception_ptr error = queue.error())
        std::rethrow_exception(error);
    return true;
}

TranscodeJob::~TranscodeJob() {
    cancel();
}

void TranscodeJob::start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink,
                         Handlers handlers) {
    if (m_running.load())
        throw Error(QStringLiteral("Cannot start a conversion: the previous one is still running"));
    if (m_worker.joinable())
        m_worker.join();
    m_cancel = false;
    m_running = true;
    m_worker = std::thread([this, source = std::move(source), sink = std::move(sink),
                            handlers = std::move(handlers)]() mutable {
        QString failure;
        bool completed = false;
        try {
            if (transcode(*source, *sink, m_cancel, handlers.progress)) {
                sink->commit();
                completed = true;
            }
        } catch (const std::exception& e) {
            failure = QString::fromUtf8(e.what());
        } catch (...) {
            failure = QStringLiteral("Cannot convert: unexpected internal error");
        }
        // A failed or cancelled sink removes its temporary file here, before anyone hears of it.
        sink.reset();
        source.reset();
        // Cleared before the last word, so that a handler reacting to it can start the next job.
        m_running = false;
        if (!m_cancel.load()) {
            if (completed && handlers.finished)
                handlers.finished();
            else if (!completed && handlers.failed)
                handlers.failed(failure);
        }
    });
}

void TranscodeJob::cancel() {
    m_cancel = true;
    if (m_worker.joinable())
        m_worker.join();
    m_running = false;
}

void TranscodeJob::wait() {
    if (m_worker.joinable())
        m_worker.join();
}
