#include "shell/CommonHelpers.h"

#include "components/Error.h"

#include <QTest>
#include <cmath>
#include <limits>

// The duration formatter, the backslash-field helpers. Expected values of the rounding cases
// were worked out by hand in single precision; the comments give the value each step lands on.
class TestHelpers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void convertSecondsForms_data();
    void convertSecondsForms();
    void convertSecondsRounding_data();
    void convertSecondsRounding();
    void convertSecondsLimits();
    void convertSecondsResults();
    void countFields_data();
    void countFields();
    void countFieldsOverflow();
    void getField_data();
    void getField();
    void getFieldOverflow();
};

// clang-format off
void TestHelpers::convertSecondsForms_data() {
    QTest::addColumn<float>("seconds");
    QTest::addColumn<QString>("padded");
    QTest::addColumn<QString>("unpadded");
    QTest::addColumn<QString>("shortWords");
    QTest::addColumn<QString>("longWords");

    QTest::newRow("0") << 0.0f << "00:00" << ":00" << "0 seconds" << "0 seconds";
    QTest::newRow("1") << 1.0f << "00:01" << ":01" << "1 second" << "1 second";
    QTest::newRow("45") << 45.0f << "00:45" << ":45" << "45 seconds" << "45 seconds";
    QTest::newRow("60") << 60.0f << "01:00" << "1:00" << "1 minute" << "1 minute";
    QTest::newRow("61") << 61.0f << "01:01" << "1:01" << "1 m 1 s" << "1 min 1 sec";
    QTest::newRow("120") << 120.0f << "02:00" << "2:00" << "2 minutes" << "2 minutes";
    QTest::newRow("3600") << 3600.0f << "01:00:00" << "1:00:00" << "1 hour" << "1 hour";
    QTest::newRow("3605") << 3605.0f << "01:00:05" << "1:00:05" << "1 h 5 s" << "1 hr 5 sec";
    // The seconds land on 59.99994 and carry into the minutes; the unit keeps its blank.
    QTest::newRow("3660") << 3660.0f << "01:01:00" << "1:01:00" << "1 h 1 m " << "1 hr 1 min ";
    QTest::newRow("3725") << 3725.0f << "01:02:05" << "1:02:05" << "1 h 2 m 5 s"
                          << "1 hr 2 min 5 sec";
    QTest::newRow("7200") << 7200.0f << "02:00:00" << "2:00:00" << "2 hours" << "2 hours";
    QTest::newRow("360000") << 360000.0f << "100:00:00" << "100:00:00" << "100 hours"
                            << "100 hours";
}
// clang-format on

void TestHelpers::convertSecondsForms() {
    QFETCH(float, seconds);
    QFETCH(QString, padded);
    QFETCH(QString, unpadded);
    QFETCH(QString, shortWords);
    QFETCH(QString, longWords);

    QCOMPARE(ConvertSeconds(seconds, true, true, true), padded);
    QCOMPARE(ConvertSeconds(seconds, true, true, false), padded);
    QCOMPARE(ConvertSeconds(seconds, true, false, false), unpadded);
    QCOMPARE(ConvertSeconds(seconds, false, false, false), shortWords);
    QCOMPARE(ConvertSeconds(seconds, false, true, false), shortWords);
    QCOMPARE(ConvertSeconds(seconds, false, false, true), longWords);
}

// clang-format off
void TestHelpers::convertSecondsRounding_data() {
    QTest::addColumn<float>("seconds");
    QTest::addColumn<QString>("padded");
    QTest::addColumn<QString>("words");

    // Exact ties of the seconds go to the even neighbour.
    QTest::newRow("0.5 ties down to 0") << 0.5f << "00:00" << "0 seconds";
    QTest::newRow("1.5 ties up to 2") << 1.5f << "00:02" << "2 seconds";
    QTest::newRow("2.5 ties down to 2") << 2.5f << "00:02" << "2 seconds";
    // minutesF = 1.375 exactly, seconds 22.5 exactly.
    QTest::newRow("82.5 ties down to 22") << 82.5f << "01:22" << "1 m 22 s";
    // minutesF = 1.625 exactly, seconds 37.5 exactly.
    QTest::newRow("97.5 ties up to 38") << 97.5f << "01:38" << "1 m 38 s";
    // The seconds come out as 59.5 exactly, round to 60 and carry into the minutes.
    QTest::newRow("59.5 carries a minute") << 59.5f << "01:00" << "1 minute";

    // Where single precision decides: in double these give 29, 32, 01:00:00 and 01:00:01.
    QTest::newRow("29.5 lands on the tie") << 29.5f << "00:30" << "30 seconds";
    QTest::newRow("31.5 lands below the tie") << 31.5f << "00:31" << "31 seconds";
    QTest::newRow("3599.5 lands below the tie") << 3599.5f << "59:59" << "59 m 59 s";
    QTest::newRow("3600.5 lands below the tie") << 3600.5f << "01:00:00" << "1 hour";

    // Seconds round to 60, the minutes become 60 and carry into the hours.
    QTest::newRow("3599.75 carries an hour") << 3599.75f << "01:00:00" << "1 hour";
    QTest::newRow("7199.5 carries an hour") << 7199.5f << "02:00:00" << "2 hours";
    // The closest a positive value comes to whole minutes of 60: 59.9999962, so M = 59.
    QTest::newRow("just below an hour") << std::nextafter(3600.0f, 0.0f) << "01:00:00"
                                        << "1 hour";

    // Only a tiny negative value makes the minutes 60 directly: hoursF = -2.8e-8, H = -1,
    // hoursF - H rounds to 1.0, so M = 60 becomes M = 0, H = 0, and the seconds are then taken
    // from the whole 60.0 minutes: 3600.
    QTest::newRow("tiny negative") << -0.0001f << "00:3600" << "3600 seconds";
    // H = -1, M = 59, S rounds to 60 and carries twice, back to zero.
    QTest::newRow("minus half a second") << -0.5f << "00:00" << "0 seconds";
    QTest::newRow("minus one second") << -1.0f << "-01:59:59" << "-1 h 59 m 59 s";
}
// clang-format on

