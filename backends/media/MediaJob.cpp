#include "backends/media/MediaJob.h"

#include "backends/media/BoundedQueue.h"
#include "components/Error.h"

#include <QMetaObject>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// How far the reading thread may run ahead of the writing one, in seconds of audio. An MP3
// encoder takes its audio in blocks of several seconds and may then be busy for a while; the
// reader (a drive, above all) keeps going meanwhile, so that its next block is there when an
// encoder is free. Many channels at a high rate get less, so as not to hold much memory.
constexpr qint64 kSecondsAhead = 8;
constexpr qint64 kMostSamplesAhead = 2 << 20; // 4 MB
constexpr qint64 kFewestPiecesAhead = 6;

// How often the writing side looks whether a silent source still shows signs of life.
constexpr std::chrono::milliseconds kStallCheck{250};

// Pieces circulate between the two threads, so a long job allocates none after the first few.
struct Piece {
    std::vector<qint16> samples;
    qint64 frames = 0;
};

// The reading thread's side: shared, so that a thread stuck in a read that never returns can
// be left behind and still finds all it uses when it comes back.
struct ReadAhead {
    explicit ReadAhead(size_t pieces) : queue(pieces), spare(pieces + 2) {}
    BoundedQueue<Piece> queue;
    BoundedQueue<Piece> spare;
    std::unique_ptr<PcmSource> source;
};

size_t piecesAhead(const PcmFormat& format, qint64 pieceFrames) {
    const qint64 channels = std::max(1, format.channels);
    const qint64 frames = std::min<qint64>(kSecondsAhead * std::max(1, format.sampleRate),
                                           kMostSamplesAhead / channels);
    return size_t(std::max((frames + pieceFrames - 1) / pieceFrames, kFewestPiecesAhead));
}

// The source delivered nothing for longer than it may.
class StalledError final : public Error {
public:
    using Error::Error;
};

QString formatMismatch(const PcmFormat& source, const PcmFormat& sink) {
    return QStringLiteral("Cannot convert: the source delivers %1 Hz, %2 channel(s), but the "
                          "output expects %3 Hz, %4 channel(s)")
        .arg(source.sampleRate)
        .arg(source.channels)
        .arg(sink.sampleRate)
        .arg(sink.channels);
}

QString currentExceptionText() {
    try {
        throw;
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    } catch (...) {
        return QStringLiteral("Cannot process the audio: unexpected internal error");
    }
}

// Every worker thread of the process, so that shutdown can wait for them.
class Workers {
public:
    template <class Work> void start(Work work) {
        std::lock_guard lock(m_mutex);
        reap();
        auto entry = m_entries.emplace(m_entries.end());
        entry->thread = std::thread([this, entry, work = std::move(work)]() mutable {
            work();
            std::lock_guard lock(m_mutex);
            entry->done = true;
            m_changed.notify_all();
        });
    }

    bool waitForAll(int msecs) {
        std::unique_lock lock(m_mutex);
        const bool all = m_changed.wait_for(lock, std::chrono::milliseconds(msecs), [&] {
            for (const Entry& entry : m_entries) {
                if (!entry.done)
                    return false;
            }
            return true;
        });
        reap();
        // Left to the end of the process; each still marks itself done when it returns.
        for (Entry& entry : m_entries) {
            if (entry.thread.joinable())
                entry.thread.detach();
        }
        return all;
    }

private:
    struct Entry {
        std::thread thread;
        bool done = false;
    };

    // With the lock held: joins the threads that are done (they only return after that).
    void reap() {
        for (auto it = m_entries.begin(); it != m_entries.end();) {
            if (it->done) {
                if (it->thread.joinable())
                    it->thread.join();
                it = m_entries.erase(it);
            } else {
                ++it;
            }
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::list<Entry> m_entries;
};

// Never destroyed: a worker left running at the end of the process must find it intact.
Workers& workers() {
    static auto* instance = new Workers;
    return *instance;
}

} // namespace

// What a job and its worker share. The job's side may go away first; the worker keeps this.
struct MediaJob::Run : std::enable_shared_from_this<Run> {
    Options options;
    std::mutex mutex;
    // Guarded by mutex:
    MediaJob* owner = nullptr; // null once nobody listens any more
    bool settled = false;      // the outcome is known and posted
    bool stopRequested = false;
    PcmSource* source = nullptr;
    PcmSink* sink = nullptr;
    BoundedQueue<Piece>* queue = nullptr;
    // Read by the worker without the lock:
    std::atomic<bool> cancelled{false};
    int lastStep = -1;    // the worker's
    bool stalled = false; // the worker's, read on the job's thread after the outcome

