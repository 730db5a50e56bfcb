#pragma once

#include "backends/burn/BurnRun.h"
#include "backends/burn/ImageSink.h"

#include <QByteArray>
#include <QFuture>
#include <QFutureWatcher>

#include <atomic>
#include <functional>
#include <memory>

namespace burning {

// A burn on the image recorder: a writer, a task of the blocking pool, reads the program (the
// tracks run on without a gap, each file exactly as long as it decodes) and appends it to the
// .bin;
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
    // What the writer hands back through its future.
    struct Outcome {
        QString error;    // empty when the image is in place (or the test burn went through)
        QString baseName; // the name the sink put it under
    };

    Outcome write() noexcept;

    std::unique_ptr<ImageSink> m_sink;
    QString m_folder;
    std::function<void(const QString&)> m_onWritten;
    QString m_baseName;
    bool m_began = false;
    QFuture<Outcome> m_writing;
    // Looks at the writer the moment it ends, rather than at the next poll.
    QFutureWatcher<Outcome> m_watcher;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_phase{Preparing};
    std::atomic<qint64> m_written{0};
};

} // namespace burning
