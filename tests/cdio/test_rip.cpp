// Ripping and CD playback on real libcdio, paranoia, FFmpeg and the test audio server, on
// CUE/BIN images written here: bit-exact WAV rips, MP3 and WMA rips of the track's length,
// the progress and its one 100, refusals, a disc or a disk that goes away mid-rip, a rip that
// replaces another, and the player's play, pause, resume, stop and end.

#include "backends/cdio/CdAudioMci.h"
#include "backends/cdio/CdTools.h"
#include "backends/cdio/DiscPlayer.h"
#include "backends/media/MediaJob.h"
#include "backends/media/MediaProbe.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/cdio/CdImages.h"
#include "tests/media/MediaTestSupport.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/resource.h>

using namespace cdio;

namespace {

// What a rip reports, and what was on the disk when its 100 came.
struct RipEvents {
    QList<double> percents;
    QStringList failures;
    bool fileAtHundred = false;
    qint32 sectorAtHundred = -1;
    qint32 totalAtHundred = -1;

    RipEvents(CdTools& tools, const QString& path) {
        QObject::connect(&tools, &HarnTools::RipProgress, &tools, [this, &tools, path](double p) {
            percents << p;
            if (p == 100.0) {
                fileAtHundred = QFileInfo::exists(path);
                sectorAtHundred = tools.CurrentSector();
                totalAtHundred = tools.TotalSectors();
            }
        });
        QObject::connect(&tools, &HarnTools::Failed, &tools,
                         [this](const QString& message) { failures << message; });
    }
    bool ended() const { return percents.contains(100.0) || !failures.isEmpty(); }
};

// MCI's reply to a command, or "error N".
QString answer(CdAudioMci& mci, const QString& command) {
    QString reply;
    const qint32 code = mci.mciSendString(command, reply);
    return code == 0 ? reply : QStringLiteral("error %1").arg(code);
}

} // namespace

class TestRip : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void ripsTrack_data();
    void ripsTrack();
    void refusedAtOnce_data();
    void refusedAtOnce();
    void failsMidRip_data();
    void failsMidRip();
    void aSecondRipReplacesTheFirst();
    void playerStopsWhenTheImageGoes();
    void mciPlaysThroughThePlayer();

private:
    void rip(CdTools& tools, const QString& format, qint32 address, const QString& path,
             qint32 track, double bitsPerSecond = 128000);
    QString outFolder() const { return m_out->path(); }

    QTemporaryDir m_dir;
    std::unique_ptr<QTemporaryDir> m_out;
    TestImage m_audio; // three tracks of uneven lengths, an INDEX 00 gap before track 2
    TestImage m_mixed; // a mode 1 data track, then audio with a gap
    std::shared_ptr<DriveTable> m_table;
};

void TestRip::initTestCase() {
    QVERIFY(m_dir.isValid());
    m_audio = writeAudioDisc(m_dir.path());
    m_mixed = writeMixedDisc(m_dir.path());
    m_table = std::make_shared<DriveTable>(QStringList{m_audio.cue, m_mixed.cue}, false);
}

void TestRip::init() {
    m_out = std::make_unique<QTemporaryDir>();
}

void TestRip::rip(CdTools& tools, const QString& format, qint32 address, const QString& path,
                  qint32 track, double bitsPerSecond) {
    tools.setMp3Bitrate(bitsPerSecond);
    tools.setMp3Option(format == QLatin1String("shine") ? 1 : 0);
    if (format == QLatin1String("wav"))
        tools.RipTrackToWav(address, path, track, 0);
    else if (format == QLatin1String("wma"))
        tools.RipTrackToWma(address, path, track, 0);
    else
        tools.RipTrackToMp3(address, path, track, 0);
}