void TestHelpers::convertSecondsRounding() {
    QFETCH(float, seconds);
    QFETCH(QString, padded);
    QFETCH(QString, words);

    QCOMPARE(ConvertSeconds(seconds, true, true, false), padded);
    QCOMPARE(ConvertSeconds(seconds, false, false, false), words);
}

void TestHelpers::convertSecondsLimits() {
    // 2^31 hours as a float; the float below it is 2147483520 hours.
    const float tooManyHours = 2147483648.0f * 3600.0f;
    QCOMPARE(ConvertSeconds(std::nextafter(tooManyHours, 0.0f), true, false, false),
             QStringLiteral("2147483520:00:00"));
    QVERIFY_THROWS_EXCEPTION(OverflowError, ConvertSeconds(tooManyHours, true, true, true));
    QVERIFY_THROWS_EXCEPTION(
        OverflowError, ConvertSeconds(std::numeric_limits<float>::max(), false, false, false));
    QVERIFY_THROWS_EXCEPTION(OverflowError, ConvertSeconds(-tooManyHours * 2, true, true, true));

    QVERIFY_THROWS_EXCEPTION(
        FloatError, ConvertSeconds(std::numeric_limits<float>::quiet_NaN(), true, true, true));
    QVERIFY_THROWS_EXCEPTION(
        FloatError, ConvertSeconds(std::numeric_limits<float>::infinity(), false, false, true));
    QVERIFY_THROWS_EXCEPTION(
        FloatError, ConvertSeconds(-std::numeric_limits<float>::infinity(), true, false, false));
}

void TestHelpers::convertSecondsResults() {
    using ConvertSeconds_::last;

    ConvertSeconds(3725.0f, false, false, true);
    QCOMPARE(last().hours, QStringLiteral("01"));
    QCOMPARE(last().minutes, QStringLiteral("02"));
    QCOMPARE(last().seconds, QStringLiteral("05"));
    QCOMPARE(last().longText, QStringLiteral("1 hour 2 minutes 5 seconds"));

    // Kept whatever form was asked for; singular units keep a blank after hours and minutes.
    ConvertSeconds(3661.0f, true, true, true);
    QCOMPARE(last().longText, QStringLiteral("1 hour 1 minute 1 second"));
    ConvertSeconds(3660.0f, true, false, false);
    QCOMPARE(last().seconds, QStringLiteral("00"));
    QCOMPARE(last().longText, QStringLiteral("1 hour 1 minute "));
    ConvertSeconds(7322.0f, true, true, true);
    QCOMPARE(last().longText, QStringLiteral("2 hours 2 minutes 2 seconds"));
    ConvertSeconds(120.0f, false, false, false);
    QCOMPARE(last().hours, QStringLiteral("00"));
    QCOMPARE(last().longText, QStringLiteral("2 minutes "));

    ConvertSeconds(0.0f, true, true, true);
    QCOMPARE(last().hours, QStringLiteral("00"));
    QCOMPARE(last().minutes, QStringLiteral("00"));
    QCOMPARE(last().seconds, QStringLiteral("00"));
    QCOMPARE(last().longText, QStringLiteral("0 seconds"));

    // The fields are two characters wide: 100 hours keep their first two digits.
    ConvertSeconds(360000.0f, true, true, true);
    QCOMPARE(last().hours, QStringLiteral("10"));
    QCOMPARE(last().longText, QStringLiteral("100 hours "));
}

