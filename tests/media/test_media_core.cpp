// The transcoding core on real FFmpeg: sources, sinks, the transcode loop and the job runner,
// on media synthesised through the core itself.

#include "backends/media/EncodedSink.h"
#include "backends/media/FileSource.h"
#include "backends/media/MediaProbe.h"
#include "backends/media/Transcode.h"
#include "components/Error.h"
#include "tests/media/MediaTestSupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <thread>

namespace {

constexpr PcmFormat kStereo44{44100, 2};
const QString kDiscError = QStringLiteral("Cannot read track 3: the disc stopped answering");

// Raises Error after 50000 frames of silence, like a CD that stops reading.
struct FailingSource final : PcmSource {
    qint64 left = 50000;
    PcmFormat format() const override { return kStereo44; }
    qint64 expectedFrames() const override { return 441000; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        if (left <= 0)
            throw Error(kDiscError);
        const qint64 n = std::min(maxFrames, left);
        std::fill_n(buffer, n * 2, qint16(0));
        left -= n;
        return n;
    }
};

std::unique_ptr<EncodedSink> mp3Sink(const QString& path) {
    return std::make_unique<EncodedSink>(
        path, EncodedSink::Options{OutputCodec::Mp3Lame, 128000, {}}, kStereo44);
}

} // namespace

class TestMediaCore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void wavIsBitExactAndSeeks();
    void roundTrip_data();
    void roundTrip();
    void threadsDoNotChangeABit();
    void bitRatesAndShineRates();
    void convertsToCdAudio();
    void sinkLeavesNothingBehind();
    void jobReportsFromItsWorker();

private:
    QTemporaryDir m_dir;
    QString path(const QString& name) const { return m_dir.filePath(name); }
};

