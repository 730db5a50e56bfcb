#pragma once

#include "burn/BurnDialogContext.h"
#include "core/Bool16.h"
#include "panelkit/ModePanel.h"

#include <QString>
#include <memory>

namespace Ui {
class FrameBurn;
}
class AudioBurner;
class CommonDialog;
class FrmBurnMethod;
class FrmSpeedSelect;
class HarnTools;
class MainWindow;
class MessageBox;
class QTimer;
class Skin;
struct SharedState;

// What the burn panel works with: the burning engine, its open dialog, the message box for
// "Burn Complete!", the CD tools for the blank test, the skin of its dialogs, and the main
// window's services and shared state.
struct BurnContext {
    AudioBurner& AudioBurner1;
    CommonDialog& commonDialog;
    MessageBox& messageBox;
    HarnTools& test;
    Skin& skin;
    MainWindow& main;
    SharedState& state;
};

// The burn panel: the recorders and the disc in the selected one, the compilation of files,
// and the burn job followed through the engine's events. All disc work is the engine's; the
// panel sets options, starts or cancels, and shows what the engine reports.
class FrameBurn final : public ModePanel {
    Q_OBJECT
public:
    explicit FrameBurn(BurnContext context, QWidget* parent = nullptr);
    ~FrameBurn() override;

    // What entering burn mode does on this panel, after the main window's common steps.
    void enterBurnMode();

    // Burn Mode Options: "Verify After Burning", "Add Disc Image..." (FrameBurnOptions.cpp).
    QList<QAction*> optionsActions() const override;
    void mnuoptburnmode1_Click();
    void mnuoptburnmode2_Click();
    // The engine's lines for the status (a track padded, a track verified ...), under the
    // progress bars; the last few stay until the next burn starts.
    void showNotice(const QString& text, bool warning);

    // Recorders and the disc (FrameBurnDrive.cpp).
    void FillDriveList();
    void driveCombo_Click();
    void SelectBurnDrive();
    void RefreshDriveInfo();
    void ReadDiscStatus();
    void EnableBurnControls();
    void DisableBurnControls();
    void EjectBtn_Click();
    void RefreshBtn_Click();
    // The blank test of the disc in the drive chosen on the rip panel.
    void Command26_Click();

    // The compilation.
    QString AskMusicFile(const QString& title);
    void AddBtn_Click();
    void DeleteBtn_Click();
    void DeleteAllBtn_Click();
    void ClearCompilation();
    // Empties the compilation and lets the user pick a burn method in the modal dialog.
    void ChooseBurnMethod();
    void BurnMethodBtn_Click();

    // The burn job (FrameBurnJob.cpp).
    void BurnNowBtn_Click();
    void AudioBurner1_Progress(qint16 percent);
    void AudioBurner1_BurnFinished(qint32 status, const QString& text);
    void ResetBurnPanel();
    void SelSpeedBtn_Click();

    // The panel's kept dialogs: made on first use, unloaded when the main window closes.
    FrmBurnMethod& frmBurnMethod();
    FrmSpeedSelect& frmSpeedSelect();
    void unloadDialogs();

private:
    void setBurnControlsEnabled(bool on);
    void showCompilationSize();
    void connectHandlers();
    BurnDialogContext dialogContext();
    void connectOptions();
    // Adds a row for path and the track to the engine (Add, Add Disc Image...).
    void appendToCompilation(const QString& path);

    BurnContext m_context;
    std::unique_ptr<Ui::FrameBurn> m_ui;
    std::unique_ptr<FrmBurnMethod> m_frmBurnMethod;
    std::unique_ptr<FrmSpeedSelect> m_frmSpeedSelect;

    // The text of the last recorder entry built, and the compilation's last file and row.
    QString m_driveEntryText;
    QString m_lastFile;
    qint32 m_lastItem = 0;
    // The burn ended (set by BurnFinished, read by the start path); the spare flag; and the
    // dormant lead-out monitor's state.
    Bool16 m_burnEnded = False16;
    Bool16 m_burnSpare = False16;
    Bool16 m_leadOutSeen = False16;
    // "Timer2", the lead-in/lead-out monitor, 100 ms: made stopped, and nothing starts it; the
    // burn is followed through the engine's events alone.
    QTimer* m_leadOutMonitor = nullptr;
    // The blank test's outcome: the disc is blank, the tools' disc state, and a text kept empty.
    Bool16 m_discBlank = False16;
    qint32 m_blankTestResult = 0;
    QString m_blankTestText;
};
