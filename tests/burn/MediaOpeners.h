#pragma once

// The media core's tracks as test_burn_media changes them: read slowly, or one that stops
// delivering.

#include "backends/burn/MediaTracks.h"
#include "backends/media/PcmSource.h"

#include <condition_variable>
#include <mutex>

namespace burning {

// The media core's tracks, as a test opener changes them.
class ForwardingOpener : public TrackOpener {
public:
    TrackInfo probe(const QString& path) override { return m_real.probe(path); }
    qint64 measure(const QString& path, const std::atomic<bool>& stop) override {
        return m_real.measure(path, stop);
    }

protected:
    MediaTrackOpener m_real;
};

// The media core's tracks, read by a writer slower than the decoder: every read waits first
// (interruptibly), so the feed's pipe fills and a burn lasts long enough to be caught mid-way.
class SlowOpener final : public ForwardingOpener {
public:
    std::unique_ptr<TrackFeed> open(const QString& path) override {
        return std::make_unique<SlowFeed>(m_real.open(path));
    }

private:
    class SlowFeed final : public TrackFeed {
    public:
        explicit SlowFeed(std::unique_ptr<TrackFeed> inner) : m_inner(std::move(inner)) {}
        void start() override { m_inner->start(); }
        qint64 read(char* buffer, qint64 bytes) override {
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait_for(lock, std::chrono::milliseconds(40), [this] { return m_cancel; });
            }
            return m_inner->read(buffer, bytes);
        }
        void cancel() override {
            {
                std::lock_guard lock(m_mutex);
                m_cancel = true;
            }
            m_wake.notify_all();
            m_inner->cancel();
        }
        int fill() const override { return m_inner->fill(); }

    private:
        std::unique_ptr<TrackFeed> m_inner;
        std::mutex m_mutex;
        std::condition_variable m_wake;
        bool m_cancel = false;
    };
};

// A source that delivers nothing until let go (as a file on a network share that stopped
// answering), deaf to interrupts.
struct Gate {
    std::mutex mutex;
    std::condition_variable opened;
    bool open = false;
    void letGo() {
        {
            std::lock_guard lock(mutex);
            open = true;
        }
        opened.notify_all();
    }
};
class BlockedSource final : public PcmSource {
public:
    explicit BlockedSource(std::shared_ptr<Gate> gate) : m_gate(std::move(gate)) {}
    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    qint64 expectedFrames() const override { return 44100; }
    qint64 read(qint16*, qint64) override {
        std::unique_lock lock(m_gate->mutex);
        m_gate->opened.wait(lock, [this] { return m_gate->open; });
        return 0;
    }

private:
    std::shared_ptr<Gate> m_gate;
};

// The media core's tracks, except one whose file stops delivering at once.
class StallingOpener final : public ForwardingOpener {
public:
    StallingOpener(QString stalled, std::shared_ptr<Gate> gate)
        : m_stalled(std::move(stalled)), m_gate(std::move(gate)) {}
    std::unique_ptr<TrackFeed> open(const QString& path) override {
        if (path != m_stalled)
            return m_real.open(path);
        return openFeed([gate = m_gate] { return std::make_unique<BlockedSource>(gate); }, path, 2);
    }

private:
    QString m_stalled;
    std::shared_ptr<Gate> m_gate;
};

} // namespace burning
