#pragma once

#include "core/Bool16.h"
#include "core/ConvertRules.h"
#include "panelkit/ModePanel.h"

#include <QElapsedTimer>
#include <memory>
#include <optional>

namespace Ui {
class FrameFileMode;
}
class CommonDialog;
class FilgraphManager;
class PlayerStrip;
class HarnMediaUtils;
class MDec;
class MEnc;
class MainWindow;
class MessageBox;
class WAEnc;
class WaDec;
struct SharedState;

// What the convert panel works with: its codecs, the media information, its open dialog, the
// message boxes (the replace question), and the main window's operations and shared state.
struct ConvertContext {
    MEnc& mEnc;
    MDec& mDec;
    WAEnc& waEnc;
    WaDec& waDec;
    HarnMediaUtils& x;
    CommonDialog& comd;
    MessageBox& messageBox;
    MainWindow& main;
    SharedState& state;
};

// The convert panel: a list of audio files converted one after another to MP3, WMA or WAV.
// Each file goes to one codec; the codec's progress at 100 starts the next checked row. An
// output that exists already is replaced only when the user says so (Replace or Skip, for one
// file or for the rest of the job); a file of the list is never written over. Under the bar a
// line names the file being converted and the time it has left.
class FrameFileMode final : public ModePanel {
    Q_OBJECT
public:
    FrameFileMode(ConvertContext context, QWidget* parent = nullptr);
    ~FrameFileMode() override;

    // mnuoptfilemode1..3, and mnuPopUp with popfilemode01..03.
    QList<QAction*> optionsActions() const override;
    QMenu* popUpMenu() const override;

    // What entering convert mode does on this panel: MP3 target, ask for the output folder,
    // LAME as the MP3 encoder.
    void enterFileMode();
    // One file is done: uncheck it and go on with the next, or finish the job. A completion
    // that finds the list emptied (the target changed meanwhile) ends the job quietly.
    void fileDone();
    // A codec is working on a file of the list.
    bool converting() const { return m_running; }

    // Target format: MP3, WMA, WAV.
    void Command4_Click();
    void Command5_Click();
    void Command6_Click();
    void Command2_Click();  // add one file
    void Command3_Click();  // add every audio file of a folder
    void Command27_Click(); // choose the output folder
    void Command12_Click(); // convert the first checked row; nothing checked says so
    void disfilepopup();

    // The file player: the main window's graph, from start-up to shutdown (null otherwise).
    void setFilterGraph(FilgraphManager* graph);
    // A double-click on a row plays its file.
    void LV_DblClick();
    PlayerStrip* playerStrip() const;

private:
    enum class Target { Mp3, Wma, Wav };
    void selectTarget(Target target);
    // Adds a row for path. A dialog's file passes over every error on the way and gets a row
    // anyway; a folder's file lets errors end the handler.
    void addRow(const QString& path, ConvertRules::FileType type, bool passOverErrors);
    QString outputPath(const QString& extension) const;
    void connectHandlers();
    void connectCodecs();
    // Hands the current row to its codec under the overwrite rule; false when the wave target
    // has no decoder for its ending.
    bool startCurrentRow(bool replace);
    // The user's answer for an output that exists: true to replace it.
    bool mayReplace(const QString& output);
    // The file was left out: on to the next checked row, or the job's end.
    void skipCurrentRow();
    qint32 firstCheckedRow() const;
    void showProgress(double percent);
    void fileFailed(const QString& message);
    void endJob();

    ConvertContext m_context;
    std::unique_ptr<Ui::FrameFileMode> m_ui;
    bool m_running = false;           // a file is with a codec
    bool m_orphaned = false;          // ... and the list it came from was emptied
    std::optional<bool> m_replaceAll; // "for all files of this job": replace, or skip
    QString m_currentFile;            // the name the progress line shows
    QElapsedTimer m_fileClock;

    // The target chosen (exactly one is set once the mode was entered), the output folder the
    // user picked last, and the job: the row searched for, the row being converted, the rows
    // the job started with, and the file's name, input and output.
    Bool16 m_mp3Target = False16;
    Bool16 m_wmaTarget = False16;
    Bool16 m_wavTarget = False16;
    QString m_outputFolder;
    qint32 m_convertIndex = 0;
    qint32 m_currentRow = 0;
    qint32 m_rowCount = 0;
    QString m_currentName;
    QString m_currentInput;
    QString m_currentOutput;
};
