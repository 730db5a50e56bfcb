#pragma once

#include "core/Bool16.h"
#include "panelkit/ModePanel.h"

#include <QStringList>
#include <memory>
#include <optional>

namespace Ui {
class FrameCDMode;
}
class DiscLookup;
class Drives;
class HarnTools;
class MainWindow;
class Mci;
class MessageBox;
class QTimer;
class ReportList;
class SettingsStore;
class Skin;
class TrackRename;
struct SharedState;

// What the rip panel works with: the CD tools, the media control interface, the drive roots,
// the registry, message boxes, the skin of its track-name dialog, the main window's services and
// shared state, and the track-name lookup.
struct CDContext {
    HarnTools& test;
    Mci& mci;
    Drives& drives;
    SettingsStore& settings;
    MessageBox& messageBox;
    Skin& skin;
    MainWindow& main;
    SharedState& state;
    DiscLookup& lookup;
};

// The rip panel: lists the CD drives and the disc's tracks, plays tracks through the media
// control interface, and rips the checked tracks one after another with the CD tools.
class FrameCDMode final : public ModePanel {
    Q_OBJECT
public:
    explicit FrameCDMode(CDContext context, QWidget* parent = nullptr);
    ~FrameCDMode() override;

    // mnuoptcdmode1..8, then mnuoptcdlookup and mnuoptcdlog; and mnuCDPopUp.
    QList<QAction*> optionsActions() const override;
    QMenu* popUpMenu() const override;
    ReportList& trackList() const;

    // Table of contents (FrameCDMode.cpp). enterRipMode is what entering rip mode does on
    // this panel, after the main window's common steps.
    void enterRipMode();
    QStringList ListCdRomRoots();
    void Combo1_Click();
    void updatecd();
    // The item data of the selected Combo1 entry; raises Error when no drive is selected.
    qint32 selectedDriveAddress() const;
    // The track-name dialog: made (hidden) on first use or after it was unloaded; unloading
    // drops it, and the next use makes it afresh from the track list. unloadTrackRename is
    // the dialog's own way out; closeTrackRename is the main window's, when it closes.
    TrackRename& frmTrackRename();
    void unloadTrackRename();
    void closeTrackRename();

    // Playback (FrameCDModePlay.cpp).
    void CmdPlay_Click();
    void CmdPause_Click();
    void CmdStop_Click();
    void ListView1_DblClick();
    void cmdEject_Click();
    qint32 GetSelectedTrackIndex() const;

    // Ripping (FrameCDModeRip.cpp).
    void Combo2_Click();
    void Combo3_Click();
    void Command16_Click();
    void Command17_Click();
    void Timer1_Timer();
    void test_RipProgress(double percent);
    void test_Failed(const QString& message);
    void mnuoptcdmode1_Click();
    void mnuoptcdmode2_Click();
    void mnuoptcdmode3_Click();
    void mnuoptcdmode4_Click();
    void mnuoptcdmode5_Click();
    void mnuoptcdmode6_Click();
    void mnuoptcdmode7_Click();
    void mnuoptcdmode8_Click();

    // Track names and the rip report (FrameCDModeNames.cpp): "Look Up Track Names" fills the
    // names as the track-name dialog's "Send To Ripper" does; "Write Log And Cue Sheet" says
    // whether rip jobs leave a log and a cue sheet beside their files.
    void mnuoptcdlookup_Click();
    void mnuoptcdlog_Click();
    void lookup_LookUpDone(const QStringList& releases);
    void lookup_LookUpFailed(const QString& message);
    void test_RipNote(const QString& line);
    // The track a row of the track list stands for: its number, or 0 for the "Track00" row of
    // audio hidden before track 1, which comes last.
    qint32 trackOfRow(qint32 row) const;

    // A track is being ripped: closing the window now would lose it.
    bool ripping() const { return m_ripping != False16; }

private:
    enum class Format { Mp3, Wma, Wav };
    void connectHandlers();
    void connectMenus();
    void setCombo2(int index);
    void addStatus(const QString& line);
    // Sends one MCI command, keeping its code as the last result.
    void mci(const QString& command);
    void mci(const QString& command, QString& buffer);
    void releaseDrives();
    // "cd1" at Combo1 position 0, "cd2" at position 1, empty anywhere else.
    QString playAlias() const;
    Format checkedFormat() const;
    void setTrackChecks(bool on);
    // After the disc's rows: "Track00" when sound is hidden before track 1.
    void addHiddenTrackRow(qint32 tracks);
    void endTrack();
    // Eject during a rip: the rip stops, nothing of it is kept, the panel is idle.
    void cancelRip();
    // A rip with no destination asks for one; false when the user cancelled.
    bool ensureDestination();
    // Starts the rip of track n to path; an existing file there is replaced only when the
    // user says so. False when the user skipped the track.
    bool startRip(qint32 n, const QString& path);

    CDContext m_context;
    std::unique_ptr<Ui::FrameCDMode> m_ui;
    std::unique_ptr<TrackRename> m_frmTrackRename;
    // Reply buffers kept between commands: a failed command leaves the last reply in place.
    QString m_trackBuffer;
    QString m_totalBuffer;
    QString m_presentBuffer;
    // The answer "for all files of this job" to the replace question: replace, or skip.
    std::optional<bool> m_replaceAll;
    // The last row is "Track00", the audio hidden before track 1.
    bool m_hiddenTrackRow = false;
    QAction* m_namesSeparator = nullptr;

    // Table of contents: the drive letter of the chosen drive, the track count read when it
    // was chosen, the last MCI result, and each track's length (1-based, index 0 unused).
    QString m_driveLetter;
    qint32 m_driveTrackCount = 0;
    qint32 m_lastMciResult = 0;
    QStringList m_trackLengths;

    // Playback: stopped, paused, playing, and the track a double-click started.
    Bool16 m_stopped = False16;
    Bool16 m_paused = False16;
    Bool16 m_playing = False16;
    qint32 m_playingTrack = 0;

    // The rip job: its tracks and those done; the row being ripped, its number ("00"), length
    // (mm:ss) and seconds; the seconds it has taken and its speed; a track under way; and the
    // file name kept when the format changes.
    qint32 m_jobTracks = 0;
    qint32 m_tracksDone = 0;
    qint32 m_ripRow = 0;
    QString m_ripNumber;
    QString m_ripLength;
    qint32 m_ripSeconds = 0;
    qint16 m_elapsedSeconds = 0;
    double m_averageSpeed = 0;
    Bool16 m_ripping = False16;
    QString m_rememberedFilename;
    // "Timer1": ticks once a second while a track is ripped.
    QTimer* m_ripClock = nullptr;
};