    // With the lock held: interrupt whatever may be waiting.
    void interrupt() {
        if (source)
            source->interrupt();
        if (sink)
            sink->interrupt();
        if (queue)
            queue->interrupt();
    }

    // With the lock held: delivers action on the job's thread, if the job is still this run's.
    template <class Action> void post(Action action, bool last) {
        if (!owner)
            return;
        MediaJob* job = owner;
        QMetaObject::invokeMethod(
            job,
            [job, self = shared_from_this(), action = std::move(action), last] {
                if (job->m_run != self)
                    return;
                if (last)
                    job->m_run.reset(); // before the signal: its handler may start the next job
                action(job);
            },
            Qt::QueuedConnection);
    }

    void reportProgress(qint64 done, qint64 expected) {
        int step = -1;
        const int steps = options.progressSteps;
        if (steps > 0 && expected > 0) {
            step = int(std::min<qint64>(steps - 1, done * steps / expected));
            if (step <= lastStep)
                return;
            lastStep = step;
        }
        std::lock_guard lock(mutex);
        post([step, done, expected](MediaJob* job) { Q_EMIT job->progress(step, done, expected); },
             false);
    }

    void setParts(PcmSource* s, PcmSink* k, BoundedQueue<Piece>* q) {
        std::lock_guard lock(mutex);
        source = s;
        sink = k;
        queue = q;
        // A cancel or stop that came before the worker got here.
        if (cancelled)
            interrupt();
        else if (stopRequested && source)
            source->interrupt();
    }

