#include "convert/FrameFileMode.h"

#include "components/Error.h"
#include "shell/CommonHelpers.h"
#include "shell/ErrorBoundary.h"
#include "shell/Form1.h"
#include "ui_FrameFileMode.h"

#include <QDir>
#include <QHeaderView>
#include <QMenu>
#include <QMouseEvent>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {

const QStringList kMp3Bitrates = {"320", "288", "256", "224", "192", "160",
                                  "128", "96",  "80",  "64",  "48",  "32"};
const QStringList kWmaBitrates = {"320", "256", "192", "160", "128", "96", "80", "64", "48", "32"};

// File types are told by the last three characters of the path, compared exactly.
QString lastThree(const QString& path) {
    return path.right(3);
}

// Runs one statement of a handler whose errors are to be passed over.
template <class Statement> void resumeNext(Statement statement) {
    try {
        statement();
    } catch (const Error&) {
    }
}

} // namespace

FrameFileMode::FrameFileMode(Form1& form, QWidget* parent)
    : QFrame(parent), m_form(form), m_ui(std::make_unique<Ui::FrameFileMode>()) {
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
    connectHandlers();
    connectCodecs();
}

FrameFileMode::~FrameFileMode() = default;

QPushButton* FrameFileMode::Command7() const {
    return m_ui->Command7;
}
QPushButton* FrameFileMode::Command8() const {
    return m_ui->Command8;
}
QPushButton* FrameFileMode::Command9() const {
    return m_ui->Command9;
}
QPushButton* FrameFileMode::Command10() const {
    return m_ui->Command10;
}

void FrameFileMode::connectHandlers() {
    const struct {
        QPushButton* button;
        const char* menuItem;
        const char* popupItem;
        void (FrameFileMode::*method)();
    } targets[] = {
        {m_ui->Command4, "mnuoptfilemode1", "popfilemode01", &FrameFileMode::Command4_Click},
        {m_ui->Command5, "mnuoptfilemode2", "popfilemode02", &FrameFileMode::Command5_Click},
        {m_ui->Command6, "mnuoptfilemode3", "popfilemode03", &FrameFileMode::Command6_Click},
    };
    for (const auto& t : targets) {
        connect(t.button, &QPushButton::clicked, this, handler(this, t.method));
        connect(m_form.menuAction(t.menuItem), &QAction::triggered, this, handler(this, t.method));
        connect(m_form.menuAction(t.popupItem), &QAction::triggered, this, handler(this, t.method));
    }
    connect(m_ui->Command2, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command2_Click));
    connect(m_form.menuAction("mnufile00"), &QAction::triggered, this,
            handler(this, &FrameFileMode::Command2_Click));
    connect(m_ui->Command3, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command3_Click));
    connect(m_ui->Command27, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command27_Click));
    connect(m_ui->Command12, &QPushButton::clicked, this,
            handler(this, &FrameFileMode::Command12_Click));
    connect(m_ui->LV, &ReportList::RightButtonUp, this, &FrameFileMode::showPopup);
}

void FrameFileMode::connectCodecs() {
    Form1Components& c = m_form.components();
    // Each codec shows its advance on the bar; exactly 100 finishes the file.
    connect(c.mEnc.get(), &MEnc::Progress, this, guarded([this](qint32 percent) {
                m_ui->prog->setValue(percent);
                if (percent == 100)
                    m_form.mp3donenowwhat();
            }));
    connect(c.waEnc.get(), &WAEnc::Progress, this, guarded([this](double percent) {
                m_ui->prog->setValue(percent);
                if (percent == 100.0)
                    m_form.wmadonenowwhat();
            }));
    connect(c.mDec.get(), &MDec::Progress, this, guarded([this](qint32 percent) {
                m_ui->prog->setValue(percent);
                if (percent == 100)
                    m_form.decdonenowwhat();
            }));
    connect(c.waDec.get(), &WaDec::Progress, this, guarded([this](double percent) {
                m_ui->prog->setValue(percent);
                if (percent == 100.0)
                    m_form.decdonenowwhat();
            }));
    // A file that fails on the way sends no 100: the job stops there and the user is told why.
    connect(c.mEnc.get(), &MEnc::Failed, this, &ErrorBoundary::report);
    connect(c.waEnc.get(), &WAEnc::Failed, this, &ErrorBoundary::report);
    connect(c.mDec.get(), &MDec::Failed, this, &ErrorBoundary::report);
    connect(c.waDec.get(), &WaDec::Failed, this, &ErrorBoundary::report);
}

