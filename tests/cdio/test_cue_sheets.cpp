// CUE sheets as people and other programs write them, read through the real libcdio and
// paranoia: the forms CD tools accept are read as they mean, the ones libcdio would misread (or
// crash on) are refused with the line and the reason, special files are refused at once, and
// tracks past the end of the data are refused by name.
#include "backends/cdio/CdioLog.h"
#include "backends/cdio/Disc.h"
#include "tests/cdio/CdioDiscs.h"

#include <QTemporaryDir>
#include <QTest>
#include <cdio/cdio.h>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

using namespace cdio;

namespace {

// What call raises, run apart with a bounded wait: a call that blocks (a named pipe opened for
// reading) reports "blocked". The blocked call is let go by opening the pipe for writing.
QString errorWithin(const std::function<void()>& call, const QString& pipe) {
    auto running = std::async(std::launch::async, [&] { return errorOf(call); });
    if (running.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
        return running.get();
    const int fd = ::open(QFile::encodeName(pipe).constData(), O_WRONLY | O_NONBLOCK);
    running.wait();
    if (fd >= 0)
        ::close(fd);
    return QStringLiteral("blocked");
}

} // namespace

class TestCueSheets : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void readsSheetsAsCdToolsDo_data();
    void readsSheetsAsCdToolsDo();
    void refusesWhatWouldBeMisread_data();
    void refusesWhatWouldBeMisread();
    void specialFilesRefusedAtOnce_data();
    void specialFilesRefusedAtOnce();
    void tracksPastTheEndOfTheData();
    void libcdioGivesItsReasons();

private:
    // A sheet beside 450 sectors of noise (m_data), in a folder of its own; returns its path.
    QString image(const QByteArray& sheet, const QString& binName = QStringLiteral("disc.bin")) {
        const QString folder = m_dir.fresh();
        m_data =
            writeImage(folder, QStringLiteral("disc"), {{QStringLiteral("AUDIO"), 588 * 450}}, 7)
                .disc;
        QFile::rename(folder + QStringLiteral("/disc.bin"), folder + u'/' + binName);
        writeBytes(folder + QStringLiteral("/disc.cue"), sheet);
        return folder + QStringLiteral("/disc.cue");
    }
    static Drive drive(const QString& cue) { return DriveTable::imageDrive(cue, 0); }

    TestFolder m_dir;
    std::vector<qint16> m_data;
};

void TestCueSheets::readsSheetsAsCdToolsDo_data() {
    QTest::addColumn<QByteArray>("sheet");
    QTest::addColumn<QString>("binName");
    QTest::addColumn<QList<int>>("numbers");
    QTest::addColumn<QList<qint32>>("starts");
    // A disc's first track need not be 1; every table by track number must take 1 to 99.
    for (const int first : {74, 90, 99})
        QTest::addRow("first track %d", first)
            << QByteArray("FILE \"disc.bin\" BINARY\n  TRACK " + QByteArray::number(first) +
                          " AUDIO\n    INDEX 01 00:00:00\n")
            << QStringLiteral("disc.bin") << QList<int>{first} << QList<qint32>{0};
    QTest::newRow("first track 98 of two")
        << QByteArray("FILE \"disc.bin\" BINARY\nTRACK 98 AUDIO\nINDEX 01 00:00:00\n"
                      "TRACK 99 AUDIO\nINDEX 01 00:02:00\n")
        << QStringLiteral("disc.bin") << QList<int>{98, 99} << QList<qint32>{0, 150};
    QTest::newRow("byte-order mark, lower case, CR LF")
        << QByteArray("\xef\xbb\xbf"
                      "file \"disc.bin\" binary\r\n  track 01 audio\r\n    index 01 00:00:00\r\n"
                      "  Track 02 Audio\r\n    flags dcp\r\n    Index 00 00:02:00\r\n"
                      "    Index 01 00:03:00\r\n")
        << QStringLiteral("disc.bin") << QList<int>{1, 2} << QList<qint32>{0, 225};
    QTest::newRow("data file named in another case")
        << QByteArray("FILE \"cdda.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n")
        << QStringLiteral("CDDA.BIN") << QList<int>{1} << QList<qint32>{0};
    QTest::newRow("data file by a Windows path, lone CR line ends")
        << QByteArray("REM made on Windows\rFILE \"C:\\CDs\\Disc.Bin\" BINARY\r  TRACK 01 "
                      "AUDIO\r    INDEX 01 00:00:00\r  TRACK 02 AUDIO\r    INDEX 01 00:04:00\r")
        << QStringLiteral("Disc.Bin") << QList<int>{1, 2} << QList<qint32>{0, 300};
    QTest::newRow("metadata libcdio would refuse is left out")
        << QByteArray("CATALOG 123\nFOO bar\nTITLE \"A \"\"quoted\"\" title\"\nFILE disc.bin\n"
                      "  TRACK 01 AUDIO\n    ISRC XX\n    FLAGS PRE WHATEVER\n"
                      "    PERFORMER \"Someone\"\n    PERFORMER \"Someone else\"\n"
                      "    INDEX 01 00:00:00\n    INDEX 02 00:01:00\n  CATALOG 1234567890123\n")
        << QStringLiteral("disc.bin") << QList<int>{1} << QList<qint32>{0};
}

