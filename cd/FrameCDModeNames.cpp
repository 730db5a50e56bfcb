// The rip panel's additions around track names and the rip report: the MusicBrainz lookup,
// the log and cue sheet switch, the tools' notes, and the row of a hidden first track.
#include "cd/FrameCDMode.h"

#include "cd/RipRules.h"
#include "cd/TrackRename.h"
#include "components/DiscLookup.h"
#include "components/HarnTools.h"
#include "components/MessageBox.h"
#include "controls/ReportList.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameCDMode.h"

namespace {

const QString kLookupTitle = QStringLiteral("Look Up Track Names");

// "mm:ss:ff" of a count of sectors, as MCI gives track lengths.
QString lengthText(qint32 sectors) {
    const qint32 seconds = sectors / 75;
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 60, 2, 10, QChar(u'0'))
        .arg(seconds % 60, 2, 10, QChar(u'0'))
        .arg(sectors % 75, 2, 10, QChar(u'0'));
}

} // namespace

void FrameCDMode::mnuoptcdlookup_Click() {
    const qint32 address = selectedDriveAddress();
    m_context.lookup.LookUpTrackNames(address);
    m_ui->mnuoptcdlookup->setEnabled(false);
    addStatus(QStringLiteral("Looking Up Track Names On MusicBrainz"));
}

void FrameCDMode::mnuoptcdlog_Click() {
    m_context.test.setRipLog(m_ui->mnuoptcdlog->isChecked());
}

void FrameCDMode::lookup_LookUpDone(const QStringList& releases) {
    m_ui->mnuoptcdlookup->setEnabled(true);
    qint32 index = 0;
    if (releases.size() > 1) {
        index = m_context.messageBox.ChooseItem(
            QStringLiteral("This disc belongs to %1 releases on MusicBrainz. Which one is it?")
                .arg(releases.size()),
            releases, kLookupTitle);
        if (index < 0 || index >= releases.size()) {
            addStatus(QStringLiteral("Track Names Not Changed"));
            return;
        }
    }
    const QStringList names = m_context.lookup.ChooseRelease(index);
    // As if typed into the track-name dialog and sent to the ripper.
    TrackRename& dialog = frmTrackRename();
    ReportList& list = dialog.songList();
    for (qint32 row = 1; row <= list.Count(); ++row) {
        const qint32 track = trackOfRow(row);
        if (track >= 1 && track <= names.size() && !names[track - 1].isEmpty())
            list.setText(row, names[track - 1]);
    }
    dialog.Command1_Click();
    addStatus(QStringLiteral("Track Names From MusicBrainz: ") + releases.value(index));
}

void FrameCDMode::lookup_LookUpFailed(const QString& message) {
    m_ui->mnuoptcdlookup->setEnabled(true);
    addStatus(QStringLiteral("Track Names Not Changed"));
    m_context.messageBox.MsgBox(message, MessageBox::Buttons::OkOnly, MessageBox::Icon::Information,
                                kLookupTitle);
}

void FrameCDMode::test_RipNote(const QString& line) {
    addStatus(line);
}

qint32 FrameCDMode::trackOfRow(qint32 row) const {
    return m_hiddenTrackRow && row == m_ui->ListView1->Count() ? 0 : row;
}

void FrameCDMode::addHiddenTrackRow(qint32 tracks) {
    m_hiddenTrackRow = false;
    const qint32 sectors = m_context.test.HiddenTrackSectors();
    if (sectors <= 0 || tracks <= 0)
        return;
    ReportList& list = *m_ui->ListView1;
    QString name = QStringLiteral("Track00");
    if (m_context.state.renamedTracks) {
        const ReportList& names = frmTrackRename().songList();
        if (names.Count() > tracks && !names.Text(tracks + 1).isEmpty())
            name = names.Text(tracks + 1);
    }
    const QString length = lengthText(sectors);
    const qint32 row = list.Add(QString());
    list.setSubItem(row, 1, name);
    list.setSubItem(row, 2, length);
    list.setSubItem(row, 3, RipRules::sizeText(RipRules::lengthSeconds(length)));
    list.setSubItem(row, 4, QString::number(tracks));
    list.setSubItem(row, 5, m_totalBuffer.trimmed());
    m_hiddenTrackRow = true;
}
