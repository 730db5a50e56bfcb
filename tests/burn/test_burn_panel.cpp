// The burn panel alone, on a fake engine and a fake main window: the recorder list, the drive
// and disc boxes, the compilation and the burn job. (A refused or failed burn as the user sees
// it: test_vdrive_panel::faults, on the real engine.)
#include "components/Error.h"
#include "core/CommonHelpers.h"
#include "tests/burn/BurnPanelFixture.h"

#include <QComboBox>
#include <QTimer>

class TestBurnPanel : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void enteringBurnModeListsTheRecorders() {
        BurnFixture f;
        f.state.SelectedWriteSpeed = 16;
        f.enter();
        const QComboBox* combo = f.child<QComboBox>("driveCombo");
        QCOMPARE(combo->count(), 2);
        QCOMPARE(combo->itemText(0), QStringLiteral(" Plextor  PX-716A  1.11"));
        QCOMPARE(combo->itemText(1), QStringLiteral(" Melvane  Image Recorder  2.0"));
        // Listed through currentDrive, then the first entry is selected and shown.
        const QStringList recorders = f.log.matching("AudioBurner.setCurrentRecorder");
        QCOMPARE(recorders, QStringList({"AudioBurner.setCurrentRecorder(1)",
                                         "AudioBurner.setCurrentRecorder(2)",
                                         "AudioBurner.setCurrentRecorder(1)"}));
        QCOMPARE(f.state.currentDrive, qint16(1));
        QCOMPARE(f.text("driveTypeLbl"), QStringLiteral("CD-RW"));
        QCOMPARE(f.state.SelectedWriteSpeed, qint16(48));
        QCOMPARE(f.state.burnRunning, False16);
        for (const char* name : {"TestBurnChk", "FinilizeCDChk", "BurnProofChk"})
            QCOMPARE(f.child<SkinCheckBox>(name)->ForeColor(), QColor(0xE3E3E3));
        QCOMPARE(f.child<SkinCheckBox>("FinilizeCDChk")->Caption(),
                 QStringLiteral("Finalize Disc"));
        QCOMPARE(f.bar(2)->Max(), 100.0);
        // The lead-out monitor is there, stopped, and nothing starts it.
        const auto* monitor = f.child<QTimer>("Timer2");
        QVERIFY(!monitor->isActive());
        QCOMPARE(monitor->interval(), 100);

        // The user picks the second recorder.
        f.add({"/m/a.wav"});
        f.log.clear();
        f.pickRecorder(1);
        QCOMPARE(f.engine.currentRecorder, qint16(2));
        QCOMPARE(f.state.currentDrive, qint16(2));
        QCOMPARE(f.text("driveTypeLbl"), QStringLiteral("CD-R"));
        // The rows and the engine's compilation go together.
        QCOMPARE(f.list()->Count(), 0);
        QCOMPARE(f.state.trackCount, qint16(0));
        QCOMPARE(f.engine.tracks.size(), 0);