// The table of contents keeps the sheet's own numbers, and every track reads back exactly.
void TestCueSheets::readsSheetsAsCdToolsDo() {
    QFETCH(QByteArray, sheet);
    QFETCH(QString, binName);
    QFETCH(QList<int>, numbers);
    QFETCH(QList<qint32>, starts);
    const QString cue = image(sheet, binName);
    Disc disc(drive(cue));
    const Toc toc = disc.toc();
    QCOMPARE(toc.tracks.size(), numbers.size());
    QCOMPARE(toc.leadout, 450);
    for (int i = 0; i < numbers.size(); ++i) {
        const TocTrack& t = toc.tracks[i];
        QCOMPARE(t.number, numbers[i]);
        QCOMPARE(t.start, starts[i]);
        QVERIFY2(t.problem.isEmpty(), qPrintable(t.problem));
        auto reader = DiscReader::track(drive(cue), t.number);
        const qint32 end = i + 1 < starts.size() ? starts[i + 1] : 450;
        QCOMPARE(reader->totalSectors(), end - t.start);
        const std::vector<qint16> expected(m_data.begin() + t.start * 1176,
                                           m_data.begin() + end * 1176);
        QVERIFY(readSamples(*reader, 5000) == expected);
    }
}

void TestCueSheets::refusesWhatWouldBeMisread_data() {
    QTest::addColumn<QByteArray>("sheet");
    QTest::addColumn<QStringList>("says");
    const QByteArray file = "FILE \"disc.bin\" BINARY\n";
    const QByteArray track1 = "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    QTest::newRow("track number twice")
        << file + track1 + "  TRACK 01 AUDIO\n    INDEX 01 00:02:00\n"
        << QStringList{"Line 4 of the CUE sheet", "starts track 1 after track 1"};
    QTest::newRow("INDEX going backwards")
        << file + "  TRACK 01 AUDIO\n    INDEX 01 00:04:00\n  TRACK 02 AUDIO\n"
                  "    INDEX 01 00:01:00\n"
        << QStringList{"Line 5", "INDEX 01 of track 2 at 00:01:00", "line 3 at 00:04:00"};
    QTest::newRow("INDEX 00 after INDEX 01")
        << file + "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n    INDEX 00 00:01:00\n"
        << QStringList{"Line 4", "INDEX 00 of track 1 after its INDEX 01"};
    // paranoia took this for a disc with no audio tracks.
    QTest::newRow("two tracks at one place")
        << file + track1 + "  TRACK 02 AUDIO\n    INDEX 01 00:00:00\n"
        << QStringList{"Line 5", "starts track 2 at 00:00:00, where track 1 starts"};
    QTest::newRow("NUL byte") << file + "  TRACK 01 AU" + QByteArray(1, '\0') + "DIO\n"
                              << QStringList{
                                     "holds a NUL byte on line 2, so it is not a text file"};
    QTest::newRow("PREGAP before any track")
        << file + "PREGAP 00:02:00\n" + track1
        << QStringList{"Line 2", "asks for a gap with PREGAP, which is not stored"};
    QTest::newRow("POSTGAP in a track") << file + track1 + "    POSTGAP 00:02:00\n"
                                        << QStringList{"Line 4", "POSTGAP (track 1)"};
    QTest::newRow("TRACK without a number")
        << file + "  TRACK\n"
        << QStringList{"Line 2", "has TRACK without a track number"};
    QTest::newRow("track 100") << file + "  TRACK 100 AUDIO\n"
                               << QStringList{"Line 2", "\"100\" as a track number"};
    QTest::newRow("cooked sectors")
        << file + "  TRACK 01 MODE1/2048\n"
        << QStringList{"stores track 1 as MODE1/2048", "AUDIO, MODE1/2352 or MODE2/2352"};
    QTest::newRow("no INDEX 01") << file + "  TRACK 01 AUDIO\n    INDEX 00 00:00:00\n"
                                 << QStringList{"Track 1 of the CUE sheet", "no INDEX 01"};
    QTest::newRow("time out of range")
        << file + "  TRACK 01 AUDIO\n    INDEX 01 00:00:75\n"
        << QStringList{"Line 3", "\"00:00:75\" as the time of INDEX 01"};
    QTest::newRow("a WAVE file") << QByteArray("FILE \"disc.bin\" WAVE\n") + track1
                                 << QStringList{"Line 1", "of type WAVE"};
    QTest::newRow("missing data file")
        << QByteArray("FILE \"other.bin\" BINARY\n") + track1
        << QStringList{"The data file \"other.bin\" of the CUE sheet", "is missing"};
    // libcdio refused this too, but leaked the data file's name as it did.
    QTest::newRow("missing CD-Text file")
        << file + "CDTEXTFILE \"gone.cdt\"\n" + track1
        << QStringList{"The CD-Text file \"gone.cdt\" of the CUE sheet", "is missing"};
    QTest::newRow("no tracks") << file << QStringList{"has no tracks"};
    QTest::newRow("not a sheet at all")
        << QByteArray("\x89PNG\r\n\x1a\n") << QStringList{"names no data file"};
}

