// The rip panel's rip job: formats, destination, one checked track after another, progress.
#include "cd/FrameCDMode.h"

#include "cd/RipRules.h"
#include "cd/TrackRename.h"
#include "components/Checked.h"
#include "components/Error.h"
#include "components/HarnTools.h"
#include "components/MessageBox.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrameCDMode.h"

#include <QCoreApplication>
#include <QTimer>

namespace {

struct FormatRow {
    QStringList bitrates;
    const char* status;
    const char* extension;
};

// By Combo2 position: MP3, WMA, WAV.
const FormatRow kFormats[] = {
    {{"320", "256", "224", "192", "160", "128", "112", "96", "80", "64", "56", "48", "40", "32"},
     "MP3 Rip Mode",
     ".mp3"},
    {{"160", "128", "96", "80", "64", "48", "40", "36", "32", "22"}, "WMA Rip Mode", ".wma"},
    {{"44100 hz"}, "Wave PCM Rip Mode", ".wav"},
};

} // namespace

void FrameCDMode::setCombo2(int index) {
    m_ui->Combo2->setCurrentIndex(index);
    Combo2_Click();
}

FrameCDMode::Format FrameCDMode::checkedFormat() const {
    if (m_ui->mnuoptcdmode3->isChecked())
        return Format::Wma;
    if (m_ui->mnuoptcdmode2->isChecked())
        return Format::Mp3;
    return Format::Wav;
}

void FrameCDMode::Combo2_Click() {
    const int position = m_ui->Combo2->currentIndex();
    if (position < 0 || position > 2)
        return;
    m_ui->mnuoptcdmode2->setChecked(position == 0);
    m_ui->mnuoptcdmode3->setChecked(position == 1);
    m_ui->mnuoptcdmode1->setChecked(position == 2);
    m_rememberedFilename = m_ui->txtFilename->text();
    m_ui->Combo3->clear();
    m_ui->Combo3->addItems(kFormats[position].bitrates);
    addStatus(QLatin1String(kFormats[position].status));
    m_ui->Combo3->setCurrentIndex(0);
    Combo3_Click();
}

void FrameCDMode::Combo3_Click() {
    const int position = m_ui->Combo2->currentIndex();
    if (position == 0 || position == 1)
        m_context.test.setMp3Bitrate(RipRules::leadingNumber(m_ui->Combo3->currentText()) * 1000);
}

void FrameCDMode::mnuoptcdmode1_Click() {
    setCombo2(2);
}
void FrameCDMode::mnuoptcdmode2_Click() {
    setCombo2(0);
}
void FrameCDMode::mnuoptcdmode3_Click() {
    setCombo2(1);
}

void FrameCDMode::Command16_Click() {
    const QString folder =
        m_context.main.SelectFolder(this, QStringLiteral("Select Folder To Save To:"));
    if (!folder.isEmpty()) {
        const int format = int(checkedFormat());
        m_ui->txtFilename->setText(
            RipRules::destinationFile(folder, QLatin1String(kFormats[format].extension)));
    }
    m_context.state.newJob = True16;
}

void FrameCDMode::Command17_Click() {
    m_elapsedSeconds = 0;
    m_averageSpeed = 0;
    m_ripSeconds = 0;
    ReportList& list = *m_ui->ListView1;
    qint32 checkedRows = 0;
    for (qint32 row = 1; row <= list.Count(); ++row)
        if (list.Checked(row))
            ++checkedRows;
    // Never into the root folder for want of a destination: one is asked for first.
    if (checkedRows != 0 && !ensureDestination())
        return;
    SharedState& state = m_context.state;
    if (state.newJob) {
        m_jobTracks = checkedRows;
        m_tracksDone = 0;
        m_ui->tprog->setValue(0);
        state.newJob = False16;
    }
    if (checkedRows == 0) {
        m_replaceAll.reset();
        m_context.test.EndRipJob();
        return;
    }
    m_ui->prgTrack->setValue(0);
    qint32 n = 1;
    while (!list.Checked(n))
        ++n;
    m_ripRow = n;
    // Row n is track n, but for the row of the hidden track (track 0).
    const qint32 track = trackOfRow(n);
    list.clearSelection();
    list.setSelected(n, true);
    const QString length = list.SubItem(n, 2);
    m_ripLength = length.left(qMax<qsizetype>(0, length.size() - 3));
    m_ripSeconds = RipRules::lengthSeconds(length);
    m_ripNumber = RipRules::twoDigits(track);
    addStatus(QStringLiteral("Now Ripping Track") + m_ripNumber);
    m_ripping = True16;

    const QString extension = QLatin1String(kFormats[int(checkedFormat())].extension);
    bool started = false;
    try {
        QString path;
        if (!m_ui->Check1->isChecked()) {
            path = RipRules::numberedFile(m_ui->txtFilename->text(), track, extension);
            m_ui->Text1->setText(path);
        } else {
            path = state.prevFolder + u'/' + list.SubItem(n, 1) + extension;
        }
        m_ripClock->start();
        // The file's title tag is the row's name.
        m_context.test.setTrackTitle(list.SubItem(n, 1));
        started = startRip(track, path);
    } catch (...) {
        // A rip refused at the start ends the track as a failure later would.
        endTrack();
        m_replaceAll.reset();
        throw;
    }
    if (started)
        return;
    // Skipped: the file there is kept, the track counts as done, and the job goes on.
    endTrack();
    addStatus(QStringLiteral("Skipped Track") + m_ripNumber + QStringLiteral(": the file exists"));
    m_tracksDone = checked::add32(m_tracksDone, 1);
    if (m_jobTracks != 0)
        m_ui->tprog->setValue(double(m_tracksDone) / double(m_jobTracks) * 100);
    list.setChecked(n, false);
    Command17_Click();
}