void FrameFileMode::enterFileMode() {
    Command4_Click();
    Command27_Click();
    m_form.components().mEnc->setEncoderSwitch(0);
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
    mp3Target = target == Target::Mp3 ? True16 : False16;
    wmaTarget = target == Target::Wma ? True16 : False16;
    wavTarget = target == Target::Wav ? True16 : False16;

    QPushButton* buttons[] = {m_ui->Command4, m_ui->Command5, m_ui->Command6};
    const char* menuItems[] = {"mnuoptfilemode1", "mnuoptfilemode2", "mnuoptfilemode3"};
    const char* popupItems[] = {"popfilemode01", "popfilemode02", "popfilemode03"};
    for (int i = 0; i < 3; ++i) {
        buttons[i]->setEnabled(i == chosen);
        m_form.menuAction(menuItems[i])->setChecked(i == chosen);
        m_form.menuAction(popupItems[i])->setChecked(i == chosen);
    }

    m_ui->LV->Clear();
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
    m_form.menuAction("popfilemode01")->setEnabled(mp3Target == False16);
    m_form.menuAction("popfilemode02")->setEnabled(wmaTarget == False16);
    m_form.menuAction("popfilemode03")->setEnabled(wavTarget == False16);
}

void FrameFileMode::Command2_Click() {
    CommonDialog& comd = *m_form.components().comd;
    comd.setFilter(mp3Target != False16 || wmaTarget != False16 ? kWaveFilesFilter
                                                                : kCompressedFilesFilter);
    comd.ShowOpen();
    const QString path = comd.FileName();
    if (path.isEmpty())
        return;
    addRow(path);
}

// Adds one row; a file whose information cannot be read still gets its row, so every
// statement here passes over errors.
void FrameFileMode::addRow(const QString& path) {
    HarnMediaUtils& x = *m_form.components().x;
    QString type;
    float duration = 0;
    float size = 0;
    bool known = true;
    const QString ending = lastThree(path);
    if (ending == QLatin1String("wma")) {
        type = QStringLiteral("WMA");
        resumeNext([&] { x.ReadWmaInfo(path); });
        resumeNext([&] { duration = x.WmaDuration(); });
        resumeNext([&] { size = x.WmaSizeMB(); });
    } else if (ending == QLatin1String("mp3")) {
        type = QStringLiteral("MP3");
        resumeNext([&] { x.ReadMp3Info(path); });
        resumeNext([&] { duration = x.Mp3Duration(); });
        resumeNext([&] { size = x.Mp3SizeMB(); });
    } else if (ending == QLatin1String("wav")) {
        type = QStringLiteral("WAV");
        resumeNext([&] { x.ReadWavInfo(path); });
        resumeNext([&] { duration = x.WavDuration(); });
        resumeNext([&] { size = x.WavSizeMB(); });
    } else {
        known = false;
    }
    ReportList& lv = *m_ui->LV;
    const qint32 row = lv.Add(path);
    lv.setSubItem(row, 1, type);
    if (!known)
        return;
    resumeNext([&] { lv.setSubItem(row, 2, ConvertSeconds(duration, true, true, true)); });
    lv.setSubItem(row, 3, QString::number(double(size), 'f', 2) + QStringLiteral(" mb"));
}

void FrameFileMode::Command3_Click() {
    const QString folder = m_form.SelectFolder(this, QStringLiteral("Select Folder To Open:"));
    if (folder.isEmpty())
        return;
    for (const char* pattern : {"*.wma", "*.mp3", "*.wav"})
        addFolderFiles(folder, QLatin1String(pattern));
}

