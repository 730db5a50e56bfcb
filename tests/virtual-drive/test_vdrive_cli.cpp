// melvane-cli on virtual CD writers: the drive and recorder lists, the table of contents,
// ripping with paranoia through a drive's cache, offset and faults, and burning WAV, MP3 and
// WMA files with libburn and ripping the disc back.
#include "VirtualDriveTests.h"
#include "tests/cdio/MetadataDisc.h"
#include "tests/lookup/TestWebServer.h"
#include "tests/media/MediaTestSupport.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kCli = QStringLiteral(MELVANE_CLI);
const QString kWindowRip = QStringLiteral(WINDOW_RIP);

QByteArray pcmBytes(const std::vector<qint16>& samples) {
    return QByteArray(reinterpret_cast<const char*>(samples.data()),
                      qsizetype(samples.size() * sizeof(qint16)));
}

} // namespace

class TestVdriveCli : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    TestDisc m_disc;
    QString m_swappedCue; // a disc whose samples sound smooth only when byte-swapped
    QByteArray m_swappedBin;
    QStringList m_files;     // WAV, MP3, WMA with titles, 4.5 to 6.5 s
    QList<QByteArray> m_pcm; // their decoded sound

    QString fresh(const QString& name) const {
        const QString folder = m_dir.filePath(name);
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        return folder;
    }

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
        m_swappedCue = m_dir.filePath("swapped.cue");
        writeBytes(m_dir.filePath("swapped.bin"), m_swappedBin);
        writeBytes(m_swappedCue, "FILE \"swapped.bin\" BINARY\n  TRACK 01 AUDIO\n"
                                 "    INDEX 01 00:00:00\n");
        const QList<std::pair<QString, OutputCodec>> kinds{{"one.wav", OutputCodec::Wav},
                                                           {"two.mp3", OutputCodec::Mp3Lame},
                                                           {"three.wma", OutputCodec::Wma}};
        for (int i = 0; i < kinds.size(); ++i) {
            const QString path = m_dir.filePath(kinds[i].first);
            SineSource source(PcmFormat::cdAudio(), 4.5 + i, 300.0 + 100 * i);
            writeSource(source, path,
                        {kinds[i].second, 128000, {{"title", QString("Song %1").arg(i + 1)}}});
            m_files.append(path);
            m_pcm.append(pcmBytes(decodeFile(path).samples));
        }
    }

    void listsTheDrivesAndRecorders() {
        const QString spec = pressed() +
                             ";/dev/sr3:blank-cdrw:vendor=PLEXTOR,product=PX-W4824A,revision=1.07,"
                             "speeds=4/12/24,read=40,buffer=4096,burnproof=0,address=2.0.1.0";
        const Ran drives = runWithDrive(kCli, {"drives"}, spec);
        QCOMPARE(drives.exitCode, 0);
        QCOMPARE(drives.out, "1  2:1:0 PLEXTOR  PX-W4824A            1.07\n"
                             "2  100:0:0 VIRTUAL  CD-RW WRITER         1.00\n");
        const Ran recorders = runWithDrive(kCli, {"recorders"}, spec);
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
    }

    void tableOfContents() {
        const Ran toc = runWithDrive(kCli, {"toc", "1"}, pressed());
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
        const QString out = fresh("offset");
        const Ran rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"},
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

    // Read errors paranoia got over (the drive's own retries could not) are counted with where
    // they were; the track is not suspicious.
    void secureRipReportCountsReadErrors() {
        const QString out = fresh("errors");
        const Ran rip =
            runWithDrive(kCli, {"rip", "--to", "wav", "--tracks", "1", "--out", out, "1"},
                         pressed("timescale=0,bad=20-21/12"));
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        QVERIFY(!rip.out.contains("SUSPICIOUS"));
        const QString log = QString::fromUtf8(fileBytes(out + "/The Band - Pressed Album.log"));
        QVERIFY2(log.contains(QRegularExpression("Paranoia: +\\d+ reads, \\d+ verified, \\d+ "
                                                 "fixups, 0 scratch repairs, 0 skips, \\d+ drift, "
                                                 "[1-9]\\d* read errors")),
                 qPrintable(log));
        // Where paranoia says it was: the start of the read that failed, near the bad sectors.
        const QRegularExpressionMatch at =
            QRegularExpression("Positions: +read errors at sectors (\\d+)").match(log);
        QVERIFY2(at.hasMatch() && at.captured(1).toInt() >= 10 && at.captured(1).toInt() <= 40,
                 qPrintable(log));
        QVERIFY(log.contains(QRegularExpression("Status: +ok")));
    }

    void ripsBitExact_data() {
        QTest::addColumn<QString>("spec");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QList<QByteArray>>("tracks");
        const QList<QByteArray> all{m_disc.track(1), m_disc.track(2), m_disc.track(3)};
        QTest::newRow("plain") << pressed() << QStringList() << all;
        QTest::newRow("read offset corrected")
            << pressed("timescale=0,offset=12") << QStringList{"--offset", "12", "--tracks", "2"}
            << QList<QByteArray>{m_disc.track(2)};
        QTest::newRow("sectors failing twice")
            << pressed("timescale=0,bad=20-24/2,bad=300-300/1") << QStringList() << all;
        QTest::newRow("jitter") << pressed("timescale=0,jitter=30-90/5") << QStringList() << all;
        QTest::newRow("audio that fools paranoia's byte order guess")
            << "/dev/sr7:cue=" + m_swappedCue + ":timescale=0" << QStringList()
            << QList<QByteArray>{m_swappedBin};
    }
    void ripsBitExact() {
        QFETCH(QString, spec);
        QFETCH(QStringList, options);
        QFETCH(QList<QByteArray>, tracks);
        const QString out = fresh("rip");
        const Ran rip = runWithDrive(
            kCli, QStringList{"rip", "--to", "wav", "--out", out} + options + QStringList{"1"},
            spec);
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        const QStringList files = QDir(out).entryList({"*.wav"}, QDir::Files, QDir::Name);
        QCOMPARE(files.size(), tracks.size());
        for (int i = 0; i < tracks.size(); ++i)
            QVERIFY2(wavData(out + "/" + files[i]) == tracks[i], qPrintable(files[i]));
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
        const QString settings = fresh("window-settings");
        writeBytes(settings + "/Melvane.conf", ("[General]\n" + setting + "\n").toUtf8());
        const QString out = fresh("window");
        const Ran window = runWithDrive(kWindowRip, {settings, out + "/Track02.wav", "2"},
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

        const QString cliOut = fresh("cli");
        const Ran cli = runWithDrive(
            kCli,
            {"rip", "--to", "wav", "--tracks", "2", "--offset", cliOffset, "--out", cliOut, "1"},
            pressed("timescale=0,offset=12"));
        QVERIFY2(cli.exitCode == 0, qPrintable(cli.out + cli.err));
        QVERIFY2(cli.out.contains(QStringLiteral("Track 02  CRC32 %1  ARv1 %2  ARv2 %3")
                                      .arg(crc.captured(1), ar.captured(1), ar.captured(2))),
                 qPrintable(cli.out + log));
        QVERIFY(wavData(cliOut + "/Track02.wav") == wavData(out + "/Track02.wav"));
    }

    // A sector paranoia gives up on is kept, the track marked suspicious in the output and the
    // log, with where; a disc taken out fails its track and leaves only the log.
    void rippingFailures_data() {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("left"); // the files that stay
        QTest::newRow("unreadable sector")
            << "bad=300-300"
            << "track 2 is suspicious: paranoia could not read all of it reliably (skipped at "
               "sectors 300"
            << QStringList{"The Band - Pressed Album.cue", "The Band - Pressed Album.log",
                           "Track01.wav", "Track02.wav", "Track03.wav"};
        QTest::newRow("disc taken out") << "remove=120,cache=0"
                                        << "The disc was taken out of drive 100:0:0 (/dev/sr7)"
                                        << QStringList{"The Band - Pressed Album.log"};
    }
    void rippingFailures() {
        QFETCH(QString, options);
        QFETCH(QString, message);
        QFETCH(QStringList, left);
        const QString out = fresh("failing");
        const Ran rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"},
                                     pressed("timescale=0," + options));
        QCOMPARE(rip.exitCode, 1);
        QVERIFY2(rip.err.contains(message), qPrintable(rip.err));
        QCOMPARE(QDir(out).entryList(QDir::Files | QDir::Hidden, QDir::Name), left);
    }

    void burnsACompilationThatRipsBack() {
        const QString saved = fresh("burnt");
        const Ran burn = runWithDrive(kCli, QStringList{"burn", "--recorder", "1"} + m_files,
                                      "/dev/sr7:blank-cdr:speeds=4/8/16,timescale=0.02",
                                      {"VIRTUAL_DRIVE_SAVE=" + saved});
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        QVERIFY(burn.out.contains("on VIRTUAL CD-RW WRITER at 16x"));
        for (const char* phase : {"Fill Buffer", "Burn Track", "Finalise Disc", "Burn complete."})
            QVERIFY2(burn.out.contains(phase), phase);
        const QString spec = "/dev/sr7:cue=" + saved + "/sr7.cue:media=cdr,timescale=0";
        const Ran info = runWithDrive("cd-info", {"--no-header", "--no-cddb", "/dev/sr7"}, spec);
        QVERIFY2(info.out.contains(QRegularExpression("CD-TEXT for Track  2:\\s+TITLE: Song 2")),
                 qPrintable(info.out));
        const QString out = fresh("ripped");
        const Ran rip = runWithDrive(kCli, {"rip", "--to", "wav", "--out", out, "1"}, spec);
        QCOMPARE(rip.exitCode, 0);
        const QStringList files = QDir(out).entryList({"*.wav"}, QDir::Files, QDir::Name);
        QCOMPARE(files.size(), 3);
        // The tracks hold the files' sound back to back, then silence to the sector's end.
        QByteArray disc;
        for (const QString& file : files)
            disc += wavData(out + "/" + file);
        const QByteArray sound = m_pcm[0] + m_pcm[1] + m_pcm[2];
        QVERIFY(disc.startsWith(sound));
        QVERIFY(disc.size() - sound.size() < 2352);
        QCOMPARE(disc.mid(sound.size()).count(char(0)), disc.size() - sound.size());
        QVERIFY(disc == fileBytes(saved + "/sr7.bin"));
    }

    void burnMethodsAndOptions_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("model");    // what the drive's log says it did
        QTest::addColumn<QByteArray>("saved"); // a line of the saved disc's cue sheet
        QTest::newRow("track at once")
            << QStringList{"--method", "1"} << "session closed: 1, disc complete"
            << QByteArray("  TRACK 02 AUDIO\n    INDEX 00"); // the pause; no CD-Text
        QTest::newRow("test burn")
            << QStringList{"--simulate"} << "test write ended: nothing recorded" << QByteArray();
        QTest::newRow("left open")
            << QStringList{"--keep-open"} << "session closed: 1, disc appendable"
            << QByteArray("  TRACK 02 AUDIO\n    TITLE \"Song 2\"\n    INDEX 01");
    }
    void burnMethodsAndOptions() {
        QFETCH(QStringList, options);
        QFETCH(QString, model);
        QFETCH(QByteArray, saved);
        const QString folder = fresh("methods");
        const QString log = folder + "/drive.log";
        const Ran burn =
            runWithDrive(kCli, QStringList{"burn", "--recorder", "1"} + options + m_files.mid(0, 2),
                         "/dev/sr7:blank-cdr:timescale=0",
                         {"VIRTUAL_DRIVE_SAVE=" + folder, "VIRTUAL_DRIVE_LOG=" + log});
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        QVERIFY2(fileBytes(log).contains(model.toUtf8()), qPrintable(model));
        const QByteArray cue = fileBytes(folder + "/sr7.cue");
        QVERIFY2(saved.isEmpty() ? cue.isEmpty() : cue.contains(saved), cue.constData());
    }

    void burnFailures_data() {
        QTest::addColumn<QString>("disc");
        QTest::addColumn<QString>("message");
        QTest::newRow("write error") << "blank-cdr:timescale=0,writeerror=100"
                                     << "Burning on VIRTUAL CD-RW WRITER failed:";
        QTest::newRow("disc taken out") << "blank-cdr:timescale=0,remove=200"
                                        << "Burning on VIRTUAL CD-RW WRITER failed:";
        QTest::newRow("no disc") << "none"
                                 << "There is no disc in VIRTUAL CD-RW WRITER.";
        QTest::newRow("pressed disc")
            << "cue=" + m_disc.cue << "The disc in VIRTUAL CD-RW WRITER cannot be written";
    }
    void burnFailures() {
        QFETCH(QString, disc);
        QFETCH(QString, message);
        const Ran burn = runWithDrive(
            kCli, QStringList{"burn", "--recorder", "1"} + m_files.mid(0, 1), "/dev/sr7:" + disc);
        QCOMPARE(burn.exitCode, 1);
        QVERIFY2(burn.err.contains(message), qPrintable(burn.err));
    }
};

QTEST_GUILESS_MAIN(TestVdriveCli)
#include "test_vdrive_cli.moc"
