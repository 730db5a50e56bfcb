#include "recorder/FrmMainA.h"

#include "components/CommonDialog.h"
#include "components/MessageBox.h"
#include "components/Player.h"
#include "components/Record.h"
#include "components/Skin.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "recorder/FrmOptions.h"
#include "ui_FrmMainA.h"

#include <QCloseEvent>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTimer>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {

const QString kTimeZero = QStringLiteral("0:00:0");

// Flags of the save dialog: overwrite prompt, hide read-only, explorer style, long names.
constexpr qint32 kSaveFlags = 0x280006;

} // namespace

FrmMainA::FrmMainA(RecorderContext context)
    : QMainWindow(nullptr), m_context(context), m_ui(std::make_unique<Ui::FrmMainA>()) {
    m_ui->setupUi(this);
    // Closing the recorder alone must not end the program; closing the main window does.
    setAttribute(Qt::WA_QuitOnClose, false);
    m_ui->LabelPaused->hide();
    m_progressTimer = new QTimer(this);
    m_progressTimer->setObjectName(QStringLiteral("TimerProgress"));
    m_progressTimer->setInterval(200);
    connectHandlers();
}

FrmMainA::~FrmMainA() {
    delete m_options.data();
}

void FrmMainA::connectHandlers() {
    const std::pair<QPushButton*, void (FrmMainA::*)()> buttons[] = {
        {m_ui->CmdRecord, &FrmMainA::CmdRecord_Click}, {m_ui->CmdPause, &FrmMainA::CmdPause_Click},
        {m_ui->CmdStop, &FrmMainA::CmdStop_Click},     {m_ui->CmdPlay, &FrmMainA::CmdPlay_Click},
        {m_ui->Command1, &FrmMainA::Command1_Click},   {m_ui->CmdDest, &FrmMainA::CmdDest_Click}};
    for (const auto& [button, method] : buttons)
        connect(button, &QPushButton::clicked, this, handler(this, method));
    const std::pair<QAction*, void (FrmMainA::*)()> menus[] = {
        {m_ui->mnuRecord, &FrmMainA::CmdRecord_Click},
        {m_ui->mnuPause, &FrmMainA::CmdPause_Click},
        {m_ui->mnuStop, &FrmMainA::CmdStop_Click},
        {m_ui->mnuPlay, &FrmMainA::CmdPlay_Click},
        {m_ui->mnuReset, &FrmMainA::Command1_Click},
        {m_ui->mnuNew, &FrmMainA::mnuNew_Click},
        {m_ui->mnuOptions, &FrmMainA::mnuOptions_Click},
        {m_ui->mnuExit, &FrmMainA::mnuExit_Click}};
    for (const auto& [action, method] : menus)
        connect(action, &QAction::triggered, this, handler(this, method));
    connect(m_progressTimer, &QTimer::timeout, this, handler(this, &FrmMainA::TimerProgress_Timer));

    Record& record = m_context.record;
    connect(&record, &Record::RecordingStopped, this,
            handler(this, &FrmMainA::Record_RecordingStopped));
    connect(&record, &Record::DeviceListed, this,
            guarded([this](const QString& n, const QString& id) { Record_DeviceListed(n, id); }));
    connect(&record, &Record::FormatListed, this,
            guarded([this](qint32 i, const QString& n) { Record_FormatListed(i, n); }));
    connect(&record, &Record::BitrateListed, this,
            guarded([this](const QString& text) { Record_BitrateListed(text); }));
    connect(&m_context.player, &Player::PlaybackFinished, this,
            handler(this, &FrmMainA::Player_PlaybackFinished));
    // Work that fails after its call returned is reported like any failed handler.
    connect(&record, &Record::Failed, this, &ErrorBoundary::report);
    connect(&m_context.player, &Player::Failed, this, &ErrorBoundary::report);
}

void FrmMainA::open() {
    const bool fresh = !m_loaded;
    if (fresh) {
        Form_Load();
        m_loaded = true;
    }
    show();
    raise();
    activateWindow();
    if (fresh)
        offerInterruptedRecordings();
}