// Refused by the sheet and the data file: at open, and by the reader, with the same words.
void TestCueSheets::refusesWhatWouldBeMisread() {
    QFETCH(QByteArray, sheet);
    QFETCH(QStringList, says);
    const QString cue = image(sheet);
    for (const QString& error : {errorOf([&] { Disc(drive(cue)).toc(); }),
                                 errorOf([&] { DiscReader::track(drive(cue), 1); })}) {
        QVERIFY2(error.contains(cue), qPrintable(error));
        for (const QString& part : says)
            QVERIFY2(error.contains(part), qPrintable(error));
        for (const char* vague : {"libcdio cannot read it", "holds no audio tracks", "Track  "})
            QVERIFY2(!error.contains(QLatin1String(vague)), qPrintable(error));
    }
}

void TestCueSheets::specialFilesRefusedAtOnce_data() {
    QTest::addColumn<QString>("pipeName");
    QTest::addColumn<QByteArray>("sheet");
    QTest::addColumn<QString>("says");
    const QByteArray track1 = "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    // The sheet itself a pipe: test_cli_rip::sheetsRefusedAtOnce.
    QTest::newRow("its CD-Text file")
        << QStringLiteral("text.cdt")
        << "CDTEXTFILE \"TEXT.CDT\"\nFILE \"disc.bin\" BINARY\n" + track1
        << QStringLiteral("The CD-Text file %1 of the CUE sheet");
    QTest::newRow("its data file")
        << QStringLiteral("pipe.bin") << "FILE \"pipe.bin\" BINARY\n" + track1
        << QStringLiteral("The data file %1 of the CUE sheet");
}

