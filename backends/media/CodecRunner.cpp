#include "backends/media/CodecRunner.h"

#include "backends/media/FileSource.h"
#include "backends/media/MediaJob.h"
#include "components/Error.h"

#include <QFileInfo>
#include <cmath>

CodecRunner::CodecRunner(QObject* owner, Resolution resolution,
                         std::function<void(double)> progress,
                         std::function<void(const QString&)> failed)
    : m_owner(owner), m_resolution(resolution), m_progress(std::move(progress)),
      m_failed(std::move(failed)) {}

CodecRunner::~CodecRunner() {
    cancel();
}

void CodecRunner::checkIdle(const QString& what) const {
    if (m_job)
        throw Error(
            QStringLiteral("Cannot convert %1: %2 is still being converted").arg(what, m_current));
}

void CodecRunner::start(const QString& input, const QString& output,
                        const EncodedSink::Options& options) {
    checkIdle(input);
    auto source = std::make_unique<FileSource>(input);
    const QFileInfo out(output);
    if (out.exists() && out.canonicalFilePath() == QFileInfo(input).canonicalFilePath())
        throw Error(QStringLiteral("Cannot write %1: it is the input file itself").arg(output));
    EncodedSink::Options withTags = options;
    if (withTags.tags.isEmpty())
        withTags.tags = source->tags();
    // The input is never written over, whatever the caller allows.
    withTags.overwrite.sources << input;
    auto sink = std::make_unique<EncodedSink>(output, withTags, source->format());
    start(std::move(source), std::move(sink), input);
}

void CodecRunner::start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink,
                        const QString& what, int stallSeconds) {
    checkIdle(what);
    // A job per file: one cancelled when already complete still delivers its 100 while the
    // next one runs.
    auto* job = new MediaJob(m_owner);
    QObject::connect(
        job, &MediaJob::progress, m_owner, [this](int step, qint64 done, qint64 expected) {
            if (m_frames)
                m_frames(done, expected);
            m_progress(m_resolution == Resolution::WholePercent ? double(step) : step / 10.0);
        });
    // Last: the handler of the 100 may start the next file.
    QObject::connect(job, &MediaJob::finished, m_owner, [this, job] {
        ended(job);
        m_progress(100.0);
    });
    QObject::connect(job, &MediaJob::failed, m_owner, [this, job](const QString& message) {
        ended(job);
        m_failed(message);
    });
    MediaJob::Options jobOptions;
    jobOptions.progressSteps = m_resolution == Resolution::WholePercent ? 100 : 1000;
    jobOptions.stallSeconds = stallSeconds;
    jobOptions.sourceName = what;
    try {
        job->start(std::move(source), std::move(sink), jobOptions);
    } catch (...) {
        delete job;
        throw;
    }
    m_job = job;
    m_current = what;
}

void CodecRunner::ended(MediaJob* job) {
    if (m_job == job)
        m_job = nullptr;
    // Later: this runs inside one of the job's signals.
    job->deleteLater();
}

bool CodecRunner::cancel() {
    if (!m_job)
        return false;
    const bool stopped = m_job->cancel();
    if (stopped) {
        m_job->disconnect(m_owner);
        m_job->deleteLater();
    }
    m_job = nullptr;
    return stopped;
}

qint64 checkedBitRate(double bitsPerSecond, const QString& output) {
    if (!std::isfinite(bitsPerSecond) || bitsPerSecond < 1000.0 || bitsPerSecond > 1.0e7)
        throw Error(QStringLiteral("Cannot write %1: %2 bit/s is not a usable bit rate")
                        .arg(output)
                        .arg(bitsPerSecond));
    return std::llround(bitsPerSecond);
}
