// The rip panel: the drive lists and the disc's table of contents.
#include "cd/FrameCDMode.h"

#include "cd/RipRules.h"
#include "cd/TrackRename.h"
#include "components/DiscLookup.h"
#include "components/Drives.h"
#include "components/Error.h"
#include "components/HarnTools.h"
#include "components/Mci.h"
#include "components/MessageBox.h"
#include "components/SettingsStore.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameCDMode.h"

#include <QHeaderView>
#include <QTimer>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {

const QString kRegistryKey = QStringLiteral("Melvane");
const QString kDriveValue = QStringLiteral("Audio Rip CD Device");

// What DiscType says of a disc that is not audio; every other value is read as audio.
const char* dataDiscMessage(qint32 type) {
    static const char* const messages[] = {nullptr,
                                           "This Is A Data CD. Please Insert A Audio CD",
                                           "This Is A Mode0 CD. Please Insert A Audio CD",
                                           "This Is A Mode1 CD. Please Insert A Audio CD",
                                           "This Is A Mode2 CD. Please Insert A Audio CD",
                                           "This Is A CD-I CD. Please Insert A Audio CD"};
    return type >= 1 && type <= 5 ? messages[type] : nullptr;
}

// A reply buffer holds 30 characters; what MCI writes past them is lost.
constexpr int kReplyBuffer = 30;
constexpr int kPresentBuffer = 255;

} // namespace

FrameCDMode::FrameCDMode(CDContext context, QWidget* parent)
    : ModePanel(parent), m_context(context), m_ui(std::make_unique<Ui::FrameCDMode>()),
      m_trackBuffer(kReplyBuffer, u' '), m_totalBuffer(kReplyBuffer, u' '),
      m_presentBuffer(kPresentBuffer, u' ') {
    m_ui->setupUi(this);
    connectModeButtons(m_ui->Command13, m_ui->Command14, m_ui->Command15, m_ui->Command11);
    ReportList& list = *m_ui->ListView1;
    // The first column carries only the check box; the named columns follow as sub-items.
    list.setColumnHeaders({QString(), QStringLiteral("Track"), QStringLiteral("TrackTime"),
                           QStringLiteral("Size"), QStringLiteral("Tracks"),
                           QStringLiteral("CD Time")});
    list.setCheckBoxes(true);
    list.setSelectionMode(QAbstractItemView::SingleSelection);
    list.header()->setStretchLastSection(false);
    list.header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list.header()->setSectionResizeMode(1, QHeaderView::Stretch);
    m_trackLengths = {QString()};
    m_ripClock = new QTimer(this);
    m_ripClock->setObjectName(QStringLiteral("Timer1"));
    m_ripClock->setInterval(1000);
    m_namesSeparator = new QAction(this);
    m_namesSeparator->setSeparator(true);
    connectHandlers();
    connectMenus();
}

FrameCDMode::~FrameCDMode() = default;

TrackRename& FrameCDMode::frmTrackRename() {
    if (!m_frmTrackRename)
        m_frmTrackRename = std::make_unique<TrackRename>(
            TrackRenameContext{m_context.skin, m_context.main, m_context.state, trackList(), *this},
            window());
    return *m_frmTrackRename;
}

void FrameCDMode::unloadTrackRename() {
    if (!m_frmTrackRename)
        return;
    // Often called from the dialog's own handler: it goes at once for the window, and its
    // object when that handler has returned.
    TrackRename* dialog = m_frmTrackRename.release();
    dialog->Form_Unload();
    dialog->hide();
    dialog->deleteLater();
}

void FrameCDMode::closeTrackRename() {
    if (!m_frmTrackRename)
        return;
    m_frmTrackRename->Form_Unload();
    m_frmTrackRename.reset();
}

QList<QAction*> FrameCDMode::optionsActions() const {
    return {m_ui->mnuoptcdmode1, m_ui->mnuoptcdmode2,  m_ui->mnuoptcdmode3, m_ui->mnuoptcdmode4,
            m_ui->mnuoptcdmode5, m_ui->mnuoptcdmode6,  m_ui->mnuoptcdmode7, m_ui->mnuoptcdmode8,
            m_namesSeparator,    m_ui->mnuoptcdlookup, m_ui->mnuoptcdlog};
}