// WAV reads back bit for bit, in odd pieces that cross the decoder's packets, and a seek lands on
// the very frame asked for.
void TestMediaCore::wavIsBitExactAndSeeks() {
    writeSine(path("exact.wav"), OutputCodec::Wav, kStereo44, 3.0);
    const MediaFacts facts = probeMediaFile(path("exact.wav"));
    QCOMPARE(facts.duration, 3.0);
    QCOMPARE(facts.sizeBytes, QFileInfo(path("exact.wav")).size());
    FileSource file(path("exact.wav"));
    QCOMPARE(file.codecName(), QStringLiteral("pcm_s16le"));
    QCOMPARE(file.expectedFrames(), 132300);
    SineSource reference(kStereo44, 3.0);
    QVERIFY(readAll(file, 4999).samples == readAll(reference).samples);

    FileSource seeking(path("exact.wav"));
    std::vector<qint16> block(1000 * 2);
    QCOMPARE(seeking.read(block.data(), 1000), 1000);
    seeking.seek(1.5);
    const DecodedAudio rest = readAll(seeking);
    const DecodedAudio whole = decodeFile(path("exact.wav"));
    QCOMPARE(rest.frames(), 66150);
    QVERIFY(
        std::equal(rest.samples.begin(), rest.samples.end(), whole.samples.begin() + 66150 * 2));

    // A compressed file lands within a frame, and reading on to the end is not an error.
    convertFile(path("exact.wav"), path("seek.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
    FileSource mp3(path("seek.mp3"));
    mp3.seek(2.0);
    QCOMPARE_LE(std::abs(readAll(mp3).frames() - 44100), 1152);
}

void TestMediaCore::roundTrip_data() {
    QTest::addColumn<OutputCodec>("codec");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("frameSize");
    QTest::newRow("lame 44.1k stereo") << OutputCodec::Mp3Lame << 44100 << 2 << 1152;
    QTest::newRow("lame 48k mono") << OutputCodec::Mp3Lame << 48000 << 1 << 1152;
    QTest::newRow("lame 22.05k stereo") << OutputCodec::Mp3Lame << 22050 << 2 << 576;
    QTest::newRow("shine 44.1k stereo") << OutputCodec::Mp3Shine << 44100 << 2 << 1152;
    QTest::newRow("shine 48k mono") << OutputCodec::Mp3Shine << 48000 << 1 << 1152;
    QTest::newRow("wma 44.1k stereo") << OutputCodec::Wma << 44100 << 2 << 2048;
    QTest::newRow("wma 48k mono") << OutputCodec::Wma << 48000 << 1 << 2048;
    QTest::newRow("wma 22.05k stereo") << OutputCodec::Wma << 22050 << 2 << 1024;
}

// WAV -> codec -> WAV keeps rate, channels, length (to a codec frame), pitch, level and the
// place of the audio.
void TestMediaCore::roundTrip() {
    QFETCH(OutputCodec, codec);
    QFETCH(int, rate);
    QFETCH(int, channels);
    QFETCH(int, frameSize);
    const QString wav = path(QStringLiteral("rt-%1-%2-%3").arg(int(codec)).arg(rate).arg(channels));
    SineSource sine({rate, channels}, 3.0, 440.0, 0.5, 0.5, 2.5); // audible from 0.5 s to 2.5 s
    writeSource(sine, wav, {OutputCodec::Wav, 0, {}});
    convertFile(wav, wav + ".enc", {codec, 128000, {}});
    convertFile(wav + ".enc", wav + ".back", {OutputCodec::Wav, 0, {}});

    const MediaFacts facts = probeMediaFile(wav + ".enc");
    const bool wma = codec == OutputCodec::Wma;
    QCOMPARE(facts.codecName, wma ? "wmav2" : "mp3");
    QCOMPARE(facts.formatName, wma ? "asf" : "mp3");
    QCOMPARE(facts.bitRate, 128000);
    QCOMPARE_LT(std::abs(facts.duration - 3.0), 0.1);

    const DecodedAudio original = decodeFile(wav);
    const DecodedAudio result = decodeFile(wav + ".back");
    QCOMPARE(result.format, PcmFormat({rate, channels}));
    QCOMPARE_LE(std::abs(result.frames() - original.frames()), frameSize);
    for (int c = 0; c < channels; ++c) {
        const double wanted = SineSource::channelFrequency(440.0, c);
        QCOMPARE_LT(std::abs(result.frequency(c) - wanted), wanted * 0.005);
        QCOMPARE_LT(std::abs(20.0 * std::log10(result.rms(c) / original.rms(c))), 1.5); // dB
        // Where the audio starts and ends: encoder delay and padding are accounted for.
        QCOMPARE_LT(std::abs(result.edges(c).first - original.edges(c).first), 64);
        QCOMPARE_LT(std::abs(result.edges(c).second - original.edges(c).second), 64);
    }
}

// Encoding on threads of its own (for WMA on two at once) gives the very bytes of one encoder
// on the writing thread.
void TestMediaCore::threadsDoNotChangeABit() {
    SineSource tone(kStereo44, 7.3, 523.0);
    writeSource(tone, path("par.wav"), {OutputCodec::Wav, 0, {}});
    for (const OutputCodec codec :
         {OutputCodec::Mp3Lame, OutputCodec::Mp3Shine, OutputCodec::Wma}) {
        EncodedSink::Options options{codec, 128000, {}};
        convertFile(path("par.wav"), path("par-threads"), options);
        options.parallel = false;
        convertFile(path("par.wav"), path("par-one"), options);
        QVERIFY(!fileState(path("par-one")).first.isEmpty());
        QCOMPARE(fileState(path("par-threads")).first, fileState(path("par-one")).first);
    }
}

// MP3 rates come from the format's table, halfway taking the higher one; shine resamples what
// it cannot encode to the nearest rate it can.
void TestMediaCore::bitRatesAndShineRates() {
    QCOMPARE(EncodedSink(path("b.mp3"), {OutputCodec::Mp3Lame, 288000, {}}, kStereo44).bitRate(),
             320000);
    // Mono at 320 kbit/s is beyond what this shine writes correctly at 44.1 kHz.
    QCOMPARE(EncodedSink(path("m.mp3"), {OutputCodec::Mp3Shine, 320000, {}}, {44100, 1}).bitRate(),
             256000);
    SineSource sine({32000, 1}, 2.0);
    writeSource(sine, path("shine.mp3"), {OutputCodec::Mp3Shine, 100000, {}});
    QCOMPARE(probeMediaFile(path("shine.mp3")).bitRate, 96000);
    const DecodedAudio decoded = decodeFile(path("shine.mp3"));
    QCOMPARE(decoded.format, PcmFormat({44100, 1}));
    QCOMPARE_LE(std::abs(decoded.frames() - 88200), 1152);
    QCOMPARE_LT(std::abs(decoded.frequency(0) - 440.0), 2.0);
}

void TestMediaCore::convertsToCdAudio() {
    writeSine(path("mono48.wav"), OutputCodec::Wav, {48000, 1}, 2.0);
    FileSource cd(path("mono48.wav"), PcmFormat::cdAudio());
    QCOMPARE(cd.format(), PcmFormat::cdAudio());
    QCOMPARE(cd.expectedFrames(), 88200);
    const DecodedAudio audio = readAll(cd);
    QCOMPARE_LE(std::abs(audio.frames() - 88200), 2);
    QCOMPARE_LT(std::abs(audio.frequency(0) - 440.0), 1.0);
    QCOMPARE_LT(std::abs(audio.rms(0) - audio.rms(1)), 1e-6); // mono spread over both sides
}

// The output lives in a temporary file beside the target until commit(): without a commit, or
// when the rename fails, nothing is left and an older file stays as it was.
void TestMediaCore::sinkLeavesNothingBehind() {
    QTemporaryDir out;
    const QString target = out.filePath("kept.mp3");
    writeBytes(target, "older file");
    const auto before = fileState(target);
    SineSource sine(kStereo44, 2.0);
    std::vector<qint16> block(88200 * 2);
    sine.read(block.data(), 88200);
    {
        const auto sink = mp3Sink(target);
        sink->write(block.data(), 88200);
        QCOMPARE(QFileInfo(sink->temporaryPath()).absolutePath(), out.path());
        QVERIFY(QFileInfo::exists(sink->temporaryPath()));
    }
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});
    QCOMPARE(fileState(target), before);

    // The folder vanishes while the file is written.
    QVERIFY(QDir(out.path()).mkdir("gone"));
    const QString gone = out.filePath("gone/late.mp3");
    const QString message = errorOf([&] {
        const auto sink = mp3Sink(gone);
        sink->write(block.data(), 88200);
        QVERIFY(QDir(out.filePath("gone")).removeRecursively());
        sink->commit();
    });
    QCOMPARE(message, "Cannot write " + gone + ": No such file or directory");
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});

    // Commit replaces the older file only now.
    writeSine(target, OutputCodec::Mp3Lame, kStereo44, 1.0);
    QCOMPARE(probeMediaFile(target).codecName, QStringLiteral("mp3"));
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});
}

