// The mixers on ALSA against the test audio server: the volume control's module writes what
// pactl reads and follows what pactl writes (the control on it: test_audio_devices); the
// recorder's sound card finds and selects the server's capture line.
#include "backends/audio/AlsaSoundCard.h"
#include "backends/audio/MixerDevices.h"
#include "components/Error.h"
#include "core/VolumeMixer.h"
#include "tests/audio/AudioServer.h"
#include "tests/audio/AudioTestMain.h"

#include <QSignalSpy>
#include <QTest>

class TestMixer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { pactl({"set-sink-mute", "melvane_null", "0"}); }

    void theModuleWritesWhatTheServerReads() {
        MixerDevices mixer;
        VolumeMixer module(mixer);
        QVERIFY(mixer.mixerGetNumDevs() >= 1);
        QVERIFY(module.OpenVolumeMixer(0));
        // The default mixer of a sound server: its master line and nothing else.
        QCOMPARE(module.control(VolumeMixer::Speakers).maximum, 65536);
        QCOMPARE(module.control(VolumeMixer::Speakers + 7).maximum, 1);
        QCOMPARE(module.control(VolumeMixer::WaveOut).controlId, 0u);

        QVERIFY(module.SetVolume(VolumeMixer::Speakers, 30));
        QCOMPARE(sinkVolume("melvane_null"), 655 * 30);
        QCOMPARE(module.GetVolume(VolumeMixer::Speakers), 30);
        QVERIFY(module.SetMute(VolumeMixer::Speakers + 7, true));
        QVERIFY(isMuted("sink", "melvane_null"));
        QVERIFY(module.GetMute(VolumeMixer::Speakers + 7));
        QVERIFY(module.SetMute(VolumeMixer::Speakers + 7, false));
        QVERIFY(!isMuted("sink", "melvane_null"));

        // An outside change is announced by the mixer itself, and read back.
        QSignalSpy changed(&mixer, &Mixer::ControlChanged);
        pactl({"set-sink-volume", "melvane_null", "45%"});
        QVERIFY(changed.wait(2000));
        QCOMPARE(module.GetVolume(VolumeMixer::Speakers), 45);
        module.CloseVolumeMixer();
    }

    void theSoundCardSelectsTheServersCaptureLine() {
        AlsaSoundCard card;
        qint32 mixerId = -1;
        QVERIFY(card.FindMixer(QStringLiteral("Sine source at 440 Hz"), mixerId) > -1);
        QCOMPARE(mixerId, 0);
        QVERIFY_THROWS_EXCEPTION(Error, card.LineCount());
        card.setMixerId(mixerId);
        card.setOpenMixer(true);
        QCOMPARE(card.LineCount(), 0);
        card.setLineIndex(0);
        QCOMPARE(card.LineName(), QStringLiteral("Capture"));

        // Selecting the line makes it record: a muted source is switched on.
        pactl({"set-source-mute", "melvane_sine", "1"});
        card.setLineSelected(true);
        QVERIFY(!isMuted("source", "melvane_sine"));

        card.setLineIndex(1);
        QVERIFY_THROWS_EXCEPTION(IndexError, card.LineName());
        card.setMixerId(99);
        QVERIFY_THROWS_EXCEPTION(Error, card.setOpenMixer(true));
    }
};

MELVANE_AUDIO_TEST_MAIN(TestMixer, QCoreApplication)
#include "test_mixer.moc"
