#include "convert/FrameFileMode.h"

#include "components/CommonDialog.h"
#include "components/Error.h"
#include "components/HarnMediaUtils.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/MessageBox.h"
#include "components/WAEnc.h"
#include "components/WaDec.h"
#include "convert/PlayerStrip.h"
#include "core/CommonHelpers.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "ui_FrameFileMode.h"

#include <QDir>
#include <QHeaderView>

using ConvertRules::FileType;
using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {

const QStringList kMp3Bitrates = {"320", "288", "256", "224", "192", "160",
                                  "128", "96",  "80",  "64",  "48",  "32"};
const QStringList kWmaBitrates = {"320", "256", "192", "160", "128", "96", "80", "64", "48", "32"};

// m:ss, or h:mm:ss from an hour on.
QString clockText(qint64 seconds) {
    const auto twoDigits = [](qint64 n) {
        return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
    };
    if (seconds < 3600)
        return QStringLiteral("%1:%2").arg(seconds / 60).arg(twoDigits(seconds % 60));
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(twoDigits(seconds / 60 % 60), twoDigits(seconds % 60));
}

} // namespace

FrameFileMode::FrameFileMode(ConvertContext context, QWidget* parent)
    : ModePanel(parent), m_context(context), m_ui(std::make_unique<Ui::FrameFileMode>()) {
    m_ui->setupUi(this);
    m_ui->LV->setColumnHeaders({QStringLiteral("File"), QStringLiteral("Type"),
                                QStringLiteral("Duration"), QStringLiteral("Size")});
    m_ui->LV->setCheckBoxes(true);
    m_ui->LV->setCheckNewRows(true);
    // The path takes the room; long paths keep their file name visible.
    m_ui->LV->header()->setStretchLastSection(false);
    m_ui->LV->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int column = 1; column <= 3; ++column)
        m_ui->LV->header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    m_ui->LV->setTextElideMode(Qt::ElideMiddle);
    connectModeButtons(m_ui->Command8, m_ui->Command9, m_ui->Command10, m_ui->Command7);
    connectHandlers();
    connectCodecs();
}

FrameFileMode::~FrameFileMode() = default;

QList<QAction*> FrameFileMode::optionsActions() const {
    return {m_ui->mnuoptfilemode1, m_ui->mnuoptfilemode2, m_ui->mnuoptfilemode3};
}

QMenu* FrameFileMode::popUpMenu() const {
    return m_ui->mnuPopUp;
}

void FrameFileMode::connectHandlers() {
    const struct {
        QPushButton* button;
        QAction* menuItem;
        QAction* popupItem;
        void (FrameFileMode::*method)();
    } targets[] = {
        {m_ui->Command4, m_ui->mnuoptfilemode1, m_ui->popfilemode01,
         &FrameFileMode::Command4_Click},
        {m_ui->Command5, m_ui->mnuoptfilemode2, m_ui->popfilemode02,
         &FrameFileMode::Command5_Click},
        {m_ui->Command6, m_ui->mnuoptfilemode3, m_ui->popfilemode03,
         &FrameFileMode::Command6_Click},
    };
    for (const auto& t : targets) {
        connect(t.button, &QPushButton::clicked, this, handler(this, t.method));
        connect(t.menuItem, &QAction::triggered, this, handler(this, t.method));
        connect(t.popupItem, &QAction::triggered, this, handler(this, t.method));
    }
    connect(m_ui->Command2, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command2_Click));
    connect(m_ui->Command3, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command3_Click));
    connect(m_ui->Command27, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command27_Click));
    connect(m_ui->Command12, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command12_Click));
    connect(m_ui->LV, &ReportList::RightButtonUp, this, &ModePanel::popUpRequested);
    connect(m_ui->LV, &ReportList::DblClick, this, handler(this, &FrameFileMode::LV_DblClick));
    // Play with nothing opened plays the selected row, or the first.
    connect(m_ui->playerStrip, &PlayerStrip::fileWanted, this, guarded([this] {
                if (m_ui->LV->Count() == 0)
                    throw Error(QStringLiteral("There is nothing to play: add files to the list, "
                                               "then double-click one to play it."));
                const qint32 row = m_ui->LV->SelectedIndex();
                m_ui->playerStrip->play(m_ui->LV->Text(row == 0 ? 1 : row));
            }));
}

void FrameFileMode::setFilterGraph(FilgraphManager* graph) {
    m_ui->playerStrip->setFilterGraph(graph);
}

