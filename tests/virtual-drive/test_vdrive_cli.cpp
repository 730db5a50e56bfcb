// melvane-cli reading from virtual CD drives as real drives behave: the drive and recorder
// lists, the table of contents, ripping with paranoia through a drive's cache, offset and faults,
// the window's rip beside it, discs of several sessions, read errors named where the drive
// failed, a disc taken out mid-rip, blank discs; and the window's questions to a drive that
// spins up slowly.
#include "VirtualDriveTests.h"
#include "tests/cdio/MetadataDisc.h"
#include "tests/support/TestWebServer.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QString kCli = QStringLiteral(MELVANE_CLI);
const QString kWindowRip = QStringLiteral(WINDOW_RIP);

QString msf(int sectors) {
    return QString("%1:%2:%3")
        .arg(sectors / 4500, 2, 10, QChar('0'))
        .arg(sectors / 75 % 60, 2, 10, QChar('0'))
        .arg(sectors % 75, 2, 10, QChar('0'));
}

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

class TestVdriveCli : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    TestDisc m_disc;
    QString m_swappedCue; // a disc whose samples sound smooth only when byte-swapped
    QByteArray m_swappedBin;

    QString pressed(const QString& options = "timescale=0") const {
        return "/dev/sr7:cue=" + m_disc.cue + ":" + options;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeTestDisc(m_dir.path());
        // Paranoia guesses a drive's byte order from the sound: here it would guess wrong.
        for (int i = 0; i < 300 * 588 * 2; ++i) {
            const qint16 smooth = qint16(std::lround(9000 * std::sin(i * 0.003)));
            m_swappedBin.append(char(quint16(smooth) >> 8)).append(char(smooth & 0xff));
        }
        m_swappedCue = m_dir.path("swapped.cue");
        writeBytes(m_dir.path("swapped.bin"), m_swappedBin);
        writeBytes(m_swappedCue, "FILE \"swapped.bin\" BINARY\n  TRACK 01 AUDIO\n"
                                 "    INDEX 01 00:00:00\n");
    }

    // Two writers and a reader, which offers no write speed, then the image recorder.
    void listsTheDrivesAndRecorders() {
        const QString spec = pressed() +
                             ";/dev/sr3:blank-cdrw:vendor=PLEXTOR,product=PX-W4824A,revision=1.07,"
                             "speeds=4/12/24,read=40,buffer=4096,burnproof=0,address=2.0.1.0"
                             ";/dev/sr5:none:kind=rom";
        const Run drives = runWithDrive(kCli, {"drives"}, spec);
        QCOMPARE(drives.exitCode, 0);
        QCOMPARE(drives.out, "1  2:1:0 PLEXTOR  PX-W4824A            1.07\n"
                             "2  100:0:0 VIRTUAL  CD-RW WRITER         1.00\n"
                             "3  102:0:0 VIRTUAL  CD-RW WRITER         1.00\n");
        const Run recorders = runWithDrive(kCli, {"recorders"}, spec);
        QCOMPARE(recorders.exitCode, 0);
        QVERIFY2(recorders.out.startsWith("1  PLEXTOR  PX-W4824A  1.07\n"
                                          "   CD-RW writer; reads 40x; buffer 4.000 MB; burn "
                                          "proof: no\n"
                                          "   disc: erasable disc, blank, 0.000 MB used\n"
                                          "   write speeds: 4x 12x 24x\n"
                                          "2  VIRTUAL  CD-RW WRITER  1.00\n"),
                 qPrintable(recorders.out));
        QVERIFY(
            recorders.out.contains("disc: CD-ROM or write-once disc, closed or write protected"));
        QVERIFY2(recorders.out.contains("   CD-ROM reader; reads 48x; buffer 2.000 MB; burn proof: "
                                        "no\n   disc: no disc\n   write speeds: none (it cannot "
                                        "write CDs)\n"),
                 qPrintable(recorders.out));
        // The image recorder ends the list.
        QVERIFY(
            recorders.out.endsWith("  Melvane  Image Recorder  2.0\n"
                                   "   CD-R writer; reads 48x; buffer 1.005 MB; burn proof: yes\n"
                                   "   disc: CD-ROM or write-once disc, blank, 0.000 MB used\n"
                                   "   write speeds: 4x 8x 10x 16x 24x 32x 40x 48x\n"));
    }

    void tableOfContents() {
        const QString log = m_dir.path("toc.log");
        const Run toc = runWithDrive(kCli, {"toc", "1"}, pressed(), {"VIRTUAL_DRIVE_LOG=" + log});
        QCOMPARE(toc.exitCode, 0);
        for (const char* row :
             {"    1   00:00:00  00:03:39      264", "    2   00:03:39  00:01:25      100",
              "    3   00:04:64  00:00:08        8"})
            QVERIFY2(toc.out.contains(row), qPrintable(toc.out));
        // What the drive tells of the disc: catalogue number, CD-Text, ISRC, pre-emphasis.
        for (const char* line :
             {"Catalogue number (MCN) 0123456789012\n", "CD-Text: The Band - Pressed Album\n",
              "    1   First ISRC USXYZ2400001\n", "    2   Second pre-emphasis\n"})
            QVERIFY2(toc.out.contains(line), qPrintable(toc.out));
        // The drive's log names every call, ioctl and command, ready to be counted.
        QProcess count;
        count.start(QStringLiteral(COUNT_LOG), {log});
        QVERIFY(count.waitForFinished(30000));
        const QString counts = QString::fromLocal8Bit(count.readAllStandardOutput());
        for (const char* line : {"call open", "ioctl CDROM_GET_MCN", "kernel READ TOC/PMA/ATIP"})
            QVERIFY2(counts.contains(
                         QRegularExpression("\\d+ " + QRegularExpression::escape(line) + "\\n")),
                     qPrintable(QString(line) + "\n" + counts));
    }

    // A drive whose offset is not given: the offset that makes the first track match the
    // AccurateRip database is found, said, and corrected while ripping.
    void findsTheReadOffsetWithAccurateRip() {
        TestImage image;
        image.starts = {0, 264, 364};
        image.sectors = {264, 100, 8};
        image.audioEnd = 372;
        image.disc.resize(size_t(m_disc.bin.size() / 2));
        std::memcpy(image.disc.data(), m_disc.bin.constData(), size_t(m_disc.bin.size()));
        TestWebServer server;
        server.serve("/ar/" + referenceAccurateRipDisc(image).path(),
                     {200, referenceAccurateRipEntry(image), 0});
        const QString out = m_dir.fresh("offset");
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"},
                                     pressed("timescale=0,offset=-30"),
                                     {"MELVANE_ACCURATERIP_URL=" + server.url("/ar/")});
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        QVERIFY2(rip.out.contains("Read offset of drive 100:0:0 (/dev/sr7): -30 samples (found by "
                                  "AccurateRip: track 1 matches with it, confidence 4)"),
                 qPrintable(rip.out));
        // The first 30 samples would come from before the disc's start, which the drive does not
        // read: silence.
        const QByteArray first = wavData(out + "/Track01.wav");
        QCOMPARE(first.left(120), QByteArray(120, '\0'));
        QVERIFY(first.mid(120) == m_disc.track(1).mid(120));
        for (int n = 1; n <= 3; ++n) {
            if (n > 1)
                QVERIFY(wavData(out + QStringLiteral("/Track0%1.wav").arg(n)) == m_disc.track(n));
            QVERIFY2(rip.out.contains(QRegularExpression(
                         QStringLiteral("Track 0%1  CRC32 .* accurately ripped \\(confidence 9, "
                                        "v2\\)\n")
                             .arg(n))),
                     qPrintable(rip.out));
        }
        QVERIFY(fileBytes(out + "/The Band - Pressed Album.log")
                    .contains("Read offset:          -30 samples (found by AccurateRip"));
    }

    // Every track bit-exact, nothing suspicious; the log says how the reading went.
    void ripsBitExact_data() {
        QTest::addColumn<QString>("spec");
        QTest::addColumn<QList<QByteArray>>("tracks");
        QTest::addColumn<QString>("logged"); // a pattern of the log
        const QList<QByteArray> all{m_disc.track(1), m_disc.track(2), m_disc.track(3)};
        QTest::newRow("plain") << pressed() << all << "Status: +ok";
        // Sectors 20 and 21 fail more often than the drive's own retries: paranoia gets over
        // them, counts the read errors and says where its failed read began.
        QTest::newRow("sectors failing")
            << pressed("timescale=0,bad=20-21/12,bad=300-300/1") << all
            << "Paranoia: +\\d+ reads, \\d+ verified, \\d+ fixups, 0 scratch repairs, 0 skips, "
               "\\d+ drift, [1-9]\\d* read errors\n +Positions: +read errors at sectors "
               "([1-3]\\d|40)\\b";
        QTest::newRow("jitter") << pressed("timescale=0,jitter=30-90/5") << all << "Status: +ok";
        QTest::newRow("audio that fools paranoia's byte order guess")
            << "/dev/sr7:cue=" + m_swappedCue + ":timescale=0" << QList<QByteArray>{m_swappedBin}
            << "Status: +ok";
    }
    void ripsBitExact() {
        QFETCH(QString, spec);
        QFETCH(QList<QByteArray>, tracks);
        QFETCH(QString, logged);
        const QString out = m_dir.fresh("rip");
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"}, spec);
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        QVERIFY2(!rip.out.contains("SUSPICIOUS"), qPrintable(rip.out));
        const QStringList files = QDir(out).entryList({"*.wav"}, QDir::Files, QDir::Name);
        QCOMPARE(files.size(), tracks.size());
        for (int i = 0; i < tracks.size(); ++i)
            QVERIFY2(wavData(out + "/" + files[i]) == tracks[i], qPrintable(files[i]));
        const QStringList logs = QDir(out).entryList({"*.log"}, QDir::Files);
        QCOMPARE(logs.size(), 1);
        const QString log = QString::fromUtf8(fileBytes(out + "/" + logs[0]));
        QVERIFY2(log.contains(QRegularExpression(logged)), qPrintable(log));
    }

    // The window rips through the same pipeline: with the setting ReadOffset it corrects the
    // drive's offset bit-exactly and has melvane-cli's checksums for the same offset; without
    // it the track is as the drive reads it, and a setting that is no offset refuses the rip.
    void windowRipHonoursTheReadOffset_data() {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<QString>("cliOffset"); // empty: the window refuses the rip
        QTest::addColumn<QString>("logged");
        QTest::newRow("offset set") << "ReadOffset=12"
                                    << "12"
                                    << "+12 samples (from the setting ReadOffset)";
        QTest::newRow("offset not set") << ""
                                        << "0"
                                        << "0 samples (not corrected)";
        QTest::newRow("no offset") << "ReadOffset=twelve"
                                   << ""
                                   << "";
    }
    void windowRipHonoursTheReadOffset() {
        QFETCH(QString, setting);
        QFETCH(QString, cliOffset);
        QFETCH(QString, logged);
        const QString settings = m_dir.fresh("window-settings");
        writeBytes(settings + "/Melvane.conf", ("[General]\n" + setting + "\n").toUtf8());
        const QString out = m_dir.fresh("window");
        const Run window = runWithDrive(kWindowRip, {settings, out + "/Track02.wav", "2"},
                                        pressed("timescale=0,offset=12"));
        if (cliOffset.isEmpty()) {
            QCOMPARE(window.exitCode, 1);
            QVERIFY2(window.err.contains("Cannot rip from drive 100:0:0 (/dev/sr7): the read "
                                         "offset setting ReadOffset is \"twelve\", not a number "
                                         "of samples from -100000 to 100000"),
                     qPrintable(window.err));
            QVERIFY(QDir(out).isEmpty());
            return;
        }
        QVERIFY2(window.exitCode == 0, qPrintable(window.out + window.err));
        QCOMPARE(wavData(out + "/Track02.wav") == m_disc.track(2), cliOffset == "12");
        const QString log = QString::fromUtf8(fileBytes(out + "/The Band - Pressed Album.log"));
        QVERIFY2(log.contains(QRegularExpression("Read offset: +" +
                                                 QRegularExpression::escape(logged) + "\n")),
                 qPrintable(log));
        const QRegularExpressionMatch crc = QRegularExpression("CRC32: +(\\w{8})\n").match(log);
        const QRegularExpressionMatch ar =
            QRegularExpression("AccurateRip: +v1 (\\w{8}), v2 (\\w{8})").match(log);
        QVERIFY2(crc.hasMatch() && ar.hasMatch(), qPrintable(log));

        const QString cliOut = m_dir.fresh("cli");
        const Run cli = runWithDrive(
            kCli,
            {"rip", "--to", "wav", "--tracks", "2", "--offset", cliOffset, "--out", cliOut, "1"},
            pressed("timescale=0,offset=12"));
        QVERIFY2(cli.exitCode == 0, qPrintable(cli.out + cli.err));
        QVERIFY2(cli.out.contains(QStringLiteral("Track 02  CRC32 %1  ARv1 %2  ARv2 %3")
                                      .arg(crc.captured(1), ar.captured(1), ar.captured(2))),
                 qPrintable(cli.out + log));
        QVERIFY(wavData(cliOut + "/Track02.wav") == wavData(out + "/Track02.wav"));
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
        QByteArray bin;
        QString cue = "FILE \"disc.bin\" BINARY\n";
        QList<QByteArray> tracks;
        for (int i = 0; i < sessionOf.size(); ++i) {
            if (i > 0 && sessionOf[i] != sessionOf[i - 1]) {
                const int gap = (sessionOf[i - 1] == 1 ? 6750 : 2250) + 4500 + 150;
                bin.append(QByteArray(gap * 2352, '\0'));
                cue += QString("REM SESSION %1\n").arg(sessionOf[i], 2, 10, QChar('0'));
            }
            tracks << toneAudio(200, 3 + i);
            cue += QString("  TRACK %1 AUDIO\n    INDEX 01 %2\n")
                       .arg(i + 1, 2, 10, QChar('0'))
                       .arg(msf(int(bin.size() / 2352)));
            bin.append(tracks.last());
        }
        const QString spec = "/dev/sr7:cue=" + writePressedDisc(folder, "disc", bin, cue.toUtf8()) +
                             ":timescale=0,media=cdr";

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
        const Run rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"},
                                     pressed("timescale=0," + bad));
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
        const Run rip = runWithDrive(kCli, {"rip", "--to", "image", "--out", out, "1"},
                                     pressed("timescale=0,bad=330-330"));
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
                                     pressed("timescale=0,remove=120,cache=0"));
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

    // A window asking a drive that takes two seconds to spin up: the answers are right and the
    // window's thread keeps turning (its 10 ms heartbeat never waits long) while the drive works.
    void theWindowKeepsTurningWhileTheDriveSpinsUp() {
        auto calls = probe({}, pressed("spinup=2,idle=1"));
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

QTEST_GUILESS_MAIN(TestVdriveCli)
#include "test_vdrive_cli.moc"
