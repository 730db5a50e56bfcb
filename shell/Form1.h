#pragma once

#include "panelkit/MainWindow.h"
#include "panelkit/ModePanel.h"
#include "panelkit/SharedState.h"
#include "shell/Form1Components.h"

#include <QMainWindow>
#include <QPointer>
#include <array>
#include <memory>

namespace Ui {
class Form1;
}
class FrameFileMode;
class FrameCDMode;
class FrameBurn;
class FrmBurnMethod;
class FrmSpeedSelect;
class FrmMainA;
class TrackRename;
class VolumeControl;
class VolumeMixer;

// The main window: owns the components, the shared state and the three working panels,
// merges the panels' menu entries into its menus and switches between the modes.
class Form1 final : public QMainWindow, public MainWindow {
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

    // MainWindow
    QString SelectFolder(QWidget* owner, const QString& title) override;
    QString skinPath() const override;
    qint32 ripDriveAddress() const override;

    // The panels' operations under their own names: the list helpers, a converted file's
    // completion, the burn panel's drive and disc boxes, the rip panel's table of contents.
    qint16 CountCSString(const QVariant& value) const;
    QVariant GetCSString(const QVariant& value, qint16 index) const;
    void mp3donenowwhat();
    void wmadonenowwhat();
    void decdonenowwhat();
    void RefreshDriveInfo();
    void ReadDiscStatus();
    void updatecd();

    // The members the panels and dialogs share.
    SharedState& state() { return m_state; }
    // The recorder window, a window of its own: null until record mode is first entered.
    FrmMainA* recorderWindow() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    using Handler = void (Form1::*)();
    // The steps every mode entry shares: the panel on show, the volume control, the mode flags
    // and the ticks of the Mode menu.
    void enterMode(Mode mode);
    // Connects a panel's mode requests to its buttons' handlers, in the order of Mode.
    void connectModeRequests(ModePanel* panel, const std::array<Handler, 4>& handlers);
    void mergePanelMenus();
    void connectHandlers();
    // What to ask before closing while a burn, a rip or a conversion runs; empty when idle.
    QString closeQuestion() const;

    std::unique_ptr<Ui::Form1> m_ui;
    Form1Components m_components;
    SharedState m_state;
    std::unique_ptr<FolderBrowse> m_folderBrowser;
    std::unique_ptr<FilgraphManager> m_filterGraph;
    std::unique_ptr<VolumeMixer> m_volumeMixer; // the volume control's mixer module
    FrameFileMode* m_fileMode = nullptr;
    FrameCDMode* m_cdMode = nullptr;
    FrameBurn* m_burn = nullptr;
    VolumeControl* m_volumeControl = nullptr; // "VolumeControl1"
    QPointer<FrmMainA> m_recorder;
    bool m_unloaded = false;
};
