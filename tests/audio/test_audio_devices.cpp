// Output devices that change under the program, on a test audio server of this test's own
// (it loads sinks and changes the default): the volume control and melvane-cli mixer follow a
// new default output.
#include "backends/audio/MixerDevices.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/cli/CliProcess.h"
#include "tests/media/MediaTestSupport.h"
#include "volume/VolumeControl.h"
#include "volume/VolumeMixer.h"

#include <QApplication>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kBase = QStringLiteral("melvane_null");
const QString kOther = QStringLiteral("melvane_other");

QString pactl(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral("pactl"), args);
    if (!process.waitForFinished(10000) || process.exitCode() != 0)
        qFatal("pactl %s failed: %s", qPrintable(args.join(u' ')),
               process.readAllStandardError().constData());
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

// A sink's volume in percent, from "Volume: front-left: 19650 /  30% / ...".
int sinkPercent(const QString& sink) {
    const QString text = pactl({"get-sink-volume", sink});
    const auto match = QRegularExpression(QStringLiteral("/\\s*(\\d+)%")).match(text);
    if (!match.hasMatch())
        qFatal("unexpected pactl answer: %s", qPrintable(text));
    return match.captured(1).toInt();
}

bool sinkMuted(const QString& sink) {
    return pactl({"get-sink-mute", sink}).contains(QLatin1String("yes"));
}

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

} // namespace

class TestAudioDevices : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_long; // a minute of sound

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through ctest, which starts a test audio server for this test");
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
        QCOMPARE(sinkPercent(kOther), 70);
        control.setMute(true);
        QVERIFY(sinkMuted(kOther));
        QCOMPARE(sinkPercent(kBase), 50);
        QVERIFY(!sinkMuted(kBase));

        // Changes made elsewhere to the new default show too.
        QSignalSpy volume(&control, &VolumeControl::VolumeChanged);
        pactl({"set-sink-volume", kOther, "35%"});
        QTRY_VERIFY_WITH_TIMEOUT(!volume.isEmpty() && volume.last().at(0).toInt() == 35, 5000);

        pactl({"set-default-sink", kBase});
        QTRY_COMPARE_WITH_TIMEOUT(control.Volume(), 50, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!control.Mute(), 5000);
    }

    void melvaneCliMixerSetsTheDefaultOutput() {
        OtherSink other;
        other.makeDefault();
        QProcess process;
        process.start(QStringLiteral(MELVANE_CLI), {"mixer", "--volume", "35", "--mute", "on"});
        const Run r = finish(process);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains("35%"), qPrintable(r.out));
        QCOMPARE(sinkPercent(kOther), 35);
        QVERIFY(sinkMuted(kOther));
        QCOMPARE(sinkPercent(kBase), 50);
        QVERIFY(!sinkMuted(kBase));
    }
};

MELVANE_AUDIO_TEST_MAIN(TestAudioDevices, QApplication)

#include "test_audio_devices.moc"
