// Checked 16-bit and 32-bit arithmetic: results at the edges of the range, and the overflow
// error one step beyond.
#include "components/Checked.h"

#include <QTest>
#include <cmath>
#include <limits>

class TestChecked : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sixteenBitCountersStopAtTheirRange() {
        QCOMPARE(checked::add16(32766, 1), qint16(32767));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::add16(32767, 1));
        QCOMPARE(checked::sub16(-32767, 1), qint16(-32768));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::sub16(-32768, 1));
        QCOMPARE(checked::narrow<qint16>(qint64(-32768)), qint16(-32768));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::narrow<qint16>(40000));
    }

    void thirtyTwoBitArithmeticStopsAtItsRange() {
        const qint32 max = std::numeric_limits<qint32>::max();
        QCOMPARE(checked::add32(max - 1, 1), max);
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::add32(max, 1));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::mul32(65536, 32768));
        QCOMPARE(checked::mul32(65536, 32767), qint32(2147418112));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::narrow<qint32>(qint64(max) + 1));
    }

    void floatingValuesBecomeIntegersOnlyWhenTheyFit() {
        QCOMPARE(checked::floor32(-0.5), qint32(-1));
        QCOMPARE(checked::floor32(2147483647.0), qint32(2147483647));
        QVERIFY_THROWS_EXCEPTION(OverflowError, checked::floor32(2147483648.0));
        QCOMPARE(checked::roundEven32(58.5), qint32(58));
        QCOMPARE(checked::roundEven32(59.5), qint32(60));
        QCOMPARE(checked::roundEven32(-2.5), qint32(-2));
        QVERIFY_THROWS_EXCEPTION(FloatError, checked::roundEven32(std::nan("")));
        QVERIFY_THROWS_EXCEPTION(FloatError, checked::floor32(INFINITY));
    }

    void theOverflowErrorSaysWhatOverflowed() {
        try {
            checked::add16(32767, 2);
            QFAIL("no overflow");
        } catch (const OverflowError& e) {
            QVERIFY2(e.message().contains(QStringLiteral("32767 + 2")), qPrintable(e.message()));
        }
    }
};

QTEST_APPLESS_MAIN(TestChecked)
#include "test_checked.moc"
