// The rip panel's additions on fakes: "Look Up Track Names" (one release, a choice of several,
// a lookup that fails), "Write Log And Cue Sheet", the titles and the job's end told to the CD
// tools, their notes in the status list, and the "Track00" row of a hidden first track.
#include "tests/cd/CdFixture.h"

namespace {

const QString kAlbum = QStringLiteral("The Band - Album (1999, GB)");
const QString kReissue = QStringLiteral("The Band - Album (2009, US)");

QStringList names(const CdFixture& f) {
    QStringList texts;
    for (qint32 row = 1; row <= f.list()->Count(); ++row)
        texts << f.list()->SubItem(row, 1);
    return texts;
}

} // namespace

class TestCdNames : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // The names come in as if typed into the track-name dialog and sent to the ripper.
    void lookUpFillsTheNames_data() {
        QTest::addColumn<QList<FakeDiscLookup::Release>>("releases");
        QTest::addColumn<QList<qint32>>("chosen");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("status");
        const QList<FakeDiscLookup::Release> one{{kAlbum, {"One", "Two", "Three"}}};
        const QList<FakeDiscLookup::Release> two{one[0], {kReissue, {"Uno", "", "Tres"}}};
        QTest::newRow("one release") << one << QList<qint32>() << QStringList{"One", "Two", "Three"}
                                     << "Track Names From MusicBrainz: " + kAlbum;
        QTest::newRow("the second of two")
            << two << QList<qint32>{1} << QStringList{"Uno", "Track02", "Tres"}
            << "Track Names From MusicBrainz: " + kReissue;
        QTest::newRow("a choice cancelled")
            << two << QList<qint32>{-1} << QStringList{"Track01", "Track02", "Track03"}
            << "Track Names Not Changed";
    }
    void lookUpFillsTheNames() {
        QFETCH(QList<FakeDiscLookup::Release>, releases);
        QFETCH(QList<qint32>, chosen);
        QFETCH(QStringList, names);
        QFETCH(QString, status);
        CdFixture f;
        f.enter();
        f.lookup.releases = releases;
        f.messageBox.chosen = chosen;
        const QPointer<TrackRename> dialog = &f.panel.frmTrackRename();
        f.log.clear();
        f.action("mnuoptcdlookup")->trigger();
        QCOMPARE(f.log.matching("DiscLookup."), QStringList{"DiscLookup.LookUpTrackNames(65536)"});
        QVERIFY(!f.action("mnuoptcdlookup")->isEnabled());
        QCOMPARE(f.status().last(), QStringLiteral("Looking Up Track Names On MusicBrainz"));
        QTRY_COMPARE(f.status().last(), status);
        QVERIFY(f.action("mnuoptcdlookup")->isEnabled());
        QCOMPARE(::names(f), names);
        const QList<QStringList> asked =
            releases.size() > 1 ? QList<QStringList>{{kAlbum, kReissue}} : QList<QStringList>();
        QCOMPARE(f.messageBox.choices, asked);
        QCOMPARE(f.state.renamedTracks, False16);
        if (!chosen.contains(-1)) {
            // What "Send To Ripper" does: the list rebuilt, the dialog unloaded.
            QTRY_VERIFY(dialog.isNull());
            QCOMPARE(f.row(3).mid(1), QStringList({"10:05:74", "101.98 MB", "3", "17:41:09"}));
        }
    }

    void aFailedLookupSaysWhy() {
        CdFixture f;
        f.enter();
        f.lookup.failure = QStringLiteral("MusicBrainz (musicbrainz.org) cannot be reached: Host "
                                          "not found.\n\nThe track names stay as they are.");
        f.action("mnuoptcdlookup")->trigger();
        QTRY_COMPARE(f.status().last(), QStringLiteral("Track Names Not Changed"));
        QCOMPARE(f.messageBox.shown.last().prompt, f.lookup.failure);
        QCOMPARE(f.messageBox.shown.last().title, QStringLiteral("Look Up Track Names"));
        QCOMPARE(f.messageBox.shown.last().icon, MessageBox::Icon::Information);
        QVERIFY(f.action("mnuoptcdlookup")->isEnabled());
        QCOMPARE(::names(f), QStringList({"Track01", "Track02", "Track03"}));
    }

    // Each rip gets its row's name as the title; the job's end is told once no row is left;
    // the tools' notes go to the status list as they come.
    void ripsTellTitlesAndTheJobsEnd() {
        CdFixture f;
        f.enterForWaveRips();
        f.list()->setSubItem(3, 1, QStringLiteral("Finale"));
        f.checkOnly({1, 3});
        f.tools.progressOnRip = {100};
        f.log.clear();
        f.child("Command17")->click();
        QTRY_COMPARE(f.log.matching("HarnTools.EndRipJob").size(), 1);
        QStringList order;
        for (const QString& call : f.log.matching("HarnTools."))
            if (call.contains("Title") || call.contains("RipTrack") || call.contains("EndRipJob"))
                order << call.section(", ", 0, 1);
        QCOMPARE(order, QStringList({"HarnTools.setTrackTitle(Track01)",
                                     "HarnTools.RipTrackToWav(65536, /rips/Track01.wav",
                                     "HarnTools.setTrackTitle(Finale)",
                                     "HarnTools.RipTrackToWav(65536, /rips/Track03.wav",
                                     "HarnTools.EndRipJob()"}));
        f.tools.raiseNote(QStringLiteral("Track03 accurately ripped (confidence 5, v2)"));
        QCOMPARE(f.status().last(), QStringLiteral("Track03 accurately ripped (confidence 5, v2)"));
        // A failed track ends the job too.
        f.checkOnly({2});
        f.tools.progressOnRip = {};
        f.child("Command17")->click();
        f.tools.raiseFailed(QStringLiteral("Sector 5 of track 2 cannot be read reliably"));
        QCOMPARE(f.log.matching("HarnTools.EndRipJob").size(), 2);
    }

    void logSwitch() {
        CdFixture f;
        f.enter();
        QAction* log = f.action("mnuoptcdlog");
        QVERIFY(log->isCheckable() && log->isChecked());
        QCOMPARE(log->text(), QStringLiteral("Write Log And Cue Sheet"));
        log->trigger();
        log->trigger();
        QCOMPARE(f.log.matching("HarnTools.setRipLog"),
                 QStringList({"HarnTools.setRipLog(false)", "HarnTools.setRipLog(true)"}));
    }

    // Sound hidden before track 1 is a last row, "Track00", ripped as track 0.
    void hiddenTrackRow_data() {
        QTest::addColumn<qint32>("hidden");
        QTest::addColumn<QStringList>("names");
        QTest::newRow("none") << 0 << QStringList{"Track01", "Track02", "Track03"};
        QTest::newRow("15 seconds")
            << 1125 << QStringList{"Track01", "Track02", "Track03", "Track00"};
    }
    void hiddenTrackRow() {
        QFETCH(qint32, hidden);
        QFETCH(QStringList, names);
        CdFixture f;
        f.tools.hiddenSectors = hidden;
        f.main.folders = {QStringLiteral("/rips")};
        f.enter();
        QCOMPARE(::names(f), names);
        if (hidden == 0)
            return;
        QCOMPARE(f.row(4), QStringList({"Track00", "00:15:00", "02.53 MB", "3", "17:41:09"}));
        f.action("mnuoptcdmode1")->trigger();
        f.child("Command16")->click();
        f.child<QCheckBox>("Check1")->setChecked(false);
        f.checkOnly({4});
        f.log.clear();
        f.child("Command17")->click();
        QCOMPARE(f.log.matching("HarnTools.RipTrackToWav").value(0).section(", ", 0, 2),
                 QStringLiteral("HarnTools.RipTrackToWav(65536, /rips/Track00.wav, 0"));
        QCOMPARE(f.status().last(), QStringLiteral("Now Ripping Track00"));
        // Looked-up names leave it as it is.
        f.lookup.releases = {{kAlbum, {"One", "Two", "Three"}}};
        f.action("mnuoptcdlookup")->trigger();
        QTRY_COMPARE(::names(f), QStringList({"One", "Two", "Three", "Track00"}));
    }
};

QTEST_MAIN(TestCdNames)
#include "test_cd_names.moc"
