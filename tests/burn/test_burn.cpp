// The burning engine on the real libburn and the image recorder, read back with libcdio.
// libburn's file pseudo-drive ("stdio:") runs the write machinery where no CD recorder
// exists; it takes one data track only, so those burns use MODE1 sectors.
#include "backends/burn/BurnMethods.h"
#include "backends/burn/Burner.h"
#include "backends/burn/ImageRecorder.h"
#include "backends/burn/Libburn.h"
#include "backends/burn/LibburnRun.h"
#include "tests/burn/BurnTestSupport.h"

#include <cdio/cdio.h>
#include <cdio/cdtext.h>
#include <cdio/logging.h>
#include <libburn/libburn.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace burning;
using namespace test;
using namespace std::chrono_literals;

namespace {

struct Events {
    QList<BurnRun::Status> progress;
    QList<QPair<qint32, QString>> finished;
};

// Records every progress status and every end of a burn.
void follow(BurnRun& run, Events& events) {
    QObject::connect(&run, &BurnRun::progressed, &run,
                     [&] { events.progress.append(run.status()); });
    QObject::connect(&run, &BurnRun::finished, &run, [&](qint32 code, const QString& text) {
        events.finished.append({code, text});
    });
}

bool rises(const QList<BurnRun::Status>& statuses) {
    for (qsizetype i = 1; i < statuses.size(); ++i)
        if (statuses[i].writtenBlocks < statuses[i - 1].writtenBlocks ||
            (statuses[i].state == statuses[i - 1].state &&
             statuses[i].percent < statuses[i - 1].percent))
            return false;
    return true;
}

PlannedTrack dataTrack(qint64 sectors, qint64 failAtSector = -1,
                       std::chrono::microseconds perRead = 0us, qint64 stallAtSector = -1) {
    FeedScript s;
    s.bytes = sectors * 2048;
    s.failAt = failAtSector < 0 ? -1 : failAtSector * 2048;
    s.stallAt = stallAtSector < 0 ? -1 : stallAtSector * 2048;
    s.perRead = perRead;
    PlannedTrack t;
    t.path = QStringLiteral("data.bin");
    t.info.sectors = sectors;
    t.feed = std::make_unique<PatternFeed>(s);
    return t;
}

TrackInfo info(qint64 sectors, const QString& title, const QString& performer,
               const QString& album = {}) {
    return {sectors, title, performer, album};
}

} // namespace

class TestBurn : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void speeds_data();
    void speeds();
    void valueCodes();
    void scanListsTheImageRecorderLast();
    void sessionLayout();
    void writeTypePerMethod_data();
    void writeTypePerMethod();
    void stdioBurn_data();
    void stdioBurn();
    void imageBurn();
    void imageBurnEndings_data();
    void imageBurnEndings();
    void startBurnRefuses_data();
    void startBurnRefuses();

private:
    std::unique_ptr<LibburnRun> stdioRun(std::vector<PlannedTrack> tracks, BurnSettings s = {});
    void useImageRecorder(Burner& burner);

    std::unique_ptr<LibburnLibrary> m_library;
    std::unique_ptr<QTemporaryDir> m_dir;
    ScriptedOpener m_opener;
    SaveFileOutput m_output;
};

void TestBurn::initTestCase() {
    cdio_log_set_handler([](cdio_log_level_t, const char*) {});
    m_library = std::make_unique<LibburnLibrary>();
}

void TestBurn::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    qputenv("MELVANE_IMAGE_DIR", m_dir->path().toLocal8Bit());
    m_opener.files.clear();
    m_output.diskFullAfter = -1;
}

std::unique_ptr<LibburnRun> TestBurn::stdioRun(std::vector<PlannedTrack> tracks,
                                               BurnSettings settings) {
    auto drive =
        std::make_unique<LibburnDrive>("stdio:" + m_dir->filePath("disc.img").toLocal8Bit());
    return std::make_unique<LibburnRun>(std::move(drive), QStringLiteral("the test drive"),
                                        std::move(tracks), settings, DiscLayout::Mode::Data);
}

