// The recorder window and its options dialog on fake components.
#include "panelkit/ErrorBoundary.h"
#include "panelkit/SharedState.h"
#include "recorder/FrmMainA.h"
#include "recorder/FrmOptions.h"
#include "tests/fakes/Fakes.h"
#include "tests/qt/ModalHelper.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

const QString kDefaultPath = QStringLiteral("/home/user/Music/Recordings/capture.mp3");
const QString kQuestion =
    QStringLiteral("This will delete the current recording! Are you sure you want to proceed?");

QStringList items(const QComboBox* list) {
    QStringList texts;
    for (int i = 0; i < list->count(); ++i)
        texts << list->itemText(i);
    return texts;
}

// The recorder window, loaded and shown, on fakes; the error boundary reports to `errors`.
struct RecorderFixture {
    CallLog log;
    FakeRecord record{&log};
    FakePlayer player{&log};
    FakeSoundCard soundCard{&log};
    FakeCommonDialog saveDialog{&log};
    FakeMessageBox messageBox{&log};
    FakeMessageBox errors;
    FakeSettingsStore store;
    FakeSkin skin{&log};
    FakeMainWindow main;
    SharedState state;
    FrmMainA window{{record, player, soundCard, saveDialog, messageBox, store, skin, main, state}};

    RecorderFixture() {
        ErrorBoundary::setMessageBox(&errors);
        // A device list, the default first, as the real recorder reports it.
        record.devices = {{"Default", ""}, {"Line In", "hw:0"}, {"USB Mic", "hw:1"}};
        record.defaultDevice = QStringLiteral("hw:0");
        for (const QString& id : {QString(), QStringLiteral("hw:0"), QStringLiteral("hw:1")})
            record.formats.insert(id, formatNames(20));
        record.formats.insert(QStringLiteral("hw:1"), formatNames(10));
        record.bitrates = {"32", " 64 ", "128", "192", "320"};
        soundCard.mixers.insert(QStringLiteral("Default"), {7, {"Capture"}});
        soundCard.mixers.insert(QStringLiteral("Line In"), {0, {"Mic", "Line", "CD"}});
        window.open();
    }
    ~RecorderFixture() { ErrorBoundary::setMessageBox(nullptr); }

    static QStringList formatNames(int n) {
        QStringList names;
        for (int i = 0; i < n; ++i)
            names << QStringLiteral("format %1").arg(i);
        return names;
    }

    template <class T> T* child(const QString& name) const { return window.findChild<T*>(name); }
    QString time() const { return child<QLabel>("SkinLabelTime")->text(); }
    QString txtFile() const { return child<QLineEdit>("TxtFile")->text(); }
    bool optionsEnabled() const { return child<QAction>("mnuOptions")->isEnabled(); }
    bool pausedShown() const { return child<QLabel>("LabelPaused")->isVisible(); }
    QTimer* timer() const { return child<QTimer>(QStringLiteral("TimerProgress")); }
    bool timerOn() const { return timer()->isActive(); }
    void tick() { window.TimerProgress_Timer(); }
    void click(const char* name) { child<QPushButton>(QLatin1String(name))->click(); }

    // The calls on the recorder and the player since the last time, then forgets them.
    QStringList take() {
        QStringList calls;
        for (const QString& call : std::as_const(log.calls))
            if (call.startsWith(QLatin1String("Record.")) ||
                call.startsWith(QLatin1String("Player.")))
                calls << call;
        log.clear();
        return calls;
    }

    // Settings as an earlier session stored them, read by loading the window afresh.
    void reload(const QMap<QString, QString>& stored) {
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            store.settings.insert(QStringLiteral("QuillRecorder/Settings/") + it.key(), it.value());
        window.close();
        window.open();
    }

    // Opens the options dialog and hands it to `answer` while it is shown; false when it did
    // not open.
    bool options(const std::function<void(FrmOptions*)>& answer) {
        return answerModal<FrmOptions>([this] { window.mnuOptions_Click(); }, answer);
    }
};

template <class T> T* in(QWidget* dialog, const char* name) {
    return dialog->findChild<T*>(QLatin1String(name));
}

} // namespace

