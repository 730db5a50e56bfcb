#pragma once

#include "shell/Bool16.h"

#include <QFrame>
#include <memory>

namespace Ui {
class FrameFileMode;
}
class Form1;
class QPushButton;

// The convert panel: a list of audio files converted one after another to MP3, WMA or WAV.
// Each file goes to one codec; the codec's progress at 100 starts the next checked row.
class FrameFileMode final : public QFrame {
    Q_OBJECT
public:
    FrameFileMode(Form1& form, QWidget* parent = nullptr);
    ~FrameFileMode() override;

    // What entering convert mode does on this panel: MP3 target, ask for the output folder,
    // LAME as the MP3 encoder.
    void enterFileMode();
    // One file is done: uncheck it and go on with the next, or finish the job.
    void fileDone();

    // Target format: MP3, WMA, WAV.
    void Command4_Click();
    void Command5_Click();
    void Command6_Click();
    void Command2_Click();  // add one file
    void Command3_Click();  // add every audio file of a folder
    void Command27_Click(); // choose the output folder
    void Command12_Click(); // convert the first checked row
    void disfilepopup();

    // Mode buttons: record, convert, rip, burn.
    QPushButton* Command7() const;
    QPushButton* Command8() const;
    QPushButton* Command9() const;
    QPushButton* Command10() const;

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

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Target { Mp3, Wma, Wav };
    void selectTarget(Target target);
    void addRow(const QString& path);
    void addFolderFiles(const QString& folder, const QString& pattern);
    QString outputPath(const QString& extension) const;
    void connectHandlers();
    void connectCodecs();
    void showPopup(const QPoint& globalPos);

    Form1& m_form;
    std::unique_ptr<Ui::FrameFileMode> m_ui;
};
