#pragma once

#include "shell/Bool16.h"
#include "shell/Form1Components.h"

#include <QMainWindow>
#include <QPointer>
#include <QVariant>
#include <memory>

namespace Ui {
class Form1;
}
class FrameFileMode;
class FrameCDMode;
class FrameBurn;
class FrmMainA;
class VolumeControl;
class QAction;
class QMenu;

// The main window: owns the components and the three working panels, switches between the
// modes and keeps the state the panels share.
class Form1 final : public QMainWindow {
    Q_OBJECT
public:
    explicit Form1(Form1Components components, QWidget* parent = nullptr);
    ~Form1() override;

    // Window creation and close handlers. Form_Load raises when start-up fails.
    void Form_Load();
    void Form_Unload();

    // Mode entry: convert, rip, burn, record; and the buttons and menu items that lead there.
    void Command8_Click();
    void Command9_Click();
    void Command10_Click();
    void Command7_Click();
    void Command13_Click();
    void Command21_Click();
    void Command14_Click();
    void Command20_Click();
    void Command15_Click();
    void Command19_Click();
    void Command11_Click();
    void Command18_Click();
    void mnuoptmode1_Click();
    void mnuoptmode2_Click();
    void mnuoptmode3_Click();
    void mnuoptmode4_Click();

    // Common helpers of the main window.
    QString SelectFolder(QWidget* owner, const QString& title);
    qint16 CountCSString(const QVariant& value) const;
    QVariant GetCSString(const QVariant& value, qint16 index) const;

    // Completion of one converted file, called from the codecs' progress at 100.
    void mp3donenowwhat();
    void wmadonenowwhat();
    void decdonenowwhat();

    Form1Components& components() { return m_components; }
    QString skinPath() const;
    QAction* menuAction(const char* name) const;
    QMenu* menu(const char* name) const;

    FrameFileMode* fileModePanel() const { return m_fileMode; }
    FrameCDMode* cdModePanel() const { return m_cdMode; }
    FrameBurn* burnPanel() const { return m_burn; }
    VolumeControl* volumeControl() const { return VolumeControl1; }
    FrmMainA* recorderWindow() const;

    // Mode flags: set on every mode entry, never read back by the program.
    Bool16 burnModeFlag = False16;
    Bool16 nonBurnModeFlag = False16;
    Bool16 spareModeFlag = False16;
    // Owned by the rip side: tracks renamed in the track-name dialog, and a new rip job.
    Bool16 renamedTracks = False16;
    Bool16 newJob = False16;

    QString prevFolder;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    enum class Panel { FileMode, CDMode, Burn };
    void showPanel(Panel panel);
    void checkModeMenu(QAction* checked);
    void connectHandlers();

    std::unique_ptr<Ui::Form1> m_ui;
    Form1Components m_components;
    std::unique_ptr<FolderBrowse> folderBrowser;
    std::unique_ptr<FilgraphManager> filterGraph;
    FrameFileMode* m_fileMode = nullptr;
    FrameCDMode* m_cdMode = nullptr;
    FrameBurn* m_burn = nullptr;
    VolumeControl* VolumeControl1 = nullptr;
    QPointer<FrmMainA> m_recorder;
    bool m_unloaded = false;
};
