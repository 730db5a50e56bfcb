#pragma once

#include "backends/cdio/DriveTable.h"
#include "components/HarnTools.h"

#include <atomic>
#include <memory>

namespace cdio {

// HarnTools' drive, inquiry, table-of-contents, disc-kind, eject and blank-test operations on
// libcdio, over the shared drive table. The rip operations and EndRipJob are left to the class
// that adds ripping; CurrentSector and TotalSectors report what it sets with setSectors, and
// the rip properties (title, log) are kept here for it.
// User-interface thread only, except setSectors.
class DriveTools : public HarnTools {
public:
    explicit DriveTools(std::shared_ptr<DriveTable> drives, QObject* parent = nullptr);

    qint32 DriveCount() override;
    qint32 DriveAddress(qint32& index) override;
    qint32 DriveVendor(qint32 address) override;
    qint32 DriveProduct(qint32 address) override;
    qint32 DriveRevision(qint32 address) override;
    QString InquiryText() const override { return m_inquiryText; }

    void SelectDrive(qint32 address) override;
    qint32 ReadTrackCount(qint32 address) override;
    void ReadDiscInfo(qint32 address, qint32 track) override;
    qint32 DiscType() const override { return m_discType; }
    qint32 TrackCount() const override { return m_trackCount; }
    void EjectDrive(qint32 address) override;
    qint32 DiscState(qint32 address) override;

    void setMp3Bitrate(double bitsPerSecond) override { m_mp3Bitrate = bitsPerSecond; }
    double Mp3Bitrate() const override { return m_mp3Bitrate; }
    void setMp3Option(qint16 value) override { m_mp3Option = value; }
    qint16 Mp3Option() const override { return m_mp3Option; }
    void setOverwrite(const OverwriteRule& rule) override { m_overwrite = rule; }
    OverwriteRule Overwrite() const override { return m_overwrite; }
    void setTrackTitle(const QString& title) override { m_trackTitle = title; }
    void setRipLog(bool on) override { m_ripLog = on; }
    bool RipLog() const override { return m_ripLog; }

    qint32 CurrentSector() const override { return m_currentSector; }
    qint32 TotalSectors() const override { return m_totalSectors; }
    qint32 HiddenTrackSectors() const override { return m_hiddenSectors; }

protected:
    const DriveTable& drives() const { return *m_drives; }
    const QString& trackTitle() const { return m_trackTitle; }
    // Any thread: what CurrentSector and TotalSectors report.
    void setSectors(qint32 current, qint32 total);

private:
    qint32 inquiry(qint32 address, QString Drive::*field);

    std::shared_ptr<DriveTable> m_drives;
    QString m_inquiryText;
    qint32 m_trackCount = 0;
    qint32 m_hiddenSectors = 0;
    QString m_hiddenDisc; // the disc m_hiddenSectors was read from: device and lead-out
    qint32 m_discType = 0;
    double m_mp3Bitrate = 128000.0;
    qint16 m_mp3Option = 0;
    OverwriteRule m_overwrite;
    QString m_trackTitle;
    bool m_ripLog = true;
    std::atomic<qint32> m_currentSector = 0;
    std::atomic<qint32> m_totalSectors = 0;
};

} // namespace cdio