// Progress rises to exactly the frames expected. Handlers run on the worker, after the file is
// in place or its temporary file is gone; a cancelled job says nothing and leaves nothing.
void TestMediaCore::jobReportsFromItsWorker() {
    QTemporaryDir out;
    std::vector<std::pair<qint64, qint64>> progress;
    std::thread::id handlerThread;
    QStringList atFinish, failures, atFailures;
    const auto failed = [&](const QString& message) {
        failures << message;
        atFailures << folderEntries(out.path());
    };
    TranscodeJob job;
    job.start(std::make_unique<SineSource>(kStereo44, 5.0), mp3Sink(out.filePath("job.mp3")),
              {[&](qint64 done, qint64 expected) { progress.emplace_back(done, expected); },
               [&] {
                   handlerThread = std::this_thread::get_id();
                   atFinish = folderEntries(out.path());
               },
               failed});
    job.wait();
    QVERIFY(progress.size() > 3);
    QVERIFY(std::adjacent_find(progress.begin(), progress.end(), [](auto a, auto b) {
                return b.first <= a.first;
            }) == progress.end());
    QCOMPARE(progress.back(), std::make_pair(qint64(220500), qint64(220500)));
    QVERIFY(handlerThread != std::thread::id() && handlerThread != std::this_thread::get_id());
    QCOMPARE(atFinish, QStringList{"job.mp3"});

    // A source that fails, and one whose format differs from the sink's: nothing converts
    // silently in between.
    job.start(std::make_unique<FailingSource>(), mp3Sink(out.filePath("bad.mp3")),
              {{}, {}, failed});
    job.wait();
    job.start(std::make_unique<SineSource>(PcmFormat{44100, 1}, 1.0),
              mp3Sink(out.filePath("mono.mp3")), {{}, {}, failed});
    job.wait();
    QCOMPARE(failures.size(), 2);
    QCOMPARE(failures[0], kDiscError);
    QVERIFY2(failures[1].contains("1 channel(s)"), qPrintable(failures[1]));
    QCOMPARE(atFailures, QStringList({"job.mp3", "job.mp3"}));

    bool spoke = false;
    job.start(std::make_unique<SineSource>(kStereo44, 600.0), mp3Sink(out.filePath("long.mp3")),
              {{}, [&] { spoke = true; }, [&](const QString&) { spoke = true; }});
    QVERIFY(job.isRunning());
    job.cancel();
    QVERIFY(!job.isRunning() && !spoke);
    QCOMPARE(folderEntries(out.path()), QStringList{"job.mp3"});
}

QTEST_GUILESS_MAIN(TestMediaCore)
#include "test_media_core.moc"
