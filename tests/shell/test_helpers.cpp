#include "core/CommonHelpers.h"

#include "components/Error.h"

#include <QTest>
#include <cmath>
#include <limits>

// The duration formatter and the backslash-field helpers. The rounding cases were worked out by
// hand in single precision.
class TestHelpers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void convertSeconds_data();
    void convertSeconds();
    void convertSecondsErrors();
    void convertSecondsResults();
    void fields_data();
    void fields();
    void fieldsOverflow();
};

void TestHelpers::convertSeconds_data() {
    QTest::addColumn<float>("seconds");
    QTest::addColumn<QString>("padded");
    QTest::addColumn<QString>("unpadded");
    QTest::addColumn<QString>("shortWords");
    QTest::addColumn<QString>("longWords");
    const auto row = [](float seconds, const char* padded, const char* unpadded,
                        const char* shortWords, const char* longWords = nullptr) {
        QTest::addRow("%.9g", double(seconds))
            << seconds << padded << unpadded << shortWords << (longWords ? longWords : shortWords);
    };
    // clang-format off
    row(0.0f, "00:00", ":00", "0 seconds");
    row(1.0f, "00:01", ":01", "1 second");
    row(45.0f, "00:45", ":45", "45 seconds");
    row(60.0f, "01:00", "1:00", "1 minute");
    row(61.0f, "01:01", "1:01", "1 m 1 s", "1 min 1 sec");
    row(120.0f, "02:00", "2:00", "2 minutes");
    row(3600.0f, "01:00:00", "1:00:00", "1 hour");
    row(3605.0f, "01:00:05", "1:00:05", "1 h 5 s", "1 hr 5 sec");
    // The seconds land on 59.99994 and carry into the minutes; the unit keeps its blank.
    row(3660.0f, "01:01:00", "1:01:00", "1 h 1 m ", "1 hr 1 min ");
    row(3725.0f, "01:02:05", "1:02:05", "1 h 2 m 5 s", "1 hr 2 min 5 sec");
    row(7200.0f, "02:00:00", "2:00:00", "2 hours");
    row(360000.0f, "100:00:00", "100:00:00", "100 hours");
    // Exact ties of the seconds go to the even neighbour; 59.5 rounds to 60 and carries.
    row(0.5f, "00:00", ":00", "0 seconds");
    row(1.5f, "00:02", ":02", "2 seconds");
    row(59.5f, "01:00", "1:00", "1 minute");
    // Where single precision decides: in double these give 29 and 01:00:01.
    row(29.5f, "00:30", ":30", "30 seconds");
    row(3600.5f, "01:00:00", "1:00:00", "1 hour");
    // Seconds round to 60, the minutes become 60 and carry into the hours. Just below 3600
    // the minutes are 59.9999962, so M = 59 and only the seconds carry.
    row(3599.75f, "01:00:00", "1:00:00", "1 hour");
    row(std::nextafter(3600.0f, 0.0f), "01:00:00", "1:00:00", "1 hour");
    // Only a tiny negative value makes the minutes 60 directly: H = -1, hoursF - H rounds to
    // 1.0, so M = 60 becomes M = 0, H = 0, and the seconds come from the whole 60.0 minutes.
    row(-0.0001f, "00:3600", ":3600", "3600 seconds");
    row(-1.0f, "-01:59:59", "-1:59:59", "-1 h 59 m 59 s", "-1 hr 59 min 59 sec");
    // clang-format on
}

// Each form, and the flags that must not matter to it.
void TestHelpers::convertSeconds() {
    QFETCH(float, seconds);
    QFETCH(QString, padded);
    QFETCH(QString, unpadded);
    QFETCH(QString, shortWords);
    QFETCH(QString, longWords);
    const auto text = [&](bool digital, bool pad, bool longUnits) {
        return ConvertSeconds(seconds, digital, pad, longUnits);
    };
    QCOMPARE(QStringList({text(true, true, true), text(true, true, false), text(true, false, false),
                          text(false, false, false), text(false, true, false),
                          text(false, false, true)}),
             QStringList({padded, padded, unpadded, shortWords, shortWords, longWords}));
}

