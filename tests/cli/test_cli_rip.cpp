// melvane-cli rip as a user runs it: the built program as a child process, on CUE/BIN images
// this test writes, with real libcdio and paranoia. The files and the checksum lines are
// checked against the image's own samples and against checksums computed here from their
// definitions. Damaged and odd sheets end promptly with what is wrong.
#include "backends/media/MediaProbe.h"
#include "tests/cdio/MetadataDisc.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"

#include <QRegularExpression>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

namespace {

Run rip(const QStringList& arguments) {
    return runCli(QStringList{QStringLiteral("rip")} + arguments);
}

// Far more than any run on a damaged sheet takes; a run that hangs is killed then and fails.
constexpr int kBoundMs = 20000;

Run cli(const QStringList& arguments) {
    return runCli(arguments, {}, kBoundMs);
}

// The name a rip gives its log and cue sheets: "Audio CD" and the disc's CDDB ID, the last
// part of the AccurateRip disc ID it ends its output with.
QString reportName(const QString& ripOutput) {
    const QString id = ripOutput.section(QStringLiteral("AccurateRip disc ID "), -1).trimmed();
    return QStringLiteral("Audio CD ") + id.section(u'-', 3);
}

// "Track NN  CRC32 …  ARv1 …  ARv2 …" for track n of a disc of `count` audio tracks.
QString checksumLine(const TestImage& image, int n, int count) {
    const std::vector<qint16> pcm = image.track(n);
    const auto [v1, v2] = referenceAccurateRip(pcm, n == 1, n == count);
    return QStringLiteral("Track %1  CRC32 %2  ARv1 %3  ARv2 %4")
        .arg(n, 2, 10, QChar(u'0'))
        .arg(hex(referenceCrc32(pcm)), hex(v1), hex(v2));
}

QStringList checksumLines(const QString& out) {
    return out.split(u'\n').filter(QRegularExpression(QStringLiteral("^Track \\d\\d  CRC32")));
}

// The files of the tracks, without the log and cue sheet beside them.
QStringList trackFilesIn(const QString& folder) {
    return folderEntries(folder).filter(QRegularExpression(QStringLiteral("^Track")));
}

} // namespace

