// The media job and the pipe between threads, on real FFmpeg and real
// threads.

#include "backends/media/OutputFile.h"
#include "backends/media/PcmPipe.h"
#include "tests/media/MediaTestSupport.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <condition_variable>

namespace {

constexpr PcmFormat kStereo44{44100, 2};
const QString kDiscError = QStringLiteral("Cannot read track 3: the disc stopped answering");

// Silence read slowly, as from a drive re-reading a bad sector; raises kDiscError after
// failAfter frames. interrupt() cuts a wait short only when the source is interruptible.
struct SlowSource final : PcmSource {
    SlowSource(int delayMs, bool interruptible, qint64 failAfter = -1)
        : delay(delayMs), canInterrupt(interruptible), left(failAfter) {}
    PcmFormat format() const override { return kStereo44; }
    qint64 expectedFrames() const override { return 441000; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        ++*reads;
        std::unique_lock lock(mutex);
        woken.wait_for(lock, std::chrono::milliseconds(delay), [&] { return interrupted; });
        if (interrupted)
            return 0;
        if (left == 0)
            throw Error(kDiscError);
        const qint64 n = left < 0 ? maxFrames : std::min(maxFrames, left);
        std::fill_n(buffer, n * 2, qint16(0));
        left -= left < 0 ? 0 : n;
        return n;
    }
    void interrupt() override {
        std::lock_guard lock(mutex);
        interrupted = canInterrupt;
        woken.notify_all();
    }
    int delay;
    bool canInterrupt;
    qint64 left;
    std::mutex mutex;
    std::condition_variable woken;
    bool interrupted = false;
    std::shared_ptr<std::atomic<int>> reads = std::make_shared<std::atomic<int>>(0);
};

// Raw PCM into an OutputFile with a hidden temporary name, whose presence the tests can see.
struct RawSink final : PcmSink {
    explicit RawSink(const QString& path) : file(path, {}, OutputFile::Temporary::Named) {}
    PcmFormat format() const override { return kStereo44; }
    void write(const qint16* buffer, qint64 frames) override { file.write(buffer, frames * 4); }
    void finish() override { file.finish(); }
    void commit() override { file.commit(); }
    OutputFile file;
};

std::unique_ptr<EncodedSink> mp3Sink(const QString& path) {
    return std::make_unique<EncodedSink>(
        path, EncodedSink::Options{OutputCodec::Mp3Lame, 128000, {}}, kStereo44);
}

struct JobSpies {
    explicit JobSpies(MediaJob& job)
        : progress(&job, &MediaJob::progress), finished(&job, &MediaJob::finished),
          failed(&job, &MediaJob::failed) {}
    bool silent() const { return progress.isEmpty() && finished.isEmpty() && failed.isEmpty(); }
    QSignalSpy progress, finished, failed;
};

} // namespace

class TestMediaJobs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void jobReportsInOrder();
    void cancelNeverWaits();
    void readerRunsAheadOfABusySink();
    void stopCommitsWhatWasRead();
    void cancelTooLateStillFinishes();
    void stalledSourceEndsTheJob();
    void pipeStates();
};