PlayerStrip* FrameFileMode::playerStrip() const {
    return m_ui->playerStrip;
}

void FrameFileMode::LV_DblClick() {
    const qint32 row = m_ui->LV->SelectedIndex();
    if (row != 0)
        m_ui->playerStrip->play(m_ui->LV->Text(row));
}

void FrameFileMode::connectCodecs() {
    // Each codec shows its advance on the bar; exactly 100 finishes the file.
    connect(&m_context.mEnc, &MEnc::Progress, this, guarded([this](qint32 percent) {
        showProgress(percent);
        if (percent == 100)
            fileDone();
    }));
    connect(&m_context.waEnc, &WAEnc::Progress, this, guarded([this](double percent) {
        showProgress(percent);
        if (percent == 100.0)
            fileDone();
    }));
    connect(&m_context.mDec, &MDec::Progress, this, guarded([this](qint32 percent) {
        showProgress(percent);
        if (percent == 100)
            fileDone();
    }));
    connect(&m_context.waDec, &WaDec::Progress, this, guarded([this](double percent) {
        showProgress(percent);
        if (percent == 100.0)
            fileDone();
    }));
    // A file that fails on the way sends no 100: the job stops there and the user is told why.
    connect(&m_context.mEnc, &MEnc::Failed, this, &FrameFileMode::fileFailed);
    connect(&m_context.waEnc, &WAEnc::Failed, this, &FrameFileMode::fileFailed);
    connect(&m_context.mDec, &MDec::Failed, this, &FrameFileMode::fileFailed);
    connect(&m_context.waDec, &WaDec::Failed, this, &FrameFileMode::fileFailed);
}

// The bar, and under it the file with the time it has left, estimated from its pace so far.
void FrameFileMode::showProgress(double percent) {
    m_ui->prog->setValue(percent);
    if (!m_running || m_currentFile.isEmpty())
        return;
    QString line = QStringLiteral("Converting %1").arg(m_currentFile);
    const qint64 elapsed = m_fileClock.elapsed();
    if (percent >= 1.0 && percent < 100.0 && elapsed >= 1000) {
        const auto left = qint64(double(elapsed) * (100.0 - percent) / percent / 1000.0 + 0.5);
        line += QStringLiteral(": %1 left").arg(clockText(left));
    }
    m_ui->convertStatus->setText(line);
}

void FrameFileMode::fileFailed(const QString& message) {
    endJob();
    ErrorBoundary::report(message);
}

// The job is over, done or not: the bar and the line go back to rest, the answers go.
void FrameFileMode::endJob() {
    m_running = false;
    m_orphaned = false;
    m_replaceAll.reset();
    m_currentFile.clear();
    m_ui->prog->setValue(0);
    m_ui->convertStatus->clear();
}

void FrameFileMode::enterFileMode() {
    Command4_Click();
    Command27_Click();
    m_context.mEnc.setEncoderSwitch(0);
}

void FrameFileMode::Command4_Click() {
    selectTarget(Target::Mp3);
}
void FrameFileMode::Command5_Click() {
    selectTarget(Target::Wma);
}
void FrameFileMode::Command6_Click() {
    selectTarget(Target::Wav);
}

void FrameFileMode::selectTarget(Target target) {
    static const char* const names[] = {"MP3", "WMA", "WAV"};
    const int chosen = static_cast<int>(target);
    m_ui->SkinLabel10->setText(QLatin1String(names[chosen]));
    m_mp3Target = target == Target::Mp3 ? True16 : False16;
    m_wmaTarget = target == Target::Wma ? True16 : False16;
    m_wavTarget = target == Target::Wav ? True16 : False16;

    QPushButton* buttons[] = {m_ui->Command4, m_ui->Command5, m_ui->Command6};
    QAction* menuItems[] = {m_ui->mnuoptfilemode1, m_ui->mnuoptfilemode2, m_ui->mnuoptfilemode3};
    QAction* popupItems[] = {m_ui->popfilemode01, m_ui->popfilemode02, m_ui->popfilemode03};
    for (int i = 0; i < 3; ++i) {
        buttons[i]->setEnabled(i == chosen);
        menuItems[i]->setChecked(i == chosen);
        popupItems[i]->setChecked(i == chosen);
    }

    m_ui->LV->Clear();
    // A file already with a codec runs on; its completion finds the list gone.
    m_orphaned = m_running;
    if (target == Target::Wav) {
        m_ui->Combo5->setEnabled(false);
    } else {
        m_ui->Combo5->setEnabled(true);
        m_ui->Combo5->clear();
        m_ui->Combo5->addItems(target == Target::Mp3 ? kMp3Bitrates : kWmaBitrates);
        m_ui->Combo5->setCurrentIndex(0);
    }
    disfilepopup();
}

