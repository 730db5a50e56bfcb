#pragma once

#include "backends/media/WorkThreads.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QThread>
#include <QtConcurrent/QtConcurrentRun>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

// Runs work that may block for seconds (a drive spinning up, a writer being grabbed) as a task of
// the blocking pool when called on a window's thread, and waits for it there in a local event
// loop that repaints but holds back the user's input: the window never freezes, and no handler
// can start while the one that called is halfway through. Called from any other thread, or in a
// program without windows, the work runs in place. Exceptions reach the caller as they were.
template <class Work> auto offTheWindow(Work&& work) -> std::invoke_result_t<Work&> {
    using Result = std::invoke_result_t<Work&>;
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || !app->inherits("QGuiApplication") || QThread::currentThread() != app->thread())
        return work();
    std::exception_ptr failure;
    std::optional<std::conditional_t<std::is_void_v<Result>, bool, Result>> result;
    QFutureWatcher<void> watcher;
    QEventLoop loop;
    // Queued: the quit arrives inside exec() even when the work ends before it starts.
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit,
                     Qt::QueuedConnection);
    // Kept out of the future: QtConcurrent would wrap it, and the caller wants it as it was.
    watcher.setFuture(QtConcurrent::run(blockingPool(), [&] {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                result = true;
            } else {
                result.emplace(work());
            }
        } catch (...) {
            failure = std::current_exception();
        }
    }));
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    watcher.waitForFinished();
    if (failure)
        std::rethrow_exception(failure);
    if constexpr (!std::is_void_v<Result>)
        return std::move(*result);
}
