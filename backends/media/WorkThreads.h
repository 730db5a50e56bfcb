#pragma once

class QThreadPool;

// The program's worker threads: three pools, each task run with QtConcurrent::run and handed
// back through its QFuture (a QFutureWatcher or a queued signal brings it to the object's own
// thread). Which pool a task goes to depends on what it may wait for:
//
// - jobPool(): media jobs, one task for the whole of each job. A job waits: for its source, its
//   sink, and the encoder blocks it gave to computePool(). No small cap, so a job never waits
//   for a thread and a job that waits never holds up another. Shutdown waits for this pool, for
//   a bounded time (MediaJob::waitForAll).
// - blockingPool(): other work that may block for long on a device, a file or another thread:
//   a job's read-ahead reader, the image recorder's writer, a disc read back, a drive grabbed
//   away from the window. No small cap either. Whoever started such a task waits for it (or,
//   for a reader stuck in a read that never returns, deliberately does not), so shutdown does
//   not wait for this pool.
// - computePool(): CPU work that never waits for another task: MP3 blocks and WMA segments of
//   one file on every core, files decoded to measure them. As many threads as cores.
//
// The pools are never destroyed: a task left running at the end of the process must find its
// pool intact, and the process must not wait for it on the way out.
QThreadPool* jobPool();
QThreadPool* blockingPool();
QThreadPool* computePool();