// Progress rises in steps and stays below the whole; finished() comes with the file in place,
// failed() after the temporary file is gone; mismatched formats are refused at once.
void TestMediaJobs::jobReportsInOrder() {
    QTemporaryDir out;
    MediaJob job;
    JobSpies spies(job);
    QStringList seen;
    const auto look = [&] { seen << folderEntries(out.path()).join(','); };
    connect(&job, &MediaJob::finished, this, look);
    connect(&job, &MediaJob::failed, this, look);
    job.start(std::make_unique<SineSource>(kStereo44, 5.0), mp3Sink(out.filePath("job.mp3")));
    QVERIFY(job.isRunning());
    QVERIFY(spies.finished.wait(10000));
    QVERIFY(!job.isRunning());
    QVERIFY(spies.progress.count() > 3);
    for (int i = 0; i < spies.progress.count(); ++i) {
        const int step = spies.progress.at(i).at(0).toInt();
        QVERIFY(step < 100 && (i == 0 || step > spies.progress.at(i - 1).at(0).toInt()));
    }
    QCOMPARE(spies.progress.last().at(1).toLongLong(), 220500);

    job.start(std::make_unique<SlowSource>(0, false, 50000), mp3Sink(out.filePath("bad.mp3")));
    QVERIFY(spies.failed.wait(10000));
    QCOMPARE(spies.failed.at(0).at(0).toString(), kDiscError);
    QCOMPARE(seen, QStringList({"job.mp3", "job.mp3"}));
    QCOMPARE(spies.finished.count(), 1);

    QVERIFY(errorOf([&] {
                job.start(std::make_unique<SineSource>(PcmFormat{44100, 1}, 1.0),
                          mp3Sink(out.filePath("mono.mp3")));
            }).contains("1 channel(s)"));
    QVERIFY(!job.isRunning());
}

// A read that takes 1.5 s does not hold up the user: cancel() and destroying the job return at
// once, nothing is reported, and the output goes while the read still hangs.
void TestMediaJobs::cancelNeverWaits() {
    QTemporaryDir out;
    for (const bool readAhead : {true, false}) {
        auto job = std::make_unique<MediaJob>();
        JobSpies spies(*job);
        auto source = std::make_unique<SlowSource>(1500, false);
        const auto reads = source->reads;
        MediaJob::Options options;
        options.readAhead = readAhead;
        job->start(std::move(source), std::make_unique<RawSink>(out.filePath("slow.raw")), options);
        QTRY_VERIFY(*reads >= 1);
        QCOMPARE(folderEntries(out.path()).size(), 1); // the temporary file
        QElapsedTimer clock;
        clock.start();
        if (readAhead)
            QVERIFY(job->cancel());
        else
            job.reset();
        QCOMPARE_LT(clock.elapsed(), 100);
        QVERIFY(!MediaJob::waitForAll(10)); // the read still hangs
        QTRY_VERIFY_WITH_TIMEOUT(folderEntries(out.path()).isEmpty(), 3000);
        QVERIFY(MediaJob::waitForAll(5000));
        QCoreApplication::processEvents();
        QVERIFY(spies.silent());
    }
}

// While the sink is busy (an MP3 encoder with a block of several seconds), the source goes on
// being read up to about 8 s of audio ahead (more than one MP3 block), and every frame still
// arrives, in order.
void TestMediaJobs::readerRunsAheadOfABusySink() {
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        qint64 delivered = 0;
    };
    constexpr qint64 kTotal = 30 * 44100;
    constexpr qint64 kAhead = 7 * 44100;
    // Frame i holds i in both channels (modulo 2^16), so order and completeness show.
    struct CountingSource final : PcmSource {
        explicit CountingSource(std::shared_ptr<Shared> s) : shared(std::move(s)) {}
        PcmFormat format() const override { return kStereo44; }
        qint64 expectedFrames() const override { return kTotal; }
        qint64 read(qint16* buffer, qint64 maxFrames) override {
            std::lock_guard lock(shared->mutex);
            const qint64 n = std::min(maxFrames, kTotal - shared->delivered);
            for (qint64 i = 0; i < n; ++i)
                buffer[2 * i] = buffer[2 * i + 1] = qint16(shared->delivered + i);
            shared->delivered += n;
            shared->changed.notify_all();
            return n;
        }
        std::shared_ptr<Shared> shared;
    };
    // Its first write holds on until the source is far enough ahead, or 5 s have gone.
    struct BusySink final : PcmSink {
        explicit BusySink(std::shared_ptr<Shared> s, std::shared_ptr<qint64> a,
                          std::shared_ptr<qint64> f)
            : shared(std::move(s)), ahead(std::move(a)), frames(std::move(f)) {}
        PcmFormat format() const override { return kStereo44; }
        void write(const qint16* buffer, qint64 n) override {
            if (*frames == 0) {
                std::unique_lock lock(shared->mutex);
                shared->changed.wait_for(lock, std::chrono::seconds(5),
                                         [&] { return shared->delivered >= kAhead; });
                *ahead = shared->delivered;
            }
            for (qint64 i = 0; i < n; ++i) {
                if (buffer[2 * i] != qint16(*frames + i) || buffer[2 * i + 1] != buffer[2 * i])
                    throw Error(QStringLiteral("frame %1 is out of place").arg(*frames + i));
            }
            *frames += n;
        }
        void finish() override {}
        void commit() override {}
        std::shared_ptr<Shared> shared;
        std::shared_ptr<qint64> ahead, frames;
    };
    const auto shared = std::make_shared<Shared>();
    const auto ahead = std::make_shared<qint64>(0);
    const auto frames = std::make_shared<qint64>(0);
    MediaJob job;
    JobSpies spies(job);
    job.start(std::make_unique<CountingSource>(shared),
              std::make_unique<BusySink>(shared, ahead, frames));
    QVERIFY(spies.finished.wait(15000));
    QVERIFY(spies.failed.isEmpty());
    QCOMPARE_GE(*ahead, kAhead);
    QCOMPARE(*frames, kTotal);
}

