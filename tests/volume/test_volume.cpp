// The volume control and its mixer module on a fake mixer: the scaling rules, the table, the
// property rules, following outside changes, and the speaker's pop-up.
#include "components/Error.h"
#include "core/VolumeMixer.h"
#include "panelkit/ErrorBoundary.h"
#include "tests/fakes/FakeDialogs.h"
#include "tests/fakes/FakeMixer.h"
#include "volume/VolumeControl.h"

#include <QCheckBox>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>

namespace {

constexpr quint32 Speakers = Mixer::DstSpeakers, Wave = Mixer::SrcWaveOut;

// A mixer with speakers and wave output lines (volume range 0..65535) and nothing else.
struct MixerFixture {
    FakeMixer mixer;
    VolumeMixer module{mixer};

    MixerFixture() {
        for (quint32 line : {Speakers, Wave})
            mixer.lines[line] = {FakeMixer::Value{0, 65535, 0}, FakeMixer::Value{0, 1, 0}};
    }
};

// Which change events came, in order.
struct EventLog : QStringList {
    explicit EventLog(VolumeControl& control) {
        QObject::connect(&control, &VolumeControl::VolumeChanged,
                         [this](qint32 v) { append(QStringLiteral("VolumeChanged(%1)").arg(v)); });
        QObject::connect(&control, &VolumeControl::MuteChanged, [this](bool m) {
            append(QStringLiteral("MuteChanged(%1)").arg(m ? "true" : "false"));
        });
    }
};

} // namespace

