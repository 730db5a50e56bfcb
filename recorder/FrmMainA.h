#pragma once

#include "core/RecorderSettings.h"
#include "recorder/FrmOptions.h"

#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <memory>

namespace Ui {
class FrmMainA;
}
class CommonDialog;
class MainWindow;
class MessageBox;
class Player;
class QTimer;
class Record;
class SettingsStore;
class Skin;
class SoundCard;
struct SharedState;

// What the recorder window works with: its recorder, player and mixer, the save dialog, the
// message box, the settings store it reads, and the main window's skin and shared state.
struct RecorderContext {
    Record& record;
    Player& player;
    SoundCard& soundCard;
    CommonDialog& saveDialog;
    MessageBox& messageBox;
    SettingsStore& store;
    Skin& skin;
    MainWindow& main;
    SharedState& state;
};

// The sound recorder: a separate top-level window, opened from record mode. It records to MP3
// or WAVE, plays the last recording back and shows the time (with a mark beside it while paused).
// Every button works in every state; the components decide what a call means. Only the options
// entry is locked while recording. Recording onto an existing file asks first, and each load
// offers the recordings that a crash or a power cut interrupted.
class FrmMainA final : public QMainWindow {
    Q_OBJECT
public:
    explicit FrmMainA(RecorderContext context);
    ~FrmMainA() override;

    // Loads the window when it is not loaded (after creation, and again after each close), then
    // shows it and offers any interrupted recordings. Raises when loading fails; the window then
    // stays hidden.
    void open();

    // Load and unload. Unloading stops playback and the recording (the file is kept) and closes
    // the options dialog.
    void Form_Load();
    void Form_Unload();

    void CmdRecord_Click();
    void CmdPause_Click();
    void CmdStop_Click();
    void CmdPlay_Click();
    void Command1_Click(); // reset the time display
    void CmdDest_Click();  // choose the output file
    void mnuNew_Click();
    void mnuOptions_Click();
    void mnuExit_Click();
    void TimerProgress_Timer();
    void Record_RecordingStopped();
    void Player_PlaybackFinished();
    // The recorder's listings fill the options dialog.
    void Record_DeviceListed(const QString& name, const QString& id);
    void Record_FormatListed(qint32 index, const QString& name);
    void Record_BitrateListed(const QString& text);

    // The recorder's settings as loaded and as the options dialog last saved them.
    const RecorderSettings& settings() const { return m_settings; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void connectHandlers();
    // At each load: the recordings a crash or a power cut interrupted, offered one by one.
    void offerInterruptedRecordings();
    // Asks before a recording replaces an existing file; true to go on.
    bool mayReplace(const QString& file);
    // The paused mark beside the time: a paused recording or a paused playback.
    void showPaused();

    RecorderContext m_context;
    std::unique_ptr<Ui::FrmMainA> m_ui;
    RecorderSettings m_settings;
    // The capture devices' ids, one per entry of the options dialog's device list.
    QStringList m_deviceIds;
    // "TimerProgress": refreshes the time display every 200 ms.
    QTimer* m_progressTimer = nullptr;
    QPointer<FrmOptions> m_options;
    bool m_loaded = false;
    QString m_confirmedFile; // chosen in the save dialog, which asked about replacing it
};