        // No recorder: an empty list, and the boxes keep what they showed.
        f.engine.recorders.clear();
        f.panel.enterBurnMode();
        QCOMPARE(combo->count(), 0);
        QCOMPARE(f.text("driveTypeLbl"), QStringLiteral("CD-R"));
    }

    // Type codes the box does not know keep the text it showed before.
    void driveBox_data() {
        QTest::addColumn<int>("typeBefore");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("readSpeed");
        QTest::addColumn<int>("buffer");
        QTest::addColumn<bool>("burnProof");
        QTest::addColumn<QStringList>("texts"); // type, read speed, buffer
        auto row = [](const char* name, int before, int type, int speed, int buffer, bool proof,
                      const QStringList& texts) {
            QTest::newRow(name) << before << type << speed << buffer << proof << texts;
        };
        row("generic", 3, 0, 0, 0, true, {"CD Device", "N/A", "0.0 MB"});
        row("1 keeps CD-RW", 3, 1, 1, 2 << 20, false, {"CD-RW", "1", "2.0 MB"});
        row("CD-R", 0, 2, 48, 1572864, true, {"CD-R", "48", "1.5 MB"});
        row("CD-ROM", 0, 4, -1, 0, true, {"CD-ROM", "N/A", "0.0 MB"});
        row("DVD-ROM", 0, 5, 16, 0, true, {"DVD-ROM", "16", "0.0 MB"});
        row("DVD-RW", 0, 6, 16, 0, true, {"DVD-RW", "16", "0.0 MB"});
        row("7 keeps CD-R", 2, 7, 8, 0, true, {"CD-R", "8", "0.0 MB"});
        row("-1 keeps DVD-ROM", 5, -1, 8, 0, true, {"DVD-ROM", "8", "0.0 MB"});
    }

    void driveBox() {
        QFETCH(int, typeBefore);
        QFETCH(int, type);
        QFETCH(int, readSpeed);
        QFETCH(int, buffer);
        QFETCH(bool, burnProof);
        QFETCH(QStringList, texts);
        BurnFixture f;
        f.state.currentDrive = 1;
        f.engine.recorders[0].type = typeBefore;
        f.panel.RefreshDriveInfo();
        f.engine.recorders[0] = {"V", "P",    "R",       type, qint16(readSpeed),
                                 8,   buffer, burnProof, true};
        f.panel.SelectBurnDrive();
        QCOMPARE(QStringList({f.text("driveTypeLbl"), f.text("driveMaxRSpeedLbl"),
                              f.text("driveBufferSizeLbl")}),
                 texts);
        // The box shows the flag inverted.
        QCOMPARE(f.child<SkinCheckBox>("BurnProofChk")->Value(), qint16(burnProof ? 0 : 1));
    }

    void discBox_data() {
        QTest::addColumn<qint32>("mediaType");
        QTest::addColumn<qint32>("mediaStatus");
        QTest::addColumn<QStringList>("texts"); // type, status, used, estimate
        QTest::addColumn<bool>("ejectEnabled");
        QTest::newRow("no disc, blank")
            << 0 << 0 << QStringList{"No Disc", "Blank", "0", "3.000 MB"} << false;
        QTest::newRow("write-once, appendable")
            << 1 << 1
            << QStringList{"CD-ROM or WriteOnce Disc", "Appendable", "2.000 MB", "3.000 MB"}
            << true;
        QTest::newRow("erasable, protected")
            << 2 << 2 << QStringList{"Erasable Disc", "Write Protected", "2.000 MB", "3.000 MB"}
            << true;
        QTest::newRow("DVD-RAM, unknown")
            << 3 << 3 << QStringList{"DVD-RAM", "Unknown", "0", "3.000 MB"} << true;
        QTest::newRow("other values")
            << 4 << 4 << QStringList{"No Disc", "before", "2.000 MB", "3.000 MB"} << false;
    }

    void discBox() {
        QFETCH(qint32, mediaType);
        QFETCH(qint32, mediaStatus);
        QFETCH(QStringList, texts);
        QFETCH(bool, ejectEnabled);
        BurnFixture f;
        f.engine.tracks = {"/m/c.wma"};
        f.engine.mediaUsedSize = 2 << 20;
        f.engine.mediaType = mediaType;
        f.engine.mediaStatus = mediaStatus;
        f.child("cdStatusLbl")->setText(QStringLiteral("before"));
        f.button("EjectBtn")->setEnabled(false);
        f.panel.ReadDiscStatus();
        QCOMPARE(f.engine.count("RefreshDisc"), 1);
        QCOMPARE(QStringList({f.text("cdTypeLbl"), f.text("cdStatusLbl"), f.text("cdUsedSpaceLbl"),
                              f.text("cdEstUsedSpaceLbl")}),
                 texts);
        QCOMPARE(f.button("EjectBtn")->isEnabled(), ejectEnabled);
        QCOMPARE(f.text("driveStatusLbl"), QStringLiteral("Idle"));

        // Eject and Refresh Info both read the disc again.
        f.button("EjectBtn")->setEnabled(true);
        f.button("EjectBtn")->click();
        f.button("RefreshBtn")->click();
        QCOMPARE(f.engine.count("Eject"), 1);
        QCOMPARE(f.engine.count("RefreshDisc"), 3);
    }

    // The blank test asks the CD tools about the drive chosen on the rip panel; with none
    // chosen the report says so and the tools are not asked.
    void blankTest_data() {
        QTest::addColumn<int>("discState"); // -1: no drive chosen
        QTest::addColumn<QString>("text");
        QTest::newRow("blank") << 2 << "The Disc Is Blank";
        QTest::newRow("finalised") << 0 << "The Disc Is Not Blank!";
        QTest::newRow("appendable") << 1 << "The Disc Is Not Blank!";
        QTest::newRow("other") << 3 << "The Disc Is Not Blank!";
        QTest::newRow("no drive") << -1 << "";
    }
    void blankTest() {
        QFETCH(int, discState);
        QFETCH(QString, text);
        BurnFixture f;
        f.tools.drives = {{0x010200, "PLEXTOR", "PX-716A", "1.11"}};
        if (discState >= 0)
            f.main.ripDrive = [] { return 0x010200; };
        f.tools.discState = discState;
        f.log.clear();
        f.button("Command26")->click();
        QCOMPARE(f.button("Command26")->text(), QStringLiteral("Command26"));
        QCOMPARE(f.text("SkinLabel32"), text);
        if (discState >= 0) {
            QCOMPARE(f.log.calls,
                     QStringList({"MainWindow.ripDriveAddress()", "HarnTools.DiscState(66048)"}));
        } else {
            QCOMPARE(f.shown(), QStringList{"No CD drive is chosen on the rip panel."});
            QCOMPARE(f.tools.count("DiscState"), 0);
        }
    }

    void burnControlsSwitchTogether() {
        BurnFixture f;
        f.panel.DisableBurnControls();
        for (QWidget* w : f.panel.findChildren<QWidget*>())
            if (!w->objectName().isEmpty() && !w->isWindow())
                QVERIFY2(w->isEnabled() != kBurnControls.contains(w->objectName()) ||
                             !w->isEnabledTo(w->parentWidget()),
                         qPrintable(w->objectName()));
        QVERIFY(f.child<SkinCheckBox>("BurnProofChk")->isEnabled() && f.list()->isEnabled());
        f.panel.EnableBurnControls();
        for (const QString& name : kBurnControls)
            QVERIFY2(f.child<QWidget>(name)->isEnabled(), qPrintable(name));
    }

    void compilationNumbersAreNeverReused() {
        BurnFixture f;
        f.enter();
        f.add({"/m/a.wav", "/m/b.mp3", "/m/c.wma"});
        QCOMPARE(f.dialog.calls.mid(0, 5),
                 QStringList({"CommonDialog.setFileName()", "CommonDialog.setDialogTitle(Add File)",
                              "CommonDialog.setFilter(" + kBurnFilesFilter + ")",
                              "CommonDialog.ShowOpen()", "CommonDialog.FileName()"}));
        QCOMPARE(f.text("cdEstUsedSpaceLbl"), QStringLiteral("6.000 MB"));
        f.list()->setSelected(2, true);
        f.button("DeleteBtn")->click();
        QCOMPARE(f.engine.selectedTrack, qint16(2));
        f.add({"/m/a.wav"});
        QCOMPARE(f.rows(), QStringList({"1 /m/a.wav", "3 /m/c.wma", "4 /m/a.wav"}));
        QCOMPARE(f.engine.tracks, QStringList({"/m/a.wav", "/m/c.wma", "/m/a.wav"}));
        QCOMPARE(f.text("cdEstUsedSpaceLbl"), QStringLiteral("5.000 MB"));

        // A cancelled dialog changes nothing; so does Delete with no row selected.
        f.log.clear();
        f.panel.AddBtn_Click();
        f.list()->clearSelection();
        QVERIFY_THROWS_EXCEPTION(IndexError, f.panel.DeleteBtn_Click());
        QCOMPARE(f.log.matching("AudioBurner.").join(u','),
                 QStringLiteral("AudioBurner.SelectedTrack()"));
        QCOMPARE(f.state.trackCount, qint16(4));
        QCOMPARE(f.list()->Count(), 3);

        // Delete All starts the numbers again.
        f.engine.fileBytes.clear();
        f.button("DeleteAllBtn")->click();
        QCOMPARE(f.text("cdEstUsedSpaceLbl"), QStringLiteral("0.000 MB"));
        f.add({"/m/b.mp3"});
        QCOMPARE(f.rows(), QStringList({"1 /m/b.mp3"}));
        QCOMPARE(f.list()->font().family(), QStringLiteral("Arial"));
        QCOMPARE(f.list()->headerItem()->text(1), QStringLiteral("File Path"));
    }

    // Burn Mode Options: verifying is the engine's option, switched by the checkable entry; a
    // disc image joins the list as a row of its own; the engine's status lines show under the
    // progress bars, the last four, until the next burn starts.
    void optionsMenuAndStatusLines() {
        BurnFixture f;
        f.enter();
        const QList<QAction*> options = f.panel.optionsActions();
        QCOMPARE(options.size(), 2);
        QCOMPARE(options[0]->text(), QStringLiteral("Verify After Burning"));
        QVERIFY(options[0]->isCheckable() && !options[0]->isChecked());
        options[0]->trigger();
        QVERIFY(f.engine.verifyAfterBurning);
        options[0]->trigger();
        QVERIFY(!f.engine.verifyAfterBurning);

        f.add({"/m/a.wav"});
        f.dialog.answers << "/m/copy.cue";
        f.dialog.calls.clear();
        options[1]->trigger();
        QCOMPARE(f.dialog.calls.mid(1, 2),
                 QStringList({"CommonDialog.setDialogTitle(Add Disc Image)",
                              "CommonDialog.setFilter(CD Images (*.cue)|*.cue)"}));
        QCOMPARE(f.rows(), QStringList({"1 /m/a.wav", "2 /m/copy.cue"}));
        QCOMPARE(f.engine.tracks, QStringList({"/m/a.wav", "/m/copy.cue"}));

        for (int i = 1; i <= 5; ++i)
            f.engine.raiseNotice(QStringLiteral("Track %1: identical").arg(i), i == 5);
        QCOMPARE(f.text("burnNoticeLbl"),
                 QStringLiteral("Track 2: identical\nTrack 3: identical\nTrack 4: identical\n"
                                "Warning: Track 5: identical"));
        f.engine.burnEvents = {FakeAudioBurner::burnFinished()};
        f.button("BurnNowBtn")->click();
        QCOMPARE(f.text("burnNoticeLbl"), QString());
    }

    void progressMapping_data() {
        QTest::addColumn<qint32>("engineState");
        QTest::addColumn<qint32>("phase");
        QTest::addColumn<qint16>("percent");
        QTest::addColumn<QString>("status");
        QTest::addColumn<double>("overall");
        QTest::addColumn<QString>("progressLabel");
        QTest::newRow("fill buffer")
            << 2 << 1 << qint16(0) << "Fill Buffer..." << 0.0 << "Burn Tracks:";
        QTest::newRow("burn track")
            << 2 << 2 << qint16(50) << "Burn Track..." << 100.0 / 3 << "Burn Tracks:";
        QTest::newRow("close track")
            << 2 << 3 << qint16(100) << "Close Track..." << 200.0 / 3 << "Burn Tracks:";
        QTest::newRow("other phase")
            << 2 << 0 << qint16(30) << "Prepare..." << 20.0 << "Burn Tracks:";
        QTest::newRow("finalise 0")
            << 3 << 0 << qint16(0) << "Finalise Disc..." << 200.0 / 3 - 1 << "Finalise:";
        QTest::newRow("finalise 50") << 3 << 0 << qint16(50) << "Finalise Disc..."
                                     << 50.0 / 3 + 200.0 / 3 - 1 << "Finalise:";
        QTest::newRow("other state")
            << 1 << 2 << qint16(70) << "Prepare..." << 0.0 << "Burn Tracks:";
    }

    void progressMapping() {
        QFETCH(qint32, engineState);
        QFETCH(qint32, phase);
        QFETCH(qint16, percent);
        QFETCH(QString, status);
        QFETCH(double, overall);
        QFETCH(QString, progressLabel);
        BurnFixture f;
        f.enter();
        f.button("BurnNowBtn")->click();
        f.engine.raise(FakeAudioBurner::progress(engineState, phase, percent, 1234, 5678, 97));
        QCOMPARE(f.text("driveStatusLbl"), status);
        QVERIFY2(qFuzzyCompare(1.0 + f.bar(1)->Value(), 1.0 + overall),
                 qPrintable(QString::number(f.bar(1)->Value(), 'f', 6)));
        QCOMPARE(f.bar(2)->Value(), engineState == 1 ? 0.0 : double(percent));
        QCOMPARE(f.text("ProgressLbl"), progressLabel);
        QCOMPARE(f.text("driveBurnedBlocksLbl"), engineState == 1 ? "0" : "1234");
        QCOMPARE(f.text("driveEstBlocksLbl"), engineState == 2 ? "5678" : "0");
        QCOMPARE(f.text("driveBufferLbl"), engineState == 2 ? "97" : "0");
        // No cancelling once the disc is being closed.
        QCOMPARE(f.button("BurnNowBtn")->isEnabled(), engineState != 3);
    }

    void aBurnFromStartToCompletion() {
        BurnFixture f;
        f.enter();
        f.add({"/m/a.wav"});
        f.child<SkinCheckBox>("TestBurnChk")->setValue(1);
        f.child<SkinCheckBox>("FinilizeCDChk")->setValue(1);
        f.state.SelectedWriteSpeed = 24;
        f.engine.burnEvents = {FakeAudioBurner::progress(2, 2, 50),
                               FakeAudioBurner::progress(3, 0, 100),
                               FakeAudioBurner::burnFinished()};
        f.log.clear();
        f.engine.calls.clear();
        QSignalSpy finished(&f.engine, &AudioBurner::BurnFinished);
        f.button("BurnNowBtn")->click();
        QCOMPARE(
            f.log.calls.mid(0, 4),
            QStringList({"AudioBurner.setRealBurn(false)", "AudioBurner.setKeepDiscOpen(false)",
                         "AudioBurner.setWriteSpeed(24)", "AudioBurner.StartBurn()"}));
        QCOMPARE(f.state.burnRunning, True16);
        QCOMPARE(f.button("BurnNowBtn")->text(), QStringLiteral("CancelBurn"));
        QCOMPARE(f.text("driveStatusLbl"), QStringLiteral("Prepare..."));
        for (const QString& name : kBurnControls)
            QVERIFY2(f.child<QWidget>(name)->isEnabled() == (name == "BurnNowBtn"),
                     qPrintable(name));
        // Options cannot be touched while burning; the speed button does nothing.
        f.panel.SelSpeedBtn_Click();
        QVERIFY(f.panel.findChildren<FrmSpeedSelect*>().isEmpty());

        QTRY_COMPARE(f.messageBox.shown.size(), 1);
        QCOMPARE(f.messageBox.shown[0].prompt, QStringLiteral("Burn Complete!"));
        QCOMPARE(int(f.messageBox.shown[0].buttons), int(MessageBox::Buttons::OkOnly));
        QCOMPARE(int(f.messageBox.shown[0].icon), int(MessageBox::Icon::None));
        QCOMPARE(f.messageBox.shown[0].title, QString());
        QTRY_COMPARE(finished.size(), 1);
        f.checkIdle();
        // Reset once, at 100 % of the finalising; BurnFinished finds the panel idle already.
        QCOMPARE(f.engine.count("RefreshDisc"), 1);
        QCOMPARE(f.rows(), QStringList({"1 /m/a.wav"}));
        QCOMPARE(f.log.matching("AudioBurner.setRealBurn").size(), 1);

        // Unchecked options: a real burn that leaves the disc open.
        f.child<SkinCheckBox>("TestBurnChk")->setValue(0);
        f.child<SkinCheckBox>("FinilizeCDChk")->setValue(0);
        f.engine.burnEvents = {FakeAudioBurner::burnFinished()};
        f.button("BurnNowBtn")->click();
        QCOMPARE(f.engine.realBurn, true);
        QCOMPARE(f.engine.keepDiscOpen, true);
        QTRY_COMPARE(f.state.burnRunning, False16);
        f.checkIdle();
        QCOMPARE(f.messageBox.shown.size(), 1); // an open disc ends without a message
    }

    void aBurnThatEndsInsideStartBurn() {
        BurnFixture f;
        f.enter();
        f.engine.finishInsideStart = true;
        f.engine.burnEvents = {FakeAudioBurner::progress(3, 0, 100),
                               FakeAudioBurner::burnFinished()};
        f.engine.calls.clear();
        f.button("BurnNowBtn")->click();
        f.checkIdle();
        QCOMPARE(f.messageBox.shown.size(), 1);
        // Reset at 100 % and again by the start path: twice, harmlessly.
        QCOMPARE(f.engine.count("RefreshDisc"), 2);
        f.panel.ResetBurnPanel();
        f.checkIdle();
    }

    void cancelInEachPhase_data() {
        QTest::addColumn<qint32>("phase");
        QTest::newRow("filling the buffer") << 1;
        QTest::newRow("writing a track") << 2;
        QTest::newRow("closing a track") << 3;
    }

    void cancelInEachPhase() {
        QFETCH(qint32, phase);
        BurnFixture f;
        f.enter();
        f.button("BurnNowBtn")->click();
        f.engine.raise(FakeAudioBurner::progress(2, phase, 40, 10, 100));
        QCOMPARE(f.bar(2)->Value(), 40.0);
        f.engine.calls.clear();
        QSignalSpy finished(&f.engine, &AudioBurner::BurnFinished);
        f.button("BurnNowBtn")->click();
        QCOMPARE(f.engine.count("CancelBurn"), 1);
        f.checkIdle();
        // The cancelled burn's end finds the panel idle already.
        QVERIFY(finished.wait());
        f.checkIdle();
        QCOMPARE(f.engine.count("RefreshDisc"), 1);
    }
};

QTEST_MAIN(TestBurnPanel)
#include "test_burn_panel.moc"
