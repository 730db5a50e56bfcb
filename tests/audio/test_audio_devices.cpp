// Output devices that change under the program, on a test audio server of this test's own
// (it loads, suspends and unloads sinks, and changes the default): the volume control and
// melvane-cli mixer follow a new default output; an output that stops taking sound ends the
// file player, the recorder's player, the CD player and melvane-cli play within seconds.
#include "backends/audio/AudioOutput.h"
#include "backends/audio/FilterGraph.h"
#include "backends/audio/MixerDevices.h"
#include "backends/audio/SoundPlayer.h"
#include "backends/cdio/DiscPlayer.h"
#include "core/VolumeMixer.h"
#include "tests/audio/AudioServer.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/cdio/CdImages.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"
#include "volume/VolumeControl.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <functional>

namespace {

const QString kBase = QStringLiteral("melvane_null");
const QString kOther = QStringLiteral("melvane_other");

// A second output; the first one is the default again when it goes.
class OtherSink {
public:
    OtherSink() {
        m_module = pactl({"load-module", "module-null-sink", "sink_name=" + kOther}).trimmed();
    }
    ~OtherSink() {
        pactl({"set-default-sink", kBase});
        if (!m_module.isEmpty())
            pactl({"unload-module", m_module});
    }
    void makeDefault() { pactl({"set-default-sink", kOther}); }
    // Moves what plays now onto this output. (Qt Multimedia plays on the default output of its
    // start, whatever is the default now.)
    void takeThePlayback() {
        const QString inputs = pactl({"list", "short", "sink-inputs"});
        QCOMPARE(inputs.count(u'\n'), 1);
        pactl({"move-sink-input", inputs.section(u'\t', 0, 0), kOther});
    }
    void unload() {
        pactl({"unload-module", m_module});
        m_module.clear();
    }

private:
    QString m_module;
};

// One of the program's players, as the test drives and watches it.
struct Playback {
    std::function<bool()> stopped;
    std::function<double()> position; // seconds
    QStringList failures;
};

} // namespace

class TestAudioDevices : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_long; // a minute of sound

