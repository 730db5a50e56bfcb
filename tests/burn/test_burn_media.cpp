// The whole loop for real: WAV, MP3 and WMA files the test makes are burnt by the engine on
// the image recorder, decoded on the fly by the media core, verified, and the image is read
// back as a CD drive. Also what goes wrong on the way: bad files, a decoder that breaks or
// stalls, a changed sector, a cancel.
#include "backends/burn/Burner.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/ImageRecorder.h"
#include "backends/burn/MediaTracks.h"
#include "backends/cdio/Checksums.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "tests/burn/MediaOpeners.h"
#include "tests/media/MediaTestSupport.h"

#include <cdio/cdio.h>
#include <cdio/cdtext.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace burning;

namespace {

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
    QString m_wav, m_mp3, m_wma, m_short;
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
        // A tagged file of seconds of a tone, as name.
        const auto tagged = [this](const QString& name, OutputCodec codec, PcmFormat format,
                                   double seconds, double tone, const QString& title,
                                   const QString& artist) {
            SineSource source(format, seconds, tone);
            writeSource(
                source, path(name),
                {codec, 128000, {{"title", title}, {"artist", artist}, {"album", "Tests"}}});
            return path(name);
        };
        // 5.01 s: the last sector is not full. The WMA is at 48 kHz: resampled on the way.
        m_wav = tagged("a.wav", OutputCodec::Wav, PcmFormat::cdAudio(), 5.01, 440, "Alpha", "Band");
        m_mp3 = tagged("b.mp3", OutputCodec::Mp3Lame, PcmFormat::cdAudio(), 4.5, 660, "Beta \"B\"",
                       "Band");
        m_wma = tagged("c.wma", OutputCodec::Wma, {48000, 2}, 4.2, 550, "Gämma", "Guest");
        m_short =
            tagged("d.wav", OutputCodec::Wav, PcmFormat::cdAudio(), 1.5, 330, "Delta", "Band");
        m_long = path("long-tone.wav");
        writeSine(m_long, OutputCodec::Wav, PcmFormat::cdAudio(), 180.0);
    }

    void init() {
        m_images = std::make_unique<QTemporaryDir>();
        qputenv("MELVANE_IMAGE_DIR", m_images->path().toLocal8Bit());
    }

    // The tracks run on as they decode, without a gap: the disc holds the files' sound back to
    // back (the WMA resampled from 48 kHz), then silence to the end of the last sector; a track
    // begins on the sector holding its first sample, and the one under 4 seconds is padded to 4.
    // Verified after burning: every track identical, and the log beside the image says so
    // with each track's sectors and the CRC-32 of what was written.
    void roundTrip() {
        const auto burner = imageBurner();
        burner->setVerifyAfterBurning(true);
        for (const QString& file : {m_wav, m_mp3, m_wma, m_short})
            burner->AddTrack(file);
        QStringList notices;
        connect(burner.get(), &AudioBurner::Notice, burner.get(),
                [&](const QString& text, bool) { notices << text; });
        const Outcome outcome = burn(*burner);
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnSucceeded));
        QVERIFY(outcome.failures.isEmpty());

        const QString cue =
            QDir(m_images->path()).filePath(burner->imageRecorder().lastImage() + ".cue");
        const cdio::Drive drive = cdio::DriveTable({cue}, false).drives().value(0);
        cdio::Disc disc(drive);
        const cdio::Toc toc = disc.toc();
        QCOMPARE(toc.audioTrackCount(), 4);

        std::vector<qint16> expected;
        QList<qint32> starts;
        for (const QString& file : {m_wav, m_mp3, m_wma, m_short}) {
            starts << qint32(expected.size() / 2 / kFramesPerSector);
            FileSource decoded(file, PcmFormat::cdAudio());
            const std::vector<qint16> samples = readAll(decoded).samples;
            expected.insert(expected.end(), samples.begin(), samples.end());
        }
        expected.resize(expected.size() + size_t(2 * (4 * 44100 - 66150))); // the short one
        expected.resize(
            size_t(((qint64(expected.size() / 2) + kFramesPerSector - 1) / kFramesPerSector) *
                   kFramesPerSector * 2));
        QList<qint32> burnt;
        for (const cdio::TocTrack& t : toc.tracks)
            burnt << t.start;
        QCOMPARE(burnt, starts);
        QCOMPARE(qint64(toc.leadout), qint64(expected.size() / 2 / kFramesPerSector));
        const auto reader = cdio::DiscReader::sectors(drive, 0, toc.leadout, {});
        QVERIFY(readAll(*reader).samples == expected);

        const cdtext_t* text = cdio_get_cdtext(disc.handle());
        QVERIFY(text);
        QCOMPARE(latin1Text(text, CDTEXT_FIELD_TITLE, 0), QStringLiteral("Tests"));
        QCOMPARE(latin1Text(text, CDTEXT_FIELD_PERFORMER, 0), QString());
        // A cue sheet's quotes cannot hold a double quote: it becomes a single one.
        const QStringList titles{"Alpha", "Beta 'B'", "Gämma", "Delta"},
            performers{"Band", "Band", "Guest", "Band"};
        const QString log = readText(cue.chopped(4) + ".log");
        QCOMPARE(burner->lastLog(), cue.chopped(4) + ".log");
        QVERIFY(log.contains("Offset:     0 samples"));
        for (track_t t = 1; t <= 4; ++t) {
            QCOMPARE(latin1Text(text, CDTEXT_FIELD_TITLE, t), titles[t - 1]);
            QCOMPARE(latin1Text(text, CDTEXT_FIELD_PERFORMER, t), performers[t - 1]);
            QVERIFY(notices.contains(QStringLiteral("Track %1: identical").arg(t)));
            const qint32 sectors = (t < 4 ? starts[t] : toc.leadout) - starts[t - 1];
            cdio::TrackChecksums sums(sectors * 588, false, false);
            sums.write(expected.data() + starts[t - 1] * 1176, sectors * 588);
            const QString line = QStringLiteral("    %1  .* %2  %3  identical")
                                     .arg(t)
                                     .arg(sectors)
                                     .arg(sums.crc32(), 8, 16, QChar(u'0'));
            QVERIFY2(
                log.contains(QRegularExpression(line, QRegularExpression::CaseInsensitiveOption)),
                qPrintable(line + "\n" + log));
        }
    }

    // A track's length is what its decoder delivers at 44.1 kHz stereo: an MP3's encoder delay
    // and padding (its LAME header states them) left out, other rates, depths and channel
    // counts converted. Only raw PCM at 44.1 kHz is exact from the header alone; measure()
    // decodes the rest. A 10 s MP3 is 441,000 samples, not one more. (That the disc holds what
    // the decoder delivers: roundTrip.)
    void lengthsAreWhatTheDecoderDelivers_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("exactFromHeader");
        QTest::addColumn<qint64>("frames"); // -1: whatever the decoder delivers
        QTest::newRow("10 s MP3") << "ten.mp3" << false << qint64(441000);
        QTest::newRow("15 s WMA") << "fifteen.wma" << false << qint64(-1);
        QTest::newRow("WAV, 44.1 kHz") << "a.wav" << true << qint64(220941);
        QTest::newRow("WAV, 48 kHz 24-bit mono") << "mono24.wav" << false << qint64(-1);
    }
    void lengthsAreWhatTheDecoderDelivers() {
        QFETCH(QString, file);
        QFETCH(bool, exactFromHeader);
        QFETCH(qint64, frames);
        if (!QFileInfo::exists(path("ten.mp3"))) {
            SineSource ten(PcmFormat::cdAudio(), 10.0, 500.0);
            writeSource(ten, path("ten.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
            SineSource fifteen(PcmFormat::cdAudio(), 15.0, 500.0);
            writeSource(fifteen, path("fifteen.wma"), {OutputCodec::Wma, 128000, {}});
            // 1.5 s of a 24-bit mono ramp at 48 kHz, written by hand.
            QByteArray wav = wavHeader(48000, 1, 24, 72000 * 3);
            for (int i = 0; i < 72000; ++i)
                wav.append(char(0)).append(char(i & 0xff)).append(char((i >> 8) & 0x3f));
            writeBytes(path("mono24.wav"), wav);
        }
        const QString chosen = file == "a.wav" ? m_wav : path(file);
        FileSource decoded(chosen, PcmFormat::cdAudio());
        const qint64 delivered = qint64(readAll(decoded).samples.size() / 2);
        if (frames >= 0)
            QCOMPARE(delivered, frames);
        MediaTrackOpener opener;
        const TrackInfo info = opener.probe(chosen);
        QCOMPARE(info.exact, exactFromHeader);
        if (exactFromHeader)
            QCOMPARE(info.frames, delivered);
        std::atomic<bool> stop{false};
        QCOMPARE(opener.measure(chosen, stop), delivered);
    }

    // One sector changed before the read-back is found, in its track and at its place, and
    // fails the burn; the log tells it too.
    void verifyFindsAChangedSector() {
        const auto burner = imageBurner();
        burner->setVerifyAfterBurning(true);
        burner->AddTrack(m_wav);
        burner->AddTrack(m_mp3);
        // m_wav ends in sector 375, where track 2 begins; 80 sectors on is 0:01.05.
        burner->imageRecorder().setImageWritten([&](const QString& cue) {
            QFile bin(cue.chopped(4) + ".bin");
            if (bin.open(QIODevice::ReadWrite) && bin.seek(455 * 2352))
                bin.write(QByteArray(2352, '\x55'));
        });
        QStringList notices;
        connect(burner.get(), &AudioBurner::Notice, burner.get(),
                [&](const QString& text, bool) { notices << text; });
        const Outcome outcome = burn(*burner);
        QCOMPARE(outcome.status, qint32(AudioBurner::BurnFailed));
        const QString second = QStringLiteral("Track 2: differs at 0:01.05");
        QVERIFY2(notices.contains("Track 1: identical") && notices.contains(second),
                 qPrintable(notices.join('\n')));
        QCOMPARE(outcome.failures.size(), 1);
        QVERIFY2(outcome.failures[0].contains(second), qPrintable(outcome.failures[0]));
        const QString log =
            readText(m_images->filePath(burner->imageRecorder().lastImage() + ".log"));
        for (const char* line :
             {"    1  .*identical", "    2  .*differs at 0:01.05 \\(1 sectors differ\\)"})
            QVERIFY2(log.contains(QRegularExpression(QLatin1String(line))), qPrintable(log));
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
        QCOMPARE(folderEntries(m_images->path()).size(), planted.size() + 3);
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

    // A CUE sheet is a whole disc, burnt on its own, never beside other entries, and refused
    // when its data ends early. (What it holds reaches the disc: test_vdrive_burn's copies.)
    void aDiscImageEntry() {
        QByteArray bin(900 * 2352, '\x21');
        writeBytes(path("disc.bin"), bin);
        writeBytes(path("disc.cue"), "CATALOG 4006381234567\nTITLE \"Album\"\n"
                                     "FILE \"disc.bin\" BINARY\n"
                                     "  TRACK 01 AUDIO\n    ISRC DEXYZ2400011\n"
                                     "    INDEX 01 00:00:00\n"
                                     "  TRACK 02 AUDIO\n    TITLE \"Two\"\n    FLAGS DCP PRE\n"
                                     "    INDEX 00 00:06:00\n    INDEX 01 00:07:38\n");
        const auto burner = imageBurner();
        burner->AddTrack(path("disc.cue"));
        QCOMPARE(burner->CompilationSize(), 900 * 2352);
        burner->AddTrack(m_wav);
        QVERIFY(
            errorOf([&] { burner->StartBurn(); }).contains("is burnt as a whole disc, on its own"));
        burner->ClearTracks();
        QFile::resize(path("disc.bin"), 500 * 2352);
        burner->AddTrack(path("disc.cue"));
        QVERIFY(errorOf([&] {
                    burner->StartBurn();
                }).contains("disc.bin ends before track 2 of its cue sheet."));
    }

    // An MP3 whose header only estimates its length is refused at once when that is longer
    // than the disc. (The other refusals on real files: test_cli_burn, through this engine.)
    void aFileTooLongIsRefusedAtOnce() {
        // 81 minutes, small: 8 kHz mono at 8 kbit/s.
        SineSource tone(PcmFormat{8000, 1}, 81 * 60.0);
        writeSource(tone, path("long.mp3"), {OutputCodec::Mp3Lame, 8000, {}});
        const auto burner = imageBurner();
        burner->AddTrack(path("long.mp3"));
        QSignalSpy finished(burner.get(), &AudioBurner::BurnFinished);
        const QString error = errorOf([&] { burner->StartBurn(); });
        QVERIFY2(error.contains("does not fit on the disc in the Image Recorder"),
                 qPrintable(error));
        QCoreApplication::processEvents();
        QVERIFY(finished.isEmpty());
        QCOMPARE(burner->State(), 0);
        QVERIFY(folderEntries(m_images->path()).isEmpty());
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
