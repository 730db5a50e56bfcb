// The burning engine on the real libburn: scan, value codes, the write types and burns on a
// file pseudo-drive.
#include "backends/burn/BurnMethods.h"
#include "backends/burn/Libburn.h"
#include "tests/burn/BurnTests.h"

#include <cdio/logging.h>
#include <libburn/libburn.h>

#include <QElapsedTimer>

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
    t.source = QStringLiteral("data.bin");
    t.info.frames = sectors * 2048 / kFrameBytes;
    t.info.exact = true;
    t.info.padToShortest = false;
    t.feed = std::make_unique<PatternFeed>(s);
    return t;
}
} // namespace

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
                                        std::move(tracks), DiscInfo{}, settings,
                                        DiscLayout::Mode::Data);
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
    // What it is and offers: test_vdrive_cli::listsTheDrivesAndRecorders.
    burner.setCurrentRecorder(count);
    QCOMPARE(burner.RecorderProduct(), QStringLiteral("Image Recorder"));
    QVERIFY(burner.RecorderSupported());
    QVERIFY_THROWS_EXCEPTION(IndexError, burner.setCurrentRecorder(qint16(count + 1)));
    QVERIFY_THROWS_EXCEPTION(IndexError, burner.setCurrentRecorder(0));
}

// The session a disc is burnt from (track sectors, gaps, pre-emphasis, ISRCs, CD-Text), read
// back from a virtual writer: test_vdrive_burn::aDiscImageBurntAsItStands.