void FrmMainA::offerInterruptedRecordings() {
    Record& record = m_context.record;
    MessageBox& box = m_context.messageBox;
    const QStringList found = record.InterruptedRecordings(QFileInfo(m_settings.SaveToPath).path());
    for (const QString& file : found) {
        try {
            const MessageBox::Result answer = box.MsgBox(
                QStringLiteral("A recording was interrupted before it was saved (the program "
                               "ended or the computer stopped):\n%1\n\nYes keeps what was "
                               "recorded as a playable file, No deletes it, Cancel leaves it "
                               "for the next time.")
                    .arg(file),
                MessageBox::Buttons::YesNoCancel, MessageBox::Icon::Question);
            if (answer == MessageBox::Result::No) {
                QFile::remove(file);
            } else if (answer == MessageBox::Result::Yes) {
                const QString kept = record.RecoverRecording(file);
                if (kept.isEmpty()) {
                    box.MsgBox(QStringLiteral("%1 held no audio: nothing had been recorded "
                                              "before it was interrupted. It has been removed.")
                                   .arg(file),
                               MessageBox::Buttons::OkOnly, MessageBox::Icon::Information);
                } else {
                    // The recovered file is the recording Play plays and New deletes.
                    record.setFileName(kept);
                    box.MsgBox(
                        QStringLiteral("The recording is kept in %1. Play plays it.").arg(kept),
                        MessageBox::Buttons::OkOnly, MessageBox::Icon::Information);
                }
            }
        } catch (...) {
            ErrorBoundary::reportCurrentException();
        }
    }
}

void FrmMainA::Form_Load() {
    m_context.skin.LoadSkin(m_context.main.skinPath());
    m_context.skin.ApplySkin(this);
    SetRecorderDefaults(m_settings, m_context.store);
    LoadRecorderSettings(m_settings, m_context.store);
    m_ui->TxtFile->setText(m_settings.SaveToPath);
}

void FrmMainA::Form_Unload() {
    m_loaded = false;
    m_progressTimer->stop();
    delete m_options.data();
    // The recorder and the player belong to this window: closing it ends their work, and a
    // recording is completed and kept.
    m_context.player.StopPlayback();
    m_context.record.StopRecording();
}

void FrmMainA::closeEvent(QCloseEvent* event) {
    if (m_loaded) {
        try {
            Form_Unload();
        } catch (...) {
            ErrorBoundary::reportCurrentException();
        }
    }
    event->accept();
}

void FrmMainA::mnuExit_Click() {
    close();
}

void FrmMainA::CmdRecord_Click() {
    Record& record = m_context.record;
    if (record.IsPaused()) {
        record.ResumeRecording();
        showPaused();
        return;
    }
    RecorderSettings& s = m_settings;
    // WAVE under a .wav name, MP3 under .mp3; the text box shows the name written.
    const QString file = recordingFileName(s.SaveToPath, s.OutputFormat);
    if (!mayReplace(file))
        return;
    record.setFileName(file);
    record.setPCMFormat(s.PCMFormat);
    record.setMP3Bitrate(s.MP3Bitrate);
    record.setEncoderDLL(s.EncoderDLL);
    record.setDevice(s.SelectedDevice);
    record.setOutputFormat(s.OutputFormat);
    m_ui->TxtFile->setText(file);
    s.SaveToPath = file;
    m_ui->mnuOptions->setEnabled(false);
    try {
        record.StartRecording();
    } catch (...) {
        // A recording that could not start has stopped: the options are free again.
        m_ui->mnuOptions->setEnabled(true);
        throw;
    }
    m_progressTimer->start();
}

bool FrmMainA::mayReplace(const QString& file) {
    // The save dialog asked already for the file it returned; that answer holds once.
    const bool confirmed = file == m_confirmedFile;
    m_confirmedFile.clear();
    if (confirmed || !QFileInfo::exists(file))
        return true;
    return m_context.messageBox.MsgBox(
               QStringLiteral("%1 already exists.\nDo you want to replace it?").arg(file),
               MessageBox::Buttons::YesNo,
               MessageBox::Icon::Exclamation) == MessageBox::Result::Yes;
}

void FrmMainA::CmdPause_Click() {
    m_context.record.PauseRecording();
    m_context.player.PausePlayback();
    showPaused();
}

void FrmMainA::CmdStop_Click() {
    m_context.player.StopPlayback();
    m_context.record.StopRecording();
    m_ui->mnuOptions->setEnabled(true);
    m_progressTimer->stop();
    m_ui->LabelPaused->hide();
}

