#pragma once

#include "backends/burn/BurnMethods.h"
#include "backends/burn/BurnRun.h"
#include "backends/burn/DiscLayout.h"
#include "backends/burn/Libburn.h"

#include <memory>

namespace burn {
struct burn_write_opts;
} // namespace burn

namespace burning {

// A burn on a drive through libburn. The constructor builds the disc and the write options
// for the burn method and lets libburn check them against the drive and the disc; the drive
// stays open until the burn is over.
//
// libburn's writer thread reads the tracks from the feeds. A cancel asks libburn to stop
// (burn_drive_cancel) and ends the feeds' reads; the poll waits for the drive to be idle
// before anything is freed. A feed that fails mid-track cancels the burn the same way, and
// its error is the burn's: libburn alone might pad the track and call the burn good.
class LibburnRun final : public BurnRun {
    Q_OBJECT
public:
    // Raises Error with libburn's reasons when the drive or the disc cannot take the burn.
    LibburnRun(std::unique_ptr<LibburnDrive> drive, const QString& recorderName,
               std::vector<PlannedTrack> tracks, const BurnSettings& settings,
               DiscLayout::Mode mode);
    ~LibburnRun() override;

    // What the method led to, as libburn accepted it.
    bool sessionAtOnce() const { return m_sessionAtOnce; }
    const DiscLayout& layout() const { return *m_layout; }
    burn::burn_write_opts* options() const { return m_options.get(); }

protected:
    void beginWriting() override;
    Sample sample() override;
    void stopWriting() override;
    QString finishWriting() override;

private:
    void chooseWriteType();
    void stopAndWait();
    qint64 sectorsBefore(int track) const;

    std::unique_ptr<LibburnDrive> m_drive;
    QString m_recorderName;
    MethodPlan m_plan;
    std::unique_ptr<DiscLayout> m_layout;
    std::unique_ptr<burn::burn_write_opts, void (*)(burn::burn_write_opts*)> m_options;
    bool m_sessionAtOnce = false;
    bool m_writing = false;
    bool m_started = false;
    bool m_stopping = false;
};

} // namespace burning
