// The conversion rules the convert panel shares with melvane-cli: a file's type by its ending,
// and the output names, cut to 50 characters on the panel and whole on the command line.
#include "core/ConvertRules.h"

#include <QTest>

class TestConvertRules : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // Type, the panel's output name (50-character cut) and melvane-cli's (whole name).
    void rules_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected"); // type|panel output|command-line output
        const QString a46(46, u'a');
        const QString face = QStringLiteral("\U0001F600"); // two UTF-16 units, one character
        const auto row = [](const char* name, const QString& path, const QString& expected) {
            QTest::newRow(name) << path << expected;
        };
        // clang-format off
        row("mixed case", "/a/t.Wav", "WAV|t.mp3|t.mp3");
        row("dots kept", "x.y.wma", "WMA|x.y.mp3|x.y.mp3");
        row("50", a46 + ".wav", "WAV|" + a46 + ".mp3|" + a46 + ".mp3");
        row("51", a46 + "b.wav", "WAV|" + a46 + "bmp3|" + a46 + "b.mp3");
        row("emoji", face.repeated(52) + ".mp3",
            "MP3|" + face.repeated(47) + "mp3|" + face.repeated(52) + ".mp3");
        row("emoji at the cut", a46 + face.repeated(3) + ".wav",
            "WAV|" + a46 + face + "mp3|" + a46 + face.repeated(3) + ".mp3");
        row("short", "/a/ab", "|mp3|mp3");
        // clang-format on
    }

    void rules() {
        QFETCH(QString, path);
        QFETCH(QString, expected);
        using namespace ConvertRules;
        const QString name = fileNameOf(path);
        const QString mp3 = QStringLiteral("mp3");
        QCOMPARE(QStringList({typeText(typeOf(path)), outputName(cutName(name), mp3),
                              outputName(name, mp3)})
                     .join(u'|'),
                 expected);
    }
};

QTEST_APPLESS_MAIN(TestConvertRules)
#include "test_convert_rules.moc"
