// The media core's sources and sinks on real FFmpeg, on media synthesised through the core.

#include "backends/media/FanOutSink.h"
#include "backends/media/MediaProbe.h"
#include "backends/media/SectorFitSource.h"
#include "tests/media/MediaTestSupport.h"

#include <QTemporaryDir>
#include <QTest>
#include <sys/resource.h>

namespace {

constexpr PcmFormat kStereo44{44100, 2};

// A stereo WAV header claiming the given rate, over 8000 bytes of silence.
QByteArray wavAtRate(quint32 rate) {
    return wavHeader(rate, 2, 16, 8000) + QByteArray(8000, '\0');
}

} // namespace

class TestMediaCore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void wavExactSeekAndCdAudio();
    void roundTrip_data();
    void roundTrip();
    void encoderSettings();
    void inputs_data();
    void inputs();
    void sectorFitAndFanOut();

private:
    QTemporaryDir m_dir;
    QString path(const QString& name) const { return m_dir.filePath(name); }
};

// WAV reads back bit for bit, in odd pieces that cross the decoder's packets; a seek lands on
// the very frame asked for; a mono 48 kHz file comes out as CD audio.
void TestMediaCore::wavExactSeekAndCdAudio() {
    writeSine(path("exact.wav"), OutputCodec::Wav, kStereo44, 3.0);
    QCOMPARE(probeMediaFile(path("exact.wav")).duration, 3.0);
    FileSource file(path("exact.wav"));
    QCOMPARE(file.codecName(), QStringLiteral("pcm_s16le"));
    QCOMPARE(file.expectedFrames(), 132300);
    SineSource reference(kStereo44, 3.0);
    QVERIFY(readAll(file, 4999).samples == readAll(reference).samples);

    FileSource seeking(path("exact.wav"));
    std::vector<qint16> block(1000 * 2);
    QCOMPARE(seeking.read(block.data(), 1000), 1000);
    QCOMPARE(seeking.seekable(), static_cast<Seekable*>(&seeking));
    seeking.seek(66150);
    const DecodedAudio rest = readAll(seeking);
    const DecodedAudio whole = decodeFile(path("exact.wav"));
    QCOMPARE(rest.frames(), 66150);
    QVERIFY(
        std::equal(rest.samples.begin(), rest.samples.end(), whole.samples.begin() + 66150 * 2));
    // A compressed file lands within a frame, and reading on to the end is not an error.
    convertFile(path("exact.wav"), path("seek.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
    FileSource mp3(path("seek.mp3"));
    mp3.seek(88200);
    QCOMPARE_LE(std::abs(readAll(mp3).frames() - 44100), 1152);

    writeSine(path("mono48.wav"), OutputCodec::Wav, {48000, 1}, 2.0);
    FileSource cd(path("mono48.wav"), PcmFormat::cdAudio());
    QCOMPARE(cd.expectedFrames(), 88200);
    const DecodedAudio audio = readAll(cd);
    QCOMPARE(audio.format, PcmFormat::cdAudio());
    QCOMPARE_LE(std::abs(audio.frames() - 88200), 2);
    QCOMPARE_LT(std::abs(audio.frequency(0) - 440.0), 1.0);
    QCOMPARE_LT(std::abs(audio.rms(0) - audio.rms(1)), 1e-6); // mono spread over both sides
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
    // Low rates have small frames: the length check must scale with them.
    QTest::newRow("wma 8k stereo") << OutputCodec::Wma << 8000 << 2 << 512;
    QTest::newRow("wma 7k mono") << OutputCodec::Wma << 7000 << 1 << 512;
}

// WAV -> codec -> WAV keeps rate, channels, length (to a codec frame), pitch, level and the
// place of the audio.
void TestMediaCore::roundTrip() {
    QFETCH(OutputCodec, codec);
    QFETCH(int, rate);
    QFETCH(int, channels);
    QFETCH(int, frameSize);
    const QString wav = path(QStringLiteral("rt-%1-%2-%3").arg(int(codec)).arg(rate).arg(channels));
    const double tone = rate < 10000 ? 220.0 : 440.0;
    SineSource sine({rate, channels}, 3.0, tone, 0.5, 0.5, 2.5); // audible from 0.5 s to 2.5 s
    writeSource(sine, wav, {OutputCodec::Wav, 0, {}});
    const qint64 bitRate = rate < 10000 ? 32000 : 128000;
    convertFile(wav, wav + ".enc", {codec, bitRate, {}});
    convertFile(wav + ".enc", wav + ".back", {OutputCodec::Wav, 0, {}});

    const MediaFacts facts = probeMediaFile(wav + ".enc");
    QCOMPARE(facts.codecName, codec == OutputCodec::Wma ? "wmav2" : "mp3");
    QCOMPARE(facts.bitRate, bitRate);
    QCOMPARE_LT(std::abs(facts.duration - 3.0), 0.15);

    const DecodedAudio original = decodeFile(wav);
    const DecodedAudio result = decodeFile(wav + ".back");
    QCOMPARE(result.format, PcmFormat({rate, channels}));
    QCOMPARE_LE(std::abs(result.frames() - original.frames()), frameSize);
    for (int c = 0; c < channels; ++c) {
        const double wanted = SineSource::channelFrequency(tone, c);
        QCOMPARE_LT(std::abs(result.frequency(c) - wanted), wanted * 0.005);
        QCOMPARE_LT(std::abs(20.0 * std::log10(result.rms(c) / original.rms(c))), 1.5); // dB
        // Where the audio starts and ends: encoder delay and padding are accounted for.
        QCOMPARE_LT(std::abs(result.edges(c).first - original.edges(c).first), 64);
        QCOMPARE_LT(std::abs(result.edges(c).second - original.edges(c).second), 64);
    }
}

// WMA on two threads gives the very bytes of one encoder; MP3 rates come from the format's
// table, halfway taking the higher one; shine resamples what it cannot encode.
void TestMediaCore::encoderSettings() {
    SineSource tone(kStereo44, 7.3, 523.0);
    writeSource(tone, path("par.wav"), {OutputCodec::Wav, 0, {}});
    EncodedSink::Options options{OutputCodec::Wma, 128000, {}};
    convertFile(path("par.wav"), path("par-threads"), options);
    options.cores = 1;
    convertFile(path("par.wav"), path("par-one"), options);
    QVERIFY(!fileState(path("par-one")).first.isEmpty());
    QCOMPARE(fileState(path("par-threads")).first, fileState(path("par-one")).first);

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
    // Every sample, the last the resampler held back too: the gapless information is exact.
    QCOMPARE(decoded.frames(), 88200);
}

void TestMediaCore::inputs_data() {
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("error"); // what FileSource raises after "Cannot read <input>: "
    // A damaged header's rate took 17 s and 2 GB of resampling tables before failing.
    QTest::newRow("1.4 GHz") << "fast.wav"
                             << "its header gives 1398516785 Hz as the sample rate";
    QTest::newRow("768 kHz") << "dxd.wav"
                             << "";
    // A LIST chunk claiming 3 GB: the demuxer used to zero 1.6 GB before it gave up.
    QTest::newRow("3 GB LIST chunk") << "list.wav"
                                     << "it is not an audio file FFmpeg can decode";
    // 64 channels without speaker positions still mix down to the encoders' stereo.
    QTest::newRow("64 channels") << "ch64.wav"
                                 << "";
}

// Whatever the input, FileSource answers at once: broken headers with a reason, awkward but
// valid files by decoding them. (Special, missing and truncated files, folders:
// test_media_codecs::refusedAtOnce, test_cli::failedFilesAreNamedAndOthersConverted.)
void TestMediaCore::inputs() {
    QFETCH(QString, input);
    QFETCH(QString, error);
    if (!QFileInfo::exists(path("fast.wav"))) {
        writeBytes(path("fast.wav"), wavAtRate(1398516785));
        writeBytes(path("dxd.wav"), wavAtRate(768000));
        writeBytes(path("list.wav"),
                   QByteArray::fromBase64("UklGRi5FAABXQVZFZm10IBAAAAABAAIARKwAABCxAgAEABAATElTVB"
                                          "oAALZJTkZPSVNGVAAAAACjAAAAAAAAAAAAAAAAAAAAAAAOAAAATGF2"
                                          "ZjU4EgA3LjEwMABkYXRh6EQASfZJ"));
        writeSine(path("ch64.wav"), OutputCodec::Wav, {44100, 64}, 0.5);
    }
    const QString file = path(input);
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const QString message = errorOf([&] {
        FileSource source(file);
        writeSource(source, path("out.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
    });
    // However damaged the header, the file costs no more memory than audio does.
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    QCOMPARE_LT(after.ru_maxrss - before.ru_maxrss, 256 * 1024);
    if (!error.isEmpty())
        QVERIFY2(message.startsWith("Cannot read " + file + ": " + error), qPrintable(message));
    else
        QVERIFY2(message.isEmpty() && decodeFile(path("out.mp3")).format.channels == 2,
                 qPrintable(message));
}

// A burner's track: exactly the announced sectors, cut or padded with silence. A rip's two
// outputs from one read, both in place only after the commit.
void TestMediaCore::sectorFitAndFanOut() {
    for (const qint64 sectors : {qint64(100), qint64(160)}) { // 1.33 s and 2.13 s of a 2 s file
        auto file = std::make_unique<FileSource>(path("mono48.wav"), PcmFormat::cdAudio());
        QCOMPARE(cdSectorsFor(file->expectedFrames()), 150);
        SectorFitSource track(std::move(file), sectors);
        QCOMPARE(track.expectedFrames(), sectors * kCdFramesPerSector);
        const DecodedAudio audio = readAll(track, 1000);
        QCOMPARE(audio.frames(), sectors * kCdFramesPerSector);
        QCOMPARE(track.padded(), sectors * kCdFramesPerSector - 88200);
        QCOMPARE(audio.at(audio.frames() - 1, 0) == 0.0, sectors > 150);
    }
    QVERIFY(errorOf([] {
                SectorFitSource(std::make_unique<SineSource>(PcmFormat{48000, 2}, 1.0), 1);
            }).contains("44100 Hz stereo"));

    QTemporaryDir out;
    std::vector<std::unique_ptr<PcmSink>> sinks;
    sinks.push_back(
        std::make_unique<EncodedSink>(out.filePath("t.wav"), EncodedSink::Options{}, kStereo44));
    sinks.push_back(std::make_unique<EncodedSink>(
        out.filePath("t.mp3"), EncodedSink::Options{OutputCodec::Mp3Lame, 128000, {}}, kStereo44));
    FanOutSink both(std::move(sinks));
    SineSource sine(kStereo44, 2.0);
    std::vector<qint16> buffer(88200 * 2);
    both.write(buffer.data(), sine.read(buffer.data(), 88200));
    both.finish();
    QVERIFY(folderEntries(out.path()).isEmpty());
    both.commit();
    QCOMPARE(folderEntries(out.path()), QStringList({"t.mp3", "t.wav"}));
    SineSource again(kStereo44, 2.0);
    QCOMPARE(decodeFile(out.filePath("t.wav")).samples, readAll(again).samples);
}

QTEST_GUILESS_MAIN(TestMediaCore)
#include "test_media_core.moc"
