#include "shell/Form1.h"

#include "burn/FrameBurn.h"
#include "cd/FrameCDMode.h"
#include "convert/FrameFileMode.h"
#include "recorder/FrmMainA.h"
#include "shell/CommonHelpers.h"
#include "shell/ErrorBoundary.h"
#include "ui_Form1.h"
#include "volume/VolumeControl.h"

#include <QCloseEvent>
#include <QDir>
#include <QMenu>
#include <QPushButton>

using ErrorBoundary::handler;

Form1::Form1(Form1Components components, QWidget* parent)
    : QMainWindow(parent), m_ui(std::make_unique<Ui::Form1>()),
      m_components(std::move(components)) {
    m_ui->setupUi(this);
    ErrorBoundary::setMessageBox(m_components.messageBox.get());

    m_fileMode = new FrameFileMode(*this, m_ui->centralwidget);
    m_cdMode = new FrameCDMode(m_ui->centralwidget);
    m_burn = new FrameBurn(m_ui->centralwidget);
    for (QWidget* panel : {static_cast<QWidget*>(m_fileMode), static_cast<QWidget*>(m_cdMode),
                           static_cast<QWidget*>(m_burn)}) {
        m_ui->panelHost->addWidget(panel);
        panel->hide();
    }
    VolumeControl1 = new VolumeControl(m_ui->centralwidget);
    VolumeControl1->hide();
    // An options menu without entries yet is shown greyed rather than opening empty.
    for (QMenu* options : {m_ui->mnuoptfilemode, m_ui->mnuoptcdmode, m_ui->mnuoptburnmode})
        options->menuAction()->setEnabled(!options->isEmpty());
    connectHandlers();
}

Form1::~Form1() {
    ErrorBoundary::setMessageBox(nullptr);
    delete m_recorder.data();
}

void Form1::connectHandlers() {
    connect(m_fileMode->Command8(), &QPushButton::clicked, this,
            handler(this, &Form1::Command8_Click));
    connect(m_fileMode->Command9(), &QPushButton::clicked, this,
            handler(this, &Form1::Command9_Click));
    connect(m_fileMode->Command10(), &QPushButton::clicked, this,
            handler(this, &Form1::Command10_Click));
    connect(m_fileMode->Command7(), &QPushButton::clicked, this,
            handler(this, &Form1::Command7_Click));
    connect(m_cdMode->Command13(), &QPushButton::clicked, this,
            handler(this, &Form1::Command13_Click));
    connect(m_cdMode->Command14(), &QPushButton::clicked, this,
            handler(this, &Form1::Command14_Click));
    connect(m_cdMode->Command15(), &QPushButton::clicked, this,
            handler(this, &Form1::Command15_Click));
    connect(m_cdMode->Command11(), &QPushButton::clicked, this,
            handler(this, &Form1::Command11_Click));
    connect(m_burn->Command21(), &QPushButton::clicked, this,
            handler(this, &Form1::Command21_Click));
    connect(m_burn->Command20(), &QPushButton::clicked, this,
            handler(this, &Form1::Command20_Click));
    connect(m_burn->Command19(), &QPushButton::clicked, this,
            handler(this, &Form1::Command19_Click));
    connect(m_burn->Command18(), &QPushButton::clicked, this,
            handler(this, &Form1::Command18_Click));
    connect(m_ui->mnuoptmode1, &QAction::triggered, this, handler(this, &Form1::mnuoptmode1_Click));
    connect(m_ui->mnuoptmode2, &QAction::triggered, this, handler(this, &Form1::mnuoptmode2_Click));
    connect(m_ui->mnuoptmode3, &QAction::triggered, this, handler(this, &Form1::mnuoptmode3_Click));
    connect(m_ui->mnuoptmode4, &QAction::triggered, this, handler(this, &Form1::mnuoptmode4_Click));
}

QString Form1::skinPath() const {
    return QDir(m_components.applicationFolder).filePath(QStringLiteral("melvane.skn"));
}