// The pop-up offers the targets that are not chosen yet.
void FrameFileMode::disfilepopup() {
    m_ui->popfilemode01->setEnabled(m_mp3Target == False16);
    m_ui->popfilemode02->setEnabled(m_wmaTarget == False16);
    m_ui->popfilemode03->setEnabled(m_wavTarget == False16);
}

void FrameFileMode::Command2_Click() {
    CommonDialog& comd = m_context.comd;
    comd.setFilter(m_mp3Target != False16 || m_wmaTarget != False16 ? kWaveFilesFilter
                                                                    : kCompressedFilesFilter);
    comd.ShowOpen();
    const QString path = comd.FileName();
    if (path.isEmpty())
        return;
    addRow(path, ConvertRules::typeOf(path), true);
}

void FrameFileMode::addRow(const QString& path, FileType type, bool passOverErrors) {
    const auto statement = [passOverErrors](auto&& run) {
        if (!passOverErrors)
            return run();
        try {
            run();
        } catch (const Error&) {
        }
    };
    HarnMediaUtils& x = m_context.x;
    float duration = 0;
    float size = 0;
    if (type != FileType::Unknown) {
        const ConvertRules::InfoOperations ops = ConvertRules::infoOperations(type);
        statement([&] { (x.*ops.read)(path); });
        statement([&] { duration = (x.*ops.duration)(); });
        statement([&] { size = (x.*ops.sizeMB)(); });
    }
    ReportList& lv = *m_ui->LV;
    const qint32 row = lv.Add(path);
    lv.setSubItem(row, 1, ConvertRules::typeText(type));
    // A file of no known type keeps its duration and size empty.
    if (type == FileType::Unknown)
        return;
    statement([&] { lv.setSubItem(row, 2, ConvertSeconds(duration, true, true, true)); });
    lv.setSubItem(row, 3, ConvertRules::sizeText(size));
}

void FrameFileMode::Command3_Click() {
    const QString folder =
        m_context.main.SelectFolder(this, QStringLiteral("Select Folder To Open:"));
    if (folder.isEmpty())
        return;
    const QDir dir(folder);
    if (!dir.exists())
        throw Error(QStringLiteral("Cannot open the folder %1: it does not exist.").arg(folder));
    // One pattern after the other; the pattern, which matches regardless of case as the file
    // systems the lists come from do, gives the type.
    const std::pair<const char*, FileType> patterns[] = {
        {"*.wma", FileType::Wma}, {"*.mp3", FileType::Mp3}, {"*.wav", FileType::Wav}};
    for (const auto& [pattern, type] : patterns) {
        const QStringList names =
            dir.entryList({QLatin1String(pattern)}, QDir::Files | QDir::Readable, QDir::Name);
        for (const QString& name : names)
            addRow(folder + QLatin1Char('/') + name, type, false);
    }
}

void FrameFileMode::Command27_Click() {
    const QString folder =
        m_context.main.SelectFolder(this, QStringLiteral("Select Folder To Save To:"));
    if (folder.isEmpty())
        return;
    m_outputFolder = folder;
    m_ui->Text5->setText(folder);
}

QString FrameFileMode::outputPath(const QString& extension) const {
    return m_ui->Text5->text() + QLatin1Char('/') +
           ConvertRules::outputName(m_currentName, extension);
}

qint32 FrameFileMode::firstCheckedRow() const {
    const ReportList& lv = *m_ui->LV;
    for (qint32 row = 1; row <= lv.Count(); ++row)
        if (lv.Checked(row))
            return row;
    return 0;
}

