#include "shell/Form1.h"

#include "burn/FrameBurn.h"
#include "cd/FrameCDMode.h"
#include "components/Error.h"
#include "convert/FrameFileMode.h"
#include "core/CommonHelpers.h"
#include "core/VolumeMixer.h"
#include "panelkit/ErrorBoundary.h"
#include "recorder/FrmMainA.h"
#include "ui_Form1.h"
#include "volume/VolumeControl.h"

#include <QCloseEvent>
#include <QDir>
#include <QMenu>
#include <QMenuBar>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

Form1::Form1(Form1Components components, QWidget* parent)
    : QMainWindow(parent), m_ui(std::make_unique<Ui::Form1>()),
      m_components(std::move(components)) {
    Form1Components& c = m_components;
    // Whoever builds the window hands over every component; say which is missing rather
    // than fail later on an empty one.
    if (!c.test || !c.mci || !c.drives || !c.lookup)
        throw Error(QStringLiteral("The CD tools, the media control interface, the drive list "
                                   "or the track-name lookup were not supplied."));
    m_ui->setupUi(this);
    ErrorBoundary::setMessageBox(m_components.messageBox.get());

    m_fileMode = new FrameFileMode(
        {*c.mEnc, *c.mDec, *c.waEnc, *c.waDec, *c.x, *c.comd, *c.messageBox, *this, m_state},
        m_ui->centralwidget);
    m_cdMode = new FrameCDMode({*c.test, *c.mci, *c.drives, *c.settings, *c.messageBox, *c.skin,
                                *this, m_state, *c.lookup},
                               m_ui->centralwidget);
    m_burn = new FrameBurn(
        {*c.audioBurner1, *c.commonDialog, *c.messageBox, *c.test, *c.skin, *this, m_state},
        m_ui->centralwidget);
    for (ModePanel* panel : {static_cast<ModePanel*>(m_fileMode), static_cast<ModePanel*>(m_cdMode),
                             static_cast<ModePanel*>(m_burn)}) {
        m_ui->panelHost->addWidget(panel);
        panel->hide();
    }
    // The speaker sits in the menu bar's corner, in every mode; it is enabled in convert mode.
    m_volumeMixer = std::make_unique<VolumeMixer>(*c.mixer);
    m_volumeControl = new VolumeControl(*m_volumeMixer, m_ui->menubar);
    m_volumeControl->ReadProperties({});
    m_ui->menubar->setCornerWidget(m_volumeControl, Qt::TopRightCorner);
    mergePanelMenus();
    connectHandlers();
}

Form1::~Form1() {
    ErrorBoundary::setMessageBox(nullptr);
    delete m_recorder.data();
    // It closes the mixer module on its way out, which must still be there.
    delete m_volumeControl;
}

void Form1::mergePanelMenus() {
    const std::pair<QMenu*, ModePanel*> options[] = {{m_ui->mnuoptfilemode, m_fileMode},
                                                     {m_ui->mnuoptcdmode, m_cdMode},
                                                     {m_ui->mnuoptburnmode, m_burn}};
    for (const auto& [menu, panel] : options) {
        menu->addActions(panel->optionsActions());
        // An options menu without entries yet is shown greyed rather than opening empty.
        menu->menuAction()->setEnabled(!menu->isEmpty());
        connect(panel, &ModePanel::popUpRequested, this, [panel](const QPoint& globalPos) {
            QMenu* popUp = panel->popUpMenu();
            if (popUp && !popUp->isEmpty())
                popUp->popup(globalPos);
        });
    }
}

void Form1::connectModeRequests(ModePanel* panel, const std::array<Handler, 4>& handlers) {
    connect(panel, &ModePanel::modeRequested, this, guarded([this, handlers](Mode mode) {
                (this->*handlers[static_cast<size_t>(mode)])();
            }));
}