void TestRip::ripsTrack_data() {
    QTest::addColumn<bool>("mixed");
    QTest::addColumn<int>("track");
    QTest::addColumn<QString>("format");
    QTest::addColumn<qint64>("slack"); // frames an encoded file may differ by
    QTest::addColumn<int>("kbps");
    // Every track of a disc bit-exact through the same track rip: test_cli_rip::trackLists.
    QTest::newRow("wav, audio after a data track") << true << 2 << "wav" << 0LL << 0;
    // The MP3 header records the encoder's delay and padding: the decoder gives back exactly.
    QTest::newRow("mp3, lame") << false << 1 << "mp3" << 0LL << 128;
    QTest::newRow("mp3, shine") << false << 3 << "shine" << 0LL << 128;
    QTest::newRow("wma") << false << 2 << "wma" << 2048LL << 128;
    // The rip panel's lowest WMA rate is under wmav2's floor: the file gets 24 kbit/s.
    QTest::newRow("wma at 22 kbit/s") << false << 1 << "wma" << 2048LL << 22;
}

// The file holds the whole track, gap included, and is in place when the one 100 comes, the
// last of a rising series; the sector counters have reached the track's length by then.
void TestRip::ripsTrack() {
    QFETCH(bool, mixed);
    QFETCH(int, track);
    QFETCH(QString, format);
    QFETCH(qint64, slack);
    QFETCH(int, kbps);
    const TestImage& image = mixed ? m_mixed : m_audio;
    const qint32 address = kImageHost | (mixed ? 1 << 8 : 0);
    const QString path = QDir(outFolder()).filePath(QStringLiteral("Track.") + format);
    CdTools tools(m_table);
    RipEvents events(tools, path);
    const QString refusal = errorOf([&] { rip(tools, format, address, path, track, kbps * 1e3); });
    QVERIFY2(refusal.isEmpty(), qPrintable(refusal));
    QVERIFY(events.percents.isEmpty()); // nothing is raised inside the call
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), 30000);

    QVERIFY2(events.failures.isEmpty(), qPrintable(events.failures.join('\n')));
    QCOMPARE(events.percents.count(100.0), 1);
    QCOMPARE(events.percents.last(), 100.0);
    QVERIFY(std::is_sorted(events.percents.begin(), events.percents.end()));
    QVERIFY(events.fileAtHundred);
    const qint32 sectors = image.sectors[track - 1];
    QCOMPARE(events.sectorAtHundred, sectors);
    QCOMPARE(events.totalAtHundred, sectors);
    QCOMPARE(folderEntries(outFolder()), QStringList{QFileInfo(path).fileName()});

    const std::vector<qint16> expected = image.track(track);
    if (format == QLatin1String("wav")) {
        const std::vector<qint16> got = wavSamples(path);
        QCOMPARE(qint64(got.size()), qint64(sectors) * 588 * 2);
        QVERIFY(got == expected);
    } else {
        const DecodedAudio decoded = decodeFile(path);
        QCOMPARE(decoded.format, PcmFormat::cdAudio());
        QCOMPARE(probeMediaFile(path).bitRate, qint64(std::max(kbps, 24)) * 1000);
        QVERIFY2(std::abs(decoded.frames() - qint64(sectors) * 588) <= slack,
                 qPrintable(QStringLiteral("%1 frames for %2")
                                .arg(decoded.frames())
                                .arg(qint64(sectors) * 588)));
    }
}

void TestRip::refusedAtOnce_data() {
    QTest::addColumn<qint32>("address");
    QTest::addColumn<int>("track");
    QTest::addColumn<QString>("folder"); // empty: the test's own
    QTest::addColumn<QStringList>("message");
    QTest::newRow("unknown drive")
        << qint32(0x010203) << 1 << QString() << QStringList{"no CD drive", "1:2:3"};
    QTest::newRow("track 0") << kImageHost << 0 << QString()
                             << QStringList{"has no track 0", "audio.cue"};
    QTest::newRow("beyond the last track")
        << kImageHost << 4 << QString() << QStringList{"has no track 4", "audio.cue"};
    QTest::newRow("data track of a mixed-mode disc")
        << (kImageHost | 1 << 8) << 1 << QString()
        << QStringList{"Track 1", "mixed.cue", "data track"};
    QTest::newRow("missing folder")
        << kImageHost << 1 << QStringLiteral("missing") << QStringList{"missing/Track01"};
    QTest::newRow("folder not writable")
        << kImageHost << 1 << QStringLiteral("/proc/self") << QStringList{"/proc/self/Track01"};
}

