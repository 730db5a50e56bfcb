// The audio output and the file player's graph on the test audio server, with files the test
// writes through the media core.
#include "backends/audio/AudioOutput.h"
#include "backends/audio/FilterGraph.h"
#include "backends/media/EncodedSink.h"
#include "backends/media/MediaJob.h"
#include "components/Error.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/media/MediaTestSupport.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Counts exceptions that escape through Qt's event delivery: there must be none.
class WatchfulApplication final : public QCoreApplication {
public:
    using QCoreApplication::QCoreApplication;
    bool notify(QObject* receiver, QEvent* event) override {
        try {
            return QCoreApplication::notify(receiver, event);
        } catch (...) {
            ++escaped;
            return false;
        }
    }
    static inline int escaped = 0;
};

} // namespace

class TestAudio : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_wav; // 3 s
    QString m_cut; // an MP3 that breaks off after about a second

private Q_SLOTS:
    void initTestCase() {
        m_wav = m_dir.filePath("tone.wav");
        m_cut = m_dir.filePath("cut.mp3");
        writeSine(m_wav, OutputCodec::Wav, PcmFormat::cdAudio(), 3.0);
        writeSine(m_cut, OutputCodec::Mp3Lame, PcmFormat::cdAudio(), 3.0);
        QFile cut(m_cut);
        QVERIFY(cut.resize(cut.size() / 3));
    }

    // Run, Pause, Run, Stop, Run: the position follows, holds while paused and starts again
    // from the beginning after Stop.
    void playerScenario() {
        FilterGraph graph;
        QSignalSpy failed(&graph, &FilgraphManager::Failed);
        graph.Stop(); // nothing rendered: harmless
        QVERIFY_THROWS_EXCEPTION(Error, graph.Run());
        QVERIFY(errorOf([&] {
                    graph.RenderFile(m_dir.filePath("missing.mp3"));
                }).contains("missing.mp3"));

        graph.RenderFile(m_wav);
        QVERIFY(!(graph.GetState() == FilgraphManager::State::Running));
        graph.Run();
        QVERIFY((graph.GetState() == FilgraphManager::State::Running));
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > 0.3, 5000);
        graph.Pause();
        const double paused = graph.CurrentPosition();
        QVERIFY(!failed.wait(300));                // time passes...
        QCOMPARE(graph.CurrentPosition(), paused); // ...but not for the paused player
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > paused + 0.2, 5000);
        const double stopped = graph.CurrentPosition();
        graph.Stop();
        QVERIFY(!(graph.GetState() == FilgraphManager::State::Running));
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > 0.05, 5000);
        QCOMPARE_LT(graph.CurrentPosition(), stopped);
        graph.Stop();
        QVERIFY(failed.isEmpty());
    }

    // To the end: finished() once, back at the start; a seek while stopped starts there.
    void playsToTheEndAndSeeks() {
        AudioOutput output;
        QSignalSpy finished(&output, &AudioOutput::finished);
        output.open([] { return std::make_unique<SineSource>(PcmFormat::cdAudio(), 0.5); });
        QCOMPARE(output.duration(), 0.5);
        QVERIFY(!output.canSeek());
        QVERIFY_THROWS_EXCEPTION(Error, output.seek(0.2));
        output.start();
        QVERIFY(finished.wait(5000));
        QCOMPARE(output.state(), AudioOutput::State::Stopped);
        QCOMPARE(output.position(), 0.0);

        output.open([this] { return std::make_unique<FileSource>(m_wav); });
        output.seek(2.5);
        output.start();
        QCOMPARE_GE(output.position(), 2.5);
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.count(), 2);
    }

    // A source that raises while playing: exactly one Failed, and nothing through Qt's event
    // delivery (where it would end up in the error box of the whole program).
    void aBrokenFileFailsOnce() {
        FilterGraph graph;
        QSignalSpy failed(&graph, &FilgraphManager::Failed);
        graph.RenderFile(m_cut);
        graph.Run();
        QVERIFY(failed.wait(10000));
        QVERIFY2(failed.at(0).at(0).toString().contains("truncated"),
                 qPrintable(failed.at(0).at(0).toString()));
        QVERIFY(!(graph.GetState() == FilgraphManager::State::Running));
        QVERIFY(MediaJob::waitForAll(5000));
        QVERIFY(!failed.wait(300));
        QCOMPARE(failed.count(), 1);
        QCOMPARE(WatchfulApplication::escaped, 0);
    }
};

MELVANE_AUDIO_TEST_MAIN(TestAudio, WatchfulApplication)

#include "test_audio.moc"
