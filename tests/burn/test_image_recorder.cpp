// The image recorder through the engine on scripted tracks: a burn as it reports itself, every
// way a burn can end, and every refusal.
#include "backends/burn/ImageRecorder.h"
#include "tests/burn/BurnTests.h"

using namespace burning;
using namespace test;
using namespace std::chrono_literals;

namespace {

struct BurnerEvents {
    QList<QPair<qint32, qint32>> phases; // State and TrackPhase at each Progress
    QList<qint16> percents;
    QList<qint32> finished;
    QStringList failures;
};

void follow(Burner& burner, BurnerEvents& e) {
    QObject::connect(&burner, &AudioBurner::Progress, &burner, [&](qint16 percent) {
        e.phases.append({burner.State(), burner.TrackPhase()});
        e.percents.append(percent);
    });
    QObject::connect(&burner, &AudioBurner::BurnFinished, &burner,
                     [&](qint32 status, const QString&) { e.finished.append(status); });
    QObject::connect(&burner, &AudioBurner::Failed, &burner,
                     [&](const QString& message) { e.failures.append(message); });
}

} // namespace

// The tracks run on without a gap, each exactly as long as its feed, the end of the last one
// padded, a track under 4 seconds padded to 4; the burn reports its phases, and the disc is
// full afterwards. (What the image holds, read back sample for sample with its CD-Text:
// test_burn_media::roundTrip; the padding's notice and the speed kept: test_cli_burn.)
void TestBurn::imageBurn() {
    const qint64 a = 600 * 588 + 100, b = 400 * 588 + 300, c = 100 * 588;
    m_opener.files = {
        {"a.wav", {info(a, QStringLiteral("Alpha"), QStringLiteral("Band"), "LP"), -1, 100ms}},
        {"b.mp3", {info(b, QStringLiteral("Beta"), QStringLiteral("Band"), "LP"), -1, 100ms}},
        {"c.wma", {info(c, QStringLiteral("Gämma"), QStringLiteral("Guest"), "LP"), -1, 100ms}}};
    Burner burner(m_opener, m_output);
    useImageRecorder(burner);
    for (const char* f : {"a.wav", "b.mp3", "c.wma"})
        burner.AddTrack(f);
    // c is padded to 300 sectors; the program ends in the sector after 1300.
    QCOMPARE(burner.CompilationSize(), 1301 * kAudioSectorBytes);
    BurnerEvents events;
    follow(burner, events);
    burner.StartBurn();
    QVERIFY(events.percents.isEmpty()); // nothing is raised inside StartBurn
    QTRY_COMPARE_WITH_TIMEOUT(events.finished.size(), 1, 10000);
    QCoreApplication::processEvents();
    QCOMPARE(events.finished, QList<qint32>{AudioBurner::BurnSucceeded});
    QVERIFY(events.phases.contains(qMakePair(2, 1)));
    QCOMPARE(events.phases.last().first, 3);
    QCOMPARE(events.percents.last(), qint16(100));
    for (qsizetype i = 1; i < events.percents.size(); ++i)
        QVERIFY(events.phases[i].first == 3 || events.percents[i] >= events.percents[i - 1]);
    QCOMPARE(burner.WrittenBlocks(), 1301);
    QCOMPARE(burner.TotalBlocks(), 1301);
    QVERIFY(m_opener.measured.isEmpty()); // the image recorder learns the lengths as it writes

    const QString base = m_dir->filePath(burner.imageRecorder().lastImage());
    QCOMPARE(burner.lastLog(), base + ".log");
    burner.RefreshDisc();
    QCOMPARE(burner.MediaStatus(), 2);
    QCOMPARE(burner.MediaUsedSize(), 1301 * kAudioSectorBytes);
    burner.Eject();
    burner.RefreshDisc();
    QCOMPARE(burner.MediaType(), 1);
    QCOMPARE(burner.MediaStatus(), 0);
    QCOMPARE(burner.MediaUsedSize(), 0);
}

