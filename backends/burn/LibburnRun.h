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
// for the burn method and lets libburn check them against the drive and the disc (with the
// tracks' estimated lengths); the disc is built again for the writing once every length is
// exact. The drive stays open until the burn is over.
//
// Session at once writes the tracks as one stream, without gaps; track at once writes each
// track on its own, and the drive puts a 2-second pause before each one after the first.
// libburn writes CD-Text, and the gaps of a disc image, only session at once: a burn track at
// once says so in its notices.
//
// libburn's writer thread reads the tracks from the program. A cancel asks libburn to stop
// (burn_drive_cancel) and ends the feeds' reads; the poll waits for the drive to be idle
// before anything is freed. A feed that fails mid-track cancels the burn the same way, and
// its error is the burn's: libburn alone might pad the track and call the burn good. A
// failure the recorder reports is told in plain words; libburn's own text (the SCSI sense and
// command) goes to recorderMessages(), for the burn log.
class LibburnRun final : public BurnRun {
    Q_OBJECT
public:
    // Raises Error with libburn's reasons when the drive or the disc cannot take the burn.
    LibburnRun(std::unique_ptr<LibburnDrive> drive, const QString& recorderName,
               std::vector<PlannedTrack> tracks, const DiscInfo& disc, const BurnSettings& settings,
               DiscLayout::Mode mode);
    ~LibburnRun() override;

    // What the method led to, as libburn accepted it.
    bool sessionAtOnce() const { return m_sessionAtOnce; }
    const DiscLayout& layout() const { return *m_layout; }
    burn::burn_write_opts* options() const { return m_options.get(); }

    QString writeMode() const override;
    QStringList recorderMessages() const override { return m_messages; }

protected:
    Joining joining() const override {
        return m_sessionAtOnce ? Joining::Continuous : Joining::Separate;
    }
    bool plansAhead() const override { return true; }
    int sectorBytes() const override;
    void lengthsKnown() override;
    void beginWriting() override;
    Sample sample() override;
    void stopWriting() override;
    QString finishWriting() override;
    std::optional<cdio::Drive> readBackDrive() const override;

private:
    void chooseWriteType();
    void checkRoom();
    void noteWhatTheRecorderChanges();
    void stopAndWait();

    std::unique_ptr<LibburnDrive> m_drive;
    QByteArray m_address;
    QString m_recorderName;
    DiscLayout::Mode m_mode;
    MethodPlan m_plan;
    std::unique_ptr<DiscLayout> m_layout;
    std::unique_ptr<burn::burn_write_opts, void (*)(burn::burn_write_opts*)> m_options;
    std::vector<TrackPlace> m_places;
    QStringList m_messages;
    bool m_sessionAtOnce = false;
    bool m_writing = false;
    bool m_started = false;
    bool m_stopping = false;
};

// The plain words for a burn libburn reports as failed, from its messages, which carry the
// drive's SCSI sense as "[key ASC ASCQ]".
QString burnFailureText(const QString& recorderName, const QString& libburnMessages);

} // namespace burning