void TestBurn::useImageRecorder(Burner& burner) {
    const qint16 count = burner.RecorderCount();
    burner.setCurrentRecorder(count);
    QCOMPARE(burner.RecorderProduct(), QStringLiteral("Image Recorder"));
    burner.RefreshDisc();
}

void TestBurn::speeds_data() {
    QTest::addColumn<QList<qint16>>("recorder");
    QTest::addColumn<qint32>("method");
    QTest::addColumn<qint16>("requested");
    QTest::addColumn<qint16>("kept");
    const QList<qint16> image = {4, 8, 10, 16, 24, 32, 40, 48};
    QTest::newRow("offered") << image << 0 << qint16(24) << qint16(24);
    QTest::newRow("between two: the lower") << image << 0 << qint16(12) << qint16(10);
    QTest::newRow("above all: the fastest") << image << 0 << qint16(50) << qint16(48);
    QTest::newRow("below all: the slowest") << image << 0 << qint16(1) << qint16(4);
    QTest::newRow("method 1 caps at 4x") << image << 1 << qint16(48) << qint16(4);
    QTest::newRow("method 4 caps at 16x") << image << 4 << qint16(24) << qint16(16);
    QTest::newRow("method 6 keeps 24x") << image << 6 << qint16(24) << qint16(24);
    QTest::newRow("cap below every speed") << QList<qint16>{8, 16} << 1 << qint16(4) << qint16(8);
    QTest::newRow("nothing known") << QList<qint16>{} << 0 << qint16(37) << qint16(37);
}

void TestBurn::speeds() {
    QFETCH(QList<qint16>, recorder);
    QFETCH(qint32, method);
    QFETCH(qint16, requested);
    QFETCH(qint16, kept);
    QCOMPARE(acceptedSpeed(offeredSpeeds(recorder, method), requested), kept);
}

void TestBurn::valueCodes() {
    // libburn's kB/s against CD factors, both ways.
    QCOMPARE(speedFactor(7056), qint16(40));
    QCOMPARE(speedFactor(4234), qint16(24));
    QCOMPARE(speedFactor(0), qint16(0));
    QCOMPARE(speedKiloBytes(4), 706);
    QCOMPARE(speedKiloBytes(10), 1764);

    const struct {
        QList<int> profiles;
        bool cdr;
        qint32 type;
    } drives[] = {{{}, false, 0},
                  {{0x08}, false, 4},
                  {{0x08, 0x09}, false, 2},
                  {{0x08, 0x09, 0x0a}, false, 3},
                  {{0x08, 0x10}, false, 5},
                  {{0x08, 0x09, 0x0a, 0x10, 0x11, 0x1b}, false, 6},
                  {{}, true, 2}};
    for (const auto& d : drives)
        QCOMPARE(recorderTypeFor(d.profiles, d.cdr, false), d.type);

    QCOMPARE(mediaTypeFor(0x09, false), 0);
    QCOMPARE(mediaTypeFor(0x09, true), 1);
    QCOMPARE(mediaTypeFor(0x08, true), 1);
    QCOMPARE(mediaTypeFor(0x0a, true), 2);
    QCOMPARE(mediaTypeFor(0x12, true), 3);
    const int statuses[][2] = {{burn::BURN_DISC_BLANK, 0},      {burn::BURN_DISC_APPENDABLE, 1},
                               {burn::BURN_DISC_FULL, 2},       {burn::BURN_DISC_UNREADY, 3},
                               {burn::BURN_DISC_UNSUITABLE, 3}, {burn::BURN_DISC_EMPTY, 4}};
    for (const auto& s : statuses)
        QCOMPARE(mediaStatusFor(s[0]), s[1]);
}

