#pragma once

#include "backends/media/EncodedSink.h"
#include "backends/media/MediaJob.h"

#include <QObject>
#include <QString>
#include <functional>

// What the four codec components share: check a file pair at once, convert it as a MediaJob,
// and hand progress and the outcome to the component's own thread.
//
// Progress values rise, stay below 100 while the file is being written and end with exactly one
// 100 once the output is complete and in place. A failure ends with one failed(message)
// instead, after the temporary file is gone. A cancelled job reports nothing more, unless its
// file was already in place: then its 100 still comes.
class CodecRunner {
public:
    // WholePercent steps in 1 % (MEnc, MDec), TenthPercent in 0.1 % (WAEnc, WaDec).
    enum class Resolution { WholePercent, TenthPercent };

    CodecRunner(QObject* owner, Resolution resolution, std::function<void(double)> progress,
                std::function<void(const QString&)> failed);

    // Opens the input and creates the output file, so an unreadable or undecodable input and an
    // unwritable output folder raise Error before this returns; then starts.
    void start(const QString& input, const QString& output, const EncodedSink::Options& options);
    // Stops the running job: its output is removed and nothing more is reported, unless it was
    // complete already (see above).
    void cancel();
    bool isBusy() const { return m_job.isRunning(); }

private:
    Resolution m_resolution;
    std::function<void(double)> m_progress;
    std::function<void(const QString&)> m_failed;
    MediaJob m_job;
    QString m_current;
};

// A bit rate from a component property (bits per second as a double), checked.
qint64 checkedBitRate(double bitsPerSecond, const QString& output);