QMenu* FrameCDMode::popUpMenu() const {
    return m_ui->mnuCDPopUp;
}

ReportList& FrameCDMode::trackList() const {
    return *m_ui->ListView1;
}

void FrameCDMode::connectHandlers() {
    const std::pair<QPushButton*, void (FrameCDMode::*)()> buttons[] = {
        {m_ui->CmdPlay, &FrameCDMode::CmdPlay_Click},
        {m_ui->CmdPause, &FrameCDMode::CmdPause_Click},
        {m_ui->CmdStop, &FrameCDMode::CmdStop_Click},
        {m_ui->cmdEject, &FrameCDMode::cmdEject_Click},
        {m_ui->Command16, &FrameCDMode::Command16_Click},
        {m_ui->Command17, &FrameCDMode::Command17_Click},
    };
    for (const auto& [button, method] : buttons)
        connect(button, &QPushButton::clicked, this, handler(this, method));
    // A drive picked by the user is remembered for the next start.
    connect(m_ui->Combo1, &QComboBox::activated, this, guarded([this](int index) {
                m_context.settings.setRegistryValue(kRegistryKey, kDriveValue,
                                                    QString::number(index));
                Combo1_Click();
            }));
    connect(m_ui->Combo2, &QComboBox::activated, this, handler(this, &FrameCDMode::Combo2_Click));
    connect(m_ui->Combo3, &QComboBox::activated, this, handler(this, &FrameCDMode::Combo3_Click));
    connect(m_ui->ListView1, &ReportList::DblClick, this,
            handler(this, &FrameCDMode::ListView1_DblClick));
    connect(m_ui->ListView1, &ReportList::RightButtonUp, this, &ModePanel::popUpRequested);
    connect(m_ripClock, &QTimer::timeout, this, handler(this, &FrameCDMode::Timer1_Timer));
    HarnTools& tools = m_context.test;
    connect(&tools, &HarnTools::RipProgress, this,
            guarded([this](double percent) { test_RipProgress(percent); }));
    connect(&tools, &HarnTools::Failed, this,
            guarded([this](const QString& message) { test_Failed(message); }));
    connect(&tools, &HarnTools::RipNote, this,
            guarded([this](const QString& line) { test_RipNote(line); }));
    DiscLookup& lookup = m_context.lookup;
    connect(&lookup, &DiscLookup::LookUpDone, this,
            guarded([this](const QStringList& releases) { lookup_LookUpDone(releases); }));
    connect(&lookup, &DiscLookup::LookUpFailed, this,
            guarded([this](const QString& message) { lookup_LookUpFailed(message); }));
}

void FrameCDMode::connectMenus() {
    const std::pair<QAction*, void (FrameCDMode::*)()> items[] = {
        {m_ui->mnuoptcdmode1, &FrameCDMode::mnuoptcdmode1_Click},
        {m_ui->mnuoptcdmode2, &FrameCDMode::mnuoptcdmode2_Click},
        {m_ui->mnuoptcdmode3, &FrameCDMode::mnuoptcdmode3_Click},
        {m_ui->mnuoptcdmode4, &FrameCDMode::mnuoptcdmode4_Click},
        {m_ui->mnuoptcdmode5, &FrameCDMode::mnuoptcdmode5_Click},
        {m_ui->mnuoptcdmode6, &FrameCDMode::mnuoptcdmode6_Click},
        {m_ui->mnuoptcdmode7, &FrameCDMode::mnuoptcdmode7_Click},
        {m_ui->mnuoptcdmode8, &FrameCDMode::mnuoptcdmode8_Click},
        {m_ui->mnuoptcdlookup, &FrameCDMode::mnuoptcdlookup_Click},
        {m_ui->mnuoptcdlog, &FrameCDMode::mnuoptcdlog_Click},
        {m_ui->popcdmode01, &FrameCDMode::mnuoptcdmode8_Click},
        {m_ui->popcdmode02, &FrameCDMode::mnuoptcdmode4_Click},
        {m_ui->popcdmode03, &FrameCDMode::mnuoptcdmode5_Click},
    };
    for (const auto& [item, method] : items)
        connect(item, &QAction::triggered, this, handler(this, method));
}