    void work(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink);
    void readPieces(ReadAhead& ahead);
    void pumpDirect(PcmSource& source, PcmSink& sink);
    void pumpAhead(ReadAhead& ahead, PcmSink& sink);
    // With the lock held: the failure goes out, unless the outcome is known already.
    void postFailure(const QString& failure) {
        if (settled || cancelled)
            return;
        settled = true;
        post(
            [failure, stalled = stalled](MediaJob* job) {
                job->m_stalled = stalled;
                Q_EMIT job->failed(failure);
            },
            true);
    }
};

void MediaJob::Run::pumpDirect(PcmSource& source, PcmSink& sink) {
    const qint64 expected = source.expectedFrames();
    std::vector<qint16> buffer(size_t(options.pieceFrames * source.format().channels));
    qint64 done = 0;
    while (!cancelled) {
        const qint64 frames = source.read(buffer.data(), options.pieceFrames);
        if (frames == 0 || cancelled)
            break;
        sink.write(buffer.data(), frames);
        done += frames;
        reportProgress(done, expected);
    }
}

void MediaJob::Run::pumpAhead(ReadAhead& ahead, PcmSink& sink) {
    using Status = BoundedQueue<Piece>::Status;
    using Clock = std::chrono::steady_clock;
    const qint64 expected = ahead.source->expectedFrames();
    const std::chrono::seconds limit(std::max(0, options.stallSeconds));
    quint64 activity = ahead.source->activity();
    Clock::time_point lastSign = Clock::now();
    qint64 done = 0;
    Piece piece;
    for (;;) {
        const Status status =
            limit.count() > 0 ? ahead.queue.popWithin(piece, kStallCheck) : ahead.queue.pop(piece);
        if (status == Status::Empty) {
            const quint64 now = ahead.source->activity();
            if (now != activity) {
                activity = now;
                lastSign = Clock::now();
            } else if (Clock::now() - lastSign >= limit) {
                throw StalledError(
                    QStringLiteral("Reading %1 stopped: nothing came from it for %2 seconds")
                        .arg(options.sourceName.isEmpty() ? QStringLiteral("the source")
                                                          : options.sourceName)
                        .arg(limit.count()));
            }
            continue;
        }
        if (status == Status::Failed)
            throw Error(ahead.queue.failure());
        if (status != Status::Item || cancelled)
            return;
        lastSign = Clock::now();
        sink.write(piece.samples.data(), piece.frames);
        done += piece.frames;
        ahead.spare.tryPush(piece);
        reportProgress(done, expected);
    }
}

void MediaJob::Run::readPieces(ReadAhead& ahead) {
    const size_t samples = size_t(options.pieceFrames * ahead.source->format().channels);
    try {
        while (!cancelled) {
            Piece piece;
            if (ahead.spare.tryPop(piece) != BoundedQueue<Piece>::Status::Item)
                piece.samples.resize(samples);
            piece.frames = ahead.source->read(piece.samples.data(), options.pieceFrames);
            if (piece.frames == 0)
                break;
            if (!ahead.queue.push(std::move(piece)))
                return;
        }
        ahead.queue.close();
    } catch (...) {
        ahead.queue.fail(currentExceptionText());
    }
}

void MediaJob::Run::work(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink) {
    auto ahead = std::make_shared<ReadAhead>(piecesAhead(source->format(), options.pieceFrames));
    ahead->source = std::move(source);
    std::thread reader;
    if (options.readAhead)
        reader = std::thread([self = shared_from_this(), ahead] { self->readPieces(*ahead); });
    setParts(ahead->source.get(), sink.get(), &ahead->queue);

    QString failure;
    try {
        if (options.readAhead)
            pumpAhead(*ahead, *sink);
        else
            pumpDirect(*ahead->source, *sink);
        if (!cancelled) {
            sink->finish();
            // The last moment a cancel counts: after the commit the file is in place.
            std::lock_guard lock(mutex);
            if (!cancelled) {
                sink->commit();
                settled = true;
                post([](MediaJob* job) { Q_EMIT job->finished(); }, true);
            }
        }
    } catch (const StalledError& e) {
        failure = e.message();
        stalled = true;
    } catch (...) {
        failure = currentExceptionText();
    }

    // The sink goes first, so a failed or cancelled output is gone before anyone hears of it
    // and even while the reader is still stuck in a slow read.
    setParts(ahead->source.get(), nullptr, &ahead->queue);
    sink.reset();
    ahead->queue.interrupt();
    if (stalled) {
        // The reader may never come back from its read: the outcome goes out now, and the
        // reader is left to end on its own, taking the source with it.
        {
            std::lock_guard lock(mutex);
            ahead->source->interrupt();
            postFailure(failure);
        }
        setParts(nullptr, nullptr, nullptr);
        if (reader.joinable())
            reader.detach();
        return;
    }
    if (reader.joinable())
        reader.join();
    setParts(nullptr, nullptr, nullptr);
    ahead->source.reset();

    std::lock_guard lock(mutex);
    postFailure(failure);
}

MediaJob::MediaJob(QObject* parent) : QObject(parent) {}

MediaJob::~MediaJob() {
    if (!m_run)
        return;
    std::lock_guard lock(m_run->mutex);
    m_run->owner = nullptr;
    if (!m_run->settled) {
        m_run->cancelled = true;
        m_run->interrupt();
    }
}

void MediaJob::start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink) {
    start(std::move(source), std::move(sink), Options());
}

void MediaJob::start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink,
                     const Options& options) {
    if (m_run)
        throw Error(QStringLiteral("Cannot start: the previous job is still running"));
    if (!(source->format() == sink->format()))
        throw Error(formatMismatch(source->format(), sink->format()));
    auto run = std::make_shared<Run>();
    m_stalled = false;
    run->options = options;
    run->options.pieceFrames = std::max<qint64>(1, options.pieceFrames);
    run->owner = this;
    m_run = run;
    workers().start([run, source = std::move(source), sink = std::move(sink)]() mutable {
        run->work(std::move(source), std::move(sink));
    });
}

bool MediaJob::cancel() {
    if (!m_run)
        return true;
    std::unique_lock lock(m_run->mutex);
    if (m_run->settled)
        return false;
    m_run->cancelled = true;
    m_run->owner = nullptr;
    m_run->interrupt();
    lock.unlock();
    m_run.reset();
    return true;
}

void MediaJob::stop() {
    if (!m_run)
        return;
    std::lock_guard lock(m_run->mutex);
    m_run->stopRequested = true;
    if (m_run->source)
        m_run->source->interrupt();
}

bool MediaJob::waitForAll(int msecs) {
    return workers().waitForAll(msecs);
}

void copyPcm(PcmSource& source, PcmSink& sink) {
    const PcmFormat format = source.format();
    if (!(format == sink.format()))
        throw Error(formatMismatch(format, sink.format()));
    constexpr qint64 kFrames = 16384;
    std::vector<qint16> buffer(size_t(kFrames * format.channels));
    while (const qint64 frames = source.read(buffer.data(), kFrames))
        sink.write(buffer.data(), frames);
    sink.commit();
}