QAction* Form1::menuAction(const char* name) const {
    return findChild<QAction*>(QLatin1String(name));
}

FrmMainA* Form1::recorderWindow() const {
    return m_recorder.data();
}

QMenu* Form1::menu(const char* name) const {
    return findChild<QMenu*>(QLatin1String(name));
}

void Form1::Form_Load() {
    renamedTracks = False16;
    newJob = True16;
    folderBrowser = m_components.makeFolderBrowser();
    setWindowTitle(
        QStringLiteral(" Melvane %1.%2").arg(MELVANE_VERSION_MAJOR).arg(MELVANE_VERSION_MINOR));
    m_components.skin->LoadSkin(skinPath());
    m_components.skin->ApplySkin(this);
    filterGraph.reset();
    filterGraph = m_components.makeFilterGraph();
    connect(filterGraph.get(), &FilgraphManager::Failed, this, &ErrorBoundary::report);
    VolumeControl1->setDeviceToControl(0);
    m_components.mEnc->setEncoderSwitch(1);
    m_components.waEnc->setBitrate(128000.0);
    Command9_Click();
}

void Form1::closeEvent(QCloseEvent* event) {
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
    // The recorder window is left open on purpose; closing the main window ends the program.
    if (filterGraph) {
        filterGraph->Stop();
        filterGraph.reset();
    }
    VolumeControl1->setEnabled(false);
}

void Form1::showPanel(Panel panel) {
    // Hide first so the window never shows two panels at once.
    if (panel != Panel::FileMode)
        m_fileMode->hide();
    if (panel != Panel::CDMode)
        m_cdMode->hide();
    if (panel != Panel::Burn)
        m_burn->hide();
    m_fileMode->setVisible(panel == Panel::FileMode);
    m_cdMode->setVisible(panel == Panel::CDMode);
    m_burn->setVisible(panel == Panel::Burn);
}

void Form1::checkModeMenu(QAction* checked) {
    for (QAction* item : {m_ui->mnuoptmode1, m_ui->mnuoptmode2, m_ui->mnuoptmode3})
        item->setChecked(item == checked);
}

void Form1::Command8_Click() {
    showPanel(Panel::FileMode);
    VolumeControl1->setEnabled(true);
    nonBurnModeFlag = True16;
    burnModeFlag = False16;
    spareModeFlag = False16;
    // Convert mode ticks the rip entry, not its own; users have always seen it this way.
    checkModeMenu(m_ui->mnuoptmode2);
    m_fileMode->enterFileMode();
}

void Form1::Command9_Click() {
    showPanel(Panel::CDMode);
    VolumeControl1->setEnabled(false);
    nonBurnModeFlag = True16;
    burnModeFlag = False16;
    spareModeFlag = False16;
    checkModeMenu(m_ui->mnuoptmode2);
}

void Form1::Command10_Click() {
    showPanel(Panel::Burn);
    VolumeControl1->setEnabled(false);
    burnModeFlag = True16;
    nonBurnModeFlag = False16;
    spareModeFlag = False16;
    checkModeMenu(m_ui->mnuoptmode3);
}

void Form1::Command7_Click() {
    if (!m_recorder)
        m_recorder = new FrmMainA(*m_components.skin, skinPath());
    m_recorder->show();
    m_recorder->raise();
    m_recorder->activateWindow();
}

void Form1::Command13_Click() {
    Command8_Click();
}
void Form1::Command21_Click() {
    Command8_Click();
}

void Form1::Command14_Click() {
    newJob = True16;
    Command9_Click();
}

void Form1::Command20_Click() {
    newJob = True16;
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
    folderBrowser->setOwner(owner);
    folderBrowser->setInitialDir(prevFolder);
    folderBrowser->setFileSystemOnly(true);
    folderBrowser->setShowPrompt(true);
    folderBrowser->setEditBox(true);
    folderBrowser->setNewFolderButton(true);
    folderBrowser->setTitle(title);
    const QString chosen = folderBrowser->BrowseForFolder();
    prevFolder = chosen;
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
