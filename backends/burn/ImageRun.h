#pragma once

#include "backends/burn/BurnRun.h"
#include "backends/burn/ImageSink.h"

#include <QByteArray>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace burning {

// A burn on the image recorder: a writer thread of its own reads each track's feed and
// appends its sectors to the .bin; finalising writes the cue sheet and puts both files in
// place. A test burn has no sink and writes nothing. A cancelled or failed burn drops the
// sink, which leaves no file.
class ImageRun final : public BurnRun {
    Q_OBJECT
public:
    // The writer's buffer: what it takes from a feed and hands to the sink at once.
    static constexpr int kBufferSectors = 448;

    // sink is null for a test burn; written runs on the user-interface thread once the image
    // is in place, before the burn ends, with the base name the sink put it under.
    ImageRun(std::unique_ptr<ImageSink> sink, std::vector<PlannedTrack> tracks,
             const BurnSettings& settings,
             std::function<void(const QString& baseName)> written = {});
    ~ImageRun() override;

protected:
    void beginWriting() override;
    Sample sample() override;
    void stopWriting() override;
    QString finishWriting() override;

private:
    enum Phase : int { Preparing, Writing, Closing, Finishing };

    void write() noexcept;
    void writeTrack(size_t index, QByteArray& buffer);

    std::unique_ptr<ImageSink> m_sink;
    std::function<void(const QString&)> m_onWritten;
    QString m_baseName; // set by the writer before m_done, read after the join
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_done{false};
    std::atomic<int> m_track{0};
    std::atomic<int> m_phase{Preparing};
    std::atomic<qint64> m_written{0};
    QString m_error; // set by the writer before m_done, read after the join
};

} // namespace burning
