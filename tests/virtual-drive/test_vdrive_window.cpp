// A window asking a drive that takes two seconds to spin up: the answers are right and the
// window's thread keeps turning (its 10 ms heartbeat never waits long) while the drive works.
#include "VirtualDriveTests.h"

#include <QTest>

namespace {

// What the probe printed, a line a call: call -> answer, took, longest gap of the heartbeat.
QMap<QString, QList<qint64>> probe(const QStringList& arguments, const QString& drive) {
    const Run r = runWithDrive(STALL_PROBE, arguments, drive, {"QT_QPA_PLATFORM=offscreen"});
    QMap<QString, QList<qint64>> calls;
    for (const QString& line : r.out.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList f = line.split(u' ');
        if (r.exitCode == 0 && f.size() == 4)
            calls[f[0]] = {f[1].toLongLong(), f[2].toLongLong(), f[3].toLongLong()};
    }
    if (r.exitCode != 0)
        qWarning("%s", qPrintable(r.err));
    return calls;
}

} // namespace

class TestVdriveWindow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theWindowKeepsTurningWhileTheDriveSpinsUp() {
        TestFolder dir;
        const TestDisc disc = writeTestDisc(dir.path());
        auto calls = probe({}, "/dev/sr7:cue=" + disc.cue + ":spinup=2,idle=1");
        QCOMPARE(calls.keys(), QStringList({"eject", "state", "tracks"}));
        QCOMPARE(calls["tracks"][0], 3);
        for (const char* call : {"tracks", "state"}) {
            // The drive did spin up for it, and the heartbeat went on meanwhile.
            QCOMPARE_GE(calls[call][1], 1500);
            QCOMPARE_LT(calls[call][2], 300);
        }
        QCOMPARE_LT(calls["eject"][2], 300);
    }

    // The burn panel's questions: libburn grabs the writer, which spins its disc up each time.
    void theWindowKeepsTurningWhileTheWriterSpinsUp() {
        auto calls = probe({"burn"}, "/dev/sr7:blank-cdr:spinup=2,idle=1");
        QCOMPARE(calls.keys(), QStringList({"disc", "eject", "recorders"}));
        QCOMPARE(calls["recorders"][0], 2); // the writer and the image recorder
        QCOMPARE(calls["disc"][0], 0);      // blank
        for (const char* call : {"recorders", "disc", "eject"})
            QCOMPARE_LT(calls[call][2], 300);
        // The writer did make the window wait somewhere: the disc was spun up for it.
        QCOMPARE_GE(calls["recorders"][1] + calls["disc"][1], 1500);
    }
};

QTEST_GUILESS_MAIN(TestVdriveWindow)
#include "test_vdrive_window.moc"