// Raised before the call returns, naming what is wrong; nothing is reported for it, no file
// appears, and the rip already running goes on to its end.
void TestRip::refusedAtOnce() {
    QFETCH(qint32, address);
    QFETCH(int, track);
    QFETCH(QString, folder);
    QFETCH(QStringList, message);
    const QString dir = folder.startsWith(u'/') ? folder : QDir(outFolder()).filePath(folder);
    for (const QString format : {"wav", "mp3", "wma"}) {
        CdTools tools(m_table);
        const QString running = QDir(outFolder()).filePath(QStringLiteral("Running.") + format);
        RipEvents events(tools, running);
        rip(tools, format, kImageHost, running, 1);
        const QString path = dir + QStringLiteral("/Track01.") + format;
        const QString error = errorOf([&] { rip(tools, format, address, path, track); });
        for (const QString& part : message)
            QVERIFY2(error.contains(part), qPrintable(format + ": " + error));
        QTRY_VERIFY_WITH_TIMEOUT(events.ended(), 30000);
        QCOMPARE(events.percents.count(100.0), 1);
        QVERIFY(events.fileAtHundred);
        QVERIFY(events.failures.isEmpty());
        QVERIFY(!QFileInfo::exists(path));
    }
    QCOMPARE(folderEntries(outFolder()),
             (QStringList{"Running.mp3", "Running.wav", "Running.wma"}));
}

void TestRip::failsMidRip_data() {
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("message");
    const QString gone = QStringLiteral("was deleted or cut short while track 1 was being read");
    QTest::newRow("image deleted") << QStringLiteral("deleted") << gone;
    QTest::newRow("image cut short") << QStringLiteral("cut") << gone;
    QTest::newRow("disk full") << QStringLiteral("full") << "File too large";
}

// One Failed naming the image or the file, no 100, and nothing left in the folder, not even a
// hidden temporary file.
void TestRip::failsMidRip() {
    QFETCH(QString, what);
    QFETCH(QString, message);
    // Minutes of sound: far more than is read before the image goes.
    const TestImage image =
        writeImage(m_dir.path(), what, {{QStringLiteral("AUDIO"), 588 * 20000}}, 7);
    auto table = std::make_shared<DriveTable>(QStringList{image.cue}, false);
    const QString path = QDir(outFolder()).filePath(QStringLiteral("Track01.wav"));
    CdTools tools(table);
    RipEvents events(tools, path);
    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    if (what == QLatin1String("full")) {
        rlimit limited = before;
        limited.rlim_cur = 1 << 20;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
    }
    tools.RipTrackToWav(kImageHost, path, 1, 0);
    // The reader has opened the image: from here its loss is the rip's failure.
    const QString bin = binOf(image.cue);
    if (what == QLatin1String("deleted"))
        QVERIFY(QFile::remove(bin));
    else if (what == QLatin1String("cut"))
        QVERIFY(QFile::resize(bin, 2352 * 100));
    const bool ended = QTest::qWaitFor([&] { return events.ended(); }, 30000);
    setrlimit(RLIMIT_FSIZE, &before);
    QVERIFY(ended);

    QCOMPARE(events.failures.size(), 1);
    QVERIFY2(events.failures[0].contains(message), qPrintable(events.failures[0]));
    QVERIFY2(events.failures[0].contains(what == QLatin1String("full") ? path : image.cue),
             qPrintable(events.failures[0]));
    QVERIFY(!events.percents.contains(100.0));
    QCOMPARE(folderEntries(outFolder()), QStringList());
}

