#pragma once

#include "backends/media/EncodedSink.h"
#include "backends/media/Transcode.h"

#include <QObject>
#include <QString>
#include <functional>

// What the four codec components share: check a file pair at once, convert it on a worker
// thread, and hand progress and the outcome to the component's own thread as queued calls.
//
// Progress values rise, stay below 100 while the file is being written and end with exactly one
// 100 once the output is complete and in place. A failure ends with one failed(message)
// instead, after the temporary file is gone. Events of a cancelled job are never delivered.
class CodecRunner {
public:
    // WholePercent steps in 1 % (MEnc, MDec), TenthPercent in 0.1 % (WAEnc, WaDec).
    enum class Resolution { WholePercent, TenthPercent };

    CodecRunner(QObject* owner, Resolution resolution, std::function<void(double)> progress,
                std::function<void(const QString&)> failed);
    ~CodecRunner();

    // Opens the input and creates the output's temporary file, so an unreadable or undecodable
    // input and an unwritable output folder raise Error before this returns; then starts.
    void start(const QString& input, const QString& output, const EncodedSink::Options& options);
    // Stops the running job: its temporary file is removed and nothing more is reported.
    void cancel();
    bool isBusy() const { return m_busy; }

private:
    QObject* m_owner;
    Resolution m_resolution;
    std::function<void(double)> m_progress;
    std::function<void(const QString&)> m_failed;
    TranscodeJob m_job;
    // Both only touched on the owner's thread.
    quint64 m_generation = 0;
    bool m_busy = false;
    QString m_current;
};

// A bit rate from a component property (bits per second as a double), checked.
qint64 checkedBitRate(double bitsPerSecond, const QString& output);
