// The whole loop for real: WAV, MP3 and WMA files the test makes are burnt by the engine on
// the image recorder, decoded on the fly by the media core, and the image is read back as a
// CD drive. Also what goes wrong on the way: bad files, a decoder that breaks, a full folder,
// a cancel.
#include "backends/burn/Burner.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/ImageRecorder.h"
#include "backends/burn/MediaTracks.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "backends/media/SectorFitSource.h"
#include "tests/media/MediaTestSupport.h"

#include <cdio/cdio.h>
#include <cdio/cdtext.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <condition_variable>
#include <mutex>
#include <sys/resource.h>

using namespace burning;

namespace {

// The media core's tracks, read by a writer slower than the decoder: every read waits first
// (interruptibly), so the feed's pipe fills and a burn lasts long enough to be caught mid-way.
class SlowOpener final : public TrackOpener {
public:
    TrackInfo probe(const QString& path) override { return m_real.probe(path); }
    std::unique_ptr<SectorFeed> open(const QString& path, qint64 sectors) override {
        return std::make_unique<SlowFeed>(m_real.open(path, sectors));
    }

private:
    class SlowFeed final : public SectorFeed {
    public:
        explicit SlowFeed(std::unique_ptr<SectorFeed> inner) : m_inner(std::move(inner)) {}
        void start() override { m_inner->start(); }
        qint64 read(char* buffer, qint64 bytes) override {
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait_for(lock, std::chrono::milliseconds(40), [this] { return m_cancel; });
            }
            return m_inner->read(buffer, bytes);
        }
        void cancel() override {
            {
                std::lock_guard lock(m_mutex);
                m_cancel = true;
            }
            m_wake.notify_all();
            m_inner->cancel();
        }
        int fill() const override { return m_inner->fill(); }

    private:
        std::unique_ptr<SectorFeed> m_inner;
        std::mutex m_mutex;
        std::condition_variable m_wake;
        bool m_cancel = false;
    };
    MediaTrackOpener m_real;
};

// A source that delivers nothing until let go (as a file on a network share that stopped
// answering), deaf to interrupts.
struct Gate {
    std::mutex mutex;
    std::condition_variable opened;
    bool open = false;
    void letGo() {
        {
            std::lock_guard lock(mutex);
            open = true;
        }
        opened.notify_all();
    }
};
class BlockedSource final : public PcmSource {
public:
    explicit BlockedSource(std::shared_ptr<Gate> gate) : m_gate(std::move(gate)) {}
    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    qint64 expectedFrames() const override { return 44100; }
    qint64 read(qint16*, qint64) override {
        std::unique_lock lock(m_gate->mutex);
        m_gate->opened.wait(lock, [this] { return m_gate->open; });
        return 0;
    }

private:
    std::shared_ptr<Gate> m_gate;
};

// The media core's tracks, except one whose file stops delivering at once.
class StallingOpener final : public TrackOpener {
public:
    StallingOpener(QString stalled, std::shared_ptr<Gate> gate)
        : m_stalled(std::move(stalled)), m_gate(std::move(gate)) {}
    TrackInfo probe(const QString& path) override { return m_real.probe(path); }
    std::unique_ptr<SectorFeed> open(const QString& path, qint64 sectors) override {
        if (path != m_stalled)
            return m_real.open(path, sectors);
        return openFeed([gate = m_gate] { return std::make_unique<BlockedSource>(gate); }, path,
                        sectors, 2);
    }

private:
    QString m_stalled;
    std::shared_ptr<Gate> m_gate;
    MediaTrackOpener m_real;
};

struct Outcome {
    qint32 status = -1;
    QStringList failures;
};

// Starts the burn and waits for its end.
Outcome burn(Burner& burner) {
    Outcome outcome;
    QSignalSpy finished(&burner, &AudioBurner::BurnFinished);
    QObject::connect(&burner, &AudioBurner::Failed, &burner,
                     [&](const QString& message) { outcome.failures << message; });
    burner.StartBurn();
    if (finished.wait(60000))
        outcome.status = finished.at(0).at(0).toInt();
    return outcome;
}

