#pragma once

#include <QString>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

// The one hand-over between threads of the media core: a first-in first-out queue with room for
// a fixed number of items, so a fast producer waits for a slow consumer instead of filling the
// memory. Used between a job's reading and writing threads, and by PcmPipe between a job and a
// consumer on another thread (a burner's read callback, an audio device).
//
// Besides items it carries the state of the stream: ended (close(): the consumer drains what is
// queued, then sees Ended), failed (fail(): the consumer sees Failed at once, with the reason),
// or interrupted (interrupt(): both sides give up at once, for a cancel). Every method is
// thread-safe; none throws except on allocation failure.
template <class T> class BoundedQueue {
public:
    enum class Status { Item, Empty, Ended, Failed, Interrupted };

    explicit BoundedQueue(size_t capacity) : m_capacity(capacity < 1 ? 1 : capacity) {}
    BoundedQueue(const BoundedQueue&) = delete;
    BoundedQueue& operator=(const BoundedQueue&) = delete;

    // Producer: waits while the queue is full. False when the item was not taken because the
    // queue was interrupted, failed or closed.
    bool push(T item) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_items.size() < m_capacity || !isOpen(); });
        return append(item, lock);
    }
    // Producer: never waits; false when the queue is full or no longer open.
    bool tryPush(T& item) {
        std::unique_lock lock(m_mutex);
        return m_items.size() < m_capacity && append(item, lock);
    }

    // Producer: the end of the stream.
    void close() { finish(m_ended); }
    // Producer: the stream broke; the consumer learns why at once.
    void fail(const QString& reason) {
        {
            std::lock_guard lock(m_mutex);
            if (m_failure.isEmpty())
                m_failure = reason;
        }
        finish(m_failed);
    }

    // Consumer: waits for an item, or for the stream to end, fail or be interrupted.
    Status pop(T& item) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_items.empty() || !isOpen(); });
        return take(item, lock);
    }
    // Consumer: as pop(), but waits at most `wait`; Empty when nothing came in that time.
    template <class Duration> Status popWithin(T& item, Duration wait) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, wait, [&] { return !m_items.empty() || !isOpen(); });
        return take(item, lock);
    }
    // Consumer: never waits; Empty when no item is there yet.
    Status tryPop(T& item) {
        std::unique_lock lock(m_mutex);
        return take(item, lock);
    }

    // Either side: both sides stop at once; waiting calls return.
    void interrupt() { finish(m_interrupted); }

    // Called after an item arrives or the stream's state changes, from the producer's thread
    // and outside the queue's lock; it must only post (e.g. a queued signal to a reader that
    // found the queue empty). Clear it before the object it posts to goes away.
    void setWakeUp(std::function<void()> wakeUp) {
        std::lock_guard lock(m_wakeMutex);
        m_wakeUp = std::move(wakeUp);
    }

    size_t size() const {
        std::lock_guard lock(m_mutex);
        return m_items.size();
    }
    size_t capacity() const { return m_capacity; }
    QString failure() const {
        std::lock_guard lock(m_mutex);
        return m_failure;
    }

private:
    bool isOpen() const { return !m_ended && !m_failed && !m_interrupted; }

    bool append(T& item, std::unique_lock<std::mutex>& lock) {
        if (!isOpen())
            return false;
        m_items.push_back(std::move(item));
        lock.unlock();
        m_changed.notify_all();
        wake();
        return true;
    }

    Status take(T& item, std::unique_lock<std::mutex>& lock) {
        if (m_interrupted)
            return Status::Interrupted;
        if (m_failed)
            return Status::Failed;
        if (m_items.empty())
            return m_ended ? Status::Ended : Status::Empty;
        item = std::move(m_items.front());
        m_items.pop_front();
        lock.unlock();
        m_changed.notify_all();
        return Status::Item;
    }

    void finish(bool& flag) {
        {
            std::lock_guard lock(m_mutex);
            flag = true;
        }
        m_changed.notify_all();
        wake();
    }

    void wake() {
        std::lock_guard lock(m_wakeMutex);
        if (m_wakeUp)
            m_wakeUp();
    }

    const size_t m_capacity;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<T> m_items;
    bool m_ended = false;
    bool m_failed = false;
    bool m_interrupted = false;
    QString m_failure;
    std::mutex m_wakeMutex;
    std::function<void()> m_wakeUp;
};