// The panel's Rip pressed again during a job: the running rip goes without a trace and
// without a word, the new one runs to its 100.
void TestRip::aSecondRipReplacesTheFirst() {
    const TestImage image =
        writeImage(m_dir.path(), QStringLiteral("long"), {{QStringLiteral("AUDIO"), 588 * 20000}});
    auto table = std::make_shared<DriveTable>(QStringList{image.cue, m_audio.cue}, false);
    const QString first = QDir(outFolder()).filePath(QStringLiteral("Track01.mp3"));
    const QString second = QDir(outFolder()).filePath(QStringLiteral("Track03.wav"));
    CdTools tools(table);
    RipEvents events(tools, second);
    tools.RipTrackToMp3(kImageHost, first, 1, 0);
    tools.RipTrackToWav(kImageHost | 1 << 8, second, 3, 0);
    QTRY_VERIFY_WITH_TIMEOUT(events.ended(), 30000);
    QVERIFY(events.failures.isEmpty());
    QVERIFY(events.fileAtHundred);
    QCOMPARE(events.totalAtHundred, m_audio.sectors[2]);
    QVERIFY(wavSamples(second) == m_audio.track(3));
    // The first one's temporary file goes once its worker has noticed.
    QTRY_COMPARE_WITH_TIMEOUT(folderEntries(outFolder()), QStringList{"Track03.wav"}, 10000);
    QVERIFY(MediaJob::waitForAll(10000));
    QCoreApplication::processEvents();
    QCOMPARE(events.percents.count(100.0), 1);
    QVERIFY(events.failures.isEmpty());
}

// A read failure while playing (the image deleted) turns the player Stopped by itself.
void TestRip::playerStopsWhenTheImageGoes() {
    const TestImage image = writeImage(m_dir.path(), QStringLiteral("play"),
                                       {{QStringLiteral("AUDIO"), 588 * 75 * 60}}, 5);
    DiscPlayer player;
    QCOMPARE(player.state(), CdPlayer::State::Stopped);
    const qint32 first = image.starts[0];
    player.play(DriveTable::imageDrive(image.cue, 0), first, first + image.sectors[0]);
    QCOMPARE(player.state(), CdPlayer::State::Playing);
    QTRY_VERIFY_WITH_TIMEOUT(player.position() > first + 5, 5000);
    QVERIFY(QFile::remove(binOf(image.cue)));
    QTRY_COMPARE_WITH_TIMEOUT(player.state(), CdPlayer::State::Stopped, 5000);
}

// The rip panel's playback commands on the real player: the position advances, holds while
// paused and goes on after resume; stop, and the sound's end, make the device stopped.
void TestRip::mciPlaysThroughThePlayer() {
    CdAudioMci mci(m_table, std::make_unique<DiscPlayer>());
    const auto send = [&mci](const QString& command) { return answer(mci, command); };
    QCOMPARE(send("open cdaudio alias cd1"), "1");
    QCOMPARE(send("set cd1 time format tmsf"), "");
    QCOMPARE(send("play cd1 from 1"), "");
    QCOMPARE(send("status cd1 mode"), "playing");
    QTRY_VERIFY_WITH_TIMEOUT(send("status cd1 position") > "01:00:00:20", 5000);
    QCOMPARE(send("pause cd1"), "");
    QCOMPARE(send("status cd1 mode"), "paused");
    const QString paused = send("status cd1 position");
    QTest::qWait(300); // time passes, but not for a paused player
    QCOMPARE(send("status cd1 position"), paused);
    QCOMPARE(send("play cd1"), "");
    QCOMPARE(send("status cd1 mode"), "playing");
    QTRY_VERIFY_WITH_TIMEOUT(send("status cd1 position") > paused, 5000);
    QCOMPARE(send("stop cd1"), "");
    QCOMPARE(send("status cd1 mode"), "stopped");
    // The last track lasts a tenth of a second.
    QCOMPARE(send("play cd1 from 3"), "");
    QCOMPARE(send("status cd1 mode"), "playing");
    QTRY_COMPARE_WITH_TIMEOUT(send("status cd1 mode"), "stopped", 5000);
    QCOMPARE(send("close cd1"), "");
}

MELVANE_AUDIO_TEST_MAIN(TestRip, QCoreApplication)
#include "test_rip.moc"