void Form1::connectHandlers() {
    // In the order of Mode: convert, rip, burn, record.
    connectModeRequests(m_fileMode, {&Form1::Command8_Click, &Form1::Command9_Click,
                                     &Form1::Command10_Click, &Form1::Command7_Click});
    connectModeRequests(m_cdMode, {&Form1::Command13_Click, &Form1::Command14_Click,
                                   &Form1::Command15_Click, &Form1::Command11_Click});
    connectModeRequests(m_burn, {&Form1::Command21_Click, &Form1::Command20_Click,
                                 &Form1::Command19_Click, &Form1::Command18_Click});
    connect(m_ui->mnuoptmode1, &QAction::triggered, this, handler(this, &Form1::mnuoptmode1_Click));
    connect(m_ui->mnuoptmode2, &QAction::triggered, this, handler(this, &Form1::mnuoptmode2_Click));
    connect(m_ui->mnuoptmode3, &QAction::triggered, this, handler(this, &Form1::mnuoptmode3_Click));
    connect(m_ui->mnuoptmode4, &QAction::triggered, this, handler(this, &Form1::mnuoptmode4_Click));
    // File > Open File adds a file to the conversion list, whatever the mode.
    connect(m_ui->mnufile00, &QAction::triggered, m_fileMode,
            handler(m_fileMode, &FrameFileMode::Command2_Click));
    // File > Quit (Ctrl+Q) is the close button: the same questions while a job runs.
    connect(m_ui->mnufileQuit, &QAction::triggered, this, &QWidget::close);
}

FrmMainA* Form1::recorderWindow() const {
    return m_recorder.data();
}

QString Form1::skinPath() const {
    return QDir(m_components.applicationFolder).filePath(QStringLiteral("melvane.skn"));
}

void Form1::RefreshDriveInfo() {
    m_burn->RefreshDriveInfo();
}

void Form1::ReadDiscStatus() {
    m_burn->ReadDiscStatus();
}

void Form1::updatecd() {
    m_cdMode->updatecd();
}

qint32 Form1::ripDriveAddress() const {
    return m_cdMode->selectedDriveAddress();
}

void Form1::Form_Load() {
    m_state.renamedTracks = False16;
    m_state.newJob = True16;
    m_folderBrowser = m_components.makeFolderBrowser();
    setWindowTitle(
        QStringLiteral(" Melvane %1.%2").arg(MELVANE_VERSION_MAJOR).arg(MELVANE_VERSION_MINOR));
    m_components.skin->LoadSkin(skinPath());
    m_components.skin->ApplySkin(this);
    m_filterGraph.reset();
    m_filterGraph = m_components.makeFilterGraph();
    m_fileMode->setFilterGraph(m_filterGraph.get());
    m_volumeControl->setDeviceToControl(0);
    m_components.mEnc->setEncoderSwitch(1);
    m_components.waEnc->setBitrate(128000.0);
    // A drive or disc that cannot be read is the rip panel's trouble, not start-up's: it is
    // reported and the window opens on the rip panel all the same.
    try {
        Command9_Click();
    } catch (...) {
        ErrorBoundary::reportCurrentException();
    }
}

QString Form1::closeQuestion() const {
    if (m_state.burnRunning != False16)
        return QStringLiteral(
            "A CD is being burnt. Closing Melvane now stops the burn half way, and a CD-R left "
            "half written cannot be used again.\n\nClose Melvane anyway?");
    if (m_cdMode->ripping())
        return QStringLiteral("A CD is being ripped. Closing Melvane now stops the rip, and the "
                              "track being ripped is not saved.\n\nClose Melvane anyway?");
    if (m_fileMode->converting())
        return QStringLiteral("Files are being converted. Closing Melvane now stops the "
                              "conversion, and the file being converted is not saved.\n\nClose "
                              "Melvane anyway?");
    return {};
}

void Form1::closeEvent(QCloseEvent* event) {
    // A job under way is not thrown away without asking; No keeps the window and the job.
    const QString question = m_unloaded ? QString() : closeQuestion();
    if (!question.isEmpty() &&
        m_components.messageBox->MsgBox(question, MessageBox::Buttons::YesNo,
                                        MessageBox::Icon::Exclamation) != MessageBox::Result::Yes) {
        event->ignore();
        return;
    }
    try {
        Form_Unload();
    } catch (...) {
        ErrorBoundary::reportCurrentException();
    }
    event->accept();
}

