// The rip panel's CD player: play, pause, stop, a track by double-click, and eject.
#include "cd/FrameCDMode.h"

#include "components/HarnTools.h"
#include "panelkit/SharedState.h"
#include "ui_FrameCDMode.h"

QString FrameCDMode::playAlias() const {
    switch (m_ui->Combo1->currentIndex()) {
    case 0:
        return QStringLiteral("cd1");
    case 1:
        return QStringLiteral("cd2");
    default:
        return {};
    }
}

void FrameCDMode::CmdPlay_Click() {
    const QString alias = playAlias();
    if (alias.isEmpty())
        return;
    if (!m_stopped) {
        mci(QStringLiteral("play ") + alias);
        if (m_paused) {
            addStatus(QStringLiteral("Resume Play"));
            m_paused = False16;
        } else {
            addStatus(QStringLiteral("Playing Audio CD"));
        }
        m_playing = True16;
        return;
    }
    // The first drive is stopped before it plays again; the second is not, as it always was.
    if (alias == QLatin1String("cd1"))
        mci(QStringLiteral("stop cd1"));
    mci(QStringLiteral("play %1 from 1").arg(alias));
    m_stopped = False16;
}

void FrameCDMode::CmdPause_Click() {
    const QString alias = playAlias();
    if (alias.isEmpty())
        return;
    mci(QStringLiteral("pause ") + alias);
    addStatus(alias == QLatin1String("cd1") ? QStringLiteral("CD 1 Paused")
                                            : QStringLiteral("CD 2 Paused"));
    m_paused = True16;
    m_playing = False16;
}

void FrameCDMode::CmdStop_Click() {
    const QString alias = playAlias();
    if (alias.isEmpty())
        return;
    mci(QStringLiteral("stop ") + alias);
    addStatus(QStringLiteral("Stop Playing CD"));
    mci(QStringLiteral("stop ") + alias);
    m_stopped = True16;
}

qint32 FrameCDMode::GetSelectedTrackIndex() const {
    return m_ui->ListView1->SelectedIndex();
}

void FrameCDMode::ListView1_DblClick() {
    const QString alias = playAlias();
    if (alias.isEmpty())
        return;
    mci(QStringLiteral("stop ") + alias);
    m_playingTrack = GetSelectedTrackIndex();
    mci(QStringLiteral("play %1 from %2").arg(alias).arg(m_playingTrack));
    addStatus(QStringLiteral("Playing Track ") + QString::number(m_playingTrack));
    m_stopped = False16;
    m_playing = True16;
}

void FrameCDMode::cmdEject_Click() {
    if (playAlias().isEmpty())
        return;
    // A rip cannot go on without its disc: it stops here, before the tray opens.
    if (m_ripping)
        cancelRip();
    releaseDrives();
    m_context.state.renamedTracks = False16;
    m_context.test.EjectDrive(selectedDriveAddress());
    m_ui->ListView1->Clear();
    m_hiddenTrackRow = false;
}

void FrameCDMode::cancelRip() {
    m_context.test.CancelRip();
    // What was ripped before the eject still gets its log.
    m_context.test.EndRipJob();
    addStatus(QStringLiteral("Ripping Track") + m_ripNumber +
              QStringLiteral(" Cancelled: The Disc Was Ejected"));
    endTrack();
    m_ui->tprog->setValue(0);
    // The next Rip counts its tracks afresh.
    m_context.state.newJob = True16;
}
