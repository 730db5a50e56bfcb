// A window asking a drive that takes two seconds to spin up: the answers are right and the
// window's thread keeps turning (its 10 ms heartbeat never waits long) while the drive works.
#include "VirtualDriveTests.h"

#include <QTemporaryDir>
#include <QTest>

class TestVdriveWindow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theWindowKeepsTurningWhileTheDriveSpinsUp() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const TestDisc disc = writeTestDisc(dir.path());
        const Ran r = runWithDrive(STALL_PROBE, {}, "/dev/sr7:cue=" + disc.cue + ":spinup=2,idle=1",
                                   {"QT_QPA_PLATFORM=offscreen"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // call -> answer, took, longest gap
        QMap<QString, QList<qint64>> calls;
        for (const QString& line : r.out.split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList f = line.split(u' ');
            QCOMPARE(f.size(), 4);
            calls[f[0]] = {f[1].toLongLong(), f[2].toLongLong(), f[3].toLongLong()};
        }
        QCOMPARE(calls.keys(), QStringList({"eject", "state", "tracks"}));
        QCOMPARE(calls["tracks"][0], 3);
        for (const QString& call : {"tracks", "state"}) {
            // The drive did spin up for it, and the heartbeat went on meanwhile.
            QVERIFY2(calls[call][1] >= 1500, qPrintable(call + ": " + r.out));
            QVERIFY2(calls[call][2] < 300, qPrintable(call + ": " + r.out));
        }
        QVERIFY2(calls["eject"][2] < 300, qPrintable(r.out));
    }

    // The burn panel's questions: libburn grabs the writer, which spins its disc up each time.
    void theWindowKeepsTurningWhileTheWriterSpinsUp() {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const Ran r = runWithDrive(STALL_PROBE, {"burn"}, "/dev/sr7:blank-cdr:spinup=2,idle=1",
                                   {"QT_QPA_PLATFORM=offscreen"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QMap<QString, QList<qint64>> calls;
        for (const QString& line : r.out.split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList f = line.split(u' ');
            QCOMPARE(f.size(), 4);
            calls[f[0]] = {f[1].toLongLong(), f[2].toLongLong(), f[3].toLongLong()};
        }
        QCOMPARE(calls.keys(), QStringList({"disc", "eject", "recorders"}));
        QCOMPARE(calls["recorders"][0], 2); // the writer and the image recorder
        QCOMPARE(calls["disc"][0], 0);      // blank
        for (const QString& call : {"recorders", "disc", "eject"})
            QVERIFY2(calls[call][2] < 300, qPrintable(call + ": " + r.out));
        // The writer did make the window wait somewhere: the disc was spun up for it.
        QVERIFY2(calls["recorders"][1] + calls["disc"][1] >= 1500, qPrintable(r.out));
    }
};

QTEST_GUILESS_MAIN(TestVdriveWindow)
#include "test_vdrive_window.moc"