void TestBurn::scanListsTheImageRecorderLast() {
    // No CD drive here: the scan ends with none, and scanning again works.
    const QList<ScannedDrive> drives = scanDrives();
    QCOMPARE(scanDrives().size(), drives.size());
    Burner burner(m_opener, m_output);
    const qint16 count = burner.RecorderCount();
    QCOMPARE(count, qint16(drives.size() + 1));
    burner.setCurrentRecorder(count);
    QCOMPARE(burner.RecorderVendor(), QStringLiteral("Melvane"));
    QCOMPARE(burner.RecorderProduct(), QStringLiteral("Image Recorder"));
    QCOMPARE(burner.RecorderType(), 2);
    QCOMPARE(burner.MaxWriteSpeed(), qint16(48));
    QVERIFY(burner.RecorderSupported());
    QVERIFY(burner.BurnProofFlag());
    QVERIFY_THROWS_EXCEPTION(IndexError, burner.setCurrentRecorder(qint16(count + 1)));
    QVERIFY_THROWS_EXCEPTION(IndexError, burner.setCurrentRecorder(0));
}

void TestBurn::sessionLayout() {
    std::vector<PlannedTrack> tracks;
    const TrackInfo infos[] = {info(75, QStringLiteral("Alpha"), QStringLiteral("Band"), "LP"),
                               info(150, QStringLiteral("Beta ü"), QStringLiteral("Band"), "LP"),
                               info(1, QStringLiteral("Gamma"), QStringLiteral("Band"), "LP")};
    for (const TrackInfo& i : infos)
        tracks.push_back({QStringLiteral("f"), i, std::make_unique<PatternFeed>(FeedScript{})});
    const DiscLayout audio(tracks, DiscLayout::Mode::Audio);
    int count = 0;
    burn::burn_track** list = burn::burn_session_get_tracks(audio.session(), &count);
    QCOMPARE(count, 3);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(burn::burn_track_get_sectors(list[i]), int(infos[i].sectors));
        QVERIFY(burn::burn_track_get_mode(list[i]) & BURN_AUDIO);
    }
    QVERIFY(audio.hasCdText());
    unsigned char* packs = nullptr;
    int packCount = 0;
    QVERIFY(burn::burn_cdtext_from_session(audio.session(), &packs, &packCount, 0) > 0);
    QByteArray titles, performers;
    for (int i = 0; i < packCount; ++i) {
        const QByteArray text(reinterpret_cast<char*>(packs) + i * 18 + 4, 12);
        if (packs[i * 18] == 0x80)
            titles += text;
        else if (packs[i * 18] == 0x81)
            performers += text;
    }
    std::free(packs);
    // Disc first, then tracks 1-3, each ended by a zero; a track repeating the one before is a
    // tab.
    QVERIFY(titles.startsWith(QByteArray("LP\0Alpha\0Beta \xfc\0Gamma\0", 22)));
    QVERIFY(performers.startsWith(QByteArray("Band\0Band\0\t\0\t\0", 14)));

    for (PlannedTrack& t : tracks)
        t.info.title = t.info.performer = {};
    const DiscLayout silent(tracks, DiscLayout::Mode::Data);
    list = burn::burn_session_get_tracks(silent.session(), &count);
    QVERIFY(!silent.hasCdText());
    QVERIFY(burn::burn_track_get_mode(list[0]) & BURN_MODE1);
    QCOMPARE(silent.sectorBytes(), 2048);
}

void TestBurn::writeTypePerMethod_data() {
    QTest::addColumn<qint32>("method");
    QTest::addColumn<bool>("sao");
    // On a file, libburn's own choice (method 0) is TAO.
    const bool sao[] = {false, false, false, true, true,  true,
                        true,  true,  false, true, false, true};
    for (qint32 m = 0; m < 12; ++m)
        QTest::addRow("method %d", m) << m << sao[m];
}

