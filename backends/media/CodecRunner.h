#pragma once

#include "backends/media/EncodedSink.h"
#include "backends/media/PcmSource.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class MediaJob;

// What the codec components and the CD tools' rips share: check an output at once, encode a
// source into it as a MediaJob, and hand progress and the outcome to the component's thread.
//
// Progress values rise, stay below 100 while the file is being written and end with exactly one
// 100 once the output is complete and in place. A failure ends with one failed(message)
// instead, after the temporary file is gone. A cancelled job reports nothing more, unless its
// file was already in place: then its 100 still comes. A new job may start as soon as the last
// one was cancelled.
class CodecRunner {
public:
    // WholePercent steps in 1 % (MEnc, MDec), TenthPercent in 0.1 % (WAEnc, WaDec, rips).
    enum class Resolution { WholePercent, TenthPercent };

    CodecRunner(QObject* owner, Resolution resolution, std::function<void(double)> progress,
                std::function<void(const QString&)> failed);
    ~CodecRunner();
    CodecRunner(const CodecRunner&) = delete;
    CodecRunner& operator=(const CodecRunner&) = delete;

    // Opens the input and creates the output file, so an unreadable or undecodable input and an
    // unwritable output folder raise Error before this returns; then starts.
    void start(const QString& input, const QString& output, const EncodedSink::Options& options);
    // The same with a source and an output the caller made (a CD track into its file); what
    // names the source in messages. A source that delivers nothing for stallSeconds ends the
    // job with a message saying so.
    void start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink,
               const QString& what, int stallSeconds = kFileStallSeconds);
    // Stops the running job: its output is removed and nothing more is reported, unless it was
    // complete already (see above). True when a job was stopped for good; false when there was
    // none, or when its 100 is still to come.
    bool cancel();
    bool isBusy() const { return m_job != nullptr; }

    // Told the frames done and expected before each progress value below 100.
    void setFramesObserver(std::function<void(qint64 done, qint64 expected)> observer) {
        m_frames = std::move(observer);
    }

private:
    void checkIdle(const QString& what) const;
    void ended(MediaJob* job);

    QObject* m_owner;
    Resolution m_resolution;
    std::function<void(double)> m_progress;
    std::function<void(const QString&)> m_failed;
    std::function<void(qint64, qint64)> m_frames;
    MediaJob* m_job = nullptr; // the running job, a child of the owner
    QString m_current;
};

// A bit rate from a component property (bits per second as a double), checked.
qint64 checkedBitRate(double bitsPerSecond, const QString& output);
