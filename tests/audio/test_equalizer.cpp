// The file player's "EQ Filter" on real libavfilter: what the player's source produces from a
// file of three tones, against the curve the equaliser window draws; gains changed while it
// plays; and the graph's band interface on the test audio server.
#include "backends/audio/EqualizerSource.h"
#include "backends/audio/FilterGraph.h"
#include "convert/EqualizerResponse.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/media/MediaTestSupport.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <complex>

namespace {

constexpr double kLow = 250, kBand = 4000, kBeside = 5657; // Hz; kBeside is half an octave up

// Three tones of equal level on both channels.
class ToneSource final : public PcmSource {
public:
    explicit ToneSource(double seconds) : m_total(qint64(seconds * 44100)) {}
    PcmFormat format() const override { return PcmFormat::cdAudio(); }
    qint64 expectedFrames() const override { return m_total; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        const qint64 n = std::min(maxFrames, m_total - m_done);
        for (qint64 i = 0; i < n; ++i) {
            const double t = double(m_done + i) / 44100;
            double x = 0;
            for (double hz : {kLow, kBand, kBeside})
                x += 0.2 * std::sin(2 * M_PI * hz * t);
            buffer[2 * i] = buffer[2 * i + 1] = qint16(std::lround(x * 32767));
        }
        m_done += n;
        return n;
    }

private:
    qint64 m_total;
    qint64 m_done = 0;
};

// The level in dB (full scale 0) of one frequency in the left channel of frames [from, to).
double levelDb(const DecodedAudio& audio, double hz, qint64 from, qint64 to) {
    std::complex<double> sum;
    for (qint64 i = from; i < to; ++i)
        sum += audio.at(i, 0) * std::polar(1.0, -2 * M_PI * hz * double(i) / 44100);
    return 20 * std::log10(2 * std::abs(sum) / double(to - from));
}

} // namespace

class TestEqualizer : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_tones; // 3 s

private Q_SLOTS:
    void initTestCase() {
        m_tones = m_dir.filePath("tones.wav");
        ToneSource tones(3);
        writeSource(tones, m_tones, {OutputCodec::Wav, 0, {}});
    }

    void aBandCutsItsToneAsTheCurveSays() {
        FileSource plain(m_tones);
        const DecodedAudio before = readAll(plain);
        auto gains = std::make_shared<EqualizerGains>();
        gains->set(8, -12); // 4 kHz
        EqualizerSource filtered(std::make_unique<FileSource>(m_tones), gains);
        QCOMPARE(filtered.format(), PcmFormat::cdAudio());
        const DecodedAudio after = readAll(filtered, 1000);
        QCOMPARE(after.frames(), before.frames()); // nothing lost, nothing added

        // Measured away from the start, where the filters settle.
        const qint64 from = 22050, to = 22050 + 44100;
        const EqualizerResponse::Gains curve{{0, 0, 0, 0, 0, 0, 0, 0, -12, 0, 0}};
        for (double hz : {kLow, kBand, kBeside}) {
            const double change = levelDb(after, hz, from, to) - levelDb(before, hz, from, to);
            const double drawn = EqualizerResponse::at(curve, hz, 44100);
            qInfo("%.0f Hz: %.2f dB measured, %.2f dB on the curve", hz, change, drawn);
            QVERIFY2(std::abs(change - drawn) < 0.2, qPrintable(QString::number(change)));
        }
        QVERIFY(std::abs(levelDb(after, kBand, from, to) - levelDb(before, kBand, from, to) + 12) <
                1);
        QVERIFY(std::abs(levelDb(after, kLow, from, to) - levelDb(before, kLow, from, to)) < 0.1);
    }

    void aGainChangedWhileReadingTakesEffectAtTheNextRead() {
        auto gains = std::make_shared<EqualizerGains>();
        EqualizerSource source(std::make_unique<FileSource>(m_tones), gains);
        const DecodedAudio first = readAll(source, 4096, 44100);
        gains->set(8, -12);
        const DecodedAudio second = readAll(source, 4096, 44100);
        QCOMPARE(second.frames(), 44100);
        const double flat = levelDb(first, kBand, 11025, 44100);
        const double cut = levelDb(second, kBand, 4410, 44100);
        QVERIFY2(std::abs(cut - flat + 12) < 1, qPrintable(QString::number(cut - flat)));
        // A seek keeps the gains.
        source.seekable()->seek(44100);
        const double again = levelDb(readAll(source, 4096, 22050), kBand, 4410, 22050);
        QVERIFY(std::abs(again - cut) < 0.5);
        // All flat again: the tone comes back.
        gains->reset();
        const double back = levelDb(readAll(source, 4096, 22050), kBand, 4410, 22050);
        QVERIFY(std::abs(back - flat) < 0.5);
    }

    void theGraphStartsFlatAndTakesGainsWhilePlaying() {
        FilterGraph graph;
        QSignalSpy changed(&graph, &FilgraphManager::EqualizerChanged);
        graph.setBandGain(3, -6);
        QCOMPARE(graph.BandGain(3), -6.0);
        QVERIFY_THROWS_EXCEPTION(IndexError, graph.setBandGain(11, 1));
        QVERIFY_THROWS_EXCEPTION(IndexError, graph.BandGain(-1));
        QVERIFY_THROWS_EXCEPTION(Error, graph.setCurrentPosition(1));

        // A new file starts with every band at zero.
        graph.RenderFile(m_tones);
        QCOMPARE(graph.BandGain(3), 0.0);
        QCOMPARE(changed.size(), 2);
        QVERIFY(graph.SampleRate() > 0);
        QVERIFY(std::abs(graph.Duration() - 3.0) < 0.05);
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > 0.3, 5000);
        // Gains and a move while playing: playing goes on from there.
        graph.setBandGain(8, -12);
        graph.setCurrentPosition(2.0);
        QCOMPARE(graph.BandGain(8), -12.0);
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > 2.2, 5000);
        QCOMPARE(graph.GetState(), FilgraphManager::State::Running);
        QSignalSpy complete(&graph, &FilgraphManager::Complete);
        QVERIFY(complete.wait(5000));
        QCOMPARE(graph.GetState(), FilgraphManager::State::Stopped);
        QCOMPARE(graph.BandGain(8), -12.0); // kept for the next Run of the same file
    }
};

MELVANE_AUDIO_TEST_MAIN(TestEqualizer, QApplication)
#include "test_equalizer.moc"