void TestBurn::imageBurnEndings_data() {
    QTest::addColumn<bool>("keepOpen");
    QTest::addColumn<bool>("realBurn");
    QTest::addColumn<bool>("cancel");
    QTest::addColumn<qint64>("failAtSector");
    QTest::addColumn<qint64>("diskFullAfter");
    QTest::addColumn<qint32>("status");
    QTest::addColumn<qint32>("mediaStatus");
    QTest::addColumn<bool>("finalised"); // a State 3 Progress at 100
    QTest::newRow("kept open") << true << true << false << qint64(-1) << qint64(-1) << 0 << 1
                               << false;
    // Like a drive's test write, a test burn closes no disc: no finalising phase.
    QTest::newRow("test burn") << false << false << false << qint64(-1) << qint64(-1) << 0 << 0
                               << false;
    QTest::newRow("cancelled") << false << true << true << qint64(-1) << qint64(-1) << 1 << 0
                               << false;
    QTest::newRow("decoder fails")
        << false << true << false << qint64(500) << qint64(-1) << 2 << 0 << false;
    QTest::newRow("disk full") << false << true << false << qint64(-1) << qint64(1 << 20) << 2 << 0
                               << false;
}

void TestBurn::imageBurnEndings() {
    QFETCH(bool, keepOpen);
    QFETCH(bool, realBurn);
    QFETCH(bool, cancel);
    QFETCH(qint64, failAtSector);
    QFETCH(qint64, diskFullAfter);
    QFETCH(qint32, status);
    QFETCH(qint32, mediaStatus);
    QFETCH(bool, finalised);
    m_opener.files = {
        {"a.wav", {info(3000 * 588, "A", "B"), failAtSector, 0ms, cancel ? 1000 : -1}}};
    m_output.diskFullAfter = diskFullAfter;
    Burner burner(m_opener, m_output);
    useImageRecorder(burner);
    burner.AddTrack("a.wav");
    burner.setKeepDiscOpen(keepOpen);
    burner.setRealBurn(realBurn);
    BurnerEvents events;
    follow(burner, events);
    burner.StartBurn();
    if (cancel) {
        QTRY_VERIFY(burner.WrittenBlocks() > 0);
        burner.CancelBurn();
    }
    QTRY_COMPARE_WITH_TIMEOUT(events.finished.size(), 1, 10000);
    QCoreApplication::processEvents();
    QCOMPARE(events.finished, QList<qint32>{status});
    QCOMPARE(events.failures.size(), status == AudioBurner::BurnFailed ? 1 : 0);
    QCOMPARE(!events.phases.isEmpty() && events.phases.last().first == 3 &&
                 events.percents.last() == 100,
             finalised);
    // The image, its cue sheet and its log; a test burn's log goes to the data folder.
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), status == 0 && realBurn ? 3 : 0);
    burner.RefreshDisc();
    QCOMPARE(burner.MediaStatus(), mediaStatus);
    if (mediaStatus != 0)
        QVERIFY_THROWS_EXCEPTION(Error, burner.StartBurn());
}

void TestBurn::startBurnRefuses_data() {
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("imageDir");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty compilation") << QStringList{} << QString() << "The compilation is empty";
    QTest::newRow("not audio") << QStringList{"a.wav", "notes.txt"} << QString()
                               << "notes.txt cannot be burnt: notes.txt is not an audio file.";
    QTest::newRow("longer than the disc") << QStringList{"a.wav", "long.wav"} << QString()
                                          << "does not fit on the disc in the Image Recorder: "
                                             "it needs 79:59 minutes, the disc has room for 79:58.";
    QTest::newRow("no image folder") << QStringList{"a.wav"} << "/nonexistent/images"
                                     << "The image folder /nonexistent/images does not exist.";
}

void TestBurn::startBurnRefuses() {
    QFETCH(QStringList, files);
    QFETCH(QString, imageDir);
    QFETCH(QString, message);
    m_opener.files = {
        {"a.wav", {info(300 * 588, "A", "B")}},
        {"long.wav", {info((ImageRecorder::kCapacitySectors - 299) * 588, "L", "B")}}};
    if (!imageDir.isEmpty())
        qputenv("MELVANE_IMAGE_DIR", imageDir.toLocal8Bit());
    Burner burner(m_opener, m_output);
    useImageRecorder(burner);
    for (const QString& f : files)
        burner.AddTrack(f);
    BurnerEvents events;
    follow(burner, events);
    try {
        burner.StartBurn();
        QFAIL("StartBurn took a burn it cannot do");
    } catch (const Error& e) {
        QVERIFY2(e.message().contains(message), qPrintable(e.message()));
    }
    QCoreApplication::processEvents();
    QCOMPARE(burner.State(), 0);
    QVERIFY(events.finished.isEmpty());
    QVERIFY(QDir(m_dir->path()).isEmpty());
}