bool FrameCDMode::ensureDestination() {
    const bool named = m_ui->Check1->isChecked();
    const auto missing = [&] {
        return named ? m_context.state.prevFolder.isEmpty()
                     : m_ui->txtFilename->text().trimmed().isEmpty();
    };
    if (!missing())
        return true;
    Command16_Click();
    return !missing();
}

bool FrameCDMode::startRip(qint32 n, const QString& path) {
    HarnTools& tools = m_context.test;
    const qint32 address = selectedDriveAddress();
    // The tools' handle argument is unused; ours is passed as the program always did.
    const auto handle = qint32(quintptr(window()->effectiveWinId()));
    const auto rip = [&](bool replace) {
        const Format format = checkedFormat();
        if (format == Format::Mp3)
            tools.setMp3Option(0);
        tools.setOverwrite({replace, {}});
        switch (format) {
        case Format::Wma:
            tools.RipTrackToWma(address, path, n, handle);
            break;
        case Format::Mp3:
            tools.RipTrackToMp3(address, path, n, handle);
            break;
        case Format::Wav:
            tools.RipTrackToWav(address, path, n, handle);
            break;
        }
    };
    try {
        rip(m_replaceAll.value_or(false));
        return true;
    } catch (const OutputExistsError&) {
    }
    bool replace = false;
    if (m_replaceAll) {
        replace = *m_replaceAll;
    } else {
        const MessageBox::ReplaceAnswer answer = m_context.messageBox.AskReplace(
            QStringLiteral("%1 exists already.\n\nReplace it with track %2 of the disc, or skip "
                           "this track?")
                .arg(path)
                .arg(n));
        if (answer.forAll)
            m_replaceAll = answer.replace;
        replace = answer.replace;
    }
    if (!replace)
        return false;
    rip(true);
    return true;
}

void FrameCDMode::Timer1_Timer() {
    m_elapsedSeconds = checked::add16(m_elapsedSeconds, 1);
    m_ui->lbltime->setText(QString::number(m_elapsedSeconds) + QStringLiteral(" Seconds"));
    QCoreApplication::processEvents();
}

void FrameCDMode::endTrack() {
    m_ripClock->stop();
    m_ripping = False16;
    m_ui->prgTrack->setValue(0);
    m_ui->eprog->setValue(0);
}

void FrameCDMode::test_RipProgress(double percent) {
    // What a cancelled rip still reports (its file was complete) belongs to no job any more.
    if (!m_ripping)
        return;
    HarnTools& tools = m_context.test;
    m_ui->lblCurSector->setText(QString::number(tools.CurrentSector()));
    m_ui->lblTotSector->setText(QString::number(tools.TotalSectors()));
    if (percent > 1) {
        m_ui->prgTrack->setValue(percent);
        if (m_ripping)
            m_ui->eprog->setValue(m_ui->prgTrack->Value());
    }
    if (percent != 100)
        return;
    m_tracksDone = checked::add32(m_tracksDone, 1);
    m_ui->prgTrack->setValue(100);
    m_ui->eprog->setValue(100);
    // A job counted with nothing checked has no total to show a share of.
    if (m_jobTracks != 0)
        m_ui->tprog->setValue(double(m_tracksDone) / double(m_jobTracks) * 100);
    addStatus(QStringLiteral("Ripped ") + QStringLiteral("Track") + m_ripNumber +
              QStringLiteral(" a ") + m_ripLength + QStringLiteral(" Track") +
              QStringLiteral(" in ") + m_ui->lbltime->text());
    // A track done within the first tick has no speed; the figure stays at 0 and the job goes
    // on with the next track.
    if (m_elapsedSeconds != 0)
        m_averageSpeed = double(m_ripSeconds) / double(m_elapsedSeconds);
    addStatus(QStringLiteral("Average Rip Speed Was ") + RipRules::speedText(m_averageSpeed) +
              QStringLiteral("x"));
    m_ui->ListView1->setChecked(m_ripRow, false);
    m_ui->eprog->setValue(0);
    endTrack();
    Command17_Click();
}

void FrameCDMode::test_Failed(const QString& message) {
    // The job stops here: the track stays checked, so the next press of Rip tries it again.
    endTrack();
    m_replaceAll.reset();
    m_context.test.EndRipJob();
    ErrorBoundary::report(message);
}

void FrameCDMode::setTrackChecks(bool on) {
    ReportList& list = *m_ui->ListView1;
    for (qint32 row = 1; row <= list.Count(); ++row)
        list.setChecked(row, on);
}

void FrameCDMode::mnuoptcdmode4_Click() {
    setTrackChecks(true);
    addStatus(QStringLiteral("All Tracks Selected"));
}

void FrameCDMode::mnuoptcdmode5_Click() {
    setTrackChecks(false);
    addStatus(QStringLiteral("All Tracks UnChecked"));
}

void FrameCDMode::mnuoptcdmode6_Click() {
    releaseDrives();
    m_context.state.renamedTracks = False16;
    Combo1_Click();
}

void FrameCDMode::mnuoptcdmode7_Click() {
    m_ui->lstStatus->clear();
}

void FrameCDMode::mnuoptcdmode8_Click() {
    TrackRename& dialog = frmTrackRename();
    dialog.show();
    dialog.raise();
}
