#include "burn/FrameBurn.h"

#include "burn/FrmBurnMethod.h"
#include "burn/FrmSpeedSelect.h"
#include "components/AudioBurner.h"
#include "components/Checked.h"
#include "components/CommonDialog.h"
#include "components/Error.h"
#include "core/CommonHelpers.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameBurn.h"

#include <QHeaderView>
#include <QTimer>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {
// The colour the burn panel gives its check boxes' captions on entering burn mode.
constexpr QRgb kCheckBoxColour = 0xE3E3E3;
} // namespace

FrameBurn::FrameBurn(BurnContext context, QWidget* parent)
    : ModePanel(parent), m_context(context), m_ui(std::make_unique<Ui::FrameBurn>()) {
    m_ui->setupUi(this);
    connectModeButtons(m_ui->Command21, m_ui->Command20, m_ui->Command19, m_ui->Command18);
    ReportList& list = *m_ui->ListView2;
    list.setColumnHeaders({QStringLiteral("No"), QStringLiteral("File Path")});
    list.setFont(QFont(QStringLiteral("Arial")));
    list.setSelectionMode(QAbstractItemView::SingleSelection);
    list.header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    list.setTextElideMode(Qt::ElideMiddle);
    m_leadOutMonitor = new QTimer(this);
    m_leadOutMonitor->setObjectName(QStringLiteral("Timer2"));
    m_leadOutMonitor->setInterval(100);
    connectHandlers();
}

FrameBurn::~FrameBurn() = default;

FrmBurnMethod& FrameBurn::frmBurnMethod() {
    if (!m_frmBurnMethod)
        m_frmBurnMethod = std::make_unique<FrmBurnMethod>(dialogContext(), window());
    return *m_frmBurnMethod;
}

FrmSpeedSelect& FrameBurn::frmSpeedSelect() {
    if (!m_frmSpeedSelect)
        m_frmSpeedSelect = std::make_unique<FrmSpeedSelect>(dialogContext(), window());
    return *m_frmSpeedSelect;
}

void FrameBurn::unloadDialogs() {
    m_frmBurnMethod.reset();
    m_frmSpeedSelect.reset();
}

BurnDialogContext FrameBurn::dialogContext() {
    return {m_context.AudioBurner1, m_context.skin, m_context.main, m_context.state, *this};
}

void FrameBurn::connectHandlers() {
    const std::pair<QPushButton*, void (FrameBurn::*)()> buttons[] = {
        {m_ui->EjectBtn, &FrameBurn::EjectBtn_Click},
        {m_ui->RefreshBtn, &FrameBurn::RefreshBtn_Click},
        {m_ui->AddBtn, &FrameBurn::AddBtn_Click},
        {m_ui->DeleteBtn, &FrameBurn::DeleteBtn_Click},
        {m_ui->DeleteAllBtn, &FrameBurn::DeleteAllBtn_Click},
        {m_ui->BurnMethodBtn, &FrameBurn::BurnMethodBtn_Click},
        {m_ui->BurnNowBtn, &FrameBurn::BurnNowBtn_Click},
        {m_ui->SelSpeedBtn, &FrameBurn::SelSpeedBtn_Click},
        {m_ui->Command26, &FrameBurn::Command26_Click},
    };
    for (const auto& [button, method] : buttons)
        connect(button, &QPushButton::clicked, this, handler(this, method));
    // A pick by the user; the list's own selection in FillDriveList calls the handler itself.
    connect(m_ui->driveCombo, &QComboBox::activated, this,
            handler(this, &FrameBurn::driveCombo_Click));

    AudioBurner& engine = m_context.AudioBurner1;
    connect(&engine, &AudioBurner::Progress, this,
            guarded([this](qint16 percent) { AudioBurner1_Progress(percent); }));
    connect(&engine, &AudioBurner::BurnFinished, this,
            guarded([this](qint32 status, const QString& text) {
                AudioBurner1_BurnFinished(status, text);
            }));
    // A burn that fails on the way is reported, then ends with BurnFinished like any other.
    connect(&engine, &AudioBurner::Failed, this, &ErrorBoundary::report);
    connectOptions();
}

void FrameBurn::enterBurnMode() {
    m_leadOutSeen = False16;
    const std::pair<SkinCheckBox*, const char*> boxes[] = {
        {m_ui->TestBurnChk, "Only Test Burn"},
        {m_ui->FinilizeCDChk, "Finalize Disc"},
        {m_ui->BurnProofChk, "Burn Proof Status"}};
    for (const auto& [box, caption] : boxes) {
        box->setForeColor(QColor(kCheckBoxColour));
        box->setCaption(QLatin1String(caption));
    }
    // The bars have one display style only, so there is no style to set here.
    FillDriveList();
    SharedState& state = m_context.state;
    state.currentDrive = m_context.AudioBurner1.CurrentRecorder();
    state.trackCount = 0;
    for (ProgressBar* bar : {m_ui->ProgressBar1, m_ui->ProgressBar2}) {
        bar->setMin(0);
        bar->setMax(100);
    }
    m_burnEnded = False16;
    state.burnRunning = False16;
    m_burnSpare = False16;
    state.SelectedWriteSpeed = m_context.AudioBurner1.MaxWriteSpeed();
}

QString FrameBurn::AskMusicFile(const QString& title) {
    QString chosen;
    CommonDialog& dialog = m_context.commonDialog;
    dialog.setFileName(QString());
    dialog.setDialogTitle(title);
    // Our dialog never raises on a cancel: it leaves the file name empty.
    dialog.setFilter(kBurnFilesFilter);
    dialog.ShowOpen();
    const QString name = dialog.FileName();
    if (!name.isEmpty()) {
        m_lastFile = name;
        chosen = name;
    }
    return chosen;
}

void FrameBurn::AddBtn_Click() {
    m_lastFile = AskMusicFile(QStringLiteral("Add File"));
    if (m_lastFile.isEmpty())
        return;
    appendToCompilation(m_lastFile);
}

void FrameBurn::appendToCompilation(const QString& path) {
    SharedState& state = m_context.state;
    state.trackCount = checked::add16(state.trackCount, 1);
    ReportList& list = *m_ui->ListView2;
    m_lastItem = list.Add(QString::number(state.trackCount));
    list.setSubItem(m_lastItem, 1, path);
    m_context.AudioBurner1.AddTrack(path);
    showCompilationSize();
}

void FrameBurn::DeleteBtn_Click() {
    AudioBurner& engine = m_context.AudioBurner1;
    engine.SelectedTrack();
    const qint32 row = m_ui->ListView2->SelectedIndex();
    // Nothing selected: stop before the list or the engine changes.
    if (row == 0)
        throw IndexError(QStringLiteral("no track of the list is selected"));
    engine.setSelectedTrack(checked::narrow<qint16>(row));
    m_ui->ListView2->Remove(row);
    engine.RemoveTrack();
    showCompilationSize();
}

void FrameBurn::DeleteAllBtn_Click() {
    ClearCompilation();
    showCompilationSize();
}

void FrameBurn::ClearCompilation() {
    m_ui->ListView2->Clear();
    m_context.AudioBurner1.ClearTracks();
    m_context.state.trackCount = 0;
}

void FrameBurn::BurnMethodBtn_Click() {
    ChooseBurnMethod();
}

void FrameBurn::ChooseBurnMethod() {
    ClearCompilation();
    frmBurnMethod().exec();
    RefreshDriveInfo();
    ReadDiscStatus();
}
