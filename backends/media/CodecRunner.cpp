#include "backends/media/CodecRunner.h"

#include "backends/media/FileSource.h"
#include "components/Error.h"

#include <QFileInfo>
#include <QMetaObject>
#include <algorithm>
#include <cmath>

CodecRunner::CodecRunner(QObject* owner, Resolution resolution,
                         std::function<void(double)> progress,
                         std::function<void(const QString&)> failed)
    : m_owner(owner), m_resolution(resolution), m_progress(std::move(progress)),
      m_failed(std::move(failed)) {}

CodecRunner::~CodecRunner() {
    cancel();
}

void CodecRunner::start(const QString& input, const QString& output,
                        const EncodedSink::Options& options) {
    if (m_busy)
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

    const quint64 generation = ++m_generation;
    const int steps = m_resolution == Resolution::WholePercent ? 100 : 1000;
    const double unit = m_resolution == Resolution::WholePercent ? 1.0 : 0.1;
    TranscodeJob::Handlers handlers;
    // Runs on the worker; posts only when the shown value changes, and never reaches 100 here.
    handlers.progress = [this, generation, steps, unit,
                         last = qint64(-1)](qint64 done, qint64 expected) mutable {
        if (expected <= 0)
            return;
        const qint64 step = std::min<qint64>(steps - 1, done * steps / expected);
        if (step <= last)
            return;
        last = step;
        const double value = double(step) * unit;
        QMetaObject::invokeMethod(
            m_owner,
            [this, generation, value] {
                if (generation == m_generation)
                    m_progress(value);
            },
            Qt::QueuedConnection);
    };
    handlers.finished = [this, generation] {
        QMetaObject::invokeMethod(
            m_owner,
            [this, generation] {
                if (generation != m_generation)
                    return;
                m_busy = false;
                m_progress(100.0); // last: the handler may start the next file
            },
            Qt::QueuedConnection);
    };
    handlers.failed = [this, generation](const QString& message) {
        QMetaObject::invokeMethod(
            m_owner,
            [this, generation, message] {
                if (generation != m_generation)
                    return;
                m_busy = false;
                m_failed(message);
            },
            Qt::QueuedConnection);
    };
    m_job.start(std::move(source), std::move(sink), std::move(handlers));
    m_busy = true;
    m_current = input;
}

void CodecRunner::cancel() {
    ++m_generation;
    m_job.cancel();
    m_busy = false;
}

qint64 checkedBitRate(double bitsPerSecond, const QString& output) {
    if (!std::isfinite(bitsPerSecond) || bitsPerSecond < 1000.0 || bitsPerSecond > 1.0e7)
        throw Error(QStringLiteral("Cannot write %1: %2 bit/s is not a usable bit rate")
                        .arg(output)
                        .arg(bitsPerSecond));
    return std::llround(bitsPerSecond);
}
