#pragma once

#include "components/DiscLookup.h"
#include "components/Drives.h"
#include "components/HarnTools.h"
#include "components/Mci.h"
#include "tests/fakes/CallLog.h"

#include <QList>
#include <QMap>

// The CD tools over a scripted list of drives and one scripted disc. Rips write nothing: each
// RipTrackTo... posts the values of progressOnRip to the event loop, as the real rip reports
// from its worker (a new rip, or CancelRip, drops those of the last not yet delivered);
// raiseProgress and raiseFailed emit at once.
class FakeHarnTools final : public HarnTools, public CallRecorder {
    Q_OBJECT
public:
    struct Drive {
        qint32 address = 0;
        QString vendor;
        QString product;
        QString revision;
    };

    explicit FakeHarnTools(CallLog* log = nullptr, QObject* parent = nullptr);

    qint32 DriveCount() override { return read("DriveCount", qint32(drives.size())); }
    qint32 DriveAddress(qint32& index) override;
    qint32 DriveVendor(qint32 address) override {
        return inquiry("DriveVendor", address, &Drive::vendor);
    }
    qint32 DriveProduct(qint32 address) override {
        return inquiry("DriveProduct", address, &Drive::product);
    }
    qint32 DriveRevision(qint32 address) override {
        return inquiry("DriveRevision", address, &Drive::revision);
    }
    QString InquiryText() const override { return read("InquiryText", m_inquiryText); }
    void SelectDrive(qint32 address) override { onDrive("SelectDrive", address); }
    qint32 ReadTrackCount(qint32 address) override;
    void ReadDiscInfo(qint32 address, qint32 track) override;
    qint32 DiscType() const override { return read("DiscType", discType); }
    qint32 TrackCount() const override { return read("TrackCount", trackCount); }
    void EjectDrive(qint32 address) override { onDrive("EjectDrive", address); }
    qint32 DiscState(qint32 address) override;
    void setMp3Bitrate(double v) override { write("setMp3Bitrate", m_mp3Bitrate, v); }
    double Mp3Bitrate() const override { return read("Mp3Bitrate", m_mp3Bitrate); }
    void setMp3Option(qint16 v) override { write("setMp3Option", m_mp3Option, v); }
    qint16 Mp3Option() const override { return read("Mp3Option", m_mp3Option); }
    void RipTrackToWav(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override {
        rip("RipTrackToWav", address, path, track, windowHandle);
    }
    void RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override {
        rip("RipTrackToMp3", address, path, track, windowHandle);
    }
    void RipTrackToWma(qint32 address, const QString& path, qint32 track,
                       qint32 windowHandle) override {
        rip("RipTrackToWma", address, path, track, windowHandle);
    }
    void CancelRip() override;
    void setOverwrite(const OverwriteRule& rule) override {
        write("setOverwrite", overwrite, rule);
    }
    OverwriteRule Overwrite() const override { return read("Overwrite", overwrite); }
    qint32 CurrentSector() const override { return read("CurrentSector", currentSector); }
    qint32 TotalSectors() const override { return read("TotalSectors", totalSectors); }
    void setTrackTitle(const QString& title) override { call("setTrackTitle", title); }
    void setRipLog(bool on) override { write("setRipLog", ripLog, on); }
    bool RipLog() const override { return read("RipLog", ripLog); }
    void EndRipJob() override { call("EndRipJob"); }
    // Not recorded: a plain answer from hiddenSectors.
    qint32 HiddenTrackSectors() const override { return hiddenSectors; }

    void raiseProgress(double percent) { Q_EMIT RipProgress(percent); }
    void raiseNote(const QString& line) { Q_EMIT RipNote(line); }
    void raiseFailed(const QString& message) { Q_EMIT Failed(message); }

    QList<Drive> drives;
    qint32 trackCount = 0; // what ReadTrackCount and TrackCount answer
    qint32 discType = 0;
    qint32 discState = 0;
    qint32 currentSector = 0;
    qint32 totalSectors = 0;
    // When not empty, the rip operations raise Error with this text and start nothing.
    QString ripError;
    // When not empty, ReadTrackCount raises Error with this text, as for an unreadable drive.
    QString readError;
    QList<double> progressOnRip;
    // Paths that exist: a rip to one raises OutputExistsError unless overwrite allows replacing.
    QStringList existing;
    OverwriteRule overwrite;
    qint32 hiddenSectors = 0;
    bool ripLog = true;

private:
    const Drive& drive(qint32 address) const;
    // Records a call on the drive at address; there must be one.
    const Drive& onDrive(const char* member, qint32 address) const {
        call(member, address);
        return drive(address);
    }
    qint32 inquiry(const char* member, qint32 address, QString Drive::*field);
    void rip(const char* member, qint32 address, const QString& path, qint32 track,
             qint32 windowHandle);

    QString m_inquiryText;
    double m_mp3Bitrate = 0;
    qint16 m_mp3Option = 0;
    int m_run = 0;
};

// MCI answering from a table of commands, matched exactly as sent (blanks included); a
// command the table does not hold succeeds with an empty reply. A failing answer leaves the
// reply as it was, as MCI does.
class FakeMci final : public Mci, public CallRecorder {
public:
    struct Answer {
        qint32 code = 0;
        QString reply;
    };

    explicit FakeMci(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Mci"), log) {}

    qint32 mciSendString(const QString& command, QString& reply) override;

    QMap<QString, Answer> answers;
};

// Drive roots from a list: "C:\" (fixed) and "D:\" (a CD drive) unless the test sets others.
class FakeDrives final : public Drives, public CallRecorder {
public:
    explicit FakeDrives(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Drives"), log) {}

    qint32 GetLogicalDriveStrings(QString& buffer) override;
    qint32 GetDriveType(const QString& root) override;

    QStringList roots = {QStringLiteral("C:\\"), QStringLiteral("D:\\")};
    QMap<QString, qint32> types = {{QStringLiteral("C:\\"), Fixed},
                                   {QStringLiteral("D:\\"), CdRom}};
};

// Track-name lookups answered from a script: LookUpTrackNames records the drive and, when
// answer is set, posts LookUpDone with the releases' descriptions (or LookUpFailed with
// failure) to the event loop; ChooseRelease answers with that release's names.
class FakeDiscLookup final : public DiscLookup, public CallRecorder {
    Q_OBJECT
public:
    struct Release {
        QString description;
        QStringList names;
    };

    explicit FakeDiscLookup(CallLog* log = nullptr, QObject* parent = nullptr)
        : DiscLookup(parent), CallRecorder(QStringLiteral("DiscLookup"), log) {}

    void LookUpTrackNames(qint32 address) override;
    QStringList ChooseRelease(qint32 index) override {
        call("ChooseRelease", index);
        return releases.value(index).names;
    }
    void CancelLookUp() override { call("CancelLookUp"); }

    QList<Release> releases;
    QString failure; // when not empty, the lookup fails with it
    bool answer = true;
};
