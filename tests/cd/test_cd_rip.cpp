// The rip panel's rip job and the track-name dialog, on fakes.
#include "tests/cd/CdFixture.h"

#include <QPointer>

namespace {

// A rip fixture on a read disc of three tracks, WAV into /rips with numbered names.
struct RipFixture : CdFixture {
    QList<double> totals; // tprog after each finished track
    RipFixture() {
        enterForWaveRips();
        checkOnly({1, 2, 3});
        // After the panel's own handler: what tprog shows once a track is done.
        QObject::connect(&tools, &HarnTools::RipProgress, &panel, [this](double percent) {
            if (percent == 100)
                totals << bar("tprog")->Value();
        });
        log.clear();
    }
    QStringList ripPaths(const QString& member = QStringLiteral("RipTrackToWav")) const {
        QStringList paths;
        for (const QString& call : log.matching(QStringLiteral("HarnTools.") + member))
            paths << call.section(QStringLiteral(", "), 1, 2);
        return paths;
    }
};

} // namespace

class TestCdRip : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formats_data() {
        QTest::addColumn<QString>("menu");
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("bitrates");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("bitrateSet");
        auto row = [](const char* name, const char* menu, int position, int bitrates,
                      const char* first, const char* line, const char* bitrateSet) {
            QTest::newRow(name) << QString::fromLatin1(menu) << position << bitrates
                                << QString::fromLatin1(first) << QString::fromLatin1(line)
                                << QString::fromLatin1(bitrateSet);
        };
        row("wave", "mnuoptcdmode1", 2, 1, "44100 hz", "Wave PCM Rip Mode", "");
        row("mp3", "mnuoptcdmode2", 0, 14, "320", "MP3 Rip Mode",
            "HarnTools.setMp3Bitrate(320000)");
        row("wma", "mnuoptcdmode3", 1, 10, "160", "WMA Rip Mode",
            "HarnTools.setMp3Bitrate(160000)");
    }
    void formats() {
        QFETCH(QString, menu);
        QFETCH(int, position);
        QFETCH(int, bitrates);
        QFETCH(QString, first);
        QFETCH(QString, line);
        QFETCH(QString, bitrateSet);
        CdFixture f;
        f.enter();
        f.action("mnuoptcdmode3")->trigger(); // away from the entry's MP3 first
        f.log.clear();
        f.action(menu)->trigger();
        QCOMPARE(f.combo(2)->currentIndex(), position);
        for (const QString other : {"mnuoptcdmode1", "mnuoptcdmode2", "mnuoptcdmode3"})
            QCOMPARE(f.action(other)->isChecked(), other == menu);
        QCOMPARE(f.combo(3)->count(), bitrates);
        QCOMPARE(f.combo(3)->currentText(), first);
        QCOMPARE(f.status().last(), line);
        QCOMPARE(f.log.matching("HarnTools.setMp3Bitrate"),
                 bitrateSet.isEmpty() ? QStringList() : QStringList{bitrateSet});
    }

    // The file name joins the folder and "Track" as the folder comes; a cancel keeps the name.
    void destination_data() {
        QTest::addColumn<QString>("menu");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("file");
        auto row = [](const char* name, const char* menu, const char* folder, const char* file) {
            QTest::newRow(name) << QString::fromLatin1(menu) << QString::fromLatin1(folder)
                                << QString::fromLatin1(file);
        };
        row("folder", "mnuoptcdmode2", "/music", "/music/Track.mp3");
        row("root /", "mnuoptcdmode1", "/", "//Track.wav");
        row("C:\\", "mnuoptcdmode3", "C:\\", "C:\\Track.wma");
        row("F:\\", "mnuoptcdmode3", "F:\\", "F:\\/Track.wma");
        row("cancel", "mnuoptcdmode1", "", "kept");
    }
    void destination() {
        QFETCH(QString, menu);
        QFETCH(QString, folder);
        QFETCH(QString, file);
        CdFixture f;
        f.enter();
        f.action(menu)->trigger();
        f.child<QLineEdit>("txtFilename")->setText("kept");
        f.state.newJob = False16;
        f.main.folders = {folder};
        f.child("Command16")->click();
        QCOMPARE(f.main.calls.last(),
                 QStringLiteral("MainWindow.SelectFolder(FrameCDMode, Select Folder To Save To:)"));
        QCOMPARE(f.child<QLineEdit>("txtFilename")->text(), file);
        QCOMPARE(f.state.newJob, True16);
    }

    void threeTracksNumberedOneAfterAnother() {
        RipFixture f;
        f.tools.progressOnRip = {0.5, 50, 100};
        f.tools.currentSector = 1200;
        f.tools.totalSectors = 20635;
        f.child("Command17")->click();
        QTRY_COMPARE(f.totals.size(), 3);
        QCOMPARE(f.ripPaths(), QStringList({"/rips/Track01.wav, 1", "/rips/Track02.wav, 2",
                                            "/rips/Track03.wav, 3"}));
        QCOMPARE(f.totals[0], 100.0 / 3);
        QCOMPARE(f.totals[1], 200.0 / 3);
        QCOMPARE(f.totals[2], 100.0);
        QCOMPARE(f.child<QLineEdit>("Text1")->text(), QStringLiteral("/rips/Track03.wav"));
        for (qint32 row = 1; row <= 3; ++row)
            QVERIFY(!f.list()->Checked(row));
        QCOMPARE(f.status().mid(f.status().size() - 9, 3),
                 QStringList({"Now Ripping Track01", "Ripped Track01 a 04:35 Track in 0 Seconds",
                              "Average Rip Speed Was 0.00x"}));
        QCOMPARE(f.text("lblCurSector"), QStringLiteral("1200"));
        QCOMPARE(f.text("lblTotSector"), QStringLiteral("20635"));
        QCOMPARE(f.bar("prgTrack")->Value(), 0.0);
        QVERIFY(!f.ripClock()->isActive());
        QVERIFY(!f.panel.ripping());
        // Nothing left checked: a further press rips nothing and says nothing.
        const QStringList before = f.status();
        f.child("Command17")->click();
        QCOMPARE(f.status(), before);
        QCOMPARE(f.ripPaths().size(), 3);
    }

    // The timer is driven by hand: 23 ticks for a 4:35 track.
    void averageSpeed() {
        RipFixture f;
        f.checkOnly({1});
        f.child("Command17")->click();
        QVERIFY(f.ripClock()->isActive());
        QCOMPARE(f.ripClock()->interval(), 1000);
        f.tools.raiseProgress(1); // one percent is not shown; more shows on both bars
        QCOMPARE(f.bar("prgTrack")->Value(), 0.0);
        f.tools.raiseProgress(42.5);
        QCOMPARE(f.bar("eprog")->Value(), 42.5);
        for (int tick = 0; tick < 23; ++tick)
            f.panel.Timer1_Timer();
        QCOMPARE(f.text("lbltime"), QStringLiteral("23 Seconds"));
        f.tools.raiseProgress(100);
        QCOMPARE(f.status().mid(f.status().size() - 2),
                 QStringList({"Ripped Track01 a 04:35 Track in 23 Seconds",
                              "Average Rip Speed Was 11.96x"}));
        QVERIFY(!f.ripClock()->isActive());
    }

    void mp3SetsTheBitrateAndTheEncoderBeforeEachTrack() {
        RipFixture f;
        f.action("mnuoptcdmode2")->trigger();
        f.combo(3)->setCurrentIndex(f.combo(3)->findText("128"));
        Q_EMIT f.combo(3)->activated(f.combo(3)->currentIndex());
        f.child<QLineEdit>("txtFilename")->setText("/rips/Track.mp3");
        f.checkOnly({1, 3});
        f.tools.progressOnRip = {100};
        f.log.clear();
        f.child("Command17")->click();
        QTRY_COMPARE(f.totals.size(), 2);
        QCOMPARE(f.tools.Mp3Bitrate(), 128000.0);
        QStringList order;
        for (const QString& call : f.log.calls)
            if (call.startsWith("HarnTools.setMp3Option") || call.startsWith("HarnTools.RipTrack"))
                order << call.section(", ", 0, 1);
        QCOMPARE(order, QStringList({"HarnTools.setMp3Option(0)",
                                     "HarnTools.RipTrackToMp3(65536, /rips/Track01.mp3",
                                     "HarnTools.setMp3Option(0)",
                                     "HarnTools.RipTrackToMp3(65536, /rips/Track03.mp3"}));
    }

    // Pressing again restarts the current track's timing; the job's total is not counted again.
    void pressingRipAgainDuringAJob() {
        RipFixture f;
        f.child("Command17")->click();
        for (int tick = 0; tick < 5; ++tick)
            f.panel.Timer1_Timer();
        f.list()->setChecked(3, false);
        f.child("Command17")->click();
        f.panel.Timer1_Timer();
        QCOMPARE(f.text("lbltime"), QStringLiteral("1 Seconds"));
        QCOMPARE(f.ripPaths(), QStringList({"/rips/Track01.wav, 1", "/rips/Track01.wav, 1"}));
        f.tools.raiseProgress(100);
        QCOMPARE(f.totals.size(), 1);
        QCOMPARE(f.totals[0], 100.0 / 3);
        QCOMPARE(f.ripPaths().last(), QStringLiteral("/rips/Track02.wav, 2"));
    }

    // A rip that fails on the way, or is refused at its start, ends the track and the job;
    // the track stays checked for the next press.
    void aFailureStopsTheJobAtThatTrack_data() {
        QTest::addColumn<bool>("atStart");
        QTest::newRow("on the way") << false;
        QTest::newRow("refused") << true;
    }
    void aFailureStopsTheJobAtThatTrack() {
        QFETCH(bool, atStart);
        RipFixture f;
        const QString message = QStringLiteral("Cannot read track 2 of PLEXTOR: no disc.");
        f.child("Command17")->click();
        f.tools.ripError = atStart ? message : QString();
        f.tools.raiseProgress(100);
        f.tools.raiseProgress(30);
        if (!atStart)
            f.tools.raiseFailed(message);
        QVERIFY(!f.ripClock()->isActive());
        QVERIFY(!f.panel.ripping());
        QCOMPARE(f.messageBox.shown.last().prompt, message);
        QVERIFY(!f.list()->Checked(1) && f.list()->Checked(2));
        QCOMPARE(f.ripPaths().size(), 2);
        QCOMPARE(f.bar("eprog")->Value(), 0.0);
    }

    // A rip with no destination, never chosen or its dialog cancelled, asks for a folder first;
    // cancelled again, nothing is ripped and nothing goes into the root folder.
    void aRipWithoutADestinationAsksForOne_data() {
        QTest::addColumn<bool>("named");
        QTest::addColumn<QString>("answer");
        QTest::newRow("numbered, cancelled") << false << "";
        QTest::newRow("numbered, chosen") << false << "/picked";
        QTest::newRow("named, cancelled") << true << "";
        QTest::newRow("named, chosen") << true << "/picked";
    }
    void aRipWithoutADestinationAsksForOne() {
        QFETCH(bool, named);
        QFETCH(QString, answer);
        RipFixture f;
        f.child<QCheckBox>("Check1")->setChecked(named);
        f.main.folders = {QString()};
        f.child("Command16")->click(); // the Destination dialog cancelled
        if (!named)
            f.child<QLineEdit>("txtFilename")->clear();
        f.checkOnly({1});
        f.main.folders = {answer};
        f.log.clear();
        const qsizetype boxes = f.messageBox.shown.size();
        f.child("Command17")->click();
        QCOMPARE(f.main.calls.last(),
                 QStringLiteral("MainWindow.SelectFolder(FrameCDMode, Select Folder To Save To:)"));
        QCOMPARE(f.ripPaths(),
                 answer.isEmpty() ? QStringList() : QStringList{answer + "/Track01.wav, 1"});
        QCOMPARE(f.messageBox.shown.size(), boxes);
        QCOMPARE(f.ripClock()->isActive(), !answer.isEmpty());
        QCOMPARE(f.panel.ripping(), !answer.isEmpty());
        QVERIFY(f.list()->Checked(1));
    }

    // A track whose file exists: the user replaces or skips it, or every one of the job.
    void anExistingFileIsReplacedOnlyWithConsent_data() {
        using Answer = MessageBox::ReplaceAnswer;
        QTest::addColumn<QList<Answer>>("answers");
        QTest::addColumn<QStringList>("steps");
        QTest::newRow("replace one, skip the next")
            << QList<Answer>{{true, false}, {false, false}}
            << QStringList{"keep 1", "ask 1", "replace 1", "keep 2", "ask 2", "keep 3"};
        QTest::newRow("replace all")
            << QList<Answer>{{true, true}}
            << QStringList{"keep 1", "ask 1", "replace 1", "replace 2", "replace 3"};
        QTest::newRow("skip all") << QList<Answer>{{false, true}}
                                  << QStringList{"keep 1", "ask 1", "keep 2", "keep 3"};
    }
    void anExistingFileIsReplacedOnlyWithConsent() {
        QFETCH(QList<MessageBox::ReplaceAnswer>, answers);
        QFETCH(QStringList, steps);
        RipFixture f;
        f.tools.existing = {"/rips/Track01.wav", "/rips/Track02.wav"};
        f.tools.progressOnRip = {100};
        f.messageBox.replaceAnswers = answers;
        const qsizetype boxes = f.messageBox.shown.size();
        f.child("Command17")->click();
        QTRY_VERIFY(!f.list()->Checked(3));
        QStringList seen;
        for (const QString& call : f.log.calls) {
            if (call.startsWith("HarnTools.setOverwrite"))
                seen << call.section(u'(', 1).section(u',', 0, 0);
            else if (call.startsWith("HarnTools.RipTrackToWav"))
                seen.last() += u' ' + call.section(QStringLiteral(", "), 2, 2);
            else if (call.startsWith("MessageBox.AskReplace"))
                seen << "ask " + QString(call.section(QStringLiteral(".wav"), 0, 0).back());
        }
        QCOMPARE(seen, steps);
        QCOMPARE(f.messageBox.asked.value(0),
                 QStringLiteral("/rips/Track01.wav exists already.\n\nReplace it with track 1 "
                                "of the disc, or skip this track?"));
        QCOMPARE(f.status().contains("Skipped Track02: the file exists"),
                 !steps.contains("replace 2"));
        QCOMPARE(f.bar("tprog")->Value(), 100.0);
        QCOMPARE(f.messageBox.shown.size(), boxes);
        // The answer was for that job only: the next asks again.
        f.checkOnly({1});
        f.state.newJob = True16;
        f.messageBox.asked.clear();
        f.child("Command17")->click();
        QCOMPARE(f.messageBox.asked.size(), 1);
    }

    void selectionAndStatusMenus() {
        RipFixture f;
        f.action("mnuoptcdmode5")->trigger();
        QVERIFY(!f.list()->Checked(1) && !f.list()->Checked(3));
        QCOMPARE(f.status().last(), QStringLiteral("All Tracks UnChecked"));
        f.action("popcdmode02")->trigger();
        QVERIFY(f.list()->Checked(1) && f.list()->Checked(3));
        QCOMPARE(f.status().last(), QStringLiteral("All Tracks Selected"));
        f.action("mnuoptcdmode7")->trigger();
        QCOMPARE(f.status(), QStringList());
        // Refresh reads the disc again, with ten tracks now, and forgets the new names.
        f.state.renamedTracks = True16;
        f.tools.trackCount = 10;
        f.log.clear();
        f.action("mnuoptcdmode6")->trigger();
        QCOMPARE(f.state.renamedTracks, False16);
        QCOMPARE(f.mciCommands().indexOf("open cdaudio alias cd1"), 12);
        QCOMPARE(f.list()->Count(), 10);
        // Reading the disc turns named files on again.
        QVERIFY(f.child<QCheckBox>("Check1")->isChecked());
        // Numbered files: row ten keeps two digits.
        f.child<QCheckBox>("Check1")->setChecked(false);
        f.checkOnly({10});
        f.child("Command17")->click();
        QCOMPARE(f.ripPaths(), QStringList({"/rips/Track10.wav, 10"}));
        QCOMPARE(f.status().last(), QStringLiteral("Now Ripping Track10"));
    }

    void trackNamesOnAnEmptyList() {
        CdFixture f;
        f.tools.trackCount = 0;
        f.enter();
        f.action("mnuoptcdmode8")->trigger();
        QPointer<TrackRename> dialog = &f.panel.frmTrackRename();
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Track Rename"));
        QCOMPARE(dialog->songList().Count(), 0);
        f.log.clear();
        dialog->findChild<QPushButton*>("Command1")->click();
        QVERIFY(f.mciCommands().contains("open cdaudio alias cd1"));
        QCOMPARE(f.list()->Count(), 0);
        QTRY_VERIFY(dialog.isNull());
    }

    // The new name reaches the list and a named rip; artist and album change nothing.
    void renamedTrackIsRippedByName_data() {
        QTest::addColumn<QString>("artist");
        QTest::newRow("no artist") << QString();
        QTest::newRow("artist and album") << "Some Band";
    }
    void renamedTrackIsRippedByName() {
        QFETCH(QString, artist);
        CdFixture f;
        f.enter();
        f.action("popcdmode01")->trigger();
        TrackRename& dialog = f.panel.frmTrackRename();
        const QPointer<TrackRename> kept = &dialog;
        QCOMPARE(f.log.matching("Skin.LoadSkin") + f.log.matching("Skin.ApplySkin"),
                 QStringList({"Skin.LoadSkin(/opt/melvane/melvane.skn)",
                              "Skin.ApplySkin(frmTrackRename)"}));
        ReportList& names = dialog.songList();
        QCOMPARE(names.Count(), 3);
        QCOMPARE(names.Text(2), QStringLiteral("Track02"));
        QVERIFY(names.topLevelItem(1)->flags() & Qt::ItemIsEditable);
        QCOMPARE(dialog.findChild<QLineEdit*>("Text1")->palette().color(QPalette::Base),
                 f.skin.backColor);
        names.setText(2, QStringLiteral("Intro"));
        dialog.findChild<QLineEdit*>("Text1")->setText(artist);
        dialog.findChild<QLineEdit*>("Text2")->setText(artist);
        f.log.clear();
        dialog.findChild<QPushButton*>("Command1")->click();
        QCOMPARE(f.state.renamedTracks, False16);
        QCOMPARE(f.row(1) + f.row(2) + f.row(3),
                 QStringList({"Track01", "04:35:10", "46.35 MB", "3", "17:41:09", "Intro",
                              "03:00:00", "30.34 MB", "3", "17:41:09", "Track03", "10:05:74",
                              "101.98 MB", "3", "17:41:09"}));
        QCOMPARE(f.log.matching("HarnTools.").last(), QStringLiteral("HarnTools.TrackCount()"));
        QTRY_VERIFY(kept.isNull());

        // Named files: the folder picked last, a separator, the row's name.
        f.action("mnuoptcdmode2")->trigger();
        f.state.prevFolder = QStringLiteral("/");
        f.checkOnly({2});
        f.log.clear();
        f.child("Command17")->click();
        QCOMPARE(f.log.matching("HarnTools.RipTrackToMp3").first().section(", ", 0, 2),
                 QStringLiteral("HarnTools.RipTrackToMp3(65536, //Intro.mp3, 2"));
    }

    void closingTheDialogKeepsTheNames() {
        CdFixture f;
        f.enter();
        f.action("mnuoptcdmode8")->trigger();
        QPointer<TrackRename> dialog = &f.panel.frmTrackRename();
        dialog->songList().setText(1, QStringLiteral("Overture"));
        f.state.renamedTracks = True16;
        dialog->close();
        QCOMPARE(f.state.renamedTracks, False16);
        QCOMPARE(f.list()->SubItem(1, 1), QStringLiteral("Track01"));
        QTRY_VERIFY(dialog.isNull());
        // Opened again, it is made afresh from the list.
        f.action("mnuoptcdmode8")->trigger();
        QCOMPARE(f.panel.frmTrackRename().songList().Text(1), QStringLiteral("Track01"));
    }
};

QTEST_MAIN(TestCdRip)
#include "test_cd_rip.moc"
