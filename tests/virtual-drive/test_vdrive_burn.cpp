// Burns that are exact and verified, on the virtual CD writer and on the image recorder, read
// back with cd-paranoia: an MP3 album without gaps, verification with a read offset, track at
// once, unreadable sectors, and what the drive did for each burn method. (A failing recorder as
// the user sees it: test_vdrive_panel::faults, on the same engine.)
#include "VirtualDriveTests.h"
#include "tests/media/MediaTestSupport.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QTest>

namespace {

const QString kCli = QStringLiteral(MELVANE_CLI);
const QString kBlank = QStringLiteral("/dev/sr7:blank-cdr:timescale=0");

// What ffmpeg decodes a file to, as CD audio.
QByteArray ffmpegDecode(const QString& file) {
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-nostdin", "-loglevel", "error", "-i", file, "-f", "s16le", "-ar",
                            "44100", "-ac", "2", "-"});
    ffmpeg.waitForFinished(60000);
    return ffmpeg.readAllStandardOutput();
}

// A disc worth copying, every track 4 seconds or more: track 2 has a 113-sector gap that holds
// sound (applause between live tracks) and pre-emphasis, tracks 1 and 3 ISRCs, track 3 the
// copy flag; the disc has an MCN and CD-Text with a songwriter.
TestDisc writeCopyDisc(const QString& folder) {
    TestDisc disc;
    disc.bin = toneAudio(1200, 11);
    disc.cue = writePressedDisc(folder, "live", disc.bin,
                                "CATALOG 4006381234567\n"
                                "TITLE \"Live at the Hall\"\n"
                                "PERFORMER \"The Band\"\n"
                                "SONGWRITER \"A. Writer\"\n"
                                "FILE \"live.bin\" BINARY\n"
                                "  TRACK 01 AUDIO\n"
                                "    TITLE \"Opening\"\n"
                                "    PERFORMER \"The Band\"\n"
                                "    ISRC DEXYZ2400011\n"
                                "    INDEX 01 00:00:00\n"
                                "  TRACK 02 AUDIO\n"
                                "    TITLE \"Ballad\"\n"
                                "    PERFORMER \"The Band\"\n"
                                "    FLAGS PRE\n"
                                "    INDEX 00 00:06:00\n"
                                "    INDEX 01 00:07:38\n"
                                "  TRACK 03 AUDIO\n"
                                "    TITLE \"Encore\"\n"
                                "    PERFORMER \"The Band\"\n"
                                "    FLAGS DCP\n"
                                "    ISRC DEXYZ2400013\n"
                                "    INDEX 01 00:12:00\n");
    return disc;
}

} // namespace