class TestCliRip : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    TestImage m_disc;  // three audio tracks of uneven lengths, an INDEX 00 gap before track 2
    TestImage m_mixed; // a data track, then an audio track
    TestImage m_data;  // a data track only

    // A sheet beside a data file of 1200 sectors (16 s) of noise.
    QString sheet(const QString& name, const QByteArray& text) {
        const TestImage image =
            writeImage(m_dir.path(), name, {{QStringLiteral("AUDIO"), 588 * 1200}});
        writeBytes(image.cue, text);
        return image.cue;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeImage(m_dir.path(), QStringLiteral("disc"),
                            {{QStringLiteral("AUDIO"), 588 * 40 + 123},
                             {QStringLiteral("AUDIO"), 588 * 25 + 7, 30},
                             {QStringLiteral("AUDIO"), 588 * 33 + 300}},
                            5);
        m_mixed = writeImage(m_dir.path(), QStringLiteral("mixed"),
                             {{QStringLiteral("MODE1/2352"), 588 * 100},
                              {QStringLiteral("AUDIO"), 588 * 20 + 11, 150}},
                             6);
        m_data = writeImage(m_dir.path(), QStringLiteral("data"),
                            {{QStringLiteral("MODE1/2352"), 588 * 100}});
    }

    // Several formats from one read, a format named twice made once; without --tracks a
    // mixed-mode disc gives its audio tracks only. (WMA's lowest rate: test_rip::ripsTrack.)
    void severalFormatsOfTheAudioTracks() {
        const QString out = m_dir.fresh();
        const Run r =
            rip({"--to", "wav,mp3,wma,wav", "--bitrate", "192", "--out", out, m_mixed.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(trackFilesIn(out), QStringList({"Track02.mp3", "Track02.wav", "Track02.wma"}));
        QVERIFY(wavSamples(out + "/Track02.wav") == m_mixed.track(2));
        for (const QString codec : {"mp3", "wmav2"}) {
            const MediaFacts facts =
                probeMediaFile(out + "/Track02." + (codec == "mp3" ? "mp3" : "wma"));
            QCOMPARE(std::pair(facts.codecName, facts.bitRate), std::pair(codec, qint64(192000)));
        }
    }

    // --offset: offsetAcrossADataTrack and test_vdrive_cli rip with one bit-exactly, and test_cdio
    // reads every edge of the disc with one.

    // Every file bit-exact, its gap and padding included, with its checksum line; the whole
    // disc ends with its AccurateRip disc ID.
    void trackLists_data() {
        QTest::addColumn<QString>("tracks"); // empty: no --tracks
        QTest::addColumn<QList<int>>("ripped");
        QTest::newRow("all") << QString() << QList<int>{1, 2, 3};
        QTest::newRow("1,3") << "1,3" << QList<int>{1, 3};
        QTest::newRow("2-3") << "2-3" << QList<int>{2, 3};
        QTest::newRow("3,1-2") << "3,1-2" << QList<int>{1, 2, 3};
        QTest::newRow("2,2-2") << "2,2-2" << QList<int>{2};
    }
    void trackLists() {
        QFETCH(QString, tracks);
        QFETCH(QList<int>, ripped);
        const QString out = m_dir.fresh();
        QStringList arguments{"--to", "wav", "--out", out, m_disc.cue};
        if (!tracks.isEmpty())
            arguments = QStringList{"--tracks", tracks} + arguments;
        const Run r = rip(arguments);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QStringList files;
        QStringList lines;
        for (const int n : ripped) {
            files << QStringLiteral("Track%1.wav").arg(n, 2, 10, QChar(u'0'));
            QVERIFY2(wavSamples(out + "/" + files.last()) == m_disc.track(n),
                     qPrintable(files.last()));
            lines << checksumLine(m_disc, n, 3);
        }
        // Beside them the log and the cue sheet, named after the disc (it has no CD-Text).
        const QString report = "Audio CD " + referenceAccurateRipId(m_disc).section(u'-', 3);
        QCOMPARE(folderEntries(out), (QStringList{report + ".cue", report + ".log"} + files));
        QCOMPARE(checksumLines(r.out), lines);
        if (tracks.isEmpty())
            QVERIFY2(r.out.endsWith("AccurateRip disc ID " + referenceAccurateRipId(m_disc) + "\n"),
                     qPrintable(r.out));
    }

    // Nothing is ripped and no file is made; the message says what is wrong.
    void refusals_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const QString disc = m_disc.cue;
        auto row = [](const char* name, QStringList arguments, int code, const char* message) {
            QTest::newRow(name) << arguments << code << QString::fromUtf8(message);
        };
        row("unknown format", {"--to", "wav,flac", disc}, 2, "unknown format 'flac'");
        row("no format", {disc}, 2, "missing --to");
        row("no --out", {"--to", "wav", "--out", "", disc}, 2, "missing --out");
        row("empty track", {"--to", "wav", "--tracks", "1,,2", disc}, 2, "'' should be a track");
        row("backwards range", {"--to", "wav", "--tracks", "3-1", disc}, 2, "'3-1' should be");
        row("track 0", {"--to", "wav", "--tracks", "0", disc}, 2, "has no track 0");
        row("track 100", {"--to", "wav", "--tracks", "100", disc}, 2, "is not a list of tracks");
        row("open range", {"--to", "wav", "--tracks", "2-", disc}, 2, "is not a list of tracks");
        row("not on the disc", {"--to", "wav", "--tracks", "2-4", disc}, 2, "has no track 4");
        row("data track", {"--to", "wav", "--tracks", "1", m_mixed.cue}, 2, "is a data track");
        row("bad offset", {"--to", "wav", "--offset", "6x", disc}, 2, "--offset '6x'");
        row("bad bit rate", {"--to", "mp3", "--bitrate", "0", disc}, 2, "--bitrate '0'");
        const QString gone = m_dir.path("no/such/folder");
        row("missing --out folder", {"--to", "wav", "--out", gone, disc}, 2,
            qPrintable(gone + " does not exist"));
        row("two drives", {"--to", "wav", disc, disc}, 2, "give one drive");
        row("no such drive number", {"--to", "wav", "99"}, 1, "There is no drive number 99");
        row("missing image", {"--to", "wav", "/nonexistent/x.cue"}, 1, "/nonexistent/x.cue");
        row("data disc", {"--to", "wav", m_data.cue}, 1, "holds no audio tracks");
    }
    void refusals() {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const QString out = m_dir.fresh();
        if (!arguments.contains("--out"))
            arguments = QStringList{"--out", out} + arguments;
        const Run r = rip(arguments);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QCOMPARE(folderEntries(out), QStringList());
        QCOMPARE(r.out, QString());
    }

    // A track whose file exists fails alone and the file is kept: named, the others ripped,
    // exit 1; --overwrite replaces it. (A folder in the way is refused by the same check:
    // test_output_file.)
    void existingFilesNeedOverwrite() {
        const QString out = m_dir.fresh();
        const QString older = out + "/Track02.wav";
        writeBytes(older, "older");
        Run r = rip({"--to", "wav", "--out", out, m_disc.cue});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("track 2 failed: Cannot write " + older +
                                ": a file of that name exists already (--overwrite replaces it)"),
                 qPrintable(r.err));
        QVERIFY2(r.err.contains("1 of 3 track(s) failed: 2"), qPrintable(r.err));
        QCOMPARE(QFileInfo(older).size(), 5);
        QVERIFY(wavSamples(out + "/Track03.wav") == m_disc.track(3));
        QCOMPARE(checksumLines(r.out),
                 QStringList({checksumLine(m_disc, 1, 3), checksumLine(m_disc, 3, 3)}));
        r = rip({"--to", "wav", "--overwrite", "--tracks", "2", "--out", out, m_disc.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // Without --overwrite the log of the last rip is in the way too: nothing is ripped.
        r = rip({"--to", "wav", "--tracks", "2", "--out", out, m_disc.cue});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(".log exists already (--overwrite replaces it, --no-log"),
                 qPrintable(r.err));
        r = rip(
            {"--to", "wav", "--no-log", "--overwrite", "--tracks", "2", "--out", out, m_disc.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(wavSamples(older) == m_disc.track(2));
    }

    // The rip's own image is never written over, --overwrite or not: here its data file bears
    // the name track 1's file would take.
    void theImageItselfIsNeverWrittenOver() {
        const QString out = m_dir.fresh();
        const QString data = out + "/Track01.wav";
        QVERIFY(QFile::copy(binOf(m_disc.cue), data));
        QString sheet = readText(m_disc.cue);
        sheet.replace(QFileInfo(binOf(m_disc.cue)).fileName(), QStringLiteral("Track01.wav"));
        const QString cue = out + "/own.cue";
        writeBytes(cue, sheet.toUtf8());
        const QByteArray before = fileBytes(data);
        const Run r = rip({"--to", "wav", "--overwrite", "--no-log", "--out", out, cue});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("track 1 failed"), qPrintable(r.err));
        QCOMPARE(fileBytes(data), before);
        QVERIFY(wavSamples(out + "/Track02.wav") == m_disc.track(2));
    }

    // A sheet's name reaches the terminal with its control characters escaped, in the drive's
    // description of toc and rip alike.
    void sheetNamesAreEscaped() {
        const QString name = QStringLiteral("odd\x1b]0;title\x07"
                                            "disc");
        const TestImage image =
            writeImage(m_dir.path(), name, {{QStringLiteral("AUDIO"), 588 * 10}}, 8);
        const Run toc = runCli({"toc", image.cue});
        QVERIFY2(toc.exitCode == 0, qPrintable(toc.err));
        QVERIFY2(toc.out.contains("Image odd\\x1b]0;title\\x07disc"), qPrintable(toc.out));
        const Run ripped = rip({"--to", "wav", "--out", m_dir.fresh(), image.cue});
        QVERIFY2(ripped.exitCode == 0, qPrintable(ripped.err));
        QVERIFY2(ripped.out.contains("\\x1b]0;title\\x07disc"), qPrintable(ripped.out));
        for (const QString& text : {toc.out, toc.err, ripped.out, ripped.err})
            QVERIFY(!text.contains(u'\x1b') && !text.contains(u'\x07'));
    }

    // SIGINT while the first quarter is out: the process ends with 128 + 2 and no file at all.
    void interruptLeavesNoFile() {
        const TestImage image =
            writeImage(m_dir.path(), "long", {{QStringLiteral("AUDIO"), 44100LL * 240}}, 7);
        const QString out = m_dir.fresh();
        QProcess process;
        process.start(QStringLiteral(MELVANE_CLI),
                      {"rip", "--to", "wav,mp3,wma", "--out", out, image.cue});
        QVERIFY(readUntil(process, "Track 01: 25%"));
        QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
        const Run r = finish(process);
        QCOMPARE(r.exitCode, 128 + SIGINT);
        QVERIFY2(r.err.contains("interrupted; 1 of 1 track(s) not ripped"), qPrintable(r.err));
        QCOMPARE(folderEntries(out), QStringList());
    }

    // CUE sheets that are damaged, odd or not files at all: every run ends within a bounded
    // time with a message that names what is wrong, and nothing is written for a track that
    // cannot be read.

    // Refused at once by toc and rip, saying what is wrong, and nothing written: a sheet a
    // fuzzer made (with a track number twice and indexes going backwards, paranoia went round for
    // ever), and a named pipe as the sheet (nothing waits for a writer that never comes). The
    // other refusals: test_cue_sheets.
    void sheetsRefusedAtOnce_data() {
        QTest::addColumn<QString>("cue");
        QTest::addColumn<QString>("says");
        const QString fuzzed =
            sheet(QStringLiteral("fuzzed"),
                  "FILE \"fuzzed.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:11:46\n"
                  "  TRACK 01 AUDIO\n    INDEX 02 00:14:25\n    INDEX 00 00:15:65\n"
                  "    INDEX 01 00:04:71\n  TRACK 03 MODE2/2352\n    INDEX 01 00:14:13\n"
                  "    INDEX 00 00:03:17\n  TRACK 01 AUDIO\n    INDEX 01 00:00:39\n");
        QTest::newRow("fuzzed") << fuzzed
                                << "Line 4 of the CUE sheet " + fuzzed +
                                       " starts track 1 after track 1";
        const QString pipe = m_dir.path("pipe.cue");
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QTest::newRow("named pipe")
            << pipe << "The CUE sheet " + pipe + " is a named pipe, not a file";
    }
    void sheetsRefusedAtOnce() {
        QFETCH(QString, cue);
        QFETCH(QString, says);
        const QString out = m_dir.fresh();
        for (const QStringList& arguments :
             {QStringList{"toc", cue}, QStringList{"rip", "--to", "wav", "--out", out, cue}}) {
            const Run r = cli(arguments);
            QCOMPARE(r.exitCode, 1);
            QVERIFY2(r.err.contains(says), qPrintable(r.err));
            // What the fuzzed sheet was answered with: paranoia giving up as on a scratched disc.
            QVERIFY2(!r.err.contains("scratched"), qPrintable(r.err));
        }
        QCOMPARE(folderEntries(out), QStringList());
    }

    // A data track between audio tracks, read across with an offset: its sectors are silence
    // (paranoia, asked for them, went round for ever).
    void offsetAcrossADataTrack() {
        const TestImage image = writeImage(m_dir.path(), QStringLiteral("mixed"),
                                           {{QStringLiteral("AUDIO"), 588 * 375},
                                            {QStringLiteral("MODE1/2352"), 588 * 375},
                                            {QStringLiteral("AUDIO"), 588 * 450}},
                                           9);
        const QString out = m_dir.fresh();
        const Run r = cli({"rip", "--to", "wav", "--offset", "-3000", "--out", out, image.cue});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // Beside the tracks the rip's log and cue sheet, named after the disc's CDDB ID.
        const QString report = reportName(r.out);
        QCOMPARE(folderEntries(out),
                 QStringList({report + ".cue", report + ".log", "Track01.wav", "Track03.wav"}));
        std::vector<qint16> expected(3000 * 2, 0);
        const std::vector<qint16> track = image.track(3);
        expected.insert(expected.end(), track.begin(), track.end() - 3000 * 2);
        QVERIFY(wavSamples(out + "/Track03.wav") == expected);
    }

    // Tracks that start or end past the end of the data file: refused by name in toc and rip,
    // no negative length anywhere, nothing written for them; the track inside is ripped.
    void tracksPastTheEndOfTheImage() {
        const TestImage image = writeShortImage(m_dir.path());
        const QString past = QStringLiteral("Track 3 starts at 00:20:00, after the end of the "
                                            "image %1: its data file %2 ends at 00:06:00")
                                 .arg(image.cue, binOf(image.cue));
        const QString beyond =
            QStringLiteral("Track 2 runs to 00:20:00, past the end of the image");

        const Run toc = cli({"toc", image.cue});
        QCOMPARE(toc.exitCode, 1);
        QVERIFY2(toc.out.contains("    1   00:00:00  00:04:00      300     0.67 MB  audio\n"),
                 qPrintable(toc.out));
        QVERIFY2(toc.out.contains("    3   00:20:00  cannot be read (see below)\n"),
                 qPrintable(toc.out));
        QVERIFY2(!toc.out.contains(":-") && !toc.out.contains(" -"), qPrintable(toc.out));
        QVERIFY2(toc.err.contains("melvane-cli toc: " + past), qPrintable(toc.err));
        QVERIFY2(toc.err.contains("melvane-cli toc: " + beyond), qPrintable(toc.err));

        const QString out = m_dir.fresh();
        const Run rip = cli({"rip", "--to", "wav,mp3", "--out", out, image.cue});
        QCOMPARE(rip.exitCode, 1);
        QVERIFY2(rip.err.contains("track 3 failed: " + past), qPrintable(rip.err));
        QVERIFY2(rip.err.contains("track 2 failed: " + beyond), qPrintable(rip.err));
        QVERIFY2(rip.err.contains("2 of 3 track(s) failed: 2, 3"), qPrintable(rip.err));
        const QString report = reportName(rip.out);
        QCOMPARE(folderEntries(out),
                 QStringList({report + ".log", report + ".mp3.cue", report + ".wav.cue",
                              "Track01.mp3", "Track01.wav"}));
        QVERIFY(wavSamples(out + "/Track01.wav") == image.samples(0, 300 * 588));
        // The log's table of contents names the tracks that cannot be read, with no length.
        const QString logText = readText(out + u'/' + report + ".log");
        QVERIFY2(logText.contains("      3  00:20:00  cannot be read: " + past + '\n'),
                 qPrintable(logText));
        QVERIFY2(logText.contains("      2  00:04:00  cannot be read: " + beyond),
                 qPrintable(logText));
    }
};

QTEST_GUILESS_MAIN(TestCliRip)
#include "test_cli_rip.moc"