// A named pipe never blocks reading the table of contents (toc, rip and the window's start-up
// all begin there), whatever names it.
void TestCueSheets::specialFilesRefusedAtOnce() {
    QFETCH(QString, pipeName);
    QFETCH(QByteArray, sheet);
    QFETCH(QString, says);
    const QString cue = image(sheet);
    const QString pipe = QFileInfo(cue).dir().filePath(pipeName);
    QFile::remove(pipe);
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    Tools tools(std::make_shared<DriveTable>(QStringList{cue}, false));
    const qint32 address = kImageHost;
    const QString error = errorWithin([&] { tools.ReadTrackCount(address); }, pipe);
    QVERIFY2(error.contains(says.arg(pipe)), qPrintable(error));
    QVERIFY2(error.contains(QLatin1String("is a named pipe, not a file")), qPrintable(error));
}

// A sheet whose later tracks start past the end of its data file: those tracks are refused by
// name, their lengths are never negative, and the tracks inside read as they are.
void TestCueSheets::tracksPastTheEndOfTheData() {
    const QString cue = image("FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                              "  TRACK 02 AUDIO\n    INDEX 01 00:04:00\n"
                              "  TRACK 03 AUDIO\n    INDEX 01 00:20:00\n");
    const Toc toc = Disc(drive(cue)).toc();
    QCOMPARE(toc.tracks.size(), 3);
    QCOMPARE(toc.tracks[0].sectors, 300);
    QVERIFY(toc.tracks[0].problem.isEmpty());
    QCOMPARE(toc.tracks[1].sectors, 150); // what lies inside
    QCOMPARE(toc.tracks[2].sectors, 0);
    QCOMPARE(toc.lengthSectors(), 450);
    const QString bin = QFileInfo(cue).dir().filePath(QStringLiteral("disc.bin"));
    QCOMPARE(toc.tracks[1].problem,
             QStringLiteral("Track 2 runs to 00:20:00, past the end of the image %1: its data file "
                            "%2 ends at 00:06:00")
                 .arg(cue, bin));
    QCOMPARE(toc.tracks[2].problem,
             QStringLiteral("Track 3 starts at 00:20:00, after the end of the image %1: its data "
                            "file %2 ends at 00:06:00")
                 .arg(cue, bin));
    for (const int n : {2, 3})
        QCOMPARE(errorOf([&] { DiscReader::track(drive(cue), n); }), toc.tracks[n - 1].problem);
    auto reader = DiscReader::track(drive(cue), 1);
    QVERIFY(readSamples(*reader, 5000) ==
            std::vector<qint16>(m_data.begin(), m_data.begin() + 300 * 1176));
    // Even when the first track lies outside, the disc's length is never negative.
    const QString outside =
        image("FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:20:00\n");
    const Toc none = Disc(drive(outside)).toc();
    QCOMPARE(none.lengthSectors(), 0);
    QCOMPARE(none.tracks[0].sectors, 0);
    QVERIFY(none.tracks[0].problem.contains(QLatin1String("after the end of the image")));
}

// libcdio explains a refusal in notes, which are kept as the reason.
void TestCueSheets::libcdioGivesItsReasons() {
    installLogHandler();
    takeLogMessages();
    const QString missing = m_dir.path(QStringLiteral("nowhere/missing.cue"));
    CdIo_t* cd = cdio_open(QFile::encodeName(missing).constData(), DRIVER_BINCUE);
    QVERIFY(!cd);
    const QString reason = takeLogMessages();
    QVERIFY2(reason.contains(missing) && reason.contains(QLatin1String("No such file")),
             qPrintable(reason));
    QCOMPARE(takeLogMessages(), QString());
}

QTEST_GUILESS_MAIN(TestCueSheets)
#include "test_cue_sheets.moc"
