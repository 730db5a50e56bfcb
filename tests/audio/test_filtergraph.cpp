// The file player's graph on the test audio server: a file the test writes is rendered,
// played, paused, resumed and stopped.
#include "backends/audio/FilterGraph.h"
#include "backends/media/EncodedSink.h"
#include "components/Error.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <vector>

class TestFilterGraph : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_wav;

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through scripts/test, which starts the test audio server");
        // Three seconds of a 440 Hz tone, written through the program's own encoder.
        m_wav = m_dir.filePath(QStringLiteral("tone.wav"));
        EncodedSink sink(m_wav, {}, PcmFormat{44100, 2});
        std::vector<qint16> samples(44100 * 2);
        for (int second = 0; second < 3; ++second) {
            for (size_t i = 0; i < samples.size() / 2; ++i)
                samples[2 * i] = samples[2 * i + 1] =
                    qint16(8000 * std::sin(2 * M_PI * 440 * double(i) / 44100));
            sink.write(samples.data(), 44100);
        }
        sink.commit();
    }

    void playsPausesResumesAndStops() {
        FilterGraph graph;
        graph.RenderFile(m_wav);
        QVERIFY(!graph.isPlaying());
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.isPlaying(), 5000);
        // The server takes the audio in real time: a quarter of a second gets through.
        QTRY_VERIFY_WITH_TIMEOUT(graph.playedUSecs() > 250000, 5000);
        graph.Pause();
        QVERIFY(!graph.isPlaying());
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.isPlaying(), 5000);
        graph.Stop();
        QVERIFY(!graph.isPlaying());
        // After a stop the file plays again from its start.
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.isPlaying(), 5000);
        graph.Stop();
    }

    void stopWithNothingRenderedIsHarmless() {
        FilterGraph graph;
        graph.Stop();
        QVERIFY(!graph.isPlaying());
        QVERIFY_THROWS_EXCEPTION(Error, graph.Run());
    }

    void aFileThatCannotBeDecodedIsRefusedAtOnce() {
        FilterGraph graph;
        try {
            graph.RenderFile(m_dir.filePath(QStringLiteral("missing.mp3")));
            QFAIL("a missing file was rendered");
        } catch (const Error& e) {
            QVERIFY2(e.message().contains(QStringLiteral("missing.mp3")), qPrintable(e.message()));
        }
        QVERIFY(!graph.isPlaying());
    }
};

QTEST_MAIN(TestFilterGraph)
#include "test_filtergraph.moc"