class TestRecorderWindows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void freshLoad() {
        RecorderFixture f;
        QCOMPARE(f.window.windowTitle(), QStringLiteral("Sound Recorder"));
        QCOMPARE(f.time(), QStringLiteral("0:00:0"));
        QCOMPARE(f.txtFile(), kDefaultPath);
        QCOMPARE(f.log.calls.mid(0, 2), QStringList({"Skin.LoadSkin(/opt/melvane/melvane.skn)",
                                                     "Skin.ApplySkin(FrmMainA)"}));
        QVERIFY(!f.timerOn());
        QCOMPARE(f.timer()->interval(), 200);
        const std::pair<const char*, const char*> captions[] = {
            {"CmdRecord", "Record"}, {"CmdPause", "Pause"}, {"CmdStop", "Stop"},
            {"CmdPlay", "Play"},     {"Command1", "Reset"}, {"CmdDest", "Destination...."}};
        for (const auto& [name, caption] : captions)
            QCOMPARE(f.child<QPushButton>(QLatin1String(name))->text(), QLatin1String(caption));
    }

    // Record, pause, record again (resumes), stop; the time display follows the recorded time.
    void recordPauseResumeStop() {
        RecorderFixture f;
        f.store.settings.insert("QuillRecorder/Settings/SelectedDevice", "hw:1");
        f.window.close();
        f.window.open();
        f.take();
        f.click("CmdRecord");
        QCOMPARE(f.take(),
                 QStringList({"Record.IsPaused()", "Record.setFileName(" + kDefaultPath + ")",
                              "Record.setPCMFormat(15)", "Record.setMP3Bitrate(128)",
                              "Record.setEncoderDLL(lame_enc.dll)", "Record.setDevice(hw:1)",
                              "Record.setOutputFormat(1)", "Record.StartRecording()"}));
        QVERIFY(!f.optionsEnabled());
        QVERIFY(f.timerOn());
        f.record.recordedTime = 65300;
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:05:3"));
        QCOMPARE(f.take(), QStringList({"Record.IsRecording()", "Record.RecordedTime()",
                                        "Record.IsPaused()", "Player.PlayerState()"}));
        QVERIFY(!f.pausedShown());

        // Paused: the mark shows beside the time, whose text keeps its form.
        f.click("CmdPause");
        QCOMPARE(f.take(), QStringList({"Record.PauseRecording()", "Player.PausePlayback()",
                                        "Record.IsPaused()"}));
        QVERIFY(f.pausedShown());
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:05:3"));
        QVERIFY(f.pausedShown());
        f.take();
        f.click("CmdRecord");
        QCOMPARE(f.take(), QStringList({"Record.IsPaused()", "Record.ResumeRecording()",
                                        "Record.IsPaused()", "Player.PlayerState()"}));
        QVERIFY(!f.pausedShown());
        QVERIFY(f.timerOn());
        QVERIFY(!f.optionsEnabled());
        // Reset clears the display; the next tick writes the real time again.
        f.click("Command1");
        QCOMPARE(f.time(), QStringLiteral("0:00:0"));
        f.record.recordedTime = 70000;
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:10:0"));
        f.take();

        f.click("CmdPause");
        f.click("CmdStop");
        QVERIFY(!f.pausedShown());
        f.take();
        f.click("CmdStop");
        QCOMPARE(f.take(), QStringList({"Player.StopPlayback()", "Record.StopRecording()"}));
        QVERIFY(f.optionsEnabled());
        QVERIFY(!f.timerOn());
        for (QPushButton* button : f.window.findChildren<QPushButton*>())
            QVERIFY(button->isEnabled());
    }

    // The end of a recording shows the time the file holds, not the last tick's, and keeps it:
    // after Stop, and after a recording that ended by itself (a device gone), which also
    // unlocks the options. Playback still running keeps the timer for its position.
    void theEndShowsTheTimeRecorded() {
        RecorderFixture f;
        f.click("CmdRecord");
        f.record.recordedTime = 13000;
        f.tick();
        f.record.recordedTime = 14000; // captured after the last tick
        f.click("CmdStop");
        f.record.raiseRecordingStopped();
        QCOMPARE(f.time(), QStringLiteral("0:14:0"));

        f.click("CmdRecord");
        f.record.recordedTime = 65300;
        f.tick();
        f.record.recordedTime = 66000;
        f.record.raiseRecordingStopped(); // the device went away
        QVERIFY(f.optionsEnabled());
        QCOMPARE(f.time(), QStringLiteral("1:06:0"));
        QVERIFY(!f.timerOn()); // a tick would show the stopped player's 0:00:0

        f.click("CmdRecord");
        f.click("CmdPlay");
        f.player.position = 2.5;
        f.record.raiseRecordingStopped();
        QVERIFY(f.timerOn());
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("0:02:5"));
    }

    // A recording that cannot start is reported and has stopped: the options are free again,
    // the timer is off. Failures after the start are reported too.
    void recordingFailsToStart() {
        RecorderFixture f;
        f.record.startError = QStringLiteral("The capture device \"hw:9\" is not there.");
        f.click("CmdRecord");
        QCOMPARE(f.errors.shown.size(), 1);
        QCOMPARE(f.errors.shown[0].prompt, f.record.startError);
        QVERIFY(f.optionsEnabled());
        QVERIFY(!f.timerOn());
        // Usable from the menu, not only enabled.
        QVERIFY(answerModal<FrmOptions>(
            [&] { f.child<QAction>("mnuOptions")->trigger(); },
            [](FrmOptions* d) { in<QPushButton>(d, "CmdCancel")->click(); }));
        Q_EMIT f.record.Failed(QStringLiteral("disk full"));
        QCOMPARE(f.errors.shown.size(), 2);
    }

    // Play plays the recorder's file, not the text box's; pause holds, Play resumes; the end of
    // playback stops the display. During a recording the display shows the recorded time.
    void playBack() {
        RecorderFixture f;
        f.click("CmdRecord");
        f.saveDialog.answers << QStringLiteral("/elsewhere/other.mp3");
        f.click("CmdDest");
        QCOMPARE(f.txtFile(), QStringLiteral("/elsewhere/other.mp3"));
        f.take();
        f.click("CmdPlay");
        QCOMPARE(f.take(), QStringList({"Player.PlayerState()", "Record.FileName()",
                                        "Player.Play(" + kDefaultPath + ")", "Record.IsPaused()",
                                        "Player.PlayerState()"}));
        f.record.recordedTime = 3000;
        f.player.position = 1.5;
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("0:03:0"));

        f.click("CmdStop");
        f.click("CmdPlay");
        QVERIFY(f.timerOn());
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("0:01:5"));
        f.click("CmdPause");
        QCOMPARE(f.player.state, Player::Paused);
        QVERIFY(f.pausedShown());
        f.take();
        f.click("CmdPlay");
        QCOMPARE(f.take(), QStringList({"Player.PlayerState()", "Player.ResumePlayback()",
                                        "Record.IsPaused()", "Player.PlayerState()"}));
        QVERIFY(!f.pausedShown());
        f.player.raisePlaybackFinished();
        QVERIFY(!f.timerOn());
    }

    // WAVE goes under a .wav name and MP3 under .mp3; the text box shows the name written.
    void recordsUnderTheFormatsEnding_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<qint32>("format");
        QTest::addColumn<QString>("written");
        QTest::newRow("wave into an mp3 name") << "/r/capture.mp3" << 0 << "/r/capture.wav";
        QTest::newRow("mp3 into a wav name") << "/r/take.WAV" << 1 << "/r/take.mp3";
        QTest::newRow("mp3 kept") << "/r/Take.MP3" << 1 << "/r/Take.MP3";
        QTest::newRow("no ending") << "/r/take" << 0 << "/r/take.wav";
        QTest::newRow("another ending") << "/r/take.ogg" << 1 << "/r/take.ogg.mp3";
    }

    void recordsUnderTheFormatsEnding() {
        QFETCH(QString, path);
        QFETCH(qint32, format);
        QFETCH(QString, written);
        RecorderFixture f;
        f.reload({{"SaveToPath", path}, {"OutputFormat", QString::number(format)}});
        f.click("CmdRecord");
        QCOMPARE(f.log.matching("Record.setFileName"),
                 QStringList({"Record.setFileName(" + written + ")"}));
        QCOMPARE(f.txtFile(), written);
        QCOMPARE(f.window.settings().SaveToPath, written);
        f.click("CmdStop");
        f.take();
        f.click("CmdPlay");
        QVERIFY(f.log.calls.contains("Player.Play(" + written + ")"));
    }

    // Recording onto an existing file asks first, as the save dialog would; No leaves
    // everything as it was. A file the save dialog just confirmed is not asked about again,
    // but the next take onto it is.
    void recordAsksBeforeReplacing() {
        QTemporaryDir dir;
        const QString take = dir.filePath(QStringLiteral("take.mp3"));
        QVERIFY(QFile(take).open(QIODevice::WriteOnly));
        RecorderFixture f;
        f.reload({{"SaveToPath", take}});
        f.messageBox.results << MessageBox::Result::No;
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 1);
        QCOMPARE(f.messageBox.shown[0].prompt,
                 take + QStringLiteral(" already exists.\nDo you want to replace it?"));
        QCOMPARE(f.messageBox.shown[0].buttons, MessageBox::Buttons::YesNo);
        QCOMPARE(f.messageBox.shown[0].icon, MessageBox::Icon::Exclamation);
        QCOMPARE(f.record.count("StartRecording"), 0);
        QCOMPARE(f.record.count("setFileName"), 0);
        QVERIFY(f.optionsEnabled());
        QVERIFY(!f.timerOn());

        f.messageBox.results << MessageBox::Result::Yes;
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 2);
        QCOMPARE(f.record.count("StartRecording"), 1);
        // Resuming a paused recording asks nothing.
        f.click("CmdPause");
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 2);
        f.click("CmdStop");

        f.saveDialog.answers << take;
        f.click("CmdDest");
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 2);
        QCOMPARE(f.record.count("StartRecording"), 2);
        f.click("CmdStop");
        f.messageBox.results << MessageBox::Result::No;
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 3);
        QCOMPARE(f.record.count("StartRecording"), 2);

        // A name that is free asks nothing.
        f.reload({{"SaveToPath", dir.filePath(QStringLiteral("new.mp3"))}});
        f.click("CmdRecord");
        QCOMPARE(f.messageBox.shown.size(), 3);
        QCOMPARE(f.record.count("StartRecording"), 3);
    }

    // Each load offers the recordings a crash left, found around the destination: Yes keeps
    // one (Play then plays it), No deletes it, Cancel leaves it; a failure is reported and the
    // next is still offered.
    void offersInterruptedRecordings() {
        QTemporaryDir dir;
        const QString deleted = dir.filePath(QStringLiteral("b.wav.recording"));
        QVERIFY(QFile(deleted).open(QIODevice::WriteOnly));
        RecorderFixture f;
        f.record.interrupted = {"/r/a.mp3.recording", deleted, "/r/c.mp3.recording",
                                "/r/d.mp3.recording", "/r/e.mp3.recording"};
        f.record.recovered.insert("/r/a.mp3.recording", "/r/a (2).mp3");
        f.record.recovered.insert("/r/d.mp3.recording", "/r/d.mp3");
        f.record.recovered.insert("/r/e.mp3.recording", QString()); // it held nothing
        using R = MessageBox::Result;
        f.messageBox.results = {R::Yes, R::Ok, R::No, R::Cancel, R::Yes, R::Ok, R::Yes, R::Ok};
        f.window.close();
        f.log.clear();
        f.window.open(); // the fixture's first load found nothing

        QCOMPARE(f.log.matching("Record.InterruptedRecordings"),
                 QStringList({"Record.InterruptedRecordings(/home/user/Music/Recordings)"}));
        QCOMPARE(f.log.matching("Record.RecoverRecording"),
                 QStringList({"Record.RecoverRecording(/r/a.mp3.recording)",
                              "Record.RecoverRecording(/r/d.mp3.recording)",
                              "Record.RecoverRecording(/r/e.mp3.recording)"}));
        QCOMPARE(f.messageBox.shown.size(), 8);
        QVERIFY(f.messageBox.shown[0].prompt.contains("/r/a.mp3.recording"));
        QCOMPARE(f.messageBox.shown[0].buttons, MessageBox::Buttons::YesNoCancel);
        QCOMPARE(f.messageBox.shown[0].icon, MessageBox::Icon::Question);
        QCOMPARE(f.messageBox.shown[1].prompt,
                 QStringLiteral("The recording is kept in /r/a (2).mp3. Play plays it."));
        QVERIFY(!QFile::exists(deleted));
        QVERIFY(f.messageBox.shown[7].prompt.contains("held no audio"));
        QCOMPARE(f.record.FileName(), QStringLiteral("/r/d.mp3"));
        QVERIFY(f.errors.shown.isEmpty());
        QCOMPARE(f.txtFile(), kDefaultPath);

        // A recovery that fails is reported; the window is still shown.
        f.record.interrupted = {"/r/x.mp3.recording"};
        f.record.recoverError = QStringLiteral("Cannot recover the recording: it is a link");
        f.messageBox.results << MessageBox::Result::Yes;
        f.window.close();
        f.window.open();
        QCOMPARE(f.errors.shown.size(), 1);
        QCOMPARE(f.errors.shown[0].prompt, f.record.recoverError);
        QVERIFY(f.window.isVisible());
    }

    void chooseTheOutputFile() {
        RecorderFixture f;
        f.saveDialog.answers << QString();
        f.click("CmdDest");
        const QString ends(2, QChar(0));
        QCOMPARE(
            f.log.matching("CommonDialog."),
            QStringList({"CommonDialog.setFilter(MP3 Audio files|*.mp3|PCM Wave "
                         "files|*.wav|All Files|*.*)",
                         "CommonDialog.setFilterIndex(1)",
                         "CommonDialog.setFileName(output.mp3" + QString(1024, u' ') + ends + ")",
                         "CommonDialog.setInitDir(" + kDefaultPath + ends + ")",
                         "CommonDialog.setDefaultExt(mp3)",
                         "CommonDialog.setDialogTitle(Select output file)",
                         "CommonDialog.setFlags(2621446)", "CommonDialog.setOwner(FrmMainA)",
                         "CommonDialog.ShowSave()", "CommonDialog.FileName()"}));
        QCOMPARE(f.txtFile(), kDefaultPath); // cancelled
        QCOMPARE(f.window.settings().SaveToPath, kDefaultPath);

        f.saveDialog.answers << QStringLiteral("/r/new.wav") + QChar(0) + QStringLiteral("junk");
        f.click("CmdDest");
        QCOMPARE(f.txtFile(), QStringLiteral("/r/new.wav"));
        QCOMPARE(f.window.settings().SaveToPath, QStringLiteral("/r/new.wav"));
    }

    void newRecording() {
        QTemporaryDir dir;
        const QString take1 = dir.filePath(QStringLiteral("take1.mp3"));
        RecorderFixture f;
        // Nothing recorded yet: no question, straight to the dialog.
        f.saveDialog.answers << take1;
        f.child<QAction>("mnuNew")->trigger();
        QVERIFY(f.messageBox.shown.isEmpty());
        QCOMPARE(f.saveDialog.count("ShowSave"), 1);
        QCOMPARE(f.txtFile(), take1);

        f.click("CmdRecord");
        QVERIFY(QFile(take1).open(QIODevice::WriteOnly));
        f.record.recordedTime = 2000;
        f.tick();
        f.click("CmdStop");
        // No: the file and the display stay.
        f.messageBox.results << MessageBox::Result::No;
        f.child<QAction>("mnuNew")->trigger();
        QCOMPARE(f.messageBox.shown.size(), 1);
        QCOMPARE(f.messageBox.shown[0].prompt, kQuestion);
        QCOMPARE(f.messageBox.shown[0].buttons, MessageBox::Buttons::YesNo);
        QCOMPARE(f.messageBox.shown[0].icon, MessageBox::Icon::Question);
        QVERIFY(QFile::exists(take1));
        QCOMPARE(f.time(), QStringLiteral("0:02:0"));
        QCOMPARE(f.saveDialog.count("ShowSave"), 1);
        // Yes: the file goes, the display is cleared, a new file is asked for.
        f.messageBox.results << MessageBox::Result::Yes;
        f.child<QAction>("mnuNew")->trigger();
        QVERIFY(!QFile::exists(take1));
        QCOMPARE(f.time(), QStringLiteral("0:00:0"));
        QCOMPARE(f.saveDialog.count("ShowSave"), 2);
    }

    // Closing stops the recording (kept) and the player; reopening reads the settings again,
    // so a choice saved in the options lasts until then.
    void closeAndReopen() {
        RecorderFixture f;
        QVERIFY(f.options([](FrmOptions* d) {
            in<QComboBox>(d, "CmbBitrates")->setCurrentIndex(4);
            in<QPushButton>(d, "CmdSave")->click();
        }));
        QCOMPARE(f.window.settings().MP3Bitrate, 320);
        f.click("CmdRecord");
        f.take();
        f.window.close();
        QCOMPARE(f.take(), QStringList({"Player.StopPlayback()", "Record.StopRecording()"}));
        QVERIFY(!f.timerOn());
        f.window.open();
        QCOMPARE(f.window.settings().MP3Bitrate, 128);
        QVERIFY(f.window.isVisible());
    }

    // The dialog opens right of the recorder, filled by the recorder's events and preset from
    // the settings; the PCM format is clamped to the device's formats even when cancelled.
    void optionsArePresetAndClamped() {
        RecorderFixture f;
        f.reload({{"SelectedDevice", "hw:1"}, {"MP3Bitrate", "64"}});
        f.log.clear();
        QVERIFY(f.options([&](FrmOptions* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("Options"));
            QVERIFY(d->isModal());
            QCOMPARE(d->parentWidget(), &f.window);
            const QRect recorder = f.window.frameGeometry();
            QCOMPARE(d->frameGeometry().topLeft(),
                     QPoint(recorder.x() + recorder.width(), recorder.y()));
            QCOMPARE(items(in<QComboBox>(d, "CmbSoundCards")),
                     QStringList({"Default", "Line In", "USB Mic"}));
            QCOMPARE(in<QComboBox>(d, "CmbSoundCards")->currentIndex(), 2);
            QCOMPARE(in<QComboBox>(d, "CmbBitrates")->currentText(), QStringLiteral("64"));
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->count(), 10);
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->currentIndex(), 9);
            QVERIFY(in<QRadioButton>(d, "OptionMP3")->isChecked());
            QCOMPARE(in<QComboBox>(d, "CmdEncoder")->currentText(), QStringLiteral("lame_enc.dll"));
            // "USB Mic" has no mixer.
            QCOMPARE(in<QComboBox>(d, "CmbLines")->count(), 0);
            for (const char* name : {"CmbFormats", "CmbBitrates", "CmdEncoder"})
                QVERIFY(in<QWidget>(d, name)->isEnabled());
            in<QPushButton>(d, "CmdCancel")->click();
        }));
        QCOMPARE(f.window.settings().PCMFormat, 9);
        QCOMPARE(f.window.settings().SelectedDevice, QStringLiteral("hw:1"));
        QCOMPARE(f.take(), QStringList({"Record.ListDevices()", "Record.ListBitrates()",
                                        "Record.ListFormats(hw:1)"}));
        QVERIFY(!f.window.findChild<FrmOptions*>());

        // A bit rate the recorder does not offer leaves the list without a selection. The
        // devices are listed afresh at each opening.
        f.record.devices = {{"", "hw:7"}, {"Line In", "hw:0"}, {"USB Mic", "hw:1"}};
        f.reload({{"SelectedDevice", "hw:7"}, {"MP3Bitrate", "100"}});
        f.log.clear();
        QVERIFY(f.options([](FrmOptions* d) {
            QCOMPARE(in<QComboBox>(d, "CmbBitrates")->currentIndex(), -1);
            QCOMPARE(items(in<QComboBox>(d, "CmbBitrates")),
                     QStringList({"32", "64", "128", "192", "320"}));
            QCOMPARE(in<QComboBox>(d, "CmbSoundCards")->currentIndex(), 0);
        }));
        QCOMPARE(f.log.matching("Record.ListFormats"), QStringList({"Record.ListFormats(hw:7)"}));
    }

    // Choosing a device refills its formats and lines; choosing a line applies it at once, and
    // it stays applied after Cancel. The format options lock the encoder either way.
    void optionsFollowTheUser() {
        RecorderFixture f;
        f.reload({{"SelectedLine", "2"}});
        QVERIFY(f.options([&](FrmOptions* d) {
            auto* cards = in<QComboBox>(d, "CmbSoundCards");
            auto* lines = in<QComboBox>(d, "CmbLines");
            // The default device: the sound server's mixer has one line, line 2 is not there.
            QCOMPARE(cards->currentIndex(), 0);
            QCOMPARE(items(lines), QStringList({"Capture"}));
            QCOMPARE(lines->currentIndex(), -1);

            f.log.clear();
            cards->setCurrentIndex(1);
            Q_EMIT cards->activated(1);
            QCOMPARE(f.log.calls,
                     QStringList({"Record.ListFormats(hw:0)", "SoundCard.FindMixer(Line In)",
                                  "SoundCard.setMixerId(0)", "SoundCard.setOpenMixer(true)",
                                  "SoundCard.LineCount()", "SoundCard.setLineIndex(0)",
                                  "SoundCard.LineName()", "SoundCard.setLineIndex(1)",
                                  "SoundCard.LineName()", "SoundCard.setLineIndex(2)",
                                  "SoundCard.LineName()"}));
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->currentIndex(), 15);
            QCOMPARE(items(lines), QStringList({"Mic", "Line", "CD"}));
            QCOMPARE(lines->currentIndex(), 2);

            f.log.clear();
            lines->setCurrentIndex(1);
            Q_EMIT lines->activated(1);
            QCOMPARE(f.log.calls,
                     QStringList({"SoundCard.setLineIndex(1)", "SoundCard.setLineSelected(true)"}));

            auto* mp3 = in<QRadioButton>(d, "OptionMP3");
            auto* wav = in<QRadioButton>(d, "OptionWAV");
            const auto enabled = [d] {
                return QList<bool>{in<QWidget>(d, "CmbFormats")->isEnabled(),
                                   in<QWidget>(d, "CmdEncoder")->isEnabled(),
                                   in<QWidget>(d, "CmbBitrates")->isEnabled()};
            };
            wav->click();
            QCOMPARE(enabled(), QList<bool>({true, false, false}));
            mp3->click();
            QCOMPARE(enabled(), QList<bool>({false, false, true}));
            in<QPushButton>(d, "CmdCancel")->click();
        }));
        QCOMPARE(f.soundCard.selectedLine, 1);
        QCOMPARE(f.window.settings().SelectedLine, 1);
        QCOMPARE(f.window.settings().SelectedDevice, QString());
    }

    void optionsSave() {
        RecorderFixture f;
        QVERIFY(f.options([](FrmOptions* d) {
            auto* cards = in<QComboBox>(d, "CmbSoundCards");
            cards->setCurrentIndex(1);
            Q_EMIT cards->activated(1);
            in<QComboBox>(d, "CmbFormats")->setCurrentIndex(4);
            in<QComboBox>(d, "CmbBitrates")->setCurrentIndex(3);
            in<QComboBox>(d, "CmbLines")->setCurrentIndex(0);
            in<QComboBox>(d, "CmdEncoder")->setEditText(QStringLiteral("bladeenc.dll"));
            in<QRadioButton>(d, "OptionWAV")->click();
            in<QPushButton>(d, "CmdSave")->click();
            QVERIFY(!d->isVisible());
        }));
        const RecorderSettings& s = f.window.settings();
        QCOMPARE(s.SelectedDevice, QStringLiteral("hw:0"));
        QCOMPARE(s.OutputFormat, 0);
        QCOMPARE(s.EncoderDLL, QStringLiteral("bladeenc.dll"));
        QCOMPARE(s.MP3Bitrate, 192);
        QCOMPARE(s.PCMFormat, 4);
        QCOMPARE(s.SelectedLine, 0);

        // Without a device selected, Save fails and the dialog stays, the settings untouched.
        QVERIFY(f.options([&](FrmOptions* d) {
            in<QComboBox>(d, "CmbSoundCards")->setCurrentIndex(-1);
            in<QComboBox>(d, "CmbFormats")->setCurrentIndex(0);
            in<QPushButton>(d, "CmdSave")->click();
            QVERIFY(d->isVisible());
            QCOMPARE(f.errors.shown.size(), 1);
            QVERIFY(f.errors.shown[0].prompt.startsWith(QLatin1String("Index out of bounds")));
        }));
        QCOMPARE(s.PCMFormat, 4);
    }

    // With a selected item whose name is empty, the mixer is looked up by the name of the item
    // after the default device's.
    void defaultDeviceNameIsTakenOneItemOn() {
        RecorderFixture f;
        f.record.devices = {{"", "hw:7"}, {"Line In", "hw:0"}, {"USB Mic", "hw:1"}};
        f.reload({{"SelectedDevice", "hw:7"}});
        QVERIFY(f.options([&](FrmOptions*) {
            QCOMPARE(f.log.matching("SoundCard.FindMixer"),
                     QStringList({"SoundCard.FindMixer(USB Mic)"}));
        }));
    }
};

int runWindowTests(int argc, char** argv) {
    TestRecorderWindows tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_recorder_windows.moc"
