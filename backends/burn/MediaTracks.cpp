#include "backends/burn/MediaTracks.h"

#include "backends/media/FileSource.h"
#include "backends/media/MediaJob.h"
#include "backends/media/PcmPipe.h"
#include "components/Error.h"

#include <QMetaObject>
#include <QPointer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <vector>

namespace burning {

namespace {

// How often a writer waiting for an empty pipe looks whether the file still delivers.
constexpr std::chrono::milliseconds kStallCheck{250};

// The track's source as the job reads it. A decoder error also fails the pipe with its own
// words at once, so the writer reports why the track broke, not only that it did; and the end
// or the failure of the source marks the producer as stopped for fill().
class ReportingSource final : public PcmSource {
public:
    ReportingSource(std::unique_ptr<PcmSource> inner, std::shared_ptr<PcmPipe> pipe,
                    std::shared_ptr<std::atomic<bool>> stopped)
        : m_inner(std::move(inner)), m_pipe(std::move(pipe)), m_stopped(std::move(stopped)) {}

    PcmFormat format() const override { return m_inner->format(); }
    qint64 expectedFrames() const override { return m_inner->expectedFrames(); }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        try {
            const qint64 frames = m_inner->read(buffer, maxFrames);
            if (frames == 0)
                m_stopped->store(true);
            return frames;
        } catch (const std::exception& e) {
            m_pipe->fail(QString::fromUtf8(e.what()));
            m_stopped->store(true);
            throw;
        }
    }
    void interrupt() override { m_inner->interrupt(); }

private:
    std::unique_ptr<PcmSource> m_inner;
    std::shared_ptr<PcmPipe> m_pipe;
    std::shared_ptr<std::atomic<bool>> m_stopped;
};

// One track decoded by a media job into a pipe. The job and the feed live on the
// user-interface thread; read() runs on the writer's thread.
class MediaFeed final : public TrackFeed {
public:
    MediaFeed(SourceMaker makeSource, const QString& what, int stallSeconds)
        : m_makeSource(std::move(makeSource)), m_path(what), m_stallSeconds(stallSeconds),
          m_pipe(std::make_shared<PcmPipe>(PcmFormat::cdAudio(), MediaTrackOpener::kBufferFrames)),
          m_stopped(std::make_shared<std::atomic<bool>>(false)),
          m_job(std::make_unique<MediaJob>()) {}

    void start() override {
        if (m_started.exchange(true) || m_cancelled.load())
            return;
        MediaJob::Options options;
        // The pipe is the only consumer: nothing to gain from a second thread.
        options.readAhead = false;
        // Nobody follows a feed's progress: one step keeps the job from posting any.
        options.progressSteps = 1;
        try {
            m_job->start(std::make_unique<ReportingSource>(m_makeSource(), m_pipe, m_stopped),
                         std::make_unique<PipeSink>(m_pipe), options);
        } catch (const std::exception& e) {
            // The file went away or changed since it was added: the writer learns it on its
            // first read, and the burn ends with this reason.
            m_pipe->fail(QString::fromUtf8(e.what()));
            m_stopped->store(true);
        }
    }

    qint64 read(char* buffer, qint64 bytes) override {
        using Clock = std::chrono::steady_clock;
        qint64 done = 0;
        Clock::time_point lastData = Clock::now();
        while (done < bytes && !m_cancelled.load()) {
            const qint64 got = m_pipe->readWithin(buffer + done, bytes - done, kStallCheck);
            if (got < 0) {
                if (m_cancelled.load() || m_pipe->isInterrupted())
                    return 0;
                throw Error(m_pipe->failure());
            }
            if (got > 0 || !m_started.load()) {
                done += got;
                lastData = Clock::now();
                continue;
            }
            if (m_pipe->atEnd())
                break;
            // The decoder keeps the pipe full far ahead of any writer: a pipe empty for this
            // long means the file stopped delivering (a network share that went away).
            if (Clock::now() - lastData >= std::chrono::seconds(m_stallSeconds))
                throw Error(QStringLiteral("Reading %1 stopped: nothing came from it for %2 "
                                           "seconds")
                                .arg(m_path)
                                .arg(m_stallSeconds));
        }
        return m_cancelled.load() ? 0 : done;
    }

    void cancel() override {
        m_cancelled.store(true);
        m_stopped->store(true);
        m_pipe->interrupt();
        // The job belongs to the user-interface thread; from another one the cancel is posted.
        QPointer<MediaJob> job = m_job.get();
        QMetaObject::invokeMethod(job, [job] {
            if (job)
                job->cancel();
        });
    }

    int fill() const override {
        if (m_stopped->load())
            return 100;
        const qint64 capacity = std::max<qint64>(1, m_pipe->capacityBytes());
        return int(std::min<qint64>(100, m_pipe->queuedBytes() * 100 / capacity));
    }

private:
    const SourceMaker m_makeSource;
    const QString m_path;
    const int m_stallSeconds;
    std::shared_ptr<PcmPipe> m_pipe;
    std::shared_ptr<std::atomic<bool>> m_stopped;
    std::unique_ptr<MediaJob> m_job;
    std::atomic<bool> m_started{false};
    std::atomic<bool> m_cancelled{false};
};

qint64 countFrames(FileSource& file, const std::atomic<bool>* stop) {
    std::vector<qint16> buffer(size_t(16384) * 2);
    qint64 frames = 0;
    while (!(stop && stop->load()))
        if (const qint64 n = file.read(buffer.data(), 16384))
            frames += n;
        else
            return frames;
    return 0;
}

} // namespace

TrackInfo MediaTrackOpener::probe(const QString& path) {
    FileSource file(path, PcmFormat::cdAudio());
    TrackInfo info;
    info.frames = file.expectedFrames();
    info.exact = file.lengthIsExact();
    if (info.frames < 0) {
        info.frames = countFrames(file, nullptr);
        info.exact = true;
    }
    if (info.frames <= 0)
        throw Error(QStringLiteral("%1 holds no audio to burn.").arg(path));
    const QMap<QString, QString> tags = file.tags();
    info.title = tags.value(QStringLiteral("title")).trimmed();
    info.performer =
        tags.value(QStringLiteral("artist"), tags.value(QStringLiteral("album_artist"))).trimmed();
    info.album = tags.value(QStringLiteral("album")).trimmed();
    return info;
}

qint64 MediaTrackOpener::measure(const QString& path, const std::atomic<bool>& stop) {
    FileSource file(path, PcmFormat::cdAudio());
    const qint64 frames = countFrames(file, &stop);
    if (frames <= 0 && !stop.load())
        throw Error(QStringLiteral("%1 holds no audio to burn.").arg(path));
    return frames;
}

std::unique_ptr<TrackFeed> MediaTrackOpener::open(const QString& path) {
    return openFeed([path] { return std::make_unique<FileSource>(path, PcmFormat::cdAudio()); },
                    path, kFileStallSeconds);
}

std::unique_ptr<TrackFeed> openFeed(SourceMaker makeSource, const QString& what, int stallSeconds) {
    return std::make_unique<MediaFeed>(std::move(makeSource), what, stallSeconds);
}

} // namespace burning