void TestBurn::writeTypePerMethod() {
    QFETCH(qint32, method);
    QFETCH(bool, sao);
    std::vector<PlannedTrack> tracks;
    tracks.push_back(dataTrack(10));
    BurnSettings s;
    s.method = method;
    QCOMPARE(stdioRun(std::move(tracks), s)->sessionAtOnce(), sao);
}

void TestBurn::stdioBurn_data() {
    QTest::addColumn<bool>("simulate");
    QTest::addColumn<QString>("cancel");
    QTest::addColumn<qint64>("failAt");
    QTest::addColumn<qint32>("code");
    const qint32 ok = AudioBurner::BurnSucceeded;
    const qint32 cancelled = AudioBurner::BurnCancelled;
    QTest::newRow("written") << false << QString() << qint64(-1) << ok;
    QTest::newRow("simulated") << true << QString() << qint64(-1) << ok;
    QTest::newRow("cancelled at once") << false << "at once" << qint64(-1) << cancelled;
    QTest::newRow("cancelled writing") << false << "writing" << qint64(-1) << cancelled;
    QTest::newRow("feed fails") << false << QString() << qint64(400)
                                << qint32(AudioBurner::BurnFailed);
}

void TestBurn::stdioBurn() {
    QFETCH(bool, simulate);
    QFETCH(QString, cancel);
    QFETCH(qint64, failAt);
    QFETCH(qint32, code);
    // A cancelled burn waits on a feed whose decoder hangs: only the cancel can end it.
    const qint64 sectors = 600;
    std::vector<PlannedTrack> tracks;
    tracks.push_back(dataTrack(sectors, failAt, 1ms, cancel.isEmpty() ? -1 : 64));
    BurnSettings settings;
    settings.simulate = simulate;
    std::unique_ptr<LibburnRun> run = stdioRun(std::move(tracks), settings);
    Events events;
    follow(*run, events);
    run->start();
    if (!cancel.isEmpty()) {
        if (cancel == "writing")
            QTRY_VERIFY(!events.progress.isEmpty() && events.progress.last().writtenBlocks > 0);
        QElapsedTimer clock;
        clock.start();
        run->cancel();
        QVERIFY2(clock.elapsed() < 200, "cancel must not wait for the drive");
    }
    QTRY_COMPARE_WITH_TIMEOUT(events.finished.size(), 1, 20000);
    QCoreApplication::processEvents();
    QCOMPARE(events.finished.size(), 1);
    QCOMPARE(events.finished[0].first, code);
    QVERIFY(rises(events.progress));
    const QFileInfo disc(m_dir->filePath("disc.img"));
    if (code == AudioBurner::BurnSucceeded) {
        QVERIFY(events.progress.size() >= 3);
        QVERIFY(std::any_of(events.progress.begin(), events.progress.end(), [](const auto& s) {
            return s.state == 2 && s.percent > 0 && s.percent < 100;
        }));
        QCOMPARE(events.progress.last().state, 3);
        QCOMPARE(events.progress.last().percent, qint16(100));
        QCOMPARE(disc.exists() ? disc.size() : 0, simulate ? 0 : sectors * 2048);
    }
    if (code == AudioBurner::BurnSucceeded && !simulate) {
        QFile written(disc.filePath());
        QVERIFY(written.open(QIODevice::ReadOnly));
        QVERIFY(written.readAll() == pattern(1, sectors * 2048));
    }
    if (code == AudioBurner::BurnFailed)
        QCOMPARE(events.finished[0].second,
                 QStringLiteral("Cannot decode track 1: the data is damaged."));
    // The drive is given back: libburn scans only when no drive is open.
    scanDrives();
}

