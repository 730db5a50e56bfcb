// Where the program's work runs: media jobs and their readers never wait for a thread, however
// many wait on a source at once; work moved off the window comes back with its value or its
// exception while the window's thread goes on handling events.

#include "backends/media/MediaJob.h"
#include "backends/media/OffTheWindow.h"
#include "tests/media/MediaTestSupport.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <condition_variable>

namespace {

constexpr PcmFormat kStereo44{44100, 2};

// Shared by sources that hold their first read until open() (or an interrupt).
struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    int waiting = 0;
    bool opened = false;

    int waitingNow() {
        std::lock_guard lock(mutex);
        return waiting;
    }
    void open() {
        std::lock_guard lock(mutex);
        opened = true;
        changed.notify_all();
    }
};

struct HeldSource final : PcmSource {
    explicit HeldSource(std::shared_ptr<Gate> g) : gate(std::move(g)) {}
    PcmFormat format() const override { return kStereo44; }
    qint64 expectedFrames() const override { return 4096; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        std::unique_lock lock(gate->mutex);
        ++gate->waiting;
        gate->changed.wait(lock, [&] { return gate->opened || interrupted; });
        --gate->waiting;
        const qint64 n = interrupted || done ? 0 : std::min<qint64>(maxFrames, 4096);
        std::fill_n(buffer, n * 2, qint16(0));
        done = true;
        return n;
    }
    void interrupt() override {
        std::lock_guard lock(gate->mutex);
        interrupted = true;
        gate->changed.notify_all();
    }
    std::shared_ptr<Gate> gate;
    bool interrupted = false;
    bool done = false;
};

struct CountingSink final : PcmSink {
    PcmFormat format() const override { return kStereo44; }
    void write(const qint16*, qint64) override {}
    void finish() override {}
    void commit() override {}
};

} // namespace

class TestWorkThreads : public QObject {
    Q_OBJECT
private slots:
    // More jobs wait on their sources than the machine has cores, and more than twice that:
    // each still has a thread (a job's, or with read-ahead its reader's), and one more job
    // runs to its end meanwhile.
    void aWaitingJobHoldsUpNoOther_data() {
        QTest::addColumn<bool>("readAhead");
        QTest::newRow("the job reads") << false;
        QTest::newRow("a reader reads ahead") << true;
    }
    void aWaitingJobHoldsUpNoOther() {
        QFETCH(bool, readAhead);
        MediaJob::Options options;
        options.readAhead = readAhead;
        auto gate = std::make_shared<Gate>();
        const int held = 2 * QThread::idealThreadCount() + 2;
        std::vector<std::unique_ptr<MediaJob>> jobs;
        std::vector<std::unique_ptr<QSignalSpy>> finished;
        for (int i = 0; i < held; ++i) {
            jobs.push_back(std::make_unique<MediaJob>());
            finished.push_back(
                std::make_unique<QSignalSpy>(jobs.back().get(), &MediaJob::finished));
            jobs.back()->start(std::make_unique<HeldSource>(gate), std::make_unique<CountingSink>(),
                               options);
        }
        QTRY_COMPARE_WITH_TIMEOUT(gate->waitingNow(), held, 10000);

        MediaJob free;
        QSignalSpy freeFinished(&free, &MediaJob::finished);
        free.start(std::make_unique<SineSource>(kStereo44, 1.0), std::make_unique<CountingSink>(),
                   options);
        QVERIFY(freeFinished.wait(10000));
        QCOMPARE(gate->waitingNow(), held);

        gate->open();
        for (auto& spy : finished)
            QTRY_COMPARE_WITH_TIMEOUT(spy->count(), 1, 10000);
        QVERIFY(MediaJob::waitForAll(5000));
    }

    // On the window's thread the work runs on another one while events are handled; its value
    // or its exception comes back as it was. Off the window's thread it runs in place.
    void workOffTheWindow() {
        std::mutex mutex;
        std::condition_variable changed;
        bool ticked = false;
        QTimer::singleShot(0, this, [&] {
            std::lock_guard lock(mutex);
            ticked = true;
            changed.notify_all();
        });
        QThread* ranOn = nullptr;
        const int value = offTheWindow([&] {
            ranOn = QThread::currentThread();
            std::unique_lock lock(mutex);
            changed.wait_for(lock, std::chrono::seconds(10), [&] { return ticked; });
            return ticked ? 42 : 0;
        });
        QCOMPARE(value, 42);
        QVERIFY(ranOn != QThread::currentThread());

        QCOMPARE(errorOf([] {
                     offTheWindow([] { throw Error(QStringLiteral("The drive went away")); });
                 }),
                 QStringLiteral("The drive went away"));

        QThread* inner = nullptr;
        QThread* outer = nullptr;
        QThread worker;
        QObject::connect(
            &worker, &QThread::started, &worker,
            [&] {
                outer = QThread::currentThread();
                offTheWindow([&] { inner = QThread::currentThread(); });
                worker.quit();
            },
            Qt::DirectConnection);
        worker.start();
        QVERIFY(worker.wait(10000));
        QVERIFY(outer && outer != QThread::currentThread());
        QCOMPARE(inner, outer);
    }
};

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    TestWorkThreads test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_work_threads.moc"
