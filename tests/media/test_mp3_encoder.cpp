// MP3 through libmp3lame on every core: every file the encoder makes here passes the validator
// (frames, reservoir, Info frame, ffmpeg and mpg123 to the sample), sounds as good as `lame` at
// the same settings, and one encoder gives exactly `lame`'s frames.

#include "backends/media/EncodedSink.h"
#include "backends/media/LameEncoder.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/media/Mp3Validator.h"

#include <QTemporaryDir>
#include <QTest>
#include <random>
#include <thread>

namespace {

enum class Signal { Music, Transients, NearSilence };

// Test audio, made once and kept whole: what the encoder gets and what its output is measured
// against.
DecodedAudio makeSignal(Signal kind, PcmFormat format, double seconds) {
    DecodedAudio audio{format, {}};
    const qint64 frames = std::llround(seconds * format.sampleRate);
    audio.samples.resize(size_t(frames * format.channels));
    std::mt19937 random(7);
    std::uniform_real_distribution<double> white(-1.0, 1.0);
    double pink[2] = {0, 0};
    for (qint64 i = 0; i < frames; ++i) {
        const double t = double(i) / format.sampleRate;
        for (int c = 0; c < format.channels; ++c) {
            double x = 0;
            const double noise = white(random);
            pink[c % 2] = 0.97 * pink[c % 2] + 0.03 * noise;
            if (kind == Signal::Music) {
                // A chord whose root moves every two seconds, over soft coloured noise.
                const double root = 110.0 * (1.0 + 0.125 * (int(t / 2.0) % 4)) * (1 + 0.002 * c);
                x = 0.25 * std::sin(2 * std::numbers::pi * root * t) +
                    0.15 * std::sin(3 * std::numbers::pi * root * t) +
                    0.1 * std::sin(2 * std::numbers::pi * 2.52 * root * t) + 1.5 * pink[c % 2];
            } else if (kind == Signal::Transients) {
                // Noise bursts and falling kicks, each channel on its own beat.
                const double beat = std::fmod(t + 0.1 * c, 0.23 + 0.08 * c);
                const double kick = std::fmod(t, 0.5);
                x = 0.6 * std::exp(-30 * beat) * noise +
                    0.35 * std::exp(-8 * kick) *
                        std::sin(2 * std::numbers::pi * t * (60 + 200 * std::exp(-20 * kick)));
            } else {
                // About -60 dBFS: a soft tone over a hiss of a few steps.
                x = 0.001 * std::sin(2 * std::numbers::pi * 1000 * t) + 0.00006 * noise;
            }
            audio.samples[size_t(i * format.channels + c)] = qint16(std::lround(32767 * x));
        }
    }
    return audio;
}

class VectorSource final : public PcmSource {
public:
    explicit VectorSource(const DecodedAudio& audio) : m_audio(audio) {}
    PcmFormat format() const override { return m_audio.format; }
    qint64 expectedFrames() const override { return m_audio.frames(); }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        const qint64 n = std::min(maxFrames, m_audio.frames() - m_at);
        std::copy_n(m_audio.samples.begin() + qsizetype(m_at * m_audio.format.channels),
                    n * m_audio.format.channels, buffer);
        m_at += n;
        return n;
    }

private:
    const DecodedAudio& m_audio;
    qint64 m_at = 0;
};

// Frames straight from the encoder, with no header: what decoders make of such a stream is
// `startPadding` samples of silence, then the audio.
QByteArray encodeRaw(const DecodedAudio& audio, LameEncoder::Settings settings,
                     int* encodedAgain = nullptr) {
    settings.sampleRate = audio.format.sampleRate;
    settings.channels = audio.format.channels;
    LameEncoder encoder(settings);
    QByteArray out;
    std::vector<uint8_t> frame;
    const auto takeAll = [&](bool wait) {
        while (encoder.takeFrame(frame, wait))
            out.append(reinterpret_cast<const char*>(frame.data()), qsizetype(frame.size()));
    };
    for (qint64 at = 0; at < audio.frames(); at += 5000) {
        const qint64 n = std::min<qint64>(5000, audio.frames() - at);
        encoder.write(audio.samples.data() + at * audio.format.channels, n);
        takeAll(false);
    }
    encoder.finish();
    takeAll(true);
    if (encodedAgain)
        *encodedAgain = encoder.blocksEncodedAgain();
    return out;
}

QString settingName(int kbps, int vbr) {
    return vbr >= 0 ? QStringLiteral("V%1").arg(vbr) : QStringLiteral("%1k").arg(kbps);
}

} // namespace

