// The rip panel's drive lists, table of contents and CD player, on fakes.
#include "cd/RipRules.h"
#include "components/Error.h"
#include "tests/cd/CdFixture.h"

namespace {

const QStringList kRelease = {"stop cd1", "close cd1", "stop cd2", "close cd2"};

} // namespace

class TestCdToc : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void noDriveShowsTheMessageAndListsNothing() {
        CdFixture f;
        f.tools.drives.clear();
        f.enter();
        QCOMPARE(f.messageBox.shown.size(), 2);
        QCOMPARE(f.messageBox.shown[0].title, QStringLiteral("Analysing CD Tracks"));
        QCOMPARE(f.messageBox.shown[0].prompt,
                 QStringLiteral("Analysing May Take A Minute Depending On The Amount Of Tracks"));
        QCOMPARE(f.messageBox.shown[0].icon, MessageBox::Icon::Information);
        QCOMPARE(f.messageBox.shown[1].prompt,
                 QStringLiteral("No CD-ROM drives can be detected on your system.  Please ensure "
                                "your drive(s) are properly configured and visible in Windows "
                                "before proceeding."));
        QCOMPARE(f.messageBox.shown[1].icon, MessageBox::Icon::Information);
        QCOMPARE(f.combo(1)->count(), 0);
        QCOMPARE(f.list()->Count(), 0);
        QCOMPARE(f.mciCommands(), QStringList());
        // The burn panel's blank test has no drive to ask about.
        QVERIFY_THROWS_EXCEPTION(Error, f.panel.selectedDriveAddress());
    }

    // Entering lists every drive, preselects the remembered one (or the first when the value
    // is missing or stale) and writes nothing back; only the user's pick is remembered.
    void drivesAndTheRememberedChoice_data() {
        QTest::addColumn<QString>("remembered");
        QTest::addColumn<int>("selected");
        QTest::newRow("none") << QString() << 0;
        QTest::newRow("second") << "1" << 1;
        QTest::newRow("gone") << "7" << 0;
        QTest::newRow("garbage") << "x" << 0;
    }
    void drivesAndTheRememberedChoice() {
        QFETCH(QString, remembered);
        QFETCH(int, selected);
        CdFixture f;
        if (!remembered.isNull())
            f.settings.registry["Melvane/Audio Rip CD Device"] = remembered;
        f.enter();
        QCOMPARE(f.settings.calls, QStringList({"SettingsStore.RegistryValue(Melvane, Audio Rip "
                                                "CD Device)"}));
        QCOMPARE(f.combo(1)->count(), 4);
        QCOMPARE(f.combo(1)->itemText(1), QStringLiteral("1:1:0 HL-DT-STDVDRAM GH22NS50     TN02"));
        QCOMPARE(f.combo(1)->itemData(2).toInt(), 0xff0000);
        QCOMPARE(f.combo(4)->count(), 4);
        QCOMPARE(f.combo(4)->itemText(0), QStringLiteral("D"));
        QCOMPARE(f.combo(1)->currentIndex(), selected);
        QCOMPARE(f.combo(4)->currentIndex(), selected);
        QCOMPARE(f.list()->Count(), 3);
        f.enter(); // again: no entry twice
        QCOMPARE(f.combo(1)->count(), 4);
        QCOMPARE(f.combo(4)->count(), 4);

        f.log.clear();
        f.pickDrive(1 - selected);
        QCOMPARE(f.settings.registry["Melvane/Audio Rip CD Device"], QString::number(1 - selected));
        // Only the second drive is opened by its letter.
        QCOMPARE(f.combo(4)->currentText(), selected == 0 ? QStringLiteral("E") : "D");
        QCOMPARE(f.mciCommands().contains("open  E:\\  type cdaudio alias cd2"), selected == 0);
    }

    // Every disc kind but the five data kinds is read as audio.
    void discKinds_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("message");
        QTest::newRow("0 audio") << 0 << QString();
        QTest::newRow("1") << 1 << "This Is A Data CD. Please Insert A Audio CD";
        QTest::newRow("2") << 2 << "This Is A Mode0 CD. Please Insert A Audio CD";
        QTest::newRow("3") << 3 << "This Is A Mode1 CD. Please Insert A Audio CD";
        QTest::newRow("4") << 4 << "This Is A Mode2 CD. Please Insert A Audio CD";
        QTest::newRow("5") << 5 << "This Is A CD-I CD. Please Insert A Audio CD";
        QTest::newRow("6 audio") << 6 << QString();
    }
    void discKinds() {
        QFETCH(int, type);
        QFETCH(QString, message);
        CdFixture f;
        f.tools.discType = type;
        f.enter();
        QCOMPARE(f.messageBox.shown.size(), message.isEmpty() ? 1 : 2);
        if (!message.isEmpty()) {
            QCOMPARE(f.messageBox.shown[1].prompt, message);
            QCOMPARE(f.messageBox.shown[1].title, QStringLiteral("Error"));
            QCOMPARE(f.messageBox.shown[1].icon, MessageBox::Icon::Information);
        }
        QCOMPARE(f.list()->Count(), message.isEmpty() ? 3 : 0);
        QCOMPARE(f.mciCommands().contains("open cdaudio alias cd1"), message.isEmpty());
    }

    void firstDriveIsReadThroughCd1() {
        CdFixture f;
        f.enter();
        const QStringList expected =
            kRelease + kRelease +
            QStringList{"open cdaudio alias cd1",    "set cd1 time  format tmsf",
                        "status cd1 media present",  "status cd1 number of tracks wait",
                        "status cd1 length wait",    "status cd1 length wait",
                        "status cd1 length track 1", "status cd1 length wait",
                        "status cd1 length track 2", "status cd1 length wait",
                        "status cd1 length track 3"};
        QCOMPARE(f.mciCommands(), expected);
        QCOMPARE(f.log.matching("HarnTools.").mid(f.log.matching("HarnTools.").size() - 5),
                 QStringList({"HarnTools.ReadTrackCount(65536)", "HarnTools.ReadDiscInfo(65536, 0)",
                              "HarnTools.DiscType()", "HarnTools.SelectDrive(65536)",
                              "HarnTools.ReadTrackCount(65536)"}));
        QCOMPARE(f.row(1), QStringList({"Track01", "04:35:10", "46.35 MB", "3", "17:41:09"}));
        QCOMPARE(f.row(3), QStringList({"Track03", "10:05:74", "101.98 MB", "3", "17:41:09"}));
        QCOMPARE(f.row(2), QStringList({"Track02", "03:00:00", "30.34 MB", "3", "17:41:09"}));
        const ReportList& list = *f.list();
        QCOMPARE(list.headerItem()->text(1), QStringLiteral("Track"));
        QCOMPARE(list.headerItem()->text(5), QStringLiteral("CD Time"));
        QCOMPARE(list.toolTip(), QStringLiteral("DOUBLE CLICK TRACK TO PLAY SONG"));
        QVERIFY(f.child<QCheckBox>("Check1")->isChecked());
    }

    // The second drive is opened by its letter with the command's double blanks, and each
    // round sends the malformed length query first, which fails and changes nothing.
    void secondDriveIsReadThroughCd2() {
        CdFixture f;
        f.settings.registry["Melvane/Audio Rip CD Device"] = "1";
        f.enter();
        const QStringList sent = f.mciCommands().mid(8);
        QCOMPARE(sent.mid(0, 7),
                 QStringList({"open  E:\\  type cdaudio alias cd2", "set cd2 time  format tmsf",
                              "status cd2 media present", "status cd2 media present",
                              "status cd2 number of tracks wait", "status cd2 length wait",
                              "status cd2 length wait"}));
        QCOMPARE(sent.mid(7, 3), QStringList({"status cd2 length1", "status cd2 length track 1",
                                              "status cd2 length wait"}));
        QCOMPARE(f.list()->SubItem(1, 2), QStringLiteral("04:35:10"));
        QVERIFY(f.log.calls.contains("HarnTools.TrackCount()"));
    }

    // A failed length query leaves the last reply in its buffer, and the row shows that.
    void aFailedQueryKeepsTheLastReply() {
        CdFixture f;
        f.mci.answers["status cd1 length track 2"] = {mcierr::Hardware, "99:99:99"};
        f.enter();
        QCOMPARE(f.list()->SubItem(2, 2), QStringLiteral("04:35:10"));
        QCOMPARE(f.list()->SubItem(3, 2), QStringLiteral("10:05:74"));
    }

    void positionsPastTheSecondReadNothing() {
        CdFixture f;
        f.enter();
        f.pickDrive(2);
        QCOMPARE(f.combo(4)->currentText(), QStringLiteral("F"));
        QCOMPARE(f.list()->Count(), 0);
        f.log.clear();
        f.pickDrive(3); // past the third: the letter stays that of the last choice
        QCOMPARE(f.combo(4)->currentText(), QStringLiteral("F"));
        QCOMPARE(f.mciCommands(), kRelease + kRelease);
        QCOMPARE(f.list()->Count(), 0);
    }

    void lengthsAndSizes_data() {
        QTest::addColumn<QString>("length");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("size");
        QTest::newRow("4:35") << "04:35:10" << 275 << "46.35 MB";
        QTest::newRow("frames dropped") << "00:05:74" << 5 << "00.84 MB";
        QTest::newRow("long") << "70:00:00" << 4200 << "707.95 MB";
        QTest::newRow("no reply") << "" << 0 << "00.00 MB";
    }
    void lengthsAndSizes() {
        QFETCH(QString, length);
        QFETCH(int, seconds);
        QFETCH(QString, size);
        QCOMPARE(RipRules::lengthSeconds(length), seconds);
        QCOMPARE(RipRules::sizeText(seconds), size);
    }

    // Each sequence starts on a read disc with the log cleared; the lists are joined with '|'.
    void player_data() {
        QTest::addColumn<int>("position");
        QTest::addColumn<QStringList>("actions");
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QStringList>("lines");
        auto row = [](const char* name, int position, const char* actions, const char* commands,
                      const char* lines) {
            auto split = [](const char* joined) {
                return QString::fromLatin1(joined).split(u'|', Qt::SkipEmptyParts);
            };
            QTest::newRow(name) << position << split(actions) << split(commands) << split(lines);
        };
        row("stop, play on cd2", 1, "stop|play", "stop cd2|stop cd2|play cd2 from 1",
            "Stop Playing CD");
        row("stop, play on cd1", 0, "stop|play", "stop cd1|stop cd1|stop cd1|play cd1 from 1",
            "Stop Playing CD");
        row("pause, play, play", 0, "pause|play|play", "pause cd1|play cd1|play cd1",
            "CD 1 Paused|Resume Play|Playing Audio CD");
        row("pause on cd2", 1, "pause", "pause cd2", "CD 2 Paused");
        row("double-click, nothing selected", 0, "dblclick", "stop cd1|play cd1 from 0",
            "Playing Track 0");
        row("double-click on row 3", 1, "select3|dblclick", "stop cd2|play cd2 from 3",
            "Playing Track 3");
        row("third drive", 2, "play|pause|stop|dblclick|eject", "", "");
    }
    void player() {
        QFETCH(int, position);
        QFETCH(QStringList, actions);
        QFETCH(QStringList, commands);
        QFETCH(QStringList, lines);
        CdFixture f;
        f.settings.registry["Melvane/Audio Rip CD Device"] = QString::number(position);
        f.enter();
        f.child<QListWidget>("lstStatus")->clear();
        f.log.clear();
        for (const QString& action : actions) {
            if (action == "select3")
                f.list()->setSelected(3, true);
            else if (action == "dblclick")
                Q_EMIT f.list()->DblClick();
            else
                f.child(action == "play"    ? "CmdPlay"
                        : action == "pause" ? "CmdPause"
                        : action == "stop"  ? "CmdStop"
                                            : "cmdEject")
                    ->click();
        }
        QCOMPARE(f.mciCommands(), commands);
        QCOMPARE(f.status(), lines);
    }

    void ejectReleasesOpensTheTrayAndEmptiesTheList() {
        CdFixture f;
        f.enter();
        f.state.renamedTracks = True16;
        f.log.clear();
        f.child("cmdEject")->click();
        QCOMPARE(f.mciCommands(), kRelease);
        QCOMPARE(f.log.matching("HarnTools."), QStringList({"HarnTools.EjectDrive(65536)"}));
        QCOMPARE(f.list()->Count(), 0);
        QCOMPARE(f.state.renamedTracks, False16);
    }

    // Eject in the middle of a rip: the rip is cancelled before the tray opens, what it still
    // had to report is dropped, and the panel is idle: no timer, no error, nothing started.
    // Even a 100 that was already under way (its file complete) changes nothing.
    void ejectDuringARipCancelsIt() {
        CdFixture f;
        f.enterForWaveRips();
        f.checkOnly({1, 2, 3});
        f.state.newJob = True16;
        f.tools.progressOnRip = {40, 100};
        f.child("Command17")->click();
        QVERIFY(f.ripClock()->isActive());
        f.log.clear();
        f.child("cmdEject")->click();
        QCOMPARE(f.log.matching("HarnTools."),
                 QStringList({"HarnTools.CancelRip()", "HarnTools.EndRipJob()",
                              "HarnTools.EjectDrive(65536)"}));
        QCoreApplication::processEvents();
        f.tools.raiseProgress(100);
        QVERIFY(!f.ripClock()->isActive());
        QVERIFY(!f.panel.ripping());
        QCOMPARE(f.list()->Count(), 0);
        QCOMPARE(f.messageBox.shown.size(), 1); // the analysing notice only
        QCOMPARE(f.log.matching("HarnTools.RipTrack"), QStringList());
        QCOMPARE(f.status().last(),
                 QStringLiteral("Ripping Track01 Cancelled: The Disc Was Ejected"));
        for (const QString bar : {"prgTrack", "eprog", "tprog"})
            QCOMPARE(f.bar(bar)->Value(), 0.0);
        QCOMPARE(f.state.newJob, True16);
    }
};

QTEST_MAIN(TestCdToc)
#include "test_cd_toc.moc"
