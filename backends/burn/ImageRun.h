#pragma once

#include "backends/burn/BurnRun.h"
#include "backends/burn/ImageSink.h"

#include <QByteArray>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace burning {

// A burn on the image recorder: a writer thread of its own reads the program (the tracks run on
// without a gap, each file exactly as long as it decodes) and appends it to the .bin;
// finalising writes the cue sheet, with the tracks placed as the program turned out, and puts
// both files in place. A test burn has no sink and writes nothing. A cancelled or failed burn
// drops the sink, which leaves no file.
class ImageRun final : public BurnRun {
    Q_OBJECT
public:
    // The writer's buffer: what it takes from the program and hands to the sink at once.
    static constexpr int kBufferSectors = 448;

    // sink is null for a test burn; folder is where it writes; written runs on the
    // user-interface thread once the image is in place, before the burn ends (and before it is
    // verified), with the base name the sink put it under.
    ImageRun(std::unique_ptr<ImageSink> sink, const QString& folder,
             std::vector<PlannedTrack> tracks, const DiscInfo& disc, const BurnSettings& settings,
             std::function<void(const QString& baseName)> written = {});
    ~ImageRun() override;

    QString writeMode() const override;
    // The cue sheet's path once the image is in place.
    QString cuePath() const;

protected:
    Joining joining() const override { return Joining::Continuous; }
    bool plansAhead() const override { return false; }
    void beginWriting() override;
    Sample sample() override;
    void stopWriting() override;
    QString finishWriting() override;
    std::optional<cdio::Drive> readBackDrive() const override;

private:
    enum Phase : int { Preparing, Writing, Finishing };

    void write() noexcept;

    std::unique_ptr<ImageSink> m_sink;
    QString m_folder;
    std::function<void(const QString&)> m_onWritten;
    QString m_baseName; // set by the writer before m_done, read after the join
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_done{false};
    std::atomic<int> m_phase{Preparing};
    std::atomic<qint64> m_written{0};
    QString m_error; // set by the writer before m_done, read after the join
};

} // namespace burning