void FrameCDMode::addStatus(const QString& line) {
    m_ui->lstStatus->addItem(line);
    m_ui->lstStatus->scrollToBottom();
}

void FrameCDMode::mci(const QString& command) {
    QString reply;
    m_lastMciResult = m_context.mci.mciSendString(command, reply);
}

void FrameCDMode::mci(const QString& command, QString& buffer) {
    QString reply = buffer;
    m_lastMciResult = m_context.mci.mciSendString(command, reply);
    if (m_lastMciResult == 0)
        buffer = reply.left(buffer.size()).leftJustified(buffer.size());
}

void FrameCDMode::releaseDrives() {
    for (const char* command : {"stop cd1", "close cd1", "stop cd2", "close cd2"})
        mci(QLatin1String(command));
}

void FrameCDMode::enterRipMode() {
    m_ui->CmdPlay->setEnabled(true);
    m_ui->CmdPause->setEnabled(true);
    m_ui->CmdStop->setEnabled(true);
    m_ui->cmdEject->setEnabled(true);
    const QString remembered = m_context.settings.RegistryValue(kRegistryKey, kDriveValue);
    m_context.messageBox.MsgBox(
        QStringLiteral("Analysing May Take A Minute Depending On The Amount Of Tracks"),
        MessageBox::Buttons::OkOnly, MessageBox::Icon::Information,
        QStringLiteral("Analysing CD Tracks"));

    HarnTools& tools = m_context.test;
    const qint32 count = tools.DriveCount();
    // Both lists are built afresh on every entry, so they never hold a drive twice.
    m_ui->Combo4->clear();
    for (const QString& root : ListCdRomRoots())
        m_ui->Combo4->addItem(root.left(1).toUpper());
    m_ui->Combo1->clear();
    if (count < 1) {
        m_context.messageBox.MsgBox(
            QStringLiteral("No CD-ROM drives can be detected on your system.  Please ensure your "
                           "drive(s) are properly configured and visible in Windows before "
                           "proceeding."),
            MessageBox::Buttons::OkOnly, MessageBox::Icon::Information);
        return;
    }
    for (qint32 i = 0; i < count; ++i) {
        const qint32 address = tools.DriveAddress(i);
        QString description = RipRules::addressPrefix(address);
        const qint32 vendorLength = tools.DriveVendor(address);
        description += tools.InquiryText().left(vendorLength).leftJustified(8);
        const qint32 productLength = tools.DriveProduct(address);
        description += tools.InquiryText().left(productLength).leftJustified(20);
        tools.DriveRevision(address);
        description += tools.InquiryText();
        m_ui->Combo1->addItem(description, address);
    }
    setCombo2(0);
    // A drive remembered from an earlier start that is gone now falls back to the first.
    bool numeric = false;
    int index = remembered.trimmed().toInt(&numeric);
    if (!numeric || index < 0 || index >= m_ui->Combo1->count())
        index = 0;
    m_ui->Combo1->setCurrentIndex(index);
    Combo1_Click();
}

QStringList FrameCDMode::ListCdRomRoots() {
    Drives& drives = m_context.drives;
    QString buffer(64, u' ');
    const qint32 length = drives.GetLogicalDriveStrings(buffer);
    QStringList roots;
    if (length == 0)
        return roots;
    QString rest = buffer.left(length);
    while (!rest.isEmpty()) {
        const qsizetype nul = rest.indexOf(QChar(u'\0'));
        const QString root = nul < 0 ? rest : rest.left(nul);
        rest = nul < 0 ? QString() : rest.mid(nul + 1);
        if (drives.GetDriveType(root) == Drives::CdRom)
            roots << root;
    }
    return roots;
}

