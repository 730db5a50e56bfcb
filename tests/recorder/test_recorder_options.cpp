// The recorder's options dialog on fake components: filled from the recorder, preset from the
// settings, following the user's choices, and saving them for the recorder window.
#include "tests/recorder/RecorderFixture.h"

class TestRecorderOptions : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // The dialog opens right of the recorder, filled by the recorder's events and preset from
    // the settings; the PCM format is clamped to the device's formats even when cancelled.
    void optionsArePresetAndClamped() {
        RecorderFixture f;
        f.reload({{"SelectedDevice", "hw:1"}, {"MP3Bitrate", "64"}});
        f.log.clear();
        QVERIFY(f.options([&](FrmOptions* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("Options"));
            QVERIFY(d->isModal());
            QCOMPARE(d->parentWidget(), &f.window);
            const QRect recorder = f.window.frameGeometry();
            QCOMPARE(d->frameGeometry().topLeft(),
                     QPoint(recorder.x() + recorder.width(), recorder.y()));
            QCOMPARE(items(in<QComboBox>(d, "CmbSoundCards")),
                     QStringList({"Default", "Line In", "USB Mic"}));
            QCOMPARE(in<QComboBox>(d, "CmbSoundCards")->currentIndex(), 2);
            QCOMPARE(in<QComboBox>(d, "CmbBitrates")->currentText(), QStringLiteral("64"));
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->count(), 10);
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->currentIndex(), 9);
            QVERIFY(in<QRadioButton>(d, "OptionMP3")->isChecked());
            QCOMPARE(in<QComboBox>(d, "CmdEncoder")->currentText(), QStringLiteral("lame_enc.dll"));
            // "USB Mic" has no mixer.
            QCOMPARE(in<QComboBox>(d, "CmbLines")->count(), 0);
            for (const char* name : {"CmbFormats", "CmbBitrates", "CmdEncoder"})
                QVERIFY(in<QWidget>(d, name)->isEnabled());
            in<QPushButton>(d, "CmdCancel")->click();
        }));
        QCOMPARE(f.window.settings().PCMFormat, 9);
        QCOMPARE(f.window.settings().SelectedDevice, QStringLiteral("hw:1"));
        QCOMPARE(f.take(), QStringList({"Record.ListDevices()", "Record.ListBitrates()",
                                        "Record.ListFormats(hw:1)"}));
        QVERIFY(!f.window.findChild<FrmOptions*>());

        // A bit rate the recorder does not offer leaves the list without a selection. The
        // devices are listed afresh at each opening: a device whose item has no name is
        // matched to its mixer by the item after the default device's.
        f.record.devices = {{"", "hw:7"}, {"Line In", "hw:0"}, {"USB Mic", "hw:1"}};
        f.reload({{"SelectedDevice", "hw:7"}, {"MP3Bitrate", "100"}});
        f.log.clear();
        QVERIFY(f.options([](FrmOptions* d) {
            QCOMPARE(in<QComboBox>(d, "CmbBitrates")->currentIndex(), -1);
            QCOMPARE(items(in<QComboBox>(d, "CmbBitrates")),
                     QStringList({"32", "64", "128", "192", "320"}));
            QCOMPARE(in<QComboBox>(d, "CmbSoundCards")->currentIndex(), 0);
        }));
        QCOMPARE(f.log.matching("Record.ListFormats") + f.log.matching("SoundCard.FindMixer"),
                 QStringList({"Record.ListFormats(hw:7)", "SoundCard.FindMixer(USB Mic)"}));
    }

    // Choosing a device refills its formats and lines; choosing a line applies it at once, and
    // it stays applied after Cancel. The format options lock the encoder either way. Save
    // keeps the choices until the window loads again; without a device it fails and keeps
    // the dialog open.
    void optionsFollowTheUserAndSave() {
        RecorderFixture f;
        f.reload({{"SelectedLine", "2"}});
        QVERIFY(f.options([&](FrmOptions* d) {
            auto* cards = in<QComboBox>(d, "CmbSoundCards");
            auto* lines = in<QComboBox>(d, "CmbLines");
            // The default device: the sound server's mixer has one line, line 2 is not there.
            QCOMPARE(cards->currentIndex(), 0);
            QCOMPARE(items(lines), QStringList({"Capture"}));
            QCOMPARE(lines->currentIndex(), -1);
            cards->setCurrentIndex(1);
            Q_EMIT cards->activated(1);
            QCOMPARE(in<QComboBox>(d, "CmbFormats")->currentIndex(), 15);
            QCOMPARE(items(lines), QStringList({"Mic", "Line", "CD"}));
            QCOMPARE(lines->currentIndex(), 2);
            lines->setCurrentIndex(1);
            Q_EMIT lines->activated(1);
            QCOMPARE(f.soundCard.selectedLine, 1);

            const auto enabled = [d] {
                return QList<bool>{in<QWidget>(d, "CmbFormats")->isEnabled(),
                                   in<QWidget>(d, "CmdEncoder")->isEnabled(),
                                   in<QWidget>(d, "CmbBitrates")->isEnabled()};
            };
            in<QRadioButton>(d, "OptionWAV")->click();
            QCOMPARE(enabled(), QList<bool>({true, false, false}));
            in<QRadioButton>(d, "OptionMP3")->click();
            QCOMPARE(enabled(), QList<bool>({false, false, true}));
            in<QPushButton>(d, "CmdCancel")->click();
        }));
        const RecorderSettings& s = f.window.settings();
        QCOMPARE(f.soundCard.selectedLine, 1);
        QCOMPARE(s.SelectedLine, 1);
        QCOMPARE(s.SelectedDevice, QString());

        QVERIFY(f.options([](FrmOptions* d) {
            auto* cards = in<QComboBox>(d, "CmbSoundCards");
            cards->setCurrentIndex(1);
            Q_EMIT cards->activated(1);
            in<QComboBox>(d, "CmbFormats")->setCurrentIndex(4);
            in<QComboBox>(d, "CmbBitrates")->setCurrentIndex(3);
            in<QComboBox>(d, "CmbLines")->setCurrentIndex(0);
            in<QComboBox>(d, "CmdEncoder")->setEditText(QStringLiteral("bladeenc.dll"));
            in<QRadioButton>(d, "OptionWAV")->click();
            in<QPushButton>(d, "CmdSave")->click();
            QVERIFY(!d->isVisible());
        }));
        QCOMPARE(s.SelectedDevice, QStringLiteral("hw:0"));
        QCOMPARE(s.OutputFormat, 0);
        QCOMPARE(s.EncoderDLL, QStringLiteral("bladeenc.dll"));
        QCOMPARE(s.MP3Bitrate, 192);
        QCOMPARE(s.PCMFormat, 4);
        QCOMPARE(s.SelectedLine, 0);

        QVERIFY(f.options([&](FrmOptions* d) {
            in<QComboBox>(d, "CmbSoundCards")->setCurrentIndex(-1);
            in<QComboBox>(d, "CmbFormats")->setCurrentIndex(0);
            in<QPushButton>(d, "CmdSave")->click();
            QVERIFY(d->isVisible());
            QCOMPARE(f.errors.shown.size(), 1);
            QVERIFY(f.errors.shown[0].prompt.startsWith(QLatin1String("Index out of bounds")));
        }));
        QCOMPARE(s.PCMFormat, 4);
        f.window.close();
        f.window.open();
        QCOMPARE(s.MP3Bitrate, 128);
        QCOMPARE(s.SelectedDevice, QString());
    }
};

int runOptionsTests(int argc, char** argv) {
    TestRecorderOptions tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_recorder_options.moc"
