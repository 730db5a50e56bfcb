// The recorder window on fake components: recording, playback, the time display, the file.
#include "tests/recorder/RecorderFixture.h"

#include <QFile>
#include <QTemporaryDir>

class TestRecorderWindows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // A fresh load; then record, pause, record again (resumes), stop; the time display
    // follows the recorded time. Closing stops the recording (the file is kept) and the player.
    void recordPauseResumeStopAndClose() {
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

        f.reload({{"SelectedDevice", "hw:1"}});
        f.take();
        f.click("CmdRecord");
        QCOMPARE(f.take(),
                 QStringList({"Record.setFileName(" + kDefaultPath + ")", "Record.setPCMFormat(15)",
                              "Record.setMP3Bitrate(128)", "Record.setEncoderDLL(lame_enc.dll)",
                              "Record.setDevice(hw:1)", "Record.setOutputFormat(1)",
                              "Record.StartRecording()"}));
        QVERIFY(!f.optionsEnabled());
        QVERIFY(f.timerOn());
        f.record.recordedTime = 65300;
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:05:3"));
        QVERIFY(!f.pausedShown());

        // Paused: the mark shows beside the time, whose text keeps its form.
        f.click("CmdPause");
        QCOMPARE(f.take(), QStringList({"Record.PauseRecording()", "Player.PausePlayback()"}));
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:05:3"));
        QVERIFY(f.pausedShown());
        f.click("CmdRecord");
        QCOMPARE(f.take(), QStringList({"Record.ResumeRecording()"}));
        QVERIFY(!f.pausedShown());
        QVERIFY(f.timerOn());
        QVERIFY(!f.optionsEnabled());
        // Reset clears the display; the next tick writes the real time again.
        f.click("Command1");
        QCOMPARE(f.time(), QStringLiteral("0:00:0"));
        f.record.recordedTime = 70000;
        f.tick();
        QCOMPARE(f.time(), QStringLiteral("1:10:0"));

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

        f.click("CmdRecord");
        f.take();
        f.window.close();
        QCOMPARE(f.take(), QStringList({"Player.StopPlayback()", "Record.StopRecording()"}));
        QVERIFY(!f.timerOn());
    }

    // The end of a recording shows the time the file holds, not the last tick's, and keeps it:
    // after Stop, and after a recording that ended by itself (a device gone), which also
    // unlocks the options. Playback still running keeps the timer for its position. A
    // recording that cannot start is reported and has stopped; failures after the start are
    // reported too.
    void theEndOfARecording() {
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
        f.click("CmdStop");

        f.record.startError = QStringLiteral("The capture device \"hw:9\" is not there.");
        f.click("CmdRecord");
        QCOMPARE(f.errors.shown.size(), 1);
        QCOMPARE(f.errors.shown[0].prompt, f.record.startError);
        QVERIFY(!f.timerOn());
        // The options are usable from the menu again, not only enabled.
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
        QCOMPARE(f.take(), QStringList({"Player.Play(" + kDefaultPath + ")"}));
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
        QCOMPARE(f.take(), QStringList({"Player.ResumePlayback()"}));
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

    // Destination asks with the save dialog (a cancel keeps the file); New asks before it
    // deletes what was recorded (No keeps the file and the display), then asks for a new file.
    void destinationAndNewRecording() {
        QTemporaryDir dir;
        const QString take = dir.filePath(QStringLiteral("take.mp3"));
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
        QCOMPARE(f.txtFile(), kDefaultPath);
        QCOMPARE(f.window.settings().SaveToPath, kDefaultPath);
        // Nothing recorded yet: New asks nothing; the dialog's answer ends at its NUL.
        f.saveDialog.answers << take + QChar(0) + QStringLiteral("junk");
        f.child<QAction>("mnuNew")->trigger();
        QVERIFY(f.messageBox.shown.isEmpty());
        QCOMPARE(f.txtFile(), take);
        QCOMPARE(f.window.settings().SaveToPath, take);

        f.click("CmdRecord");
        QVERIFY(QFile(take).open(QIODevice::WriteOnly));
        f.record.recordedTime = 2000;
        f.tick();
        f.click("CmdStop");
        f.messageBox.results << MessageBox::Result::No << MessageBox::Result::Yes;
        f.child<QAction>("mnuNew")->trigger();
        QCOMPARE(f.messageBox.shown.size(), 1);
        QCOMPARE(f.messageBox.shown[0].prompt, kQuestion);
        QCOMPARE(f.messageBox.shown[0].buttons, MessageBox::Buttons::YesNo);
        QCOMPARE(f.messageBox.shown[0].icon, MessageBox::Icon::Question);
        QVERIFY(QFile::exists(take));
        QCOMPARE(f.time(), QStringLiteral("0:02:0"));
        QCOMPARE(f.saveDialog.count("ShowSave"), 2);
        // Yes: the file goes, the display is cleared, a new file is asked for.
        f.child<QAction>("mnuNew")->trigger();
        QVERIFY(!QFile::exists(take));
        QCOMPARE(f.time(), QStringLiteral("0:00:0"));
        QCOMPARE(f.saveDialog.count("ShowSave"), 3);
    }
};

int runWindowTests(int argc, char** argv) {
    TestRecorderWindows tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_recorder_windows.moc"
