#include "backends/media/WorkThreads.h"

#include <QThread>
#include <QThreadPool>

namespace {

// Far more than the program ever runs at once (each rip or conversion is one job and one
// reader); the cap only guards against a runaway.
constexpr int kManyThreads = 512;

QThreadPool* makePool(int threads) {
    auto* pool = new QThreadPool;
    pool->setMaxThreadCount(threads);
    return pool;
}

} // namespace

QThreadPool* jobPool() {
    static QThreadPool* pool = makePool(kManyThreads);
    return pool;
}

QThreadPool* blockingPool() {
    static QThreadPool* pool = makePool(kManyThreads);
    return pool;
}

QThreadPool* computePool() {
    static QThreadPool* pool = makePool(QThread::idealThreadCount());
    return pool;
}
