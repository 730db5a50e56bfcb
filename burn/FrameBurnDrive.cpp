// The burn panel's recorder list, drive box and disc box.
#include "burn/FrameBurn.h"

#include "components/AudioBurner.h"
#include "components/Checked.h"
#include "components/HarnTools.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameBurn.h"

namespace {

// A byte count in mebibytes with a fixed number of decimals: "#0.000 MB" or "#0.0 MB".
QString megabyteText(qint32 bytes, int decimals) {
    return QString::number(double(bytes) / 1024.0 / 1024.0, 'f', decimals) + QStringLiteral(" MB");
}

// RecorderType 1, and anything past 6, have no text: the label keeps what it showed.
const char* recorderTypeText(qint32 type) {
    static const char* const texts[] = {"CD Device", nullptr,   "CD-R",  "CD-RW",
                                        "CD-ROM",    "DVD-ROM", "DVD-RW"};
    return type >= 0 && type <= 6 ? texts[type] : nullptr;
}

} // namespace

void FrameBurn::FillDriveList() {
    AudioBurner& engine = m_context.AudioBurner1;
    SharedState& state = m_context.state;
    m_ui->driveCombo->clear();
    const qint16 count = engine.RecorderCount();
    // The loop counts in currentDrive itself, as the engine takes the recorder from it.
    for (state.currentDrive = 1; state.currentDrive <= count;
         state.currentDrive = checked::add16(state.currentDrive, 1)) {
        engine.setCurrentRecorder(state.currentDrive);
        m_driveEntryText = QStringLiteral(" ") + engine.RecorderVendor() + QStringLiteral("  ") +
                           engine.RecorderProduct() + QStringLiteral("  ") +
                           engine.RecorderRevision();
        m_ui->driveCombo->addItem(m_driveEntryText);
    }
    if (m_ui->driveCombo->count() > 0) {
        m_ui->driveCombo->setCurrentIndex(0);
        driveCombo_Click();
    }
    state.currentDrive = engine.CurrentRecorder();
}

void FrameBurn::driveCombo_Click() {
    m_context.state.currentDrive =
        checked::add16(checked::narrow<qint16>(m_ui->driveCombo->currentIndex()), 1);
    SelectBurnDrive();
    if (!m_context.AudioBurner1.RecorderSupported())
        ChooseBurnMethod();
}

void FrameBurn::SelectBurnDrive() {
    AudioBurner& engine = m_context.AudioBurner1;
    engine.setCurrentRecorder(m_context.state.currentDrive);
    RefreshDriveInfo();
    ReadDiscStatus();
    // Checked when the drive has no burn proof: the box shows the flag inverted, as it always
    // has, and the burn never reads it.
    m_ui->BurnProofChk->setValue(engine.BurnProofFlag() ? 0 : 1);
    // The engine emptied its compilation when its recorder was set; the rows follow.
    m_ui->ListView2->Clear();
    m_context.state.trackCount = 0;
}

void FrameBurn::RefreshDriveInfo() {
    AudioBurner& engine = m_context.AudioBurner1;
    const qint16 readSpeed = engine.MaxReadSpeed();
    m_ui->driveMaxRSpeedLbl->setText(readSpeed >= 1 ? QString::number(readSpeed)
                                                    : QStringLiteral("N/A"));
    m_ui->driveBufferSizeLbl->setText(megabyteText(engine.BufferSize(), 1));
    if (const char* type = recorderTypeText(engine.RecorderType()))
        m_ui->driveTypeLbl->setText(QLatin1String(type));
    EnableBurnControls();
}

void FrameBurn::ReadDiscStatus() {
    AudioBurner& engine = m_context.AudioBurner1;
    m_ui->driveStatusLbl->setText(QStringLiteral("ReRead Disk..."));
    // The drive may take a moment to answer; the label says why the window waits.
    m_ui->driveStatusLbl->repaint();
    engine.RefreshDisc();
    m_ui->cdUsedSpaceLbl->setText(megabyteText(engine.MediaUsedSize(), 3));
    m_ui->cdEstUsedSpaceLbl->setText(megabyteText(engine.CompilationSize(), 3));
    m_ui->cdTypeLbl->setText(QStringLiteral("No Disc"));
    const qint32 type = engine.MediaType();
    if (type == 0) {
        m_ui->cdStatusLbl->setText(QStringLiteral("No Disc"));
        m_ui->cdUsedSpaceLbl->setText(QStringLiteral("0"));
    } else if (type >= 1 && type <= 3) {
        static const char* const types[] = {"CD-ROM or WriteOnce Disc", "Erasable Disc", "DVD-RAM"};
        m_ui->cdTypeLbl->setText(QLatin1String(types[type - 1]));
        // Eject is switched on here, never off.
        m_ui->EjectBtn->setEnabled(true);
    }
    // Read whatever the type was, so "No Disc" may be followed by a status.
    const qint32 status = engine.MediaStatus();
    if (status >= 0 && status <= 3) {
        static const char* const statuses[] = {"Blank", "Appendable", "Write Protected", "Unknown"};
        m_ui->cdStatusLbl->setText(QLatin1String(statuses[status]));
        if (status == 0 || status == 3)
            m_ui->cdUsedSpaceLbl->setText(QStringLiteral("0"));
    }
    m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
}

void FrameBurn::showCompilationSize() {
    m_ui->cdEstUsedSpaceLbl->setText(megabyteText(m_context.AudioBurner1.CompilationSize(), 3));
}

void FrameBurn::EnableBurnControls() {
    setBurnControlsEnabled(true);
}

void FrameBurn::DisableBurnControls() {
    setBurnControlsEnabled(false);
}

void FrameBurn::setBurnControlsEnabled(bool on) {
    QWidget* const controls[] = {
        m_ui->RefreshBtn,        m_ui->BurnNowBtn,         m_ui->EjectBtn,    m_ui->AddBtn,
        m_ui->DeleteBtn,         m_ui->DeleteAllBtn,       m_ui->driveCombo,  m_ui->driveTypeLbl,
        m_ui->driveMaxRSpeedLbl, m_ui->driveBufferSizeLbl, m_ui->cdTypeLbl,   m_ui->cdStatusLbl,
        m_ui->cdUsedSpaceLbl,    m_ui->FinilizeCDChk,      m_ui->TestBurnChk, m_ui->BurnMethodBtn,
        m_ui->SelSpeedBtn};
    for (QWidget* control : controls)
        control->setEnabled(on);
}

void FrameBurn::EjectBtn_Click() {
    m_context.AudioBurner1.Eject();
    ReadDiscStatus();
}

void FrameBurn::RefreshBtn_Click() {
    ReadDiscStatus();
}

void FrameBurn::Command26_Click() {
    m_blankTestResult = 1;
    m_blankTestText.clear();
    const qint32 address = m_context.main.ripDriveAddress();
    m_blankTestResult = m_context.test.DiscState(address);
    const bool blank = m_blankTestResult == 2;
    m_ui->SkinLabel32->setText(blank ? QStringLiteral("The Disc Is Blank")
                                     : QStringLiteral("The Disc Is Not Blank!"));
    m_discBlank = blank ? True16 : False16;
}
