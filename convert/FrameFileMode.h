#pragma once

#include "convert/ConvertRules.h"
#include "shell/common/Bool16.h"
#include "shell/common/ModePanel.h"

#include <memory>

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
class WAEnc;
class WaDec;
struct SharedState;

// What the convert panel works with: its codecs, the media information, its open dialog, and
// the main window's operations and shared state.
struct ConvertContext {
    MEnc& mEnc;
    MDec& mDec;
    WAEnc& waEnc;
    WaDec& waDec;
    HarnMediaUtils& x;
    CommonDialog& comd;
    MainWindow& main;
    SharedState& state;
};

// The convert panel: a list of audio files converted one after another to MP3, WMA or WAV.
// Each file goes to one codec; the codec's progress at 100 starts the next checked row.
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
    // One file is done: uncheck it and go on with the next, or finish the job.
    void fileDone();
    // A codec is working on a file of the list.
    bool converting() const { return m_converting; }

    // Target format: MP3, WMA, WAV.
    void Command4_Click();
    void Command5_Click();
    void Command6_Click();
    void Command2_Click();  // add one file
    void Command3_Click();  // add every audio file of a folder
    void Command27_Click(); // choose the output folder
    void Command12_Click(); // convert the first checked row
    void disfilepopup();

    // The file player: the main window's graph, from start-up to shutdown (null otherwise).
    void setFilterGraph(FilgraphManager* graph);
    // A double-click on a row plays its file.
    void LV_DblClick();
    PlayerStrip* playerStrip() const;

    Bool16 mp3Target = False16;
    Bool16 wmaTarget = False16;
    Bool16 wavTarget = False16;
    QString outputFolder;
    qint32 convertIndex = 0;
    qint32 currentRow = 0;
    qint32 rowCount = 0;
    QString currentName;
    QString currentInput;
    QString currentOutput;

private:
    enum class Target { Mp3, Wma, Wav };
    void selectTarget(Target target);
    // Adds a row for path. A dialog's file passes over every error on the way and gets a row
    // anyway; a folder's file lets errors end the handler.
    void addRow(const QString& path, ConvertRules::FileType type, bool passOverErrors);
    QString outputPath(const QString& extension) const;
    void connectHandlers();
    void connectCodecs();

    ConvertContext m_context;
    std::unique_ptr<Ui::FrameFileMode> m_ui;
    bool m_converting = false;
};
