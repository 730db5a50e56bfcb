#pragma once

#include <QString>
#include <QVariant>

class FrmBurnMethod;
class FrmSpeedSelect;
class TrackRename;
class QWidget;

// The main window as panels and dialogs see it: its public operations, nothing else. Form1
// implements it; panel tests use a fake.
class MainWindow {
public:
    virtual ~MainWindow() = default;

    // The folder picker: remembers the folder in SharedState::prevFolder and returns it, empty
    // when the user cancels.
    virtual QString SelectFolder(QWidget* owner, const QString& title) = 0;
    virtual qint16 CountCSString(const QVariant& value) const = 0;
    virtual QVariant GetCSString(const QVariant& value, qint16 index) const = 0;

    // Completion of one converted file, called from the codecs' progress at exactly 100.
    virtual void mp3donenowwhat() = 0;
    virtual void wmadonenowwhat() = 0;
    virtual void decdonenowwhat() = 0;

    // melvane.skn in the application folder, for every window that loads the skin.
    virtual QString skinPath() const = 0;

    // The burn panel's drive box and disc box, filled again (the burn-method dialog does).
    virtual void RefreshDriveInfo() = 0;
    virtual void ReadDiscStatus() = 0;
    // The burn panel's kept dialogs: made on first use, unloaded when the window closes.
    virtual FrmBurnMethod& frmBurnMethod() = 0;
    virtual FrmSpeedSelect& frmSpeedSelect() = 0;

    // The rip panel's table of contents, read again from the selected drive.
    virtual void updatecd() = 0;
    // The track-name dialog: made (hidden) on first use or after it was unloaded; unloading
    // drops it, and the next use makes it afresh from the track list.
    virtual TrackRename& frmTrackRename() = 0;
    virtual void unloadTrackRename() = 0;
    // The packed address of the drive chosen on the rip panel; raises Error when none is.
    virtual qint32 ripDriveAddress() const = 0;

protected:
    MainWindow() = default;
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;
};
