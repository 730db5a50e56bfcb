// The recorder's settings as read from a fake store, and the time text.
#include "components/Error.h"
#include "core/RecorderSettings.h"
#include "tests/fakes/FakeSettingsStore.h"

#include <QTest>

using Stored = QMap<QString, QString>;
Q_DECLARE_METATYPE(Stored)

namespace {

QString fields(const RecorderSettings& s) {
    return QStringList{QString::number(s.MP3Bitrate),
                       s.EncoderDLL,
                       s.SaveToPath,
                       s.SelectedDevice,
                       QString::number(s.PCMFormat),
                       QString::number(s.OutputFormat),
                       QString::number(s.SelectedLine)}
        .join(u'|');
}

} // namespace

class TestRecorderSettings : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void loading_data() {
        QTest::addColumn<Stored>("stored");
        QTest::addColumn<QString>("expected"); // the fields joined by |, or the error's key
        const QString music = QStringLiteral("/home/user/Music/Recordings/capture.mp3");
        QTest::newRow("nothing stored") << Stored{} << "128|lame_enc.dll|" + music + "||15|1|1";
        QTest::newRow("everything stored")
            << Stored{{"MP3Bitrate", "192"},      {"EncoderDLL", "bladeenc.dll"},
                      {"SaveToPath", "/r/a.wav"}, {"SelectedDevice", "hw:1"},
                      {"PCMFormat", "3"},         {"OutputFormat", "0"},
                      {"SelectedLine", "2"}}
            << "192|bladeenc.dll|/r/a.wav|hw:1|3|0|2";
        // The numbers the lenient reading takes: a leading number, rounded half to even.
        QTest::newRow("lenient numbers")
            << Stored{{"MP3Bitrate", "192abc"}, {"PCMFormat", " 12.5 kHz"}}
            << "192|lame_enc.dll|" + music + "||12|1|1";
        QTest::newRow("no digits")
            << Stored{{"MP3Bitrate", "abc"}, {"PCMFormat", "13.5"}, {"OutputFormat", " 0 "}}
            << "0|lame_enc.dll|" + music + "||14|0|1";
        QTest::newRow("output format not a number")
            << Stored{{"OutputFormat", "1x"}} << "OutputFormat";
        QTest::newRow("line not a number") << Stored{{"SelectedLine", ""}} << "SelectedLine";
    }

    void loading() {
        QFETCH(Stored, stored);
        QFETCH(QString, expected);
        FakeSettingsStore store;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            store.settings.insert("QuillRecorder/Settings/" + it.key(), it.value());
        RecorderSettings s;
        s.MP3Bitrate = 64; // not the fallback: a missing bit rate is always 128
        SetRecorderDefaults(s, store);
        if (!expected.contains(u'|')) {
            try {
                LoadRecorderSettings(s, store);
                QFAIL("a setting that is not a number was taken");
            } catch (const Error& e) {
                QVERIFY2(e.message().contains(expected), qPrintable(e.message()));
            }
            return;
        }
        LoadRecorderSettings(s, store);
        QCOMPARE(fields(s), expected);
    }

    // The keys in their order, each with its fallback: the literal 128 for the bit rate, the
    // field's value for the others.
    void keysAndFallbacks() {
        FakeSettingsStore store;
        RecorderSettings s;
        s.MP3Bitrate = 64;
        s.SaveToPath = QStringLiteral("/x.mp3");
        s.PCMFormat = 7;
        LoadRecorderSettings(s, store);
        const QString p = QStringLiteral("SettingsStore.GetSetting(QuillRecorder, Settings, ");
        QCOMPARE(store.calls, QStringList({p + "MP3Bitrate, 128)", p + "EncoderDLL, lame_enc.dll)",
                                           p + "SaveToPath, /x.mp3)", p + "SelectedDevice, )",
                                           p + "PCMFormat, 7)", p + "OutputFormat, 1)",
                                           p + "SelectedLine, 1)"}));
        QCOMPARE(s.MP3Bitrate, 128);
    }

    void timeText_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("start") << 0.0 << "0:00:0";
        QTest::newRow("minute and tenths") << 65.3 << "1:05:3";
        QTest::newRow("ten minutes") << 600.0 << "10:00:0";
        QTest::newRow("tenths rounded down in double") << 9.95 << "0:09:9";
        QTest::newRow("minute counted early") << 59.6 << "1:00:6";
        QTest::newRow("tenths wrap to 0") << 125.97 << "2:05:0";
        QTest::newRow("hour") << 3599.96 << "60:00:0";
    }

    void timeText() {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(FormatRecordTime(seconds), text);
    }

    void timeTextOverflows() { QVERIFY_THROWS_EXCEPTION(OverflowError, FormatRecordTime(1e12)); }
};

int runSettingsTests(int argc, char** argv) {
    TestRecorderSettings tests;
    return QTest::qExec(&tests, argc, argv);
}

#include "test_recorder_settings.moc"