class TestVolume : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void scaling_data() {
        QTest::addColumn<qint32>("minimum");
        QTest::addColumn<qint32>("maximum");
        QTest::addColumn<qint32>("written");
        QTest::addColumn<quint32>("rawWritten");
        QTest::addColumn<quint32>("rawRead");
        QTest::addColumn<qint32>("read");
        QTest::newRow("65535: 655 a percent") << 0 << 65535 << 50 << 32750u << 32750u << 50;
        QTest::newRow("65536 of the sound server") << 0 << 65536 << 100 << 65500u << 65536u << 100;
        QTest::newRow("above the maximum is cut") << 0 << 65535 << 150 << 65535u << 65535u << 100;
        QTest::newRow("small maxima unscaled") << 0 << 100 << 37 << 37u << 37u << 37;
        QTest::newRow("unscaled, cut at the maximum") << 0 << 31 << 50 << 31u << 31u << 31;
        // Raised to the minimum when written; the minimum comes off after scaling when read.
        QTest::newRow("minimum: raised, then subtracted")
            << 10 << 65535 << 0 << 10u << 32750u << 40;
        QTest::newRow("ties to even, down") << 0 << 200 << 1 << 2u << 5u << 2; // 2.5
        QTest::newRow("ties to even, up") << 0 << 200 << 2 << 4u << 7u << 4;   // 3.5
    }
    void scaling() {
        QFETCH(qint32, minimum);
        QFETCH(qint32, maximum);
        QFETCH(qint32, written);
        QFETCH(quint32, rawWritten);
        QFETCH(quint32, rawRead);
        QFETCH(qint32, read);
        MixerFixture f;
        f.mixer.lines[Wave].volume = FakeMixer::Value{minimum, maximum, 0};
        QVERIFY(f.module.OpenVolumeMixer(0));
        QVERIFY(f.module.SetVolume(VolumeMixer::WaveOut, written));
        QCOMPARE(f.mixer.raw(Wave, false), rawWritten);
        f.mixer.raw(Wave, false) = rawRead;
        QCOMPARE(f.module.GetVolume(VolumeMixer::WaveOut), read);
    }

    void openingFillsTheTableInItsOrderAndLeavesMissingLinesEmpty() {
        MixerFixture f;
        QVERIFY(f.module.OpenVolumeMixer(0));
        QStringList asked;
        for (const QString& call : f.mixer.calls)
            if (call.startsWith(QLatin1String("Mixer.mixerGetLineInfo")))
                asked << call.section(u' ', 1).chopped(1);
        const QStringList order = {"0x4",    "0x1003", "0x1009", "0x1005",
                                   "0x1004", "0x1008", "0x1002"};
        QCOMPARE(asked, order + order);
        QCOMPARE(f.module.control(VolumeMixer::Speakers).maximum, 65535);
        QCOMPARE(f.module.control(VolumeMixer::WaveOut + 7).controlType, Mixer::MuteControl);
        // A missing line: reads give 0, writes fail, nothing raises.
        QCOMPARE(f.module.control(VolumeMixer::CompactDisc).controlId, 0u);
        QVERIFY(!f.module.SetVolume(VolumeMixer::CompactDisc, 40));
        QCOMPARE(f.module.GetVolume(VolumeMixer::CompactDisc), 0);
        QCOMPARE(f.module.GetVolume(20), 0);
        QVERIFY_THROWS_EXCEPTION(IndexError, f.module.GetVolume(21));
        QVERIFY_THROWS_EXCEPTION(IndexError, f.module.SetMute(-1, true));
        // Mute true is written as 1.
        QVERIFY(f.module.SetMute(VolumeMixer::Speakers + 7, true));
        QCOMPARE(f.mixer.raw(Speakers, true), 1u);
        QVERIFY(f.module.GetMute(VolumeMixer::Speakers + 7));
        // The product is checked.
        QVERIFY_THROWS_EXCEPTION(OverflowError, f.module.SetVolume(0, 4000000));
        f.module.CloseVolumeMixer();
        QCOMPARE(f.mixer.calls.last(), QStringLiteral("Mixer.mixerClose(7)"));
        QCOMPARE(f.module.handle(), 0u);

        MixerFixture none;
        none.mixer.devices = 0;
        QVERIFY(!none.module.OpenVolumeMixer(0));
        QVERIFY(!none.module.OpenVolumeMixer(-1));
        none.mixer.devices = 1;
        none.mixer.openFails = true;
        QVERIFY(!none.module.OpenVolumeMixer(0));
        QCOMPARE(none.mixer.count(QStringLiteral("mixerGetLineInfo")), 0);
    }

    void propertiesFollowTheirRules() {
        MixerFixture f;
        f.mixer.raw(Wave, false) = 655 * 30;
        f.mixer.raw(Wave, true) = 1;
        f.mixer.raw(Speakers, false) = 655 * 80;
        VolumeControl control(f.module);
        QCOMPARE(control.size(), QSize(32, 32)); // 480 twips at 96 dots an inch
        control.resize(100, 50);
        QCOMPARE(control.size(), QSize(32, 32));

        // First placement binds the wave output.
        control.InitProperties();
        QCOMPARE(control.DeviceToControl(), 5);
        QCOMPARE(control.Volume(), 30);
        QVERIFY(control.Mute());

        // Loading goes to the caches only; the timer follows Enabled.
        f.mixer.calls.clear();
        control.ReadProperties({{"Enabled", false}, {"Volume", 77}, {"mute", false}});
        QVERIFY(!control.Enabled());
        QCOMPARE(control.Volume(), 77);
        QCOMPARE(control.DeviceToControl(), 5);
        QCOMPARE(f.mixer.calls, QStringList());
        QVariantMap saved;
        control.WriteProperties(saved);
        QCOMPARE(saved, QVariantMap({{"Enabled", false},
                                     {"Volume", QVariant::fromValue(qint16(77))},
                                     {"mute", false},
                                     {"DeviceToControl", 5}}));

        // Writes while disabled change nothing, not even the caches.
        EventLog events(control);
        control.setVolume(10);
        control.setMute(true);
        control.setDeviceToControl(0);
        QCOMPARE(control.Volume(), 77);
        QVERIFY(!control.Mute());
        QCOMPARE(control.DeviceToControl(), 5);
        QCOMPARE(f.mixer.calls, QStringList());

        // Enabled: DeviceToControl raises both events, volume first, changed or not.
        control.setEnabled(true);
        control.setDeviceToControl(0);
        control.setDeviceToControl(0);
        QCOMPARE(events, QStringList({"VolumeChanged(80)", "MuteChanged(false)",
                                      "VolumeChanged(80)", "MuteChanged(false)"}));
        control.setVolume(25);
        control.setMute(true);
        QCOMPARE(f.mixer.raw(Speakers, false), 655u * 25);
        QCOMPARE(f.mixer.raw(Speakers, true), 1u);
        QCOMPARE(control.Volume(), 25);
        // The mute of line 14 would be entry 21.
        QVERIFY_THROWS_EXCEPTION(IndexError, control.setDeviceToControl(14));
    }

    void followsOutsideChangesWhileEnabled() {
        MixerFixture f;
        VolumeControl control(f.module);
        control.ReadProperties({});
        control.setDeviceToControl(0);
        EventLog events(control);

        // The mixer's own report shows a change at once, without waiting for the timer.
        f.mixer.changeOutside(Speakers, false, 655 * 60);
        QCOMPARE(events, QStringList({"VolumeChanged(60)"}));
        // The poll finds changes nobody reported, volume before mute.
        f.mixer.raw(Speakers, true) = 1;
        f.mixer.raw(Speakers, false) = 655 * 20;
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 3, 5 * VolumeControl::PollInterval);
        QCOMPARE(events.mid(1), QStringList({"VolumeChanged(20)", "MuteChanged(true)"}));
        QCOMPARE(control.Volume(), 20);

        // Disabled, it stops following.
        control.setEnabled(false);
        f.mixer.changeOutside(Speakers, false, 655 * 90);
        QSignalSpy volume(&control, &VolumeControl::VolumeChanged);
        QVERIFY(!volume.wait(3 * VolumeControl::PollInterval));
        QCOMPARE(control.Volume(), 20);

        // A poll that fails reports once and stops polling.
        FakeMessageBox box;
        ErrorBoundary::setMessageBox(&box);
        control.ReadProperties({{"DeviceToControl", 14}});
        QTRY_COMPARE_WITH_TIMEOUT(box.count(QStringLiteral("MsgBox")), 1,
                                  5 * VolumeControl::PollInterval);
        QVERIFY(!volume.wait(3 * VolumeControl::PollInterval));
        QCOMPARE(box.count(QStringLiteral("MsgBox")), 1);
        ErrorBoundary::setMessageBox(nullptr);
    }

    void theSpeakerOpensASliderAndAMuteSwitch() {
        MixerFixture f;
        f.mixer.raw(Speakers, false) = 655 * 40;
        VolumeControl control(f.module);
        control.ReadProperties({});
        control.setDeviceToControl(0);
        control.show();
        QVERIFY(QTest::qWaitForWindowExposed(&control));
        const QImage loud = control.grab().toImage();

        QTest::mouseClick(&control, Qt::LeftButton);
        auto* slider = control.findChild<QSlider*>(QStringLiteral("volumeSlider"));
        auto* mute = control.findChild<QCheckBox*>(QStringLiteral("volumeMute"));
        QVERIFY(slider && slider->isVisible());
        QCOMPARE(slider->value(), 40);
        slider->setValue(70);
        QCOMPARE(f.mixer.raw(Speakers, false), 655u * 70);
        QCOMPARE(control.Volume(), 70);
        mute->click();
        QCOMPARE(f.mixer.raw(Speakers, true), 1u);
        QVERIFY(control.Mute());
        QVERIFY(control.grab().toImage() != loud);

        // An outside change moves the open slider, without writing it back.
        f.mixer.calls.clear();
        f.mixer.changeOutside(Speakers, false, 655 * 15);
        QCOMPARE(slider->value(), 15);
        QCOMPARE(f.mixer.count(QStringLiteral("mixerSetControlDetails")), 0);

        // Disabling closes it.
        control.setEnabled(false);
        QVERIFY(!slider->isVisible());
    }

    void destroyingTheControlClosesTheSharedMixer() {
        MixerFixture f;
        { VolumeControl control(f.module); }
        QCOMPARE(f.mixer.calls.first(), QStringLiteral("Mixer.mixerGetNumDevs()"));
        QCOMPARE(f.mixer.calls.last(), QStringLiteral("Mixer.mixerClose(7)"));
        QCOMPARE(f.module.handle(), 0u);
    }
};

QTEST_MAIN(TestVolume)
#include "test_volume.moc"