// A compilation of files without a title or performer gets no CD-Text at all, not empty packs;
// one title is enough for it to have some. (What it holds: test_vdrive_burn.)
void TestBurn::cdTextOnlyWithTitles() {
    for (const bool titled : {false, true}) {
        std::vector<PlannedTrack> tracks;
        for (int i = 0; i < 2; ++i)
            tracks.push_back({QStringLiteral("f"),
                              info(75, titled && i == 1 ? QStringLiteral("Beta") : QString(), {}),
                              std::make_unique<PatternFeed>(FeedScript{}),
                              {}});
        const std::vector<TrackPlace> places{{0, 0, 75}, {75, 75, 75}};
        const DiscLayout layout(tracks, places, discInfoOf(tracks), DiscLayout::Mode::Audio,
                                nullptr);
        QCOMPARE(layout.hasCdText(), titled);
    }
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

void TestBurn::libburnRefuses() {
    // What libburn will not write fails before anything starts, with libburn's reasons.
    const auto refusal = [this](DiscLayout::Mode mode, bool keepOpen) {
        std::vector<PlannedTrack> tracks;
        tracks.push_back(dataTrack(10));
        BurnSettings settings;
        settings.keepOpen = keepOpen;
        try {
            LibburnRun(std::make_unique<LibburnDrive>("stdio:" +
                                                      m_dir->filePath("disc.img").toLocal8Bit()),
                       "the file", std::move(tracks), DiscInfo{}, settings, mode);
        } catch (const Error& e) {
            return e.message();
        }
        return QString();
    };
    QCOMPARE(refusal(DiscLayout::Mode::Audio, false),
             QStringLiteral("the file cannot burn this compilation with burn method 0: audio "
                            "track prohibited by non-CD"));
    QVERIFY(refusal(DiscLayout::Mode::Data, true).endsWith("multi session capability lacking"));
    QCOMPARE(refusal(DiscLayout::Mode::Data, false), QString());
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
        QVERIFY2(clock.elapsed() < 1000, "cancel must not wait for the drive");
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
        // A simulation closes no disc: it never reaches the finalising phase.
        QCOMPARE(events.progress.last().state, simulate ? 2 : 3);
        QVERIFY(simulate == std::none_of(events.progress.begin(), events.progress.end(),
                                         [](const auto& s) { return s.state == 3; }));
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

// Where tracks go: joined, a track begins on the sector holding its first frame (INDEX 01
// rounded down) and only the end is padded; separate, each track is padded to whole sectors.
// A gap (INDEX 00) comes before INDEX 01 in the track's own sectors.
void TestBurn::placingTracks_data() {
    QTest::addColumn<QList<qint64>>("frames"); // each track's frames in the program
    QTest::addColumn<QList<qint64>>("gaps");   // of them, before INDEX 01
    QTest::addColumn<bool>("continuous");
    QTest::addColumn<QList<qint64>>("places"); // first sector, INDEX 01 sector, sectors; ...
    QTest::newRow("joined, mid-sector boundaries")
        << QList<qint64>{600 * 588 + 100, 400 * 588 + 300, 300 * 588} << QList<qint64>{0, 0, 0}
        << true << QList<qint64>{0, 0, 600, 600, 600, 400, 1000, 1000, 301};
    QTest::newRow("joined, boundary on a sector")
        << QList<qint64>{588, 588 * 2} << QList<qint64>{0, 0} << true
        << QList<qint64>{0, 0, 1, 1, 1, 2};
    QTest::newRow("separate, each padded")
        << QList<qint64>{600 * 588 + 100, 400 * 588 + 300} << QList<qint64>{0, 0} << false
        << QList<qint64>{0, 0, 601, 601, 601, 401};
    QTest::newRow("a gap before INDEX 01")
        << QList<qint64>{450 * 588, 450 * 588} << QList<qint64>{0, 113 * 588} << true
        << QList<qint64>{0, 0, 450, 450, 563, 450};
}

void TestBurn::placingTracks() {
    QFETCH(QList<qint64>, frames);
    QFETCH(QList<qint64>, gaps);
    QFETCH(bool, continuous);
    QFETCH(QList<qint64>, places);
    QList<qint64> got;
    for (const TrackPlace& p :
         placeTracks({frames.begin(), frames.end()}, {gaps.begin(), gaps.end()},
                     continuous ? Joining::Continuous : Joining::Separate))
        got << p.firstSector << p.index1Sector << p.sectors;
    QCOMPARE(got, places);
}

// The bytes the writer gets: the feeds back to back, a file under 4 seconds padded to 4 (a
// notice says so), the end padded to a sector. A planned program whose feed delivers another
// count than measured fails, naming the file.
void TestBurn::theProgramAsTheWriterGetsIt_data() {
    QTest::addColumn<QList<qint64>>("delivered"); // frames each feed has
    QTest::addColumn<QList<qint64>>("planned");   // frames measured before; empty: not planned
    QTest::addColumn<qint64>("sectors");          // of the program
    QTest::addColumn<QString>("error");
    QTest::newRow("learnt, one short track")
        << QList<qint64>{1000 * 588 + 7, 100} << QList<qint64>{} << qint64(1301) << QString();
    QTest::newRow("planned, as measured")
        << QList<qint64>{700 * 588 + 7, 176400} << QList<qint64>{700 * 588 + 7, 176400}
        << qint64(1001) << QString();
    QTest::newRow("planned, a feed ends early")
        << QList<qint64>{700 * 588, 176400} << QList<qint64>{700 * 588 + 7, 176400} << qint64(0)
        << "t1 ended after 9.33 of the 9.33 s it had when the burn began";
    QTest::newRow("planned, a feed goes on")
        << QList<qint64>{700 * 588 + 8, 176400} << QList<qint64>{700 * 588 + 7, 176400} << qint64(0)
        << "t1 holds more audio than it did when the burn began";
}

void TestBurn::theProgramAsTheWriterGetsIt() {
    QFETCH(QList<qint64>, delivered);
    QFETCH(QList<qint64>, planned);
    QFETCH(qint64, sectors);
    QFETCH(QString, error);
    std::vector<PlannedTrack> tracks;
    QByteArray expected;
    for (int i = 0; i < delivered.size(); ++i) {
        FeedScript s;
        s.track = i + 1;
        s.bytes = delivered[i] * 4;
        PlannedTrack t;
        t.source = QStringLiteral("t%1").arg(i + 1);
        t.info.frames = planned.isEmpty() ? 5 : planned[i];
        t.feed = std::make_unique<PatternFeed>(s);
        tracks.push_back(std::move(t));
        expected += pattern(i + 1, s.bytes);
        expected += QByteArray(std::max<qint64>(0, 176400 - delivered[i]) * 4, 0);
    }
    expected += QByteArray((2352 - expected.size() % 2352) % 2352, 0);
    ProgramReader reader(tracks, Joining::Continuous, !planned.isEmpty());
    QByteArray program;
    try {
        QByteArray buffer(7 * 2352, 0);
        while (const qint64 n = reader.read(buffer.data(), buffer.size()))
            program += buffer.left(n);
    } catch (const Error& e) {
        QVERIFY2(!error.isEmpty() && e.message().startsWith(error), qPrintable(e.message()));
        return;
    }
    QVERIFY(error.isEmpty());
    QCOMPARE(program.size(), sectors * 2352);
    QVERIFY(program == expected);
    QCOMPARE(reader.record().sectors(), sectors);
    QCOMPARE(reader.places().back().firstSector, delivered[0] / 588);
    QCOMPARE(reader.takeNotices().size(), planned.isEmpty() ? 1 : 0);
}

// libburn's messages in plain words: test_vdrive_panel::faults, from a drive's real reports.
// With none, the failure is still said.
void TestBurn::failureWithoutMessages() {
    QCOMPARE(burnFailureText(QStringLiteral("PX-W4824A"), QString()).section(u'.', 0, 0),
             QStringLiteral("Burning on PX-W4824A failed: the recorder reported an error while "
                            "writing"));
}

QTEST_MAIN(TestBurn)