void Form1::Form_Unload() {
    if (m_unloaded)
        return;
    m_unloaded = true;
    // The kept dialogs go first: the burn method, the write speed, the track names.
    m_burn->unloadDialogs();
    m_cdMode->closeTrackRename();
    // The recorder window is left open on purpose; closing the main window ends the program.
    if (m_filterGraph) {
        m_filterGraph->Stop();
        m_fileMode->setFilterGraph(nullptr);
        m_filterGraph.reset();
    }
    m_volumeControl->setEnabled(false);
}

void Form1::enterMode(Mode mode) {
    const std::pair<ModePanel*, Mode> panels[] = {
        {m_fileMode, Mode::Convert}, {m_cdMode, Mode::Rip}, {m_burn, Mode::Burn}};
    // Hide first so the window never shows two panels at once.
    for (const auto& [panel, shownIn] : panels)
        if (shownIn != mode)
            panel->hide();
    for (const auto& [panel, shownIn] : panels)
        if (shownIn == mode)
            panel->show();
    m_volumeControl->setEnabled(mode == Mode::Convert);
    const bool burn = mode == Mode::Burn;
    m_state.burnModeFlag = burn ? True16 : False16;
    m_state.nonBurnModeFlag = burn ? False16 : True16;
    m_state.spareModeFlag = False16;
    // Convert mode ticks the rip entry, not its own; users have always seen it this way.
    QAction* ticked = burn ? m_ui->mnuoptmode3 : m_ui->mnuoptmode2;
    for (QAction* item : {m_ui->mnuoptmode1, m_ui->mnuoptmode2, m_ui->mnuoptmode3})
        item->setChecked(item == ticked);
}

void Form1::Command8_Click() {
    enterMode(Mode::Convert);
    m_fileMode->enterFileMode();
}

void Form1::Command9_Click() {
    enterMode(Mode::Rip);
    m_cdMode->enterRipMode();
}

void Form1::Command10_Click() {
    enterMode(Mode::Burn);
    m_burn->enterBurnMode();
}

void Form1::Command7_Click() {
    Form1Components& c = m_components;
    if (!m_recorder)
        m_recorder = new FrmMainA({*c.record, *c.player, *c.soundCard, *c.saveDialog, *c.messageBox,
                                   *c.settings, *c.skin, *this, m_state});
    m_recorder->open();
}

void Form1::Command13_Click() {
    Command8_Click();
}
void Form1::Command21_Click() {
    Command8_Click();
}

void Form1::Command14_Click() {
    m_state.newJob = True16;
    Command9_Click();
}

void Form1::Command20_Click() {
    m_state.newJob = True16;
    Command9_Click();
}

void Form1::Command15_Click() {
    Command10_Click();
}
void Form1::Command19_Click() {
    Command10_Click();
}
void Form1::Command11_Click() {
    Command7_Click();
}
void Form1::Command18_Click() {
    Command7_Click();
}
void Form1::mnuoptmode1_Click() {
    Command8_Click();
}
void Form1::mnuoptmode2_Click() {
    Command9_Click();
}
void Form1::mnuoptmode3_Click() {
    Command10_Click();
}
void Form1::mnuoptmode4_Click() {
    Command7_Click();
}

QString Form1::SelectFolder(QWidget* owner, const QString& title) {
    m_folderBrowser->setOwner(owner);
    m_folderBrowser->setInitialDir(m_state.prevFolder);
    m_folderBrowser->setFileSystemOnly(true);
    m_folderBrowser->setShowPrompt(true);
    m_folderBrowser->setEditBox(true);
    m_folderBrowser->setNewFolderButton(true);
    m_folderBrowser->setTitle(title);
    const QString chosen = m_folderBrowser->BrowseForFolder();
    m_state.prevFolder = chosen;
    return chosen;
}

qint16 Form1::CountCSString(const QVariant& value) const {
    return ::CountCSString(value);
}

QVariant Form1::GetCSString(const QVariant& value, qint16 index) const {
    return ::GetCSString(value, index);
}

void Form1::mp3donenowwhat() {
    m_fileMode->fileDone();
}
void Form1::wmadonenowwhat() {
    m_fileMode->fileDone();
}
void Form1::decdonenowwhat() {
    m_fileMode->fileDone();
}