QString latin1Text(const cdtext_t* text, cdtext_field_t field, track_t track) {
    const char* value = text ? cdtext_get_const(text, field, track) : nullptr;
    return value ? QString::fromUtf8(value) : QString();
}

} // namespace

class TestBurnMedia : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QTemporaryDir> m_images;
    QString m_wav, m_mp3, m_wma;
    QString m_long; // 180 s: longer than what a feed holds ahead

    QString path(const QString& name) const { return m_dir.filePath(name); }

    std::unique_ptr<Burner>
    imageBurner(std::unique_ptr<TrackOpener> opener = std::make_unique<MediaTrackOpener>()) {
        auto burner = std::make_unique<Burner>(std::move(opener), std::make_unique<ImageFiles>());
        burner->setCurrentRecorder(burner->RecorderCount());
        return burner;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_wav = path("a.wav");
        m_mp3 = path("b.mp3");
        m_wma = path("c.wma");
        // 3.01 s: the last sector is not full.
        SineSource a(PcmFormat::cdAudio(), 3.01, 440.0);
        writeSource(
            a, m_wav,
            {OutputCodec::Wav, 0, {{"title", "Alpha"}, {"artist", "Band"}, {"album", "Tests"}}});
        SineSource b(PcmFormat::cdAudio(), 2.5, 660.0);
        writeSource(b, m_mp3,
                    {OutputCodec::Mp3Lame,
                     128000,
                     {{"title", "Beta"}, {"artist", "Band"}, {"album", "Tests"}}});
        m_long = path("long-tone.wav");
        writeSine(m_long, OutputCodec::Wav, PcmFormat::cdAudio(), 180.0);
        // 48 kHz: resampled on the way to the disc.
        SineSource c(PcmFormat{48000, 2}, 2.0, 550.0);
        writeSource(c, m_wma,
                    {OutputCodec::Wma,
                     128000,
                     {{"title", "Gämma"}, {"artist", "Guest"}, {"album", "Tests"}}});
    }

    void init() {
        m_images = std::make_unique<QTemporaryDir>();
        qputenv("MELVANE_IMAGE_DIR", m_images->path().toLocal8Bit());
    }

    void roundTrip() {
        const auto burner = imageBurner();
        for (const QString& file : {m_wav, m_mp3, m_wma})
            burner->AddTrack(file);
        const Outcome outcome = burn(*burner);
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnSucceeded));
        QVERIFY(outcome.failures.isEmpty());

        const QString cue =
            QDir(m_images->path()).filePath(burner->imageRecorder().lastImage() + ".cue");
        const cdio::Drive drive = cdio::DriveTable({cue}, false).drives().value(0);
        cdio::Disc disc(drive);
        const cdio::Toc toc = disc.toc();
        QCOMPARE(toc.tracks.size(), 3);
        QCOMPARE(toc.audioTrackCount(), 3);

        // What each track must hold: the WAV as it is, then silence to the sector's end; the
        // compressed files as the core decodes them, fitted to the sectors they were given.
        QList<std::vector<qint16>> expected;
        SineSource a(PcmFormat::cdAudio(), 3.01, 440.0);
        std::vector<qint16> wav = readAll(a).samples;
        wav.resize(size_t(cdSectorsFor(132741) * kCdFramesPerSector * 2), 0);
        expected << wav;
        for (const QString& file : {m_mp3, m_wma}) {
            auto decoded = std::make_unique<FileSource>(file, PcmFormat::cdAudio());
            const qint64 sectors = cdSectorsFor(decoded->expectedFrames());
            SectorFitSource fitted(std::move(decoded), sectors);
            expected << readAll(fitted).samples;
        }
        qint32 start = toc.tracks[0].start;
        for (int n = 1; n <= 3; ++n) {
            const qint32 sectors = qint32(expected[n - 1].size() / (2 * kCdFramesPerSector));
            QCOMPARE(toc.tracks[n - 1].start, start);
            QCOMPARE(toc.tracks[n - 1].sectors, sectors);
            start += sectors;
            const auto reader = cdio::DiscReader::track(drive, n);
            QVERIFY2(readAll(*reader).samples == expected[n - 1], qPrintable(QString::number(n)));
        }
        QCOMPARE(toc.leadout, start);

        const cdtext_t* text = cdio_get_cdtext(disc.handle());
        QVERIFY(text);
        QCOMPARE(latin1Text(text, CDTEXT_FIELD_TITLE, 0), QStringLiteral("Tests"));
        QCOMPARE(latin1Text(text, CDTEXT_FIELD_PERFORMER, 0), QString());
        const QStringList titles{"Alpha", "Beta", "Gämma"}, performers{"Band", "Band", "Guest"};
        for (track_t t = 1; t <= 3; ++t) {
            QCOMPARE(latin1Text(text, CDTEXT_FIELD_TITLE, t), titles[t - 1]);
            QCOMPARE(latin1Text(text, CDTEXT_FIELD_PERFORMER, t), performers[t - 1]);
        }
    }

    // Burning and ripping meet: each completed burn puts its image in the image recorder's
    // drive, listed after the images, replacing the one before; a test burn changes nothing.
    void theBurntImageIsADisc() {
        auto table = std::make_shared<cdio::DriveTable>(QStringList{path("listed.cue")}, false);
        const auto burner = imageBurner();
        burner->imageRecorder().setImageWritten(
            [table](const QString& cue) { table->setRecorderDisc(cue); });
        // The recorder's drive after a burn, and the tracks its disc holds.
        auto burnAndRead = [&](bool real) -> std::pair<cdio::Drive, qsizetype> {
            burner->setRealBurn(real);
            if (burn(*burner).status != AudioBurner::BurnSucceeded || table->count() != 2)
                return {};
            table->refresh(); // a new look for drives keeps the disc
            const cdio::Drive drive = table->drives().value(1);
            return {drive, cdio::Disc(drive).toc().tracks.size()};
        };
        burner->AddTrack(m_wav);
        burner->AddTrack(m_mp3);
        QCOMPARE(burnAndRead(false).second, 0);
        QCOMPARE(table->count(), 1);
        QVERIFY(folderEntries(m_images->path()).isEmpty());

        const auto [first, firstTracks] = burnAndRead(true);
        QCOMPARE(firstTracks, 2);
        QCOMPARE(first.address, cdio::DriveTable::recorderAddress());
        QCOMPARE(first.vendor, QStringLiteral("Melvane"));
        QCOMPARE(first.product, QStringLiteral("Image Recorder"));

        burner->Eject();
        burner->ClearTracks();
        burner->AddTrack(m_wma);
        const auto [second, secondTracks] = burnAndRead(true);
        QCOMPARE(secondTracks, 1);
        QCOMPARE(table->count(), 2);
        QCOMPARE(second.address, first.address);
        QVERIFY(second.device != first.device);
        QCOMPARE(second.device,
                 QDir(m_images->path()).filePath(burner->imageRecorder().lastImage() + ".cue"));
    }

    // An MP3 cut short after it was added: its decoder breaks off mid-track, the burn ends as
    // failed with the decoder's reason, and no image is left.
    void aDecoderThatFailsEndsTheBurn() {
        const QString cut = path("cut.mp3");
        SineSource tone(PcmFormat::cdAudio(), 10.0);
        writeSource(tone, cut, {OutputCodec::Mp3Lame, 128000, {}});
        const auto burner = imageBurner();
        burner->AddTrack(m_wav);
        burner->AddTrack(cut);
        QVERIFY(QFile::resize(cut, QFileInfo(cut).size() * 2 / 5));
        const Outcome outcome = burn(*burner);
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnFailed));
        QCOMPARE(outcome.failures.size(), 1);
        QVERIFY2(outcome.failures[0].contains(cut) && outcome.failures[0].contains("truncated"),
                 qPrintable(outcome.failures[0]));
        QVERIFY(folderEntries(m_images->path()).isEmpty());
        QVERIFY(MediaJob::waitForAll(5000));
    }

    void imageNamesAreNeverTaken_data() {
        QTest::addColumn<QByteArray>("fileSystem"); // MELVANE_OUTPUT_FS
        QTest::newRow("this file system") << QByteArray();
        QTest::newRow("exFAT-like, no hard links") << QByteArray("nolinks");
    }

    // Names held by dangling links (another user of a shared folder) are passed over: the
    // image goes under the first name free of both files, and the links stay as they were.
    void imageNamesAreNeverTaken() {
        QFETCH(QByteArray, fileSystem);
        if (!fileSystem.isEmpty())
            qputenv("MELVANE_OUTPUT_FS", fileSystem);
        const QDateTime now = QDateTime::currentDateTime();
        QStringList planted;
        for (int second = -1; second <= 30; ++second) {
            const QString stem =
                "Melvane Audio CD " + now.addSecs(second).toString("yyyy-MM-dd hh.mm.ss");
            planted << stem + ".cue" << stem + " (2).bin";
        }
        for (const QString& name : planted)
            QVERIFY(QFile::link("/nonexistent/" + name, m_images->filePath(name)));
        const auto burner = imageBurner();
        burner->AddTrack(m_wav);
        const Outcome outcome = burn(*burner);
        qunsetenv("MELVANE_OUTPUT_FS");
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnSucceeded));
        const QString base = burner->imageRecorder().lastImage();
        QVERIFY2(base.endsWith(" (3)") && planted.contains(base.chopped(4) + ".cue"),
                 qPrintable(base));
        const QString cue = m_images->filePath(base + ".cue");
        const cdio::Drive drive = cdio::DriveTable({cue}, false).drives().value(0);
        QCOMPARE(cdio::Disc(drive).toc().audioTrackCount(), 1);
        for (const QString& name : planted)
            QVERIFY(QFileInfo(m_images->filePath(name)).isSymLink());
        QCOMPARE(folderEntries(m_images->path()).size(), planted.size() + 2);
    }

    // A name taken while the burn ran is passed over as well, and the sheet names the .bin the
    // image really has.
    void aNameTakenWhileBurningIsPassedOver() {
        auto sink = ImageFiles().create(m_images->path(), QStringLiteral("Disc"));
        const QByteArray sectors(10 * 2352, '\x11');
        sink->writeSectors(sectors.constData(), sectors.size());
        writeBytes(m_images->filePath("Disc.bin"), "theirs");
        const QString base = sink->commit(
            [](const QString& bin) { return "FILE \"" + bin.toLatin1() + "\" BINARY\n"; });
        QCOMPARE(base, QStringLiteral("Disc (2)"));
        QCOMPARE(folderEntries(m_images->path()),
                 QStringList({"Disc (2).bin", "Disc (2).cue", "Disc.bin"}));
        QFile cue(m_images->filePath("Disc (2).cue"));
        QVERIFY(cue.open(QIODevice::ReadOnly));
        QCOMPARE(cue.readAll(), QByteArray("FILE \"Disc (2).bin\" BINARY\n"));
        QCOMPARE(QFileInfo(m_images->filePath("Disc (2).bin")).size(), sectors.size());
        QFile theirs(m_images->filePath("Disc.bin"));
        QVERIFY(theirs.open(QIODevice::ReadOnly));
        QCOMPARE(theirs.readAll(), QByteArray("theirs"));
    }

    // A file that stops delivering mid-burn ends the burn within the stall limit, failed with
    // one message that names it; no image is left.
    void aStalledFileEndsTheBurn() {
        const auto gate = std::make_shared<Gate>();
        const auto burner = imageBurner(std::make_unique<StallingOpener>(m_mp3, gate));
        burner->AddTrack(m_wav);
        burner->AddTrack(m_mp3);
        QElapsedTimer clock;
        clock.start();
        const Outcome outcome = burn(*burner);
        QCOMPARE_LT(clock.elapsed(), 15000);
        gate->letGo();
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnFailed));
        QCOMPARE(outcome.failures,
                 QStringList{"Reading " + m_mp3 + " stopped: nothing came from it for 2 seconds"});
        QVERIFY(folderEntries(m_images->path()).isEmpty());
        QVERIFY(MediaJob::waitForAll(5000));
    }

    void refusedAtOnce_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("message");
        QTest::newRow("longer than the disc")
            << "long.mp3" << QString() << "does not fit on the disc in the Image Recorder";
        QTest::newRow("missing") << "missing.mp3" << QString() << "missing.mp3 cannot be burnt";
        QTest::newRow("not audio") << "notes.wma" << QString() << "notes.wma cannot be burnt";
        QTest::newRow("folder not writable") << "a.wav"
                                             << "/proc/self"
                                             << "/proc/self";
        QTest::newRow("image folder is a file")
            << "a.wav" << m_wav << "The image folder " + m_wav + " is not a folder.";
    }

    void refusedAtOnce() {
        QFETCH(QString, file);
        QFETCH(QString, folder);
        QFETCH(QString, message);
        {
            QFile notes(path("notes.wma"));
            QVERIFY(notes.open(QIODevice::WriteOnly));
            notes.write("Buy milk.\n");
        }
        if (!QFileInfo::exists(path("long.mp3"))) {
            // 81 minutes, small: 8 kHz mono at 8 kbit/s.
            SineSource tone(PcmFormat{8000, 1}, 81 * 60.0);
            writeSource(tone, path("long.mp3"), {OutputCodec::Mp3Lame, 8000, {}});
        }
        if (!folder.isEmpty())
            qputenv("MELVANE_IMAGE_DIR", folder.toLocal8Bit());
        const auto burner = imageBurner();
        burner->AddTrack(path(file));
        QSignalSpy finished(burner.get(), &AudioBurner::BurnFinished);
        try {
            burner->StartBurn();
            QFAIL("the burn started");
        } catch (const Error& e) {
            QVERIFY2(e.message().contains(message), qPrintable(e.message()));
        }
        QCoreApplication::processEvents();
        QVERIFY(finished.isEmpty());
        QCOMPARE(burner->State(), 0);
        QVERIFY(folderEntries(m_images->path()).isEmpty());
    }

    // Past the file size limit the image cannot grow, as on a full disk: the burn fails with
    // the reason, and neither file is left.
    void aFolderThatFillsUp() {
        rlimit before{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        rlimit limited = before;
        limited.rlim_cur = 2 << 20;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        const auto burner = imageBurner();
        burner->AddTrack(m_long);
        const Outcome outcome = burn(*burner);
        setrlimit(RLIMIT_FSIZE, &before);
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnFailed));
        QVERIFY2(outcome.failures.value(0).contains("File too large"),
                 qPrintable(outcome.failures.value(0)));
        QVERIFY(folderEntries(m_images->path()).isEmpty());
        burner->RefreshDisc();
        QCOMPARE(burner->MediaStatus(), 0); // still blank
    }

    void cancelled_data() {
        QTest::addColumn<int>("phase"); // TrackPhase at which the cancel comes; 0 at once
        QTest::newRow("before the first progress") << 0;
        QTest::newRow("filling the buffer") << 1;
        QTest::newRow("writing a track") << 2;
    }

    void cancelled() {
        QFETCH(int, phase);
        const auto burner = imageBurner(std::make_unique<SlowOpener>());
        for (int i = 0; i < 3; ++i)
            burner->AddTrack(m_long);
        qint16 fillAtCancel = -1;
        QObject::connect(burner.get(), &AudioBurner::Progress, burner.get(), [&] {
            if (fillAtCancel < 0 && burner->State() == 2 && burner->TrackPhase() == phase) {
                fillAtCancel = burner->BufferFill();
                burner->CancelBurn();
            }
        });
        QSignalSpy finished(burner.get(), &AudioBurner::BurnFinished);
        burner->StartBurn();
        if (phase == 0)
            burner->CancelBurn();
        QVERIFY(finished.wait(20000));
        QCOMPARE(finished.at(0).at(0).toInt(), qint32(AudioBurner::BurnCancelled));
        QVERIFY(phase == 0 || fillAtCancel >= 0);
        // The writer lags, so the decoded audio waits in the feed's pipe.
        if (phase == 2)
            QVERIFY2(fillAtCancel >= 50, qPrintable(QString::number(fillAtCancel)));
        QVERIFY(folderEntries(m_images->path()).isEmpty());
        QVERIFY(MediaJob::waitForAll(5000));
    }
};

QTEST_GUILESS_MAIN(TestBurnMedia)
#include "test_burn_media.moc"