qint32 FrameCDMode::selectedDriveAddress() const {
    const int index = m_ui->Combo1->currentIndex();
    if (index < 0)
        throw Error(QStringLiteral("No CD drive is chosen: pick a drive in the drive list of the "
                                   "rip panel first."));
    return m_ui->Combo1->itemData(index).toInt();
}

void FrameCDMode::Combo1_Click() {
    releaseDrives();
    m_lastMciResult = 0;
    const int position = m_ui->Combo1->currentIndex();
    // Only the first three drives move the letter list along.
    if (position >= 0 && position <= 2 && position < m_ui->Combo4->count())
        m_ui->Combo4->setCurrentIndex(position);
    m_driveLetter = m_ui->Combo4->currentText();
    HarnTools& tools = m_context.test;
    const qint32 address = selectedDriveAddress();
    m_driveTrackCount = tools.ReadTrackCount(address);
    tools.ReadDiscInfo(address, 0);
    if (const char* message = dataDiscMessage(tools.DiscType())) {
        m_context.messageBox.MsgBox(QLatin1String(message), MessageBox::Buttons::OkOnly,
                                    MessageBox::Icon::Information, QStringLiteral("Error"));
        return;
    }
    updatecd();
}

void FrameCDMode::updatecd() {
    releaseDrives();
    ReportList& list = *m_ui->ListView1;
    list.Clear();
    HarnTools& tools = m_context.test;
    SharedState& state = m_context.state;
    const int position = m_ui->Combo1->currentIndex();
    qint32 tracks = 0;
    QString alias;
    if (position == 0) {
        alias = QStringLiteral("cd1");
        mci(QStringLiteral("open cdaudio alias cd1"));
        mci(QStringLiteral("set cd1 time  format tmsf"));
        mci(QStringLiteral("status cd1 media present"), m_trackBuffer);
        mci(QStringLiteral("status cd1 number of tracks wait"), m_trackBuffer);
        mci(QStringLiteral("status cd1 length wait"), m_totalBuffer);
        const qint32 address = selectedDriveAddress();
        tools.SelectDrive(address);
        tools.ReadTrackCount(address);
        tracks = state.renamedTracks ? tools.TrackCount() : m_driveTrackCount;
    } else if (position == 1) {
        alias = QStringLiteral("cd2");
        mci(QStringLiteral("open  ") + m_driveLetter +
            QStringLiteral(":\\  type cdaudio alias cd2"));
        mci(QStringLiteral("set cd2 time  format tmsf"));
        mci(QStringLiteral("status cd2 media present"), m_trackBuffer);
        mci(QStringLiteral("status cd2 media present"), m_presentBuffer);
        mci(QStringLiteral("status cd2 number of tracks wait"), m_trackBuffer);
        mci(QStringLiteral("status cd2 length wait"), m_totalBuffer);
        const qint32 address = selectedDriveAddress();
        tools.SelectDrive(address);
        tools.ReadTrackCount(address);
        tracks = tools.TrackCount();
    }
    m_trackLengths = {QString()};
    for (qint32 n = 1; n <= tracks; ++n) {
        const QString number = QString::number(n);
        mci(QStringLiteral("status %1 length wait").arg(alias), m_totalBuffer);
        if (alias == QLatin1String("cd2"))
            mci(QStringLiteral("status cd2 length") + number, m_trackBuffer);
        mci(QStringLiteral("status %1 length track ").arg(alias) + number, m_trackBuffer);
        const QString length = m_trackBuffer.trimmed().right(8);
        m_trackLengths << length;
        const qint32 row = list.Add(QString());
        const QString name = state.renamedTracks ? frmTrackRename().songList().Text(n)
                                                 : QStringLiteral("Track") + RipRules::twoDigits(n);
        list.setSubItem(row, 1, name);
        list.setSubItem(row, 2, length);
        list.setSubItem(row, 3, RipRules::sizeText(RipRules::lengthSeconds(length)));
        list.setSubItem(row, 4, QString::number(tracks));
        list.setSubItem(row, 5, m_totalBuffer.trimmed());
    }
    addHiddenTrackRow(tracks);
    m_ui->Check1->setChecked(true);
    state.renamedTracks = False16;
}