class TestMp3Encoder : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString& name) const { return m_dir.filePath(name); }

    // The same audio through `lame` itself: its SNR is the one to match.
    double lameSnr(const DecodedAudio& audio, const QString& name, int kbps, int vbr) {
        const QString wav = path(name + ".wav"), mp3 = path(name + ".lame.mp3");
        VectorSource source(audio);
        writeSource(source, wav, {OutputCodec::Wav, 0, {}});
        // --resample: lame would go down to a lower sample rate at low bit rates; ours keeps it.
        QStringList rate = vbr >= 0 ? QStringList{"-V", QString::number(vbr)}
                                    : QStringList{"-b", QString::number(kbps)};
        rate << "--resample" << QString::number(audio.format.sampleRate / 1000.0);
        const mp3check::Run r = mp3check::run(
            QStringLiteral("lame"), QStringList{"--quiet"} + rate + QStringList{wav, mp3});
        if (!r.ok)
            qFatal("lame failed: %s", qPrintable(r.said));
        QString problem;
        mp3check::Pcm decoded = mp3check::ffmpegDecode(mp3, audio.format.channels, problem);
        // At 32 kbit/s lame's frames are too small for its LAME tag: no gapless information,
        // so its delay is taken off here.
        if (decoded.frames() > audio.frames() + 1105) {
            const auto delay = qsizetype(1105 * audio.format.channels);
            decoded.samples.erase(decoded.samples.begin(), decoded.samples.begin() + delay);
            decoded.samples.resize(audio.samples.size());
        } else if (!problem.isEmpty() || decoded.frames() != audio.frames()) {
            qFatal("lame's own file does not decode to its length: %s", qPrintable(problem));
        }
        return mp3check::snr(audio.samples, decoded.samples);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void validatesEveryFile_data();
    void validatesEveryFile();
    void joinsBlocksAtEverySeam_data();
    void joinsBlocksAtEverySeam();
    void oneEncoderIsLameItself();
    void sameAudioSameBytes();
};

void TestMp3Encoder::validatesEveryFile_data() {
    QTest::addColumn<Signal>("signal");
    QTest::addColumn<int>("kbps");
    QTest::addColumn<int>("vbr");
    const std::pair<const char*, Signal> inputs[] = {{"music", Signal::Music},
                                                     {"transients", Signal::Transients},
                                                     {"near silence", Signal::NearSilence}};
    for (const auto& [name, signal] : inputs) {
        for (const auto& [kbps, vbr] : {std::pair{32, -1}, {128, -1}, {320, -1}, {0, 2}})
            QTest::addRow("%s %s", name, qPrintable(settingName(kbps, vbr)))
                << signal << kbps << vbr;
    }
}

// The product's path: a file written by the media core, on every core of this machine; 14 s
// are three blocks.
void TestMp3Encoder::validatesEveryFile() {
    QFETCH(Signal, signal);
    QFETCH(int, kbps);
    QFETCH(int, vbr);
    const DecodedAudio audio = makeSignal(signal, {44100, 2}, 14.0);
    const QString name = QStringLiteral("f%1-%2").arg(int(signal)).arg(settingName(kbps, vbr));
    const QString mp3 = path(name + ".mp3");
    EncodedSink::Options options{OutputCodec::Mp3Lame, kbps * 1000LL, {}};
    options.vbrQuality = vbr;
    VectorSource source(audio);
    EncodedSink sink(mp3, options, audio.format);
    copyPcm(source, sink);

    mp3check::Facts facts;
    mp3check::Pcm decoded;
    const QString why = mp3check::check(mp3, audio.frames(), 2, facts, decoded);
    QVERIFY2(why.isEmpty(), qPrintable(why));
    QCOMPARE(facts.variable, vbr >= 0);
    QCOMPARE(facts.delay, 576);
    const double ours = mp3check::snr(audio.samples, decoded.samples);
    const double lames = lameSnr(audio, name, kbps, vbr);
    QVERIFY2(
        ours >= lames - 0.2,
        qPrintable(
            QStringLiteral("SNR %1 dB, lame's %2 dB").arg(ours, 0, 'f', 3).arg(lames, 0, 'f', 3)));
}

void TestMp3Encoder::joinsBlocksAtEverySeam_data() {
    QTest::addColumn<Signal>("signal");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("kbps");
    QTest::addColumn<int>("vbr");
    // Whether a block had to be encoded again (known of this audio: the row covers that path).
    QTest::addColumn<bool>("encodedAgain");
    QTest::newRow("transients 128k") << Signal::Transients << 44100 << 2 << 128 << -1 << false;
    QTest::newRow("transients 32k") << Signal::Transients << 44100 << 2 << 32 << -1 << false;
    QTest::newRow("transients V2") << Signal::Transients << 44100 << 2 << 0 << 2 << true;
    QTest::newRow("music 320k") << Signal::Music << 44100 << 2 << 320 << -1 << false;
    QTest::newRow("music 22.05k mono 64k") << Signal::Music << 22050 << 1 << 64 << -1 << false;
    QTest::newRow("near silence 48k 128k")
        << Signal::NearSilence << 48000 << 2 << 128 << -1 << false;
}

