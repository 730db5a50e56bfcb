#pragma once

#include "backends/media/PcmSink.h"
#include "backends/media/PcmSource.h"

#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

// Called after each piece with the frames moved so far and the source's expected total
// (-1 when unknown). framesDone only grows; it may pass framesExpected, which is an estimate.
using TranscodeProgress = std::function<void(qint64 framesDone, qint64 framesExpected)>;

// Moves every frame of source into sink, without committing the sink. The source is read on a
// helper thread while the calling thread feeds the sink, joined by a small bounded queue, so
// decoding and encoding use both cores without unbounded memory. Both formats must match.
// Returns true at the end of the source, false as soon as cancel is seen (the sink then holds a
// partial stream: destroy it). Raises Error from either side. progress runs on the calling
// thread.
bool transcode(PcmSource& source, PcmSink& sink, const std::atomic<bool>& cancel,
               const TranscodeProgress& progress = {});

// Runs one transcode on a worker thread: source to sink, then commits the sink.
// The handlers run on the worker thread; a Qt owner posts them on to its own thread. The sink is
// destroyed (its temporary file removed) before failed runs, and committed (the file in place)
// before finished runs. After cancel() returns no handler runs any more.
class TranscodeJob {
public:
    struct Handlers {
        TranscodeProgress progress;
        std::function<void()> finished;
        std::function<void(const QString& message)> failed;
    };

    TranscodeJob() = default;
    TranscodeJob(const TranscodeJob&) = delete;
    TranscodeJob& operator=(const TranscodeJob&) = delete;
    // Cancels a running job and waits for its worker.
    ~TranscodeJob();

    // Raises Error while the previous job is still running (a job counts as ended from the
    // moment its last handler is called).
    void start(std::unique_ptr<PcmSource> source, std::unique_ptr<PcmSink> sink, Handlers handlers);
    // Stops the job and waits until its worker has cleaned up.
    void cancel();
    // Waits for the job to end by itself.
    void wait();
    bool isRunning() const { return m_running.load(); }

private:
    std::thread m_worker;
    std::atomic<bool> m_cancel{false};
    std::atomic<bool> m_running{false};
};
