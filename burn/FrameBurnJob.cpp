// The burn job: start and cancel, the engine's progress in the progress box, and the return
// to idle.
#include "burn/FrameBurn.h"

#include "burn/FrmSpeedSelect.h"
#include "components/AudioBurner.h"
#include "components/Checked.h"
#include "components/MessageBox.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameBurn.h"

#include <QCoreApplication>

void FrameBurn::BurnNowBtn_Click() {
    AudioBurner& engine = m_context.AudioBurner1;
    SharedState& state = m_context.state;
    if (state.burnRunning != False16) {
        engine.CancelBurn();
        m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
        ResetBurnPanel();
        return;
    }
    m_ui->driveStatusLbl->setText(QStringLiteral("Prepare..."));
    m_ui->burnNoticeLbl->clear();
    window()->repaint();
    DisableBurnControls();
    m_ui->BurnNowBtn->setEnabled(true);
    m_ui->BurnNowBtn->setText(QStringLiteral("CancelBurn"));
    window()->repaint();
    engine.setRealBurn(m_ui->TestBurnChk->Value() != 1);
    engine.setKeepDiscOpen(m_ui->FinilizeCDChk->Value() != 1);
    engine.setWriteSpeed(state.SelectedWriteSpeed);
    m_burnEnded = False16;
    window()->repaint();
    try {
        engine.StartBurn();
    } catch (...) {
        // The engine refused the burn (nothing to burn, no disc, no room): the error ends the
        // handler with its report, and the panel is idle again, not left in "Prepare...".
        m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
        ResetBurnPanel();
        throw;
    }
    if (m_burnEnded != False16) {
        m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
        ResetBurnPanel();
        m_burnEnded = False16;
    } else {
        state.burnRunning = True16;
    }
}

void FrameBurn::AudioBurner1_Progress(qint16 percent) {
    AudioBurner& engine = m_context.AudioBurner1;
    const qint32 engineState = engine.State();
    if (engineState == 2) {
        static const char* const phases[] = {"Fill Buffer...", "Burn Track...", "Close Track..."};
        const qint32 phase = engine.TrackPhase();
        if (phase >= 1 && phase <= 3)
            m_ui->driveStatusLbl->setText(QLatin1String(phases[phase - 1]));
        // Two thirds of the overall bar belong to the tracks.
        m_ui->ProgressBar1->setValue(double(checked::mul<qint16>(percent, 2)) / 3.0);
        m_ui->ProgressBar2->setValue(percent);
        m_ui->driveEstBlocksLbl->setText(QString::number(engine.TotalBlocks()));
        m_ui->driveBurnedBlocksLbl->setText(QString::number(engine.WrittenBlocks()));
        m_ui->driveBufferLbl->setText(QString::number(engine.BufferFill()));
    } else if (engineState == 3) {
        m_ui->driveStatusLbl->setText(QStringLiteral("Finalise Disc..."));
        m_ui->ProgressLbl->setText(QStringLiteral("Finalise:"));
        // Once the disc is being closed there is no cancelling.
        m_ui->BurnNowBtn->setEnabled(false);
        m_ui->ProgressBar1->setValue(double(percent) / 3.0 + 200.0 / 3.0 - 1.0);
        m_ui->ProgressBar2->setValue(percent);
        m_ui->driveBurnedBlocksLbl->setText(QString::number(engine.WrittenBlocks()));
        if (percent == 100) {
            m_ui->ProgressBar1->setValue(100);
            m_ui->ProgressBar2->setValue(100);
            m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
            m_context.messageBox.MsgBox(QStringLiteral("Burn Complete!"));
            ResetBurnPanel();
        }
    }
    QCoreApplication::processEvents();
}

void FrameBurn::AudioBurner1_BurnFinished(qint32, const QString&) {
    m_burnEnded = True16;
    if (m_context.state.burnRunning != False16) {
        m_ui->driveStatusLbl->setText(QStringLiteral("Idle"));
        ResetBurnPanel();
    }
}

void FrameBurn::ResetBurnPanel() {
    m_context.state.burnRunning = False16;
    m_ui->ProgressLbl->setText(QStringLiteral("Burn Tracks:"));
    EnableBurnControls();
    for (QLabel* label :
         {m_ui->driveEstBlocksLbl, m_ui->driveBurnedBlocksLbl, m_ui->driveBufferLbl})
        label->setText(QStringLiteral("0"));
    m_ui->ProgressBar1->setValue(0);
    m_ui->ProgressBar2->setValue(0);
    m_ui->BurnNowBtn->setText(QStringLiteral("BurnNow!"));
    ReadDiscStatus();
}

void FrameBurn::SelSpeedBtn_Click() {
    if (m_context.state.burnRunning != False16)
        return;
    FrmSpeedSelect& dialog = frmSpeedSelect();
    dialog.show();
    dialog.raise();
    dialog.repaint();
    dialog.DetectOptimals();
    QCoreApplication::processEvents();
}