void FrameFileMode::addFolderFiles(const QString& folder, const QString& pattern) {
    HarnMediaUtils& x = *m_form.components().x;
    const QDir dir(folder);
    if (!dir.exists())
        throw Error(QStringLiteral("Cannot open the folder %1: it does not exist.").arg(folder));
    // Patterns match regardless of case, as the file systems the lists come from do.
    const QStringList names = dir.entryList({pattern}, QDir::Files | QDir::Readable, QDir::Name);
    for (const QString& name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        float duration = 0;
        float size = 0;
        QString type;
        if (pattern == QLatin1String("*.wma")) {
            type = QStringLiteral("WMA");
            x.ReadWmaInfo(path);
            duration = x.WmaDuration();
            size = x.WmaSizeMB();
        } else if (pattern == QLatin1String("*.mp3")) {
            type = QStringLiteral("MP3");
            x.ReadMp3Info(path);
            duration = x.Mp3Duration();
            size = x.Mp3SizeMB();
        } else {
            type = QStringLiteral("WAV");
            x.ReadWavInfo(path);
            duration = x.WavDuration();
            size = x.WavSizeMB();
        }
        ReportList& lv = *m_ui->LV;
        const qint32 row = lv.Add(path);
        lv.setSubItem(row, 1, type);
        lv.setSubItem(row, 2, ConvertSeconds(duration, true, true, true));
        lv.setSubItem(row, 3, QString::number(double(size), 'f', 2) + QStringLiteral(" mb"));
    }
}

void FrameFileMode::Command27_Click() {
    const QString folder = m_form.SelectFolder(this, QStringLiteral("Select Folder To Save To:"));
    if (folder.isEmpty())
        return;
    outputFolder = folder;
    m_ui->Text5->setText(folder);
}

// The output keeps the source's base name and its dot; only the three-letter ending changes.
QString FrameFileMode::outputPath(const QString& extension) const {
    return m_ui->Text5->text() + QLatin1Char('/') + currentName.left(currentName.size() - 3) +
           extension;
}

void FrameFileMode::Command12_Click() {
    ReportList& lv = *m_ui->LV;
    for (convertIndex = 1; convertIndex <= lv.Count(); ++convertIndex) {
        if (lv.Checked(convertIndex))
            break;
    }
    currentRow = convertIndex;
    // With nothing checked this asks for a row past the end and the list raises its index error.
    const QString text = lv.Text(currentRow);
    currentName = text.mid(text.lastIndexOf(QLatin1Char('/')) + 1, 50);

    Form1Components& c = m_form.components();
    const double bitrate = m_ui->Combo5->currentText().toDouble() * 1000.0;
    if (mp3Target != False16) {
        c.mEnc->setBitrate(bitrate);
        rowCount = lv.Count();
        if (rowCount == 0)
            return;
        lv.setSelected(currentRow, true);
        c.mEnc->setInputFile(lv.Text(currentRow));
        c.mEnc->setOutputFile(outputPath(QStringLiteral("mp3")));
        c.mEnc->Encode();
    } else if (wmaTarget != False16) {
        c.waEnc->setBitrate(bitrate);
        rowCount = lv.Count();
        if (rowCount == 0)
            return;
        lv.setSelected(currentRow, true);
        currentInput = lv.Text(currentRow);
        c.waEnc->Encode(currentInput, outputPath(QStringLiteral("wma")));
    } else if (wavTarget != False16) {
        rowCount = lv.Count();
        if (rowCount == 0)
            return;
        lv.setSelected(currentRow, true);
        currentInput = lv.Text(currentRow);
        currentOutput = outputPath(QStringLiteral("wav"));
        const QString ending = lastThree(currentInput);
        if (ending == QLatin1String("wma")) {
            c.waDec->setInputFile(currentInput);
            c.waDec->setOutputFile(currentOutput);
            c.waDec->Decode();
        } else if (ending == QLatin1String("mp3")) {
            c.mDec->setInputFile(currentInput);
            c.mDec->setOutputFile(currentOutput);
            c.mDec->Decode();
        }
    }
}

void FrameFileMode::fileDone() {
    ReportList& lv = *m_ui->LV;
    lv.setChecked(convertIndex, false);
    if (currentRow != rowCount) {
        Command12_Click();
        return;
    }
    for (qint32 row = 1; row <= lv.Count(); ++row)
        lv.setSelected(row, true);
    m_ui->prog->setValue(0);
}

void FrameFileMode::showPopup(const QPoint& globalPos) {
    m_form.menu("mnuPopUp")->popup(globalPos);
}

void FrameFileMode::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton)
        showPopup(event->globalPosition().toPoint());
    QFrame::mouseReleaseEvent(event);
}