private Q_SLOTS:
    void initTestCase() {
        m_long = m_dir.filePath("long.wav");
        writeSine(m_long, OutputCodec::Wav, PcmFormat::cdAudio(), 60.0);
        pactl({"set-sink-volume", kBase, "50%"});
        pactl({"set-sink-mute", kBase, "0"});
    }

    // The slider shows and moves the output that is the default now, not the one of start-up.
    void theVolumeControlFollowsTheDefaultOutput() {
        MixerDevices mixer;
        VolumeMixer module(mixer);
        VolumeControl control(module);
        control.ReadProperties({});
        control.setDeviceToControl(VolumeMixer::Speakers);
        QCOMPARE(control.Volume(), 50);

        OtherSink other;
        pactl({"set-sink-volume", kOther, "20%"});
        other.makeDefault();
        QTRY_COMPARE_WITH_TIMEOUT(control.Volume(), 20, 5000);
        control.setVolume(70);
        QCOMPARE(sinkVolume(kOther, true), 70);
        control.setMute(true);
        QVERIFY(isMuted("sink", kOther));
        QCOMPARE(sinkVolume(kBase, true), 50);
        QVERIFY(!isMuted("sink", kBase));

        // Changes made elsewhere to the new default show too.
        QSignalSpy volume(&control, &VolumeControl::VolumeChanged);
        pactl({"set-sink-volume", kOther, "35%"});
        QTRY_VERIFY_WITH_TIMEOUT(!volume.isEmpty() && volume.last().at(0).toInt() == 35, 5000);
        QSignalSpy mute(&control, &VolumeControl::MuteChanged);
        pactl({"set-sink-mute", kOther, "0"});
        QTRY_VERIFY_WITH_TIMEOUT(!mute.isEmpty() && !control.Mute(), 5000);
        pactl({"set-sink-mute", kOther, "1"});
        QTRY_VERIFY_WITH_TIMEOUT(control.Mute(), 5000);

        pactl({"set-default-sink", kBase});
        QTRY_COMPARE_WITH_TIMEOUT(control.Volume(), 50, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!control.Mute(), 5000);
    }

    void melvaneCliMixerSetsTheDefaultOutput() {
        OtherSink other;
        other.makeDefault();
        const Run r = runCli({"mixer", "--volume", "35", "--mute", "on"});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains("35%"), qPrintable(r.out));
        QCOMPARE(sinkVolume(kOther, true), 35);
        QVERIFY(isMuted("sink", kOther));
        QCOMPARE(sinkVolume(kBase, true), 50);
        QVERIFY(!isMuted("sink", kBase));
    }

    // A suspended output holds its position with sound waiting: every player ends by itself
    // within seconds, and says why where it can say anything.
    void aStalledOutputEndsPlayback_data() {
        QTest::addColumn<QString>("player");
        QTest::newRow("file player") << "file";
        QTest::newRow("recorder's player") << "recorder";
        QTest::newRow("CD player") << "cd";
    }
    void aStalledOutputEndsPlayback() {
        QFETCH(QString, player);
        OtherSink other;
        FilterGraph graph;
        SoundPlayer recorderPlayer;
        cdio::DiscPlayer discPlayer;
        Playback playback;
        if (player == "file") {
            QObject::connect(&graph, &FilgraphManager::Failed,
                             [&](const QString& message) { playback.failures << message; });
            graph.RenderFile(m_long);
            graph.Run();
            playback.stopped = [&] { return graph.GetState() != FilgraphManager::State::Running; };
            playback.position = [&] { return graph.CurrentPosition(); };
        } else if (player == "recorder") {
            QObject::connect(&recorderPlayer, &Player::Failed,
                             [&](const QString& message) { playback.failures << message; });
            recorderPlayer.Play(m_long);
            playback.stopped = [&] { return recorderPlayer.PlayerState() == Player::Stopped; };
            playback.position = [&] { return recorderPlayer.Position(); };
        } else {
            const TestImage image =
                writeImage(m_dir.path(), QStringLiteral("disc"), {{"AUDIO", 588 * 75 * 60}});
            const qint32 first = image.starts[0];
            discPlayer.play(cdio::DriveTable::imageDrive(image.cue, 0), first,
                            first + image.sectors[0]);
            playback.stopped = [&] { return discPlayer.state() == cdio::CdPlayer::State::Stopped; };
            playback.position = [&, first] { return (discPlayer.position() - first) / 75.0; };
        }
        QTRY_VERIFY_WITH_TIMEOUT(playback.position() > 0.5, 10000);
        other.takeThePlayback();
        if (QTest::currentTestFailed())
            return;

        pactl({"suspend-sink", kOther, "1"});
        QElapsedTimer stalled;
        stalled.start();
        QTRY_VERIFY_WITH_TIMEOUT(playback.stopped(), AudioOutput::StallLimit + 5000);
        QCOMPARE_GE(stalled.elapsed(), AudioOutput::StallLimit - 1000);
        if (player != "cd") {
            QCOMPARE(playback.failures.size(), 1);
            QVERIFY2(playback.failures.first().contains("played nothing for 5 seconds"),
                     qPrintable(playback.failures.first()));
        }
        pactl({"suspend-sink", kOther, "0"});
    }

    // An output unloaded while playing: the sound server moves the sound to another output and
    // it plays on, or playback ends with a message; it never stands still.
    void anUnloadedOutputNeverFreezesPlayback() {
        OtherSink other;
        FilterGraph graph;
        QSignalSpy failed(&graph, &FilgraphManager::Failed);
        graph.RenderFile(m_long);
        graph.Run();
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > 0.5, 10000);
        other.takeThePlayback();
        if (QTest::currentTestFailed())
            return;
        other.unload();
        const double unloadedAt = graph.CurrentPosition();
        QTRY_VERIFY_WITH_TIMEOUT(graph.CurrentPosition() > unloadedAt + 2 || !failed.isEmpty(),
                                 AudioOutput::StallLimit + 5000);
        graph.Stop();
    }

    // melvane-cli play ends with a message and status 1 instead of hanging.
    void melvaneCliPlayEndsOnAStalledOutput() {
        OtherSink other;
        QProcess playing;
        playing.start(QStringLiteral(MELVANE_CLI), {"play", m_long});
        QVERIFY(playing.waitForReadyRead(10000)); // the first position line
        other.takeThePlayback();
        if (QTest::currentTestFailed())
            return;
        pactl({"suspend-sink", kOther, "1"});
        QElapsedTimer stalled;
        stalled.start();
        const Run r = finish(playing);
        QCOMPARE_LT(stalled.elapsed(), AudioOutput::StallLimit + 5000);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("melvane-cli play: Cannot play: the audio output has played "
                                "nothing for 5 seconds"),
                 qPrintable(r.err));
        pactl({"suspend-sink", kOther, "0"});
    }
};

MELVANE_AUDIO_TEST_MAIN(TestAudioDevices, QApplication)

#include "test_audio_devices.moc"