// The recorder's Stop: the source ends early and what it delivered is committed, complete.
void TestMediaJobs::stopCommitsWhatWasRead() {
    QTemporaryDir out;
    const auto pipe = std::make_shared<PcmPipe>(kStereo44, 44100);
    MediaJob job;
    JobSpies spies(job);
    QStringList atFinish;
    connect(&job, &MediaJob::finished, this, [&] { atFinish = folderEntries(out.path()); });
    job.start(
        std::make_unique<PipeSource>(pipe),
        std::make_unique<EncodedSink>(out.filePath("take.wav"), EncodedSink::Options{}, kStereo44));
    SineSource capture(kStereo44, 1.0);
    const DecodedAudio captured = readAll(capture);
    QVERIFY(pipe->write(captured.samples.data(), captured.frames()));
    job.stop();
    QVERIFY(spies.finished.wait(5000));
    QCOMPARE(atFinish, QStringList{"take.wav"});
    QVERIFY(decodeFile(out.filePath("take.wav")).samples == captured.samples);
    QVERIFY(spies.progress.at(0).at(0).toInt() == -1); // no length known: every piece counts
}

// A cancel that comes after the file was put in place cannot undo it: the job says so, and its
// finished() still arrives.
void TestMediaJobs::cancelTooLateStillFinishes() {
    QTemporaryDir out;
    MediaJob job;
    JobSpies spies(job);
    job.start(std::make_unique<SineSource>(kStereo44, 0.5), mp3Sink(out.filePath("quick.mp3")));
    for (QDeadlineTimer deadline(10000);
         !QFileInfo::exists(out.filePath("quick.mp3")) && !deadline.hasExpired();)
        QThread::yieldCurrentThread();
    QVERIFY(!job.cancel());
    QVERIFY(spies.finished.count() == 1 || spies.finished.wait(5000));
    QVERIFY(spies.failed.isEmpty());
}