// clang-format off
void TestHelpers::countFields_data() {
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("count");

    QTest::newRow("no value") << QVariant() << 0;
    QTest::newRow("number") << QVariant(42) << 0;
    QTest::newRow("byte array") << QVariant(QByteArray("a\\b")) << 0;
    QTest::newRow("empty text") << QVariant(QString()) << 0;
    QTest::newRow("no backslash") << QVariant(QStringLiteral("abc")) << 1;
    QTest::newRow("two backslashes") << QVariant(QStringLiteral("a\\b\\c")) << 3;
    QTest::newRow("only a backslash") << QVariant(QStringLiteral("\\")) << 2;
    QTest::newRow("adjacent backslashes") << QVariant(QStringLiteral("a\\\\b")) << 3;
    QTest::newRow("most that fits") << QVariant(QString(32766, u'\\')) << 32767;
    // Long texts are fine as long as no backslash sits past the 16-bit positions.
    QTest::newRow("long text, early backslash")
        << QVariant(QStringLiteral("a\\") + QString(40000, u'x')) << 2;
}
// clang-format on

void TestHelpers::countFields() {
    QFETCH(QVariant, value);
    QFETCH(int, count);
    QCOMPARE(CountCSString(value), qint16(count));
}

void TestHelpers::countFieldsOverflow() {
    QVERIFY_THROWS_EXCEPTION(OverflowError, CountCSString(QString(32767, u'\\')));
    QVERIFY_THROWS_EXCEPTION(OverflowError, CountCSString(QString(70000, u'\\')));
    // One backslash, but the search would go on from position 40002.
    QVERIFY_THROWS_EXCEPTION(OverflowError,
                             CountCSString(QString(40000, u'a') + QStringLiteral("\\b")));
}

// clang-format off
void TestHelpers::getField_data() {
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("index");
    QTest::addColumn<QVariant>("field");

    const QVariant none;
    const QVariant fields(QStringLiteral("one\\ b \\three"));
    QTest::newRow("first") << fields << 1 << QVariant(QStringLiteral("one"));
    QTest::newRow("blank-surrounded letter") << fields << 2 << QVariant(QStringLiteral("b"));
    QTest::newRow("last") << fields << 3 << QVariant(QStringLiteral("three"));
    QTest::newRow("index 0") << fields << 0 << none;
    QTest::newRow("negative index") << fields << -1 << none;
    QTest::newRow("above the count") << fields << 4 << none;
    QTest::newRow("empty text") << QVariant(QString()) << 1 << none;
    QTest::newRow("not a string") << QVariant(7) << 1 << none;
    QTest::newRow("no backslash") << QVariant(QStringLiteral("  solo ")) << 1
                                  << QVariant(QStringLiteral("solo"));
    // Only blanks are trimmed, not other white space.
    QTest::newRow("tab kept") << QVariant(QStringLiteral("\tx \\y")) << 1
                              << QVariant(QStringLiteral("\tx"));
    QTest::newRow("empty middle field") << QVariant(QStringLiteral("a\\\\b")) << 2
                                        << QVariant(QString(""));
    QTest::newRow("after the middle field") << QVariant(QStringLiteral("a\\\\b")) << 3
                                            << QVariant(QStringLiteral("b"));
    QTest::newRow("empty last field") << QVariant(QStringLiteral("a\\")) << 2
                                      << QVariant(QString(""));
    // A leading backslash makes field 1 the whole trimmed text.
    QTest::newRow("leading backslash, field 1")
        << QVariant(QStringLiteral("\\dir\\file ")) << 1
        << QVariant(QStringLiteral("\\dir\\file"));
    QTest::newRow("blank before the backslash")
        << QVariant(QStringLiteral(" \\dir\\file")) << 1 << QVariant(QString(""));
    QTest::newRow("leading backslash, field 2")
        << QVariant(QStringLiteral("\\dir\\file ")) << 2 << QVariant(QStringLiteral("dir"));
    QTest::newRow("longest text that fits")
        << QVariant(QString(32767, u'z')) << 1 << QVariant(QString(32767, u'z'));
}
// clang-format on

void TestHelpers::getField() {
    QFETCH(QVariant, value);
    QFETCH(int, index);
    QFETCH(QVariant, field);

    const QVariant result = GetCSString(value, qint16(index));
    QCOMPARE(result.isValid(), field.isValid());
    if (field.isValid()) {
        QCOMPARE(result.typeId(), int(QMetaType::QString));
        QCOMPARE(result.toString(), field.toString());
    }
}

void TestHelpers::getFieldOverflow() {
    // Without a backslash the field ends at the text's length, which must fit in 16 bits.
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString(QString(40000, u'a'), 1));
    // The last field ends at the length too; an earlier field of the same text is fine.
    const QString longTail = QStringLiteral("a\\") + QString(40000, u'b');
    QCOMPARE(GetCSString(longTail, 1).toString(), QStringLiteral("a"));
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString(longTail, 2));
    // The count overflows before any field is picked, even for an index that asks for none.
    QVERIFY_THROWS_EXCEPTION(OverflowError, GetCSString(QString(32767, u'\\'), 0));
}

QTEST_GUILESS_MAIN(TestHelpers)
#include "test_helpers.moc"