class TestVdriveBurn : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    TestDisc m_disc;      // a pressed disc with a gap, ISRCs, an MCN, flags and CD-Text
    QStringList m_album;  // MP3 files with titles, none on whole sectors
    QByteArray m_gapless; // ffmpeg's decode of the album, the files one after another

    // melvane-cli with the drives of spec, images and logs going to folder.
    Run cli(const QStringList& arguments, const QString& spec, const QString& folder) const {
        return runWithDrive(kCli, arguments, spec,
                            {"MELVANE_IMAGE_DIR=" + folder, "VIRTUAL_DRIVE_SAVE=" + folder,
                             "XDG_DATA_HOME=" + folder + "/data"});
    }
    // cd-paranoia's reading of the whole disc of a CUE sheet, in the virtual drive.
    QByteArray paranoia(const QString& cue) const {
        const QString out = m_dir.path("paranoia.raw");
        QFile::remove(out);
        runWithDrive("cd-paranoia", {"-q", "-d", "/dev/sr7", "-r", "1-", out},
                     "/dev/sr7:cue=" + cue + ":media=cdr,timescale=0");
        return fileBytes(out);
    }
    // What cd-info says of a disc's table of contents (with the flags), MCN, ISRCs and CD-Text.
    static QStringList discFacts(const QString& cue) {
        const Run r = runWithDrive("cd-info", {"--no-header", "--no-cddb", "/dev/sr7"},
                                   "/dev/sr7:cue=" + cue + ":media=cdr,timescale=0");
        QStringList kept;
        for (const QString& line : r.out.split(u'\n'))
            if (line.contains(QRegularExpression("^ +[0-9]+: |MCN|ISRC|TITLE|PERFORMER|"
                                                 "SONGWRITER|CD-TEXT for")))
                kept << line.simplified();
        return kept;
    }
    static QString only(const QString& folder, const QString& pattern) {
        const QStringList found = QDir(folder).entryList({pattern}, QDir::Files);
        return found.size() == 1 ? folder + u'/' + found[0] : QString();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeCopyDisc(m_dir.path());
        const double seconds[] = {4.37, 5.81, 6.02};
        for (int i = 0; i < 3; ++i) {
            const QString path = m_dir.path(QStringLiteral("%1.mp3").arg(i + 1));
            SineSource tone(PcmFormat::cdAudio(), seconds[i], 300.0 + 110 * i);
            writeSource(tone, path,
                        {OutputCodec::Mp3Lame, 192000, {{"title", QString("Part %1").arg(i + 1)}}});
            m_album << path;
            m_gapless += ffmpegDecode(path);
        }
        QVERIFY(m_gapless.size() > 16 * 44100 * 4);
    }

    // The disc holds the album as ffmpeg decodes it, sample for sample, the files one after
    // another without a gap, then silence to the end of the last sector; the titles are its
    // CD-Text. The burn shows its phases.
    // (The image recorder's: test_burn_media::roundTrip.)
    void anMp3AlbumWithoutGaps() {
        const QString folder = m_dir.fresh("album");
        const Run burn = cli(QStringList{"burn", "--recorder", "1"} + m_album, kBlank, folder);
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        for (const char* phase : {"Fill Buffer", "Burn Track", "Finalise Disc", "Burn complete."})
            QVERIFY2(burn.out.contains(phase), phase);
        const QString cue = folder + "/sr7.cue";
        QVERIFY2(discFacts(cue).contains("TITLE: Part 2"), qPrintable(discFacts(cue).join('\n')));
        const QByteArray disc = paranoia(cue);
        QVERIFY(disc.startsWith(m_gapless));
        QVERIFY2(disc.size() - m_gapless.size() < 2352,
                 qPrintable(QString::number(disc.size() - m_gapless.size())));
        QCOMPARE(disc.mid(m_gapless.size()).count(char(0)), disc.size() - m_gapless.size());
    }

    // Verified on the writer: the read offset is found and corrected, track at once leaves
    // its pauses out of the comparison (and warns that it drops the CD-Text), a sector that
    // cannot be read makes its track unreadable and fails the burn.
    void verifiedOnTheWriter_data() {
        QTest::addColumn<QString>("drive");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("results"); // per track
        QTest::addColumn<QString>("log");         // a line of the burn log
        const QStringList identical{"identical", "identical", "identical"};
        QTest::newRow("read offset")
            << kBlank + ",offset=30" << QStringList() << 0 << identical << "Offset:     30 samples";
        QTest::newRow("track at once") << kBlank << QStringList{"--method", "1"} << 0 << identical
                                       << "track at once (TAO), 2-second pauses between tracks";
        QTest::newRow("unreadable sector")
            << kBlank + ",bad=400-400" << QStringList() << 1 // track 2 begins at 327
            << QStringList{"identical", "unreadable", "identical"} << "unreadable at 0:00.73";
    }
    void verifiedOnTheWriter() {
        QFETCH(QString, drive);
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QStringList, results);
        QFETCH(QString, log);
        const QString folder = m_dir.fresh("verified");
        const Run burn = cli(QStringList{"burn", "--recorder", "1", "--verify"} + options + m_album,
                             drive, folder);
        QVERIFY2(burn.exitCode == exitCode, qPrintable(burn.out + burn.err));
        for (int i = 0; i < 3; ++i)
            QVERIFY2(burn.out.contains(QStringLiteral("Track %1: %2\n").arg(i + 1).arg(results[i])),
                     qPrintable(burn.out));
        if (exitCode != 0)
            QVERIFY2(burn.err.contains("The disc is not what was written. Track 2: unreadable."),
                     qPrintable(burn.err));
        if (options.contains("1"))
            QVERIFY2(burn.err.contains("warning: Burn method 1 writes track at once, which does "
                                       "not write the CD-Text (titles and performers)"),
                     qPrintable(burn.err));
        const QString logFile = only(folder + "/data/melvane/burn-logs", "*.log");
        QVERIFY2(fileBytes(logFile).contains(log.toUtf8()), fileBytes(logFile).constData());
    }

    // A CUE/BIN burnt as a whole disc is a copy: the same table of contents, gap, catalogue
    // number, ISRC, pre-emphasis flag and CD-Text, and the same sound, gap included.
    // (Onto the image recorder: copyADisc burns its image there.)
    void aDiscImageBurntAsItStands() {
        const QString folder = m_dir.fresh("copied");
        const Run burn = cli({"burn", "--recorder", "1", "--verify", m_disc.cue}, kBlank, folder);
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        QVERIFY2(burn.out.contains("Track 2: identical"), qPrintable(burn.out));
        const QString copy = folder + "/sr7.cue";
        const QStringList source = discFacts(m_disc.cue);
        for (const char* fact : {"4006381234567", "DEXYZ2400013", "SONGWRITER: A. Writer"})
            QVERIFY2(source.join('\n').contains(fact), qPrintable(source.join('\n')));
        QCOMPARE(discFacts(copy), source);
        const QByteArray sheet = fileBytes(copy);
        QVERIFY2(sheet.contains("INDEX 00 00:06:00") && sheet.contains("INDEX 01 00:07:38"),
                 sheet.constData());
        QVERIFY(paranoia(copy) == m_disc.bin);
    }

    // A whole disc read into an image through a drive with a read offset, named after the disc,
    // the sound corrected for the offset (its last samples lie beyond the disc: silence). What
    // the sheet holds: copyADisc, which reads its image the same way.
    void ripToImage() {
        const QString folder = m_dir.fresh("ripped");
        const Run rip =
            cli({"rip", "--to", "image", "--offset", "48", "--out", folder, "/dev/sr3"},
                "/dev/sr3:cue=" + m_disc.cue + ":kind=rom,timescale=0,offset=48", folder);
        QVERIFY2(rip.exitCode == 0, qPrintable(rip.out + rip.err));
        const QString cue = only(folder, "*.cue");
        QCOMPARE(QFileInfo(cue).fileName(), QStringLiteral("Live at the Hall.cue"));
        QVERIFY(rip.out.endsWith("Image: " + cue + "\n"));
        const QByteArray bin = fileBytes(cue.chopped(4) + ".bin");
        QCOMPARE(bin.size(), m_disc.bin.size());
        QVERIFY(bin.chopped(48 * 4) == m_disc.bin.chopped(48 * 4));
        QCOMPARE(bin.right(48 * 4).count(char(0)), 48 * 4);
    }

    // melvane-cli copy: read, read again to check, burn, verify; the copy has the source's
    // table of contents, gap, catalogue number, ISRCs, flags, CD-Text and sound, and the work
    // image is gone afterwards.
    void copyADisc_data() {
        QTest::addColumn<QString>("recorder"); // the reader with the source is recorder 1
        QTest::newRow("virtual writer") << "2";
        QTest::newRow("image recorder") << "image";
    }
    void copyADisc() {
        QFETCH(QString, recorder);
        const QString folder = m_dir.fresh("copy");
        const QString drives = "/dev/sr3:cue=" + m_disc.cue + ":kind=rom,timescale=0,offset=48;" +
                               kBlank + ",offset=-30";
        const Run copy =
            cli({"copy", "--offset", "48", "--recorder", recorder, "/dev/sr3"}, drives, folder);
        QVERIFY2(copy.exitCode == 0, qPrintable(copy.out + copy.err));
        for (const char* said : {"Every track read the same twice.", "Track 3: identical",
                                 "Burn complete; verified: every track is identical."})
            QVERIFY2(copy.out.contains(said), qPrintable(copy.out));
        const QString cue = recorder == "image" ? only(folder, "*.cue") : folder + "/sr7.cue";
        QCOMPARE(discFacts(cue), discFacts(m_disc.cue));
        QVERIFY(fileBytes(cue).contains("INDEX 00 00:06:00"));
        QVERIFY(paranoia(cue).chopped(48 * 4) == m_disc.bin.chopped(48 * 4));
        QVERIFY(QDir(folder).entryList({".melvane-copy-*"}, QDir::Dirs | QDir::Hidden).isEmpty());
    }

    // What the drive did for a burn method, as its log tells, and the disc it saved.
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
            << QByteArray("  TRACK 02 AUDIO\n    TITLE \"Part 2\"\n    INDEX 01");
    }
    void burnMethodsAndOptions() {
        QFETCH(QStringList, options);
        QFETCH(QString, model);
        QFETCH(QByteArray, saved);
        const QString folder = m_dir.fresh("methods");
        const QString log = folder + "/drive.log";
        const Run burn =
            runWithDrive(kCli, QStringList{"burn", "--recorder", "1"} + options + m_album.mid(0, 2),
                         kBlank, {"VIRTUAL_DRIVE_SAVE=" + folder, "VIRTUAL_DRIVE_LOG=" + log});
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        QVERIFY2(fileBytes(log).contains(model.toUtf8()), qPrintable(model));
        const QByteArray cue = fileBytes(folder + "/sr7.cue");
        QVERIFY2(saved.isEmpty() ? cue.isEmpty() : cue.contains(saved), cue.constData());
    }
};

QTEST_GUILESS_MAIN(TestVdriveBurn)
#include "test_vdrive_burn.moc"