// A source that stops delivering for good, deaf to interrupts, ends the job within the stall
// limit with a message naming it; its output is gone by then, and the job's worker ends though
// the read never returns. A source as slow but showing activity goes on to the end.
void TestMediaJobs::stalledSourceEndsTheJob() {
    QTemporaryDir out;
    MediaJob job;
    JobSpies spies(job);
    bool stalled = false;
    QStringList seen;
    connect(&job, &MediaJob::failed, this, [&] {
        stalled = job.stalled();
        seen << folderEntries(out.path()).join(',');
    });
    auto stuck = std::make_unique<SlowSource>(60000, false);
    const auto reads = stuck->reads;
    MediaJob::Options options;
    options.stallSeconds = 2;
    options.sourceName = QStringLiteral("track 2 of drive 1:0:0 (/dev/sr0)");
    QElapsedTimer clock;
    clock.start();
    job.start(std::move(stuck), std::make_unique<RawSink>(out.filePath("stuck.raw")), options);
    QVERIFY(spies.failed.wait(10000));
    QCOMPARE_LT(clock.elapsed(), 5000);
    QCOMPARE(spies.failed.at(0).at(0).toString(),
             QStringLiteral("Reading track 2 of drive 1:0:0 (/dev/sr0) stopped: nothing came from "
                            "it for 2 seconds"));
    QVERIFY(stalled);
    QCOMPARE(seen, QStringList{QString()});
    QVERIFY(MediaJob::waitForAll(2000));
    QCOMPARE(*reads, 1);

    // Three seconds a read, with a sign of life every 50 ms.
    struct BusySource final : PcmSource {
        PcmFormat format() const override { return kStereo44; }
        qint64 expectedFrames() const override { return 2 * 4096; }
        qint64 read(qint16* buffer, qint64 maxFrames) override {
            if (pieces == 2)
                return 0;
            for (int i = 0; i < 60; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                ++ticks;
            }
            ++pieces;
            const qint64 n = std::min<qint64>(maxFrames, 4096);
            std::fill_n(buffer, n * 2, qint16(0));
            return n;
        }
        quint64 activity() const override { return ticks; }
        int pieces = 0;
        std::atomic<quint64> ticks = 0;
    };
    job.start(std::make_unique<BusySource>(), std::make_unique<RawSink>(out.filePath("busy.raw")),
              options);
    QVERIFY(spies.finished.wait(20000));
    QCOMPARE(spies.failed.count(), 1);
    QCOMPARE(QFileInfo(out.filePath("busy.raw")).size(), 2 * 4096 * 4);
}

// The pipe: a blocking reader gets whole requests, a non-waiting one what is there; the end,
// an interrupt and a writer that gave up each reach the reader.
void TestMediaJobs::pipeStates() {
    PcmPipe pipe(kStereo44, 4096, 1024);
    std::vector<qint16> ramp(10000 * 2);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = qint16(i);
    std::thread writer([&] {
        pipe.write(ramp.data(), 10000);
        pipe.close();
    });
    QTRY_COMPARE(pipe.queuedBytes(), pipe.capacityBytes()); // full: the writer waits
    std::vector<qint16> got(ramp.size() + 100);
    auto* bytes = reinterpret_cast<char*>(got.data());
    const qint64 first = pipe.readAvailable(bytes, 40000);
    QCOMPARE_GE(first, 4096 * 4);
    QCOMPARE(pipe.read(bytes + first, 40000 - first), 40000 - first);
    QCOMPARE(pipe.read(bytes + 40000, 400), 0);
    QVERIFY(pipe.atEnd());
    writer.join();
    got.resize(ramp.size());
    QVERIFY(got == ramp);

    auto stopped = std::make_shared<PcmPipe>(kStereo44, 4096);
    std::thread reader([&] {
        char buffer[64];
        QCOMPARE(stopped->read(buffer, 64), -1);
    });
    stopped->interrupt();
    reader.join();
    QCOMPARE(stopped->failure(), QStringLiteral("the audio stream was stopped"));

    auto broken = std::make_shared<PcmPipe>(kStereo44, 4096);
    std::make_unique<PipeSink>(broken)->write(ramp.data(), 10);
    char buffer[64];
    QCOMPARE(broken->read(buffer, 64), -1); // at once: what was queued is of no use now
    QCOMPARE(broken->failure(), QStringLiteral("the audio stream ended early"));
    QVERIFY(errorOf([&] { PipeSource(broken).read(ramp.data(), 1); }).contains("ended early"));
}

QTEST_GUILESS_MAIN(TestMediaJobs)
#include "test_media_jobs.moc"