namespace {

struct Disc {
    QList<lsn_t> starts; // of each track, then the lead-out
    QStringList titles;  // disc, then each track
    QStringList performers;
    QByteArray firstSectorOfTrack2;
};

Disc readImage(const QString& cue) {
    Disc d;
    CdIo_t* cdio = cdio_open(cue.toLocal8Bit().constData(), DRIVER_BINCUE);
    if (!cdio)
        return d;
    const track_t tracks = cdio_get_num_tracks(cdio);
    for (track_t t = 1; t <= tracks; ++t)
        d.starts.append(cdio_get_track_lsn(cdio, t));
    d.starts.append(cdio_get_track_lsn(cdio, CDIO_CDROM_LEADOUT_TRACK));
    const cdtext_t* text = cdio_get_cdtext(cdio);
    for (track_t t = 0; text && t <= tracks; ++t) {
        d.titles.append(QString::fromUtf8(cdtext_get_const(text, CDTEXT_FIELD_TITLE, t)));
        d.performers.append(QString::fromUtf8(cdtext_get_const(text, CDTEXT_FIELD_PERFORMER, t)));
    }
    d.firstSectorOfTrack2.resize(kAudioSectorBytes);
    if (tracks < 2 || cdio_read_audio_sector(cdio, d.firstSectorOfTrack2.data(), d.starts[1]) !=
                          DRIVER_OP_SUCCESS)
        d.firstSectorOfTrack2.clear();
    cdio_destroy(cdio);
    return d;
}

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

void TestBurn::imageBurn() {
    m_opener.files = {
        {"a.wav", {info(600, QStringLiteral("Alpha"), QStringLiteral("Band"), "LP"), -1, 100ms}},
        {"b.mp3",
         {info(76, QStringLiteral("Beta \"B\""), QStringLiteral("Band"), "LP"), -1, 100ms}},
        {"c.wma", {info(301, QStringLiteral("Gämma"), QStringLiteral("Guest"), "LP"), -1, 100ms}}};
    Burner burner(m_opener, m_output);
    useImageRecorder(burner);
    for (const char* f : {"a.wav", "b.mp3", "c.wma"})
        burner.AddTrack(f);
    QCOMPARE(burner.CompilationSize(), 977 * kAudioSectorBytes);
    burner.setWriteSpeed(50);
    QCOMPARE(burner.WriteSpeed(), qint16(48));
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
    QCOMPARE(burner.WrittenBlocks(), 977);
    QCOMPARE(burner.TotalBlocks(), 977);

    const QString base = m_dir->filePath(burner.imageRecorder().lastImage());
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), 2);
    QFile bin(base + ".bin");
    QVERIFY(bin.open(QIODevice::ReadOnly));
    QVERIFY(bin.readAll() == pattern(1, 600 * kAudioSectorBytes) +
                                 pattern(2, 76 * kAudioSectorBytes) +
                                 pattern(3, 301 * kAudioSectorBytes));
    const Disc disc = readImage(base + ".cue");
    QCOMPARE(disc.starts, (QList<lsn_t>{0, 600, 676, 977}));
    QCOMPARE(disc.titles, (QStringList{"LP", "Alpha", "Beta 'B'", "Gämma"}));
    QCOMPARE(disc.performers, (QStringList{"", "Band", "Band", "Guest"}));
    QVERIFY(disc.firstSectorOfTrack2 == pattern(2, kAudioSectorBytes));

    burner.RefreshDisc();
    QCOMPARE(burner.MediaStatus(), 2);
    QCOMPARE(burner.MediaUsedSize(), 977 * kAudioSectorBytes);
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
    QTest::newRow("test burn") << false << false << false << qint64(-1) << qint64(-1) << 0 << 0
                               << true;
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
    m_opener.files = {{"a.wav", {info(3000, "A", "B"), failAtSector, 0ms, cancel ? 1000 : -1}}};
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
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), status == 0 && realBurn ? 2 : 0);
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
    m_opener.files = {{"a.wav", {info(75, "A", "B")}},
                      {"long.wav", {info(ImageRecorder::kCapacitySectors - 74, "L", "B")}}};
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

QTEST_MAIN(TestBurn)
#include "test_burn.moc"