void FrmMainA::CmdPlay_Click() {
    Player& player = m_context.player;
    if (player.PlayerState() != Player::Paused) {
        m_progressTimer->start();
        // The file the recorder wrote last, whatever the text box shows now.
        player.Play(m_context.record.FileName());
    } else {
        player.ResumePlayback();
    }
    showPaused();
}

void FrmMainA::showPaused() {
    m_ui->LabelPaused->setVisible(m_context.record.IsPaused() ||
                                  m_context.player.PlayerState() == Player::Paused);
}

void FrmMainA::Command1_Click() {
    m_ui->SkinLabelTime->setText(kTimeZero);
}

void FrmMainA::CmdDest_Click() {
    CommonDialog& dialog = m_context.saveDialog;
    const QString ends(2, QChar(0));
    dialog.setFilter(QStringLiteral("MP3 Audio files|*.mp3|PCM Wave files|*.wav|All Files|*.*"));
    dialog.setFilterIndex(1);
    // Room for a long path, as users have always been given; the dialog drops the blanks.
    dialog.setFileName(QStringLiteral("output.mp3") + QString(1024, u' ') + ends);
    dialog.setInitDir(m_settings.SaveToPath + ends);
    dialog.setDefaultExt(QStringLiteral("mp3"));
    dialog.setDialogTitle(QStringLiteral("Select output file"));
    dialog.setFlags(kSaveFlags);
    dialog.setOwner(this);
    dialog.ShowSave();
    const QString chosen = dialog.FileName();
    if (chosen.isEmpty())
        return;
    m_ui->TxtFile->setText(chosen.left(chosen.indexOf(QChar(0))));
    m_settings.SaveToPath = m_ui->TxtFile->text();
    m_confirmedFile = m_settings.SaveToPath;
}

void FrmMainA::mnuNew_Click() {
    const QString file = m_context.record.FileName();
    if (!file.isEmpty()) {
        const MessageBox::Result answer = m_context.messageBox.MsgBox(
            QStringLiteral(
                "This will delete the current recording! Are you sure you want to proceed?"),
            MessageBox::Buttons::YesNo, MessageBox::Icon::Question);
        if (answer != MessageBox::Result::Yes)
            return;
        QFile::remove(file); // a file that is not there is no error
    }
    m_ui->SkinLabelTime->setText(kTimeZero);
    CmdDest_Click();
}

void FrmMainA::mnuOptions_Click() {
    delete m_options.data();
    // Loaded afresh for each opening and unloaded when it closes, also when filling it fails.
    const auto unload = qScopeGuard([this] { delete m_options.data(); });
    m_options = new FrmOptions({m_context.skin, m_context.main, m_context.record,
                                m_context.soundCard, m_settings, m_deviceIds},
                               this);
    const QRect recorder = frameGeometry();
    m_options->move(recorder.x() + recorder.width(), recorder.y());
    while (!m_deviceIds.isEmpty())
        m_deviceIds.removeFirst();
    m_context.record.ListDevices();
    m_context.record.ListBitrates();
    m_options->ApplySettings();
    m_options->exec();
}

void FrmMainA::TimerProgress_Timer() {
    const double t = m_context.record.IsRecording() ? m_context.record.RecordedTime() / 1000.0
                                                    : m_context.player.Position();
    m_ui->SkinLabelTime->setText(FormatRecordTime(t));
    showPaused();
}

void FrmMainA::Record_RecordingStopped() {
    m_ui->mnuOptions->setEnabled(true);
    // The time the file holds, not the last tick's, and it stays: the timer would show the
    // stopped player's position instead. Playback still running keeps it going.
    m_ui->SkinLabelTime->setText(FormatRecordTime(m_context.record.RecordedTime() / 1000.0));
    if (m_context.player.PlayerState() == Player::Stopped)
        m_progressTimer->stop();
    showPaused();
}

void FrmMainA::Player_PlaybackFinished() {
    m_progressTimer->stop();
    showPaused();
}

void FrmMainA::Record_DeviceListed(const QString& name, const QString& id) {
    if (m_options)
        m_options->addSoundCard(name);
    m_deviceIds.append(id);
}

void FrmMainA::Record_FormatListed(qint32, const QString& name) {
    if (m_options)
        m_options->addFormat(name);
}

void FrmMainA::Record_BitrateListed(const QString& text) {
    if (m_options)
        m_options->addBitrate(text);
}
