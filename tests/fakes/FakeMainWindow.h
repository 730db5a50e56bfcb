#pragma once

#include "shell/common/MainWindow.h"
#include "tests/fakes/CallLog.h"

#include <QStringList>
#include <functional>

struct SharedState;

// The main window as a panel sees it. SelectFolder answers from folders in order (an empty
// answer or none left is a cancel) and, when the test gave it state, remembers the answer in
// its prevFolder as Form1 does (a cancel empties it); the completion methods do what the test wires
// into onCompletion, as Form1 hands them to the convert panel.
class FakeMainWindow final : public MainWindow, public CallRecorder {
public:
    explicit FakeMainWindow(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("MainWindow"), log) {}

    QString SelectFolder(QWidget* owner, const QString& title) override;
    qint16 CountCSString(const QVariant& value) const override;
    QVariant GetCSString(const QVariant& value, qint16 index) const override;
    void mp3donenowwhat() override { complete(QStringLiteral("mp3donenowwhat")); }
    void wmadonenowwhat() override { complete(QStringLiteral("wmadonenowwhat")); }
    void decdonenowwhat() override { complete(QStringLiteral("decdonenowwhat")); }
    QString skinPath() const override { return skin; }
    // Recorded, then passed on to what the test wires in, as Form1 passes them to the panel.
    void RefreshDriveInfo() override {
        forward(QStringLiteral("RefreshDriveInfo"), onRefreshDriveInfo);
    }
    void ReadDiscStatus() override { forward(QStringLiteral("ReadDiscStatus"), onReadDiscStatus); }
    // The kept dialogs come from the test (not recorded); raises Error when it gave none.
    FrmBurnMethod& frmBurnMethod() override;
    FrmSpeedSelect& frmSpeedSelect() override;
    // The rip side, recorded and passed on as the burn operations are. The track-name dialog
    // comes from the test (not recorded); ripDriveAddress raises Error when it gave none.
    void updatecd() override { forward(QStringLiteral("updatecd"), onUpdatecd); }
    TrackRename& frmTrackRename() override;
    void unloadTrackRename() override {
        forward(QStringLiteral("unloadTrackRename"), onUnloadTrackRename);
    }
    qint32 ripDriveAddress() const override;

    QStringList folders;
    SharedState* state = nullptr;
    std::function<void()> onCompletion;
    std::function<void()> onRefreshDriveInfo;
    std::function<void()> onReadDiscStatus;
    std::function<FrmBurnMethod&()> burnMethodDialog;
    std::function<FrmSpeedSelect&()> speedDialog;
    std::function<void()> onUpdatecd;
    std::function<TrackRename&()> trackRenameDialog;
    std::function<void()> onUnloadTrackRename;
    std::function<qint32()> ripDrive;
    QString skin = QStringLiteral("/opt/melvane/melvane.skn");

private:
    void complete(const QString& member);
    void forward(const QString& member, const std::function<void()>& to);
};