void TestHelpers::convertSecondsErrors() {
    // 2^31 hours as a float; the float below it still fits.
    const float tooManyHours = 2147483648.0f * 3600.0f;
    QCOMPARE(ConvertSeconds(std::nextafter(tooManyHours, 0.0f), true, false, false),
             QStringLiteral("2147483520:00:00"));
    QVERIFY_THROWS_EXCEPTION(OverflowError, ConvertSeconds(tooManyHours, true, true, true));
    QVERIFY_THROWS_EXCEPTION(OverflowError, ConvertSeconds(-tooManyHours * 2, false, false, false));
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    QVERIFY_THROWS_EXCEPTION(FloatError, ConvertSeconds(nan, true, true, true));
    QVERIFY_THROWS_EXCEPTION(FloatError, ConvertSeconds(infinity, false, false, true));
    QVERIFY_THROWS_EXCEPTION(FloatError, ConvertSeconds(-infinity, true, false, false));
}

// The fields and long text left behind, whatever form was asked for.
void TestHelpers::convertSecondsResults() {
    using ConvertSeconds_::last;
    const auto results = [](float seconds, bool digital) {
        ConvertSeconds(seconds, digital, true, false);
        return QStringList{last().hours, last().minutes, last().seconds, last().longText};
    };
    QCOMPARE(results(3725.0f, false),
             QStringList({"01", "02", "05", "1 hour 2 minutes 5 seconds"}));
    QCOMPARE(results(0.0f, false), QStringList({"00", "00", "00", "0 seconds"}));
    // Two characters wide: 100 hours keep their first two digits. A blank follows every unit but
    // the seconds, also at the end.
    QCOMPARE(results(360000.0f, true), QStringList({"10", "00", "00", "100 hours "}));
}

// clang-format off
void TestHelpers::fields_data() {
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("index");
    QTest::addColumn<QVariant>("field"); // of GetCSString(value, index)
    const QVariant none;
    const auto s = [](const QString& text) { return QVariant(text); };
    const QVariant fields = s("one\\ b \\three");
    QTest::newRow("number") << QVariant(42) << 0 << 1 << none;
    QTest::newRow("byte array") << QVariant(QByteArray("a\\b")) << 0 << 1 << none;
    QTest::newRow("empty text") << s(QString()) << 0 << 1 << none;
    QTest::newRow("no backslash") << s("  solo ") << 1 << 1 << s("solo");
    QTest::newRow("blank-surrounded letter") << fields << 3 << 2 << s("b");
    QTest::newRow("last field") << fields << 3 << 3 << s("three");
    QTest::newRow("index 0") << fields << 3 << 0 << none;
    QTest::newRow("above the count") << fields << 3 << 4 << none;
    QTest::newRow("only blanks trimmed") << s("\tx \\y") << 2 << 1 << s("\tx");
    QTest::newRow("empty middle field") << s("a\\\\b") << 3 << 2 << s("");
    QTest::newRow("after the empty field") << s("a\\\\b") << 3 << 3 << s("b");
    QTest::newRow("empty last field") << s("a\\") << 2 << 2 << s("");
    // A leading backslash makes field 1 the whole trimmed text.
    QTest::newRow("leading backslash") << s("\\dir\\file ") << 3 << 1 << s("\\dir\\file");
    QTest::newRow("after a leading backslash") << s("\\dir\\file ") << 3 << 2 << s("dir");
    QTest::newRow("blank before the backslash") << s(" \\dir\\file") << 3 << 1 << s("");
    QTest::newRow("most fields that fit") << s(QString(32766, u'\\')) << 32767 << 0 << none;
    const QVariant longest = s(QString(32767, u'z'));
    QTest::newRow("longest text that fits") << longest << 1 << 1 << longest;
    // Long texts are fine as long as no position past 16 bits is needed.
    QTest::newRow("long text, early field") << s("a\\" + QString(40000, u'x')) << 2 << 1 << s("a");
}
// clang-format on

void TestHelpers::fields() {
    QFETCH(QVariant, value);
    QFETCH(int, count);
    QFETCH(int, index);
    QFETCH(QVariant, field);
    QCOMPARE(CountCSString(value), qint16(count));
    const QVariant result = GetCSString(value, qint16(index));
    QCOMPARE(result.typeId(), field.typeId());
    QCOMPARE(result, field);
}

void TestHelpers::fieldsOverflow() {
    QVERIFY_THROWS_EXCEPTION(OverflowError, CountCSString(QString(32767, u'\\')));
    // One backslash, but the search would go on from position 40002.
    QVERIFY_THROWS_EXCEPTION(OverflowError, CountCSString(QString(40000, u'a') + "\\b"));
    // A field without a backslash after it ends at the text's length, which must fit in 16 bits.
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString(QString(40000, u'a'), 1));
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString("a\\" + QString(40000, u'b'), 2));
    // The count overflows before any field is picked, even for index 0.
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString(QString(32767, u'\\'), 0));
}

QTEST_GUILESS_MAIN(TestHelpers)
#include "test_helpers.moc"
