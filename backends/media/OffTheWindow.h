#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

// Runs work that may block for seconds (a drive spinning up, a writer being grabbed) on a
// thread of its own when called on a window's thread, and waits for it there in a local event
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
    std::unique_ptr<QThread> thread(QThread::create([&] {
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
    QEventLoop loop;
    // Queued: the quit arrives inside exec() even when the work ends before it starts.
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit,
                     Qt::QueuedConnection);
    thread->start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    thread->wait();
    if (failure)
        std::rethrow_exception(failure);
    if constexpr (!std::is_void_v<Result>)
        return std::move(*result);
}