// Blocks of 16 frames with a short warm-up on three encoders: a seam every 0.4 s, and short
// warm-ups leave encoders with reservoirs that do not match, so seams move and now and then a
// block is encoded again. Every frame still fits, and the stream is as long as one encoder's.
void TestMp3Encoder::joinsBlocksAtEverySeam() {
    QFETCH(Signal, signal);
    QFETCH(int, rate);
    QFETCH(int, channels);
    QFETCH(int, kbps);
    QFETCH(int, vbr);
    QFETCH(bool, encodedAgain);
    const DecodedAudio audio = makeSignal(signal, {rate, channels}, 10.0);
    LameEncoder::Settings settings;
    settings.bitRateKbps = kbps;
    settings.vbrQuality = vbr;
    const QByteArray plain = encodeRaw(audio, settings);
    settings.workers = 3;
    settings.blockFrames = 16;
    settings.warmUpFrames = 4;
    int again = 0;
    const QByteArray joined = encodeRaw(audio, settings, &again);

    mp3check::Facts facts, plainFacts;
    const QString why = mp3check::checkFrames(joined, facts);
    QVERIFY2(why.isEmpty(), qPrintable(why));
    QVERIFY(mp3check::checkFrames(plain, plainFacts).isEmpty());
    QCOMPARE(facts.frames, plainFacts.frames);
    QCOMPARE(facts.sampleRate, rate);
    QCOMPARE(facts.channels, channels);
    if (encodedAgain)
        QCOMPARE_GT(again, 0);

    // Both decoded from raw frames: the same length, and about the same sound.
    const QString file = path(QStringLiteral("seams-%1.mp3").arg(QTest::currentDataTag()));
    writeBytes(file, joined);
    writeBytes(file + ".plain", plain);
    QString problem;
    const auto decode = [&](const QString& p) {
        const mp3check::Run r = mp3check::run(
            "ffmpeg", {"-nostdin", "-v", "error", "-f", "mp3", "-i", p, "-f", "s16le", "-"});
        if (!r.ok || !r.said.isEmpty())
            problem = r.said;
        DecodedAudio d{audio.format, {}};
        const qsizetype skip = qsizetype(1105) * channels * 2;
        d.samples.resize(size_t(std::max<qsizetype>(0, r.out.size() - skip) / 2));
        std::memcpy(d.samples.data(), r.out.constData() + skip, d.samples.size() * 2);
        return d;
    };
    const DecodedAudio ours = decode(file), lames = decode(file + ".plain");
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QCOMPARE(ours.frames(), lames.frames());
    QCOMPARE_GE(ours.frames(), audio.frames());
    // Warm-ups this short cost a little around each seam; a broken join costs everything.
    QCOMPARE_GT(mp3check::snr(audio.samples, ours.samples),
                mp3check::snr(audio.samples, lames.samples) - 1.0);
}

// One worker is LAME's own stream: byte for byte `lame`'s frames after its Info frame.
void TestMp3Encoder::oneEncoderIsLameItself() {
    const DecodedAudio audio = makeSignal(Signal::Music, {44100, 2}, 4.0);
    const QByteArray ours = encodeRaw(audio, {});
    lameSnr(audio, QStringLiteral("itself"), 128, -1);
    QFile file(path("itself.lame.mp3"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray lames = file.readAll();
    mp3check::Facts facts;
    QVERIFY(mp3check::checkFrames(lames, facts).isEmpty());
    QCOMPARE(facts.tag, QByteArray("Info"));
    // All but lame's Info frame.
    QCOMPARE_GT(ours.size(), facts.audioBytes - 1441);
    QVERIFY(lames.endsWith(ours));
}

// Blocks go to the encoders in a fixed order: the same audio gives the same file.
void TestMp3Encoder::sameAudioSameBytes() {
    const DecodedAudio audio = makeSignal(Signal::Transients, {44100, 2}, 8.0);
    LameEncoder::Settings settings;
    settings.workers = 2;
    settings.blockFrames = 32;
    const QByteArray first = encodeRaw(audio, settings);
    QCOMPARE(encodeRaw(audio, settings), first);
    settings.workers = 1;
    QVERIFY(encodeRaw(audio, settings) != first); // blocks, not one stream
}

QTEST_GUILESS_MAIN(TestMp3Encoder)
#include "test_mp3_encoder.moc"