void FrameFileMode::Command12_Click() {
    ReportList& lv = *m_ui->LV;
    for (m_convertIndex = 1; m_convertIndex <= lv.Count(); ++m_convertIndex) {
        if (lv.Checked(m_convertIndex))
            break;
    }
    m_currentRow = m_convertIndex;
    if (m_currentRow > lv.Count()) {
        endJob();
        throw Error(QStringLiteral("There is nothing to convert: add files and check them"));
    }
    m_currentName = ConvertRules::cutName(ConvertRules::fileNameOf(lv.Text(m_currentRow)));
    // Without a folder the outputs would land in the root folder.
    if (m_ui->Text5->text().trimmed().isEmpty()) {
        endJob();
        throw Error(QStringLiteral("Choose an output folder first"));
    }
    m_rowCount = lv.Count();
    // The line names the file from the start, also while the user is asked about its output.
    m_currentFile = ConvertRules::fileNameOf(lv.Text(m_currentRow));
    m_ui->prog->setValue(0);
    m_ui->convertStatus->setText(QStringLiteral("Converting %1").arg(m_currentFile));
    try {
        bool started = false;
        try {
            started = startCurrentRow(m_replaceAll.value_or(false));
        } catch (const OutputExistsError& e) {
            if (!mayReplace(e.path())) {
                skipCurrentRow();
                return;
            }
            started = startCurrentRow(true);
        }
        if (!started) {
            endJob();
            return;
        }
    } catch (...) {
        // A file refused at its start ends the job as a failure later would.
        endJob();
        throw;
    }
    m_running = true;
    m_orphaned = false;
    m_fileClock.start();
}

bool FrameFileMode::startCurrentRow(bool replace) {
    ReportList& lv = *m_ui->LV;
    // No file of the list is ever written over, whatever the user allows.
    OverwriteRule rule{replace, {}};
    for (qint32 row = 1; row <= lv.Count(); ++row)
        rule.sources << lv.Text(row);
    const double bitrate = m_ui->Combo5->currentText().toDouble() * 1000.0;
    if (m_mp3Target != False16) {
        MEnc& mEnc = m_context.mEnc;
        mEnc.setBitrate(bitrate);
        lv.setSelected(m_currentRow, true);
        mEnc.setInputFile(lv.Text(m_currentRow));
        mEnc.setOutputFile(outputPath(QStringLiteral("mp3")));
        mEnc.setOverwrite(rule);
        mEnc.Encode();
        return true;
    }
    if (m_wmaTarget != False16) {
        m_context.waEnc.setBitrate(bitrate);
        lv.setSelected(m_currentRow, true);
        m_currentInput = lv.Text(m_currentRow);
        m_context.waEnc.setOverwrite(rule);
        m_context.waEnc.Encode(m_currentInput, outputPath(QStringLiteral("wma")));
        return true;
    }
    lv.setSelected(m_currentRow, true);
    m_currentInput = lv.Text(m_currentRow);
    m_currentOutput = outputPath(QStringLiteral("wav"));
    // The decoder is chosen by the ending; any other file starts none.
    const FileType type = ConvertRules::typeOf(m_currentInput);
    if (type == FileType::Wma) {
        m_context.waDec.setInputFile(m_currentInput);
        m_context.waDec.setOutputFile(m_currentOutput);
        m_context.waDec.setOverwrite(rule);
        m_context.waDec.Decode();
        return true;
    }
    if (type == FileType::Mp3) {
        m_context.mDec.setInputFile(m_currentInput);
        m_context.mDec.setOutputFile(m_currentOutput);
        m_context.mDec.setOverwrite(rule);
        m_context.mDec.Decode();
        return true;
    }
    return false;
}

bool FrameFileMode::mayReplace(const QString& output) {
    if (m_replaceAll)
        return *m_replaceAll;
    const MessageBox::ReplaceAnswer answer = m_context.messageBox.AskReplace(
        QStringLiteral("%1 exists already.\n\nReplace it with the file converted from %2, or "
                       "skip this file?")
            .arg(output, m_ui->LV->Text(m_currentRow)));
    if (answer.forAll)
        m_replaceAll = answer.replace;
    return answer.replace;
}

void FrameFileMode::skipCurrentRow() {
    m_ui->LV->setChecked(m_currentRow, false);
    if (firstCheckedRow() != 0)
        Command12_Click();
    else
        fileDone();
}

void FrameFileMode::fileDone() {
    ReportList& lv = *m_ui->LV;
    // The target changed while the file ran: the list it belonged to is gone.
    if (m_orphaned) {
        endJob();
        return;
    }
    if (m_convertIndex >= 1 && m_convertIndex <= lv.Count())
        lv.setChecked(m_convertIndex, false);
    // The next checked row, if any is left; the search runs no further than the list.
    if (m_currentRow != m_rowCount && firstCheckedRow() != 0) {
        Command12_Click();
        return;
    }
    for (qint32 row = 1; row <= lv.Count(); ++row)
        lv.setSelected(row, true);
    endJob();
}
