// Reading discs through melvane-cli on a virtual drive as a real drive behaves: discs of several
// sessions, read errors named where the drive failed, a disc taken out mid-rip, blank discs.
#include "VirtualDriveTests.h"

#include <QTest>

namespace {

const QString kCli = QStringLiteral(MELVANE_CLI);

QString msf(int sectors) {
    return QString("%1:%2:%3")
        .arg(sectors / 4500, 2, 10, QChar('0'))
        .arg(sectors / 75 % 60, 2, 10, QChar('0'))
        .arg(sectors % 75, 2, 10, QChar('0'));
}

} // namespace

class TestVdriveRead : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    TestDisc m_disc;

    QString pressed(const QString& options) const {
        return "/dev/sr7:cue=" + m_disc.cue + ":timescale=0," + options;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeTestDisc(m_dir.path());
    }

    // Each session's last track ends at that session's lead-out, not at the next session's
    // first track: what lies between is lead-out, lead-in and pre-gap, which no drive reads.
    void tracksEndAtTheirSessionsLeadOut_data() {
        QTest::addColumn<QList<int>>("sessionOf"); // of each track, 200 sectors each
        QTest::newRow("two sessions") << QList<int>{1, 1, 2};
        QTest::newRow("three sessions") << QList<int>{1, 2, 3};
    }
    void tracksEndAtTheirSessionsLeadOut() {
        QFETCH(QList<int>, sessionOf);
        const QString folder = m_dir.fresh("sessions");
        // Gaps before a later session: lead-out (90 s after the first session, 30 s after the
        // others), lead-in (60 s) and pre-gap (2 s); the image holds them as silence.
        QFile bin(folder + "/disc.bin");
        QVERIFY(bin.open(QIODevice::WriteOnly));
        QString cue = "FILE \"disc.bin\" BINARY\n";
        QList<QByteArray> tracks;
        int at = 0;
        for (int i = 0; i < sessionOf.size(); ++i) {
            if (i > 0 && sessionOf[i] != sessionOf[i - 1]) {
                const int gap = (sessionOf[i - 1] == 1 ? 6750 : 2250) + 4500 + 150;
                at += gap;
                QVERIFY(bin.resize(qint64(at) * 2352) && bin.seek(bin.size()));
                cue += QString("REM SESSION %1\n").arg(sessionOf[i], 2, 10, QChar('0'));
            }
            tracks << toneAudio(200, 3 + i);
            QCOMPARE(bin.write(tracks.last()), tracks.last().size());
            cue += QString("  TRACK %1 AUDIO\n    INDEX 01 %2\n")
                       .arg(i + 1, 2, 10, QChar('0'))
                       .arg(msf(at));
            at += 200;
        }
        bin.close();
        QFile sheet(folder + "/disc.cue");
        QVERIFY(sheet.open(QIODevice::WriteOnly) && sheet.write(cue.toUtf8()) > 0);
        sheet.close();
        const QString spec = "/dev/sr7:cue=" + folder + "/disc.cue:timescale=0,media=cdr";

        const Run toc = runWithDrive(kCli, {"toc", "1"}, spec);
        QVERIFY2(toc.exitCode == 0, qPrintable(toc.out + toc.err));
        QVERIFY2(toc.out.count("  00:02:50      200     0.45 MB  audio") == tracks.size(),
                 qPrintable(toc.out));

        const QString out = m_dir.fresh("sessions-rip");
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"}, spec);
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        for (int i = 0; i < tracks.size(); ++i) {
            const QString file = out + QString("/Track%1.wav").arg(i + 1, 2, 10, QChar('0'));
            QVERIFY2(wavData(file) == tracks[i], qPrintable(file));
        }
    }

    // The drive's sense data names the sector it could not read; paranoia's own place is
    // wherever it was reading ahead from. The track is kept, marked as suspicious, and the
    // others are ripped.
    void readErrorsNameWhereTheDriveFailed_data() {
        QTest::addColumn<QString>("bad");
        QTest::addColumn<int>("track");
        QTest::newRow("track 1") << "bad=100-100" << 1;
        QTest::newRow("track 2") << "bad=330-330" << 2;
    }
    void readErrorsNameWhereTheDriveFailed() {
        QFETCH(QString, bad);
        QFETCH(int, track);
        const QString out = m_dir.fresh("bad");
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"}, pressed(bad));
        QCOMPARE(rip.exitCode, 1);
        const QString sector = bad.section(u'-', 1);
        QVERIFY2(rip.err.contains(QString("track %1 is suspicious: paranoia could not read all of "
                                          "it reliably (skipped at sectors %2; read errors at "
                                          "sectors %2)")
                                      .arg(track)
                                      .arg(sector)),
                 qPrintable(rip.err));
        QCOMPARE(folderEntries(out),
                 QStringList({"The Band - Pressed Album.cue", "The Band - Pressed Album.log",
                              "Track01.wav", "Track02.wav", "Track03.wav"}));
    }

    // A copy of the whole disc keeps no skipped sector: it fails, naming the sector the drive
    // reported in the time of its track, and leaves nothing behind.
    void aDiscCopyNamesTheSectorTheDriveCannotRead() {
        const QString out = m_dir.fresh("bad-image");
        const Run rip =
            runWithDrive(kCli, {"rip", "--to", "image", "--out", out, "1"}, pressed("bad=330-330"));
        QCOMPARE(rip.exitCode, 1);
        QVERIFY2(rip.err.contains("Sectors 0 to 371 of drive 100:0:0 (/dev/sr7) cannot be read "
                                  "reliably: the drive cannot read 00:00:66 into track 2 (sector "
                                  "330 of the disc); the disc may be scratched or dirty"),
                 qPrintable(rip.err));
        QCOMPARE(folderEntries(out), QStringList());
    }

    // The tracks after the one that was being read would only fail the same way.
    void aDiscTakenOutIsOneFailure() {
        const QString out = m_dir.fresh("removed");
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"},
                                     pressed("remove=120,cache=0"));
        QCOMPARE(rip.exitCode, 1);
        QVERIFY2(rip.err.count("failed") == 1, qPrintable(rip.err));
        QVERIFY2(rip.err.contains("track 1 failed: The disc was taken out of drive 100:0:0 "
                                  "(/dev/sr7) while track 1 was being read"),
                 qPrintable(rip.err));
        QVERIFY2(rip.err.contains("the disc is no longer in drive 100:0:0 (/dev/sr7), so "
                                  "track(s) 2, 3 were not ripped"),
                 qPrintable(rip.err));
        // The log says what happened; nothing else is left.
        QCOMPARE(folderEntries(out), QStringList{"The Band - Pressed Album.log"});
    }

    void aBlankOrMissingDiscIsNamed_data() {
        QTest::addColumn<QString>("disc");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const QString blank = "The disc in drive 100:0:0 (/dev/sr7) is blank";
        const QStringList toc{"toc", "1"};
        QTest::newRow("toc, blank CD-R") << "blank-cdr" << toc << "melvane-cli toc: " + blank;
        QTest::newRow("toc, blank CD-RW") << "blank-cdrw" << toc << "melvane-cli toc: " + blank;
        QTest::newRow("rip, blank CD-R")
            << "blank-cdr" << QStringList{"rip", "--to", "wav", "--out", m_dir.path(), "1"}
            << "melvane-cli rip: " + blank;
        QTest::newRow("toc, no disc")
            << "none" << toc << "melvane-cli toc: There is no disc in drive 100:0:0 (/dev/sr7)";
    }
    void aBlankOrMissingDiscIsNamed() {
        QFETCH(QString, disc);
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const Run ran = runWithDrive(kCli, arguments, "/dev/sr7:" + disc);
        QCOMPARE(ran.exitCode, 1);
        QVERIFY2(ran.err.startsWith(message), qPrintable(ran.err));
    }
};

QTEST_GUILESS_MAIN(TestVdriveRead)
#include "test_vdrive_read.moc"
