#include "backends/media/CodecRunner.h"

#include "backends/media/FileSource.h"
#include "components/Error.h"

#include <QFileInfo>
#include <cmath>

CodecRunner::CodecRunner(QObject* owner, Resolution resolution,
                         std::function<void(double)> progress,
                         std::function<void(const QString&)> failed)
    : m_resolution(resolution), m_progress(std::move(progress)), m_failed(std::move(failed)),
      m_job(owner) {
    QObject::connect(&m_job, &MediaJob::progress, owner, [this](int step) {
        m_progress(m_resolution == Resolution::WholePercent ? double(step) : step / 10.0);
    });
    // Last: the handler of the 100 may start the next file.
    QObject::connect(&m_job, &MediaJob::finished, owner, [this] { m_progress(100.0); });
    QObject::connect(&m_job, &MediaJob::failed, owner,
                     [this](const QString& message) { m_failed(message); });
}

void CodecRunner::start(const QString& input, const QString& output,
                        const EncodedSink::Options& options) {
    if (m_job.isRunning())
        throw Error(
            QStringLiteral("Cannot convert %1: %2 is still being converted").arg(input, m_current));
    auto source = std::make_unique<FileSource>(input);
    const QFileInfo out(output);
    if (out.exists() && out.canonicalFilePath() == QFileInfo(input).canonicalFilePath())
        throw Error(QStringLiteral("Cannot write %1: it is the input file itself").arg(output));
    EncodedSink::Options withTags = options;
    if (withTags.tags.isEmpty())
        withTags.tags = source->tags();
    auto sink = std::make_unique<EncodedSink>(output, withTags, source->format());
    MediaJob::Options jobOptions;
    jobOptions.progressSteps = m_resolution == Resolution::WholePercent ? 100 : 1000;
    m_job.start(std::move(source), std::move(sink), jobOptions);
    m_current = input;
}

void CodecRunner::cancel() {
    m_job.cancel();
}

qint64 checkedBitRate(double bitsPerSecond, const QString& output) {
    if (!std::isfinite(bitsPerSecond) || bitsPerSecond < 1000.0 || bitsPerSecond > 1.0e7)
        throw Error(QStringLiteral("Cannot write %1: %2 bit/s is not a usable bit rate")
                        .arg(output)
                        .arg(bitsPerSecond));
    return std::llround(bitsPerSecond);
}
