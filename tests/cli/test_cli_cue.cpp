// melvane-cli toc and rip as a child process on CUE sheets that are damaged, odd or not files
// at all: every run ends within a bounded time with a message that names what is wrong, and
// nothing is written for a track that cannot be read.
#include "tests/cdio/CdImages.h"
#include "tests/support/ChildProcess.h"

#include <QTest>
#include <sys/stat.h>

namespace {

// Far more than any of these runs takes; a run that hangs is killed then and fails.
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

} // namespace

class TestCliCue : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;

    // A sheet beside a data file of 1200 sectors (16 s) of noise.
    QString sheet(const QString& name, const QByteArray& text) {
        const TestImage image =
            writeImage(m_dir.path(), name, {{QStringLiteral("AUDIO"), 588 * 1200}});
        writeBytes(image.cue, text);
        return image.cue;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

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

QTEST_GUILESS_MAIN(TestCliCue)
#include "test_cli_cue.moc"
