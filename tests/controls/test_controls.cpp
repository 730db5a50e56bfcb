#include "components/Error.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "controls/SkinCheckBox.h"
#include "ui_ControlsForm.h"

#include <QSignalSpy>
#include <QStyleOptionViewItem>
#include <QtTest>
#include <cmath>

namespace {

// Pixels of a picture close to a colour, in a region.
int countPixels(const QImage& image, const QRect& region, const QColor& color) {
    int count = 0;
    for (int y = region.top(); y <= region.bottom(); ++y) {
        for (int x = region.left(); x <= region.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            count += qAbs(c.red() - color.red()) < 24 && qAbs(c.green() - color.green()) < 24 &&
                     qAbs(c.blue() - color.blue()) < 24;
        }
    }
    return count;
}

// Black on white, with a red highlight that is easy to find in a picture.
QPalette plainPalette() {
    QPalette p;
    for (auto role : {QPalette::Base, QPalette::Window, QPalette::HighlightedText})
        p.setColor(role, Qt::white);
    p.setColor(QPalette::Text, Qt::black);
    p.setColor(QPalette::WindowText, Qt::black);
    p.setColor(QPalette::Highlight, Qt::red);
    return p;
}

} // namespace

class ControlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void checkBoxMouse_data() {
        QTest::addColumn<Qt::MouseButton>("button");
        QTest::addColumn<QList<QPoint>>("moves"); // the last one is where the button comes up
        QTest::addColumn<bool>("toggles");
        QTest::newRow("release inside") << Qt::LeftButton << QList<QPoint>{{22, 12}} << true;
        QTest::newRow("release outside") << Qt::LeftButton << QList<QPoint>{{200, 40}} << false;
        QTest::newRow("out and back in")
            << Qt::LeftButton << QList<QPoint>{{-30, 12}, {30, 12}} << true;
        QTest::newRow("right button") << Qt::RightButton << QList<QPoint>{{20, 12}} << false;
    }

    // The value changes on a left release inside only, and the mouse is held while pressed.
    void checkBoxMouse() {
        QFETCH(Qt::MouseButton, button);
        QFETCH(QList<QPoint>, moves);
        QFETCH(bool, toggles);
        QWidget host;
        host.resize(300, 80);
        auto* box = new SkinCheckBox(&host);
        box->setCaption(QStringLiteral("Finalize Disc"));
        box->setGeometry(10, 10, 150, 24);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QSignalSpy clicks(box, &SkinCheckBox::Click);

        QTest::mousePress(box, button, {}, QPoint(20, 12));
        QCOMPARE(QWidget::mouseGrabber(), button == Qt::LeftButton ? box : nullptr);
        QCOMPARE(clicks.count(), 0);
        for (const QPoint& point : moves)
            QTest::mouseMove(box, point);
        QTest::mouseRelease(box, button, {}, moves.constLast());
        QCOMPARE(QWidget::mouseGrabber(), nullptr);
        QCOMPARE(box->Value(), qint16(toggles));
        QCOMPARE(clicks.count(), int(toggles));
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(100, 12));
        QCOMPARE(box->Value(), qint16(!toggles));
    }

    void checkBoxKeyboardAndCode() {
        SkinCheckBox box;
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QSignalSpy clicks(&box, &SkinCheckBox::Click);
        box.setValue(-1); // a 16-bit true, set in code: no Click
        QCOMPARE(box.Value(), qint16(1));
        QCOMPARE(clicks.count(), 0);
        QTest::keyClick(&box, Qt::Key_Space);
        QCOMPARE(box.Value(), qint16(0));
        QTest::keyClick(&box, Qt::Key_A);
        QTest::keyClick(&box, Qt::Key_Space);
        QCOMPARE(box.Value(), qint16(1));
        QCOMPARE(clicks.count(), 2);
    }

    void checkBoxPaintsItsState() {
        SkinCheckBox box;
        box.setPalette(plainPalette());
        box.setCaption(QStringLiteral("Finalize Disc"));
        box.setBackColor(Qt::blue);
        box.resize(box.sizeHint() + QSize(60, 0));
        const QRect boxArea(0, 0, 30, box.height());
        const QImage unchecked = box.grab().toImage();
        QCOMPARE(countPixels(unchecked, boxArea, Qt::red), 0);
        QCOMPARE(unchecked.pixelColor(box.width() - 3, 1), QColor(Qt::blue));

        box.setValue(1);
        box.setForeColor(Qt::green);
        const QImage checked = box.grab().toImage();
        QVERIFY(countPixels(checked, boxArea, Qt::red) > 40);
        QVERIFY(countPixels(checked, boxArea, Qt::white) > 3); // the tick
        QVERIFY(countPixels(checked, QRect(30, 0, box.width() - 30, box.height()), Qt::green) > 20);
        // A longer caption widens the control, so that layouts do not cut it off.
        const int shortWidth = box.sizeHint().width();
        box.setCaption(QStringLiteral("Finalize Disc And Close The Session"));
        QVERIFY(box.sizeHint().width() > shortWidth + 50);
    }

    void designerFormSetsProperties() {
        QWidget form;
        Ui::ControlsForm ui;
        ui.setupUi(&form);
        QCOMPARE(ui.TestBurnChk->Caption(), QStringLiteral("Only Test Burn"));
        QCOMPARE(ui.TestBurnChk->Value(), qint16(1));
        QCOMPARE(ui.ProgressBar1->fraction(), 0.25); // Min 10, Max 20, Value 12.5
    }

    void progressBarFractionAndValues() {
        const struct {
            double min, max, value, fraction;
            const char* text;
        } cases[] = {
            {0, 100, 99.99, 0.9999, "99%"}, // never 100% before the end
            {0, 1, 0.29, 0.29, "29%"},      // 28.999... in floating point
            {0, 100, 150, 1, "100%"},
            {0, 100, -5, 0, "0%"},
            {10, 20, 12.5, 0.25, "25%"},
            {5, 5, 5, 0, "0%"}, // an empty or reversed range shows nothing
            {10, 0, 5, 0, "0%"},
        };
        for (const auto& c : cases) {
            ProgressBar bar;
            bar.setMin(c.min);
            bar.setMax(c.max);
            bar.setValue(c.value);
            const QByteArray seen = QByteArray::number(c.value) + " gives " + bar.text().toLatin1();
            QVERIFY2(std::abs(bar.fraction() - c.fraction) < 1e-9, seen);
            QVERIFY2(bar.text() == QLatin1String(c.text), seen);
            QCOMPARE(bar.Value(), c.value); // kept as given, clamped only for display
        }
        // What is not a number is refused with the bar's name, and the bar keeps its values.
        ProgressBar bar;
        bar.setObjectName(QStringLiteral("ProgressBar2"));
        bar.setValue(30);
        try {
            bar.setValue(std::nan(""));
            QFAIL("a NaN value was accepted");
        } catch (const FloatError& e) {
            QVERIFY2(e.message().contains(QLatin1String("ProgressBar2")), qPrintable(e.message()));
        }
        QVERIFY_THROWS_EXCEPTION(FloatError, bar.setMax(INFINITY));
        QCOMPARE(bar.Value(), 30.0);
        QCOMPARE(bar.Max(), 100.0);
    }

    void progressBarPaintsProportionalFill() {
        ProgressBar bar;
        bar.setPalette(plainPalette());
        bar.resize(200, 20);
        auto filledAt = [&bar](int x) {
            return countPixels(bar.grab().toImage(), QRect(x, 6, 1, 8), Qt::red) == 8;
        };
        QVERIFY(!filledAt(5));
        bar.setValue(25.0); // on the default range 0 to 100
        QVERIFY(filledAt(5) && filledAt(45));
        QVERIFY(!filledAt(55) && !filledAt(190));
        bar.setValue(25.6); // a fraction of a percent moves the edge
        QVERIFY(filledAt(50));
        bar.setValue(150.0);
        QVERIFY(filledAt(190));
    }

    void listRowsChecksAndSelection() {
        ReportList list;
        list.setObjectName(QStringLiteral("LV"));
        list.setColumnHeaders(
            {QStringLiteral("Track"), QStringLiteral("Time"), QStringLiteral("Size")});
        for (int row = 1; row <= 3; ++row)
            QCOMPARE(list.Add(QString::number(row)), row);
        list.setSubItem(2, 2, QStringLiteral("5.2 MB"));
        QCOMPARE(list.topLevelItem(1)->text(2), QStringLiteral("5.2 MB")); // row 1 is the top row

        QVERIFY_THROWS_EXCEPTION(IndexError, list.Text(0));
        QVERIFY_THROWS_EXCEPTION(IndexError, list.setChecked(4, true));
        // Sub-items exist only for the columns after the first.
        QVERIFY_THROWS_EXCEPTION(IndexError, list.SubItem(1, 0));
        QVERIFY_THROWS_EXCEPTION(IndexError, list.setSubItem(1, 3, QStringLiteral("x")));
        try {
            list.Remove(4);
            QFAIL("row 4 of 3 was removed");
        } catch (const IndexError& e) {
            QVERIFY2(e.message().contains(QLatin1String("row 4")) &&
                         e.message().contains(QLatin1String("LV")),
                     qPrintable(e.message()));
        }

        list.Remove(1);
        QCOMPARE(list.Text(1), QStringLiteral("2"));
        QCOMPARE(list.SubItem(1, 2), QStringLiteral("5.2 MB"));
        list.Clear();
        QCOMPARE(list.columnCount(), 3); // headers stay

        // Check boxes and selections follow their rows.
        QCOMPARE(list.Add(QStringLiteral("before check boxes")), 1);
        list.setChecked(1, true); // no box, nothing to tick or keep
        QVERIFY(!list.Checked(1));
        QVERIFY(!list.topLevelItem(0)->data(0, Qt::CheckStateRole).isValid());
        list.setCheckBoxes(true);
        QVERIFY(list.topLevelItem(0)->data(0, Qt::CheckStateRole).isValid()); // the box now shows
        list.Add(QStringLiteral("unchecked when new"));
        list.setCheckNewRows(true);
        list.Add(QStringLiteral("checked when new"));
        list.Add(QStringLiteral("also checked"));
        QVERIFY(!list.Checked(1) && !list.Checked(2) && list.Checked(3) && list.Checked(4));
        list.setChecked(3, false);
        list.setChecked(2, true);

        QCOMPARE(list.SelectedIndex(), 0);
        list.setSelected(4, true);
        list.setSelected(3, true); // several rows may be selected; the first one counts
        QCOMPARE(list.SelectedIndex(), 3);
        list.Remove(2);
        QVERIFY(!list.Checked(2) && list.Checked(3)); // the old rows 3 and 4
        QCOMPARE(list.SelectedIndex(), 2);
        list.setCheckBoxes(false);
        QVERIFY(!list.Checked(3));
        QVERIFY(!list.topLevelItem(2)->data(0, Qt::CheckStateRole).isValid());
    }

    void listUserInput() {
        ReportList list;
        list.setColumnHeaders({QStringLiteral("Track"), QStringLiteral("Name")});
        list.setCheckBoxes(true);
        list.setCheckNewRows(true);
        list.resize(300, 200);
        for (int row = 1; row <= 3; ++row)
            list.Add(QString::number(row));
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        QSignalSpy checks(&list, &ReportList::ItemCheck);
        QSignalSpy rightUps(&list, &ReportList::RightButtonUp);
        QSignalSpy doubleClicks(&list, &ReportList::DblClick);
        list.setChecked(1, false); // made in code: not reported
        QCOMPARE(checks.count(), 0);

        // A click on the box of row 2 is one toggle (the delegate sees a press and a release);
        // a click on its text is none.
        QStyleOptionViewItem option;
        option.initFrom(&list);
        option.rect = list.visualItemRect(list.topLevelItem(1));
        option.features =
            QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
        const QRect box =
            list.style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, &list);
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, box.center());
        QCOMPARE(checks.count(), 1);
        QCOMPARE(checks.at(0).at(0).value<qint32>(), 2);
        const QPoint onRow2 = option.rect.center();
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, onRow2);
        QCOMPARE(checks.count(), 1);
        QCOMPARE(doubleClicks.count(), 0);
        QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, onRow2);
        QCOMPARE(doubleClicks.count(), 1);

        // Space toggles the current row.
        list.setCurrentItem(list.topLevelItem(2));
        QTest::keyClick(&list, Qt::Key_Space);
        QCOMPARE(checks.count(), 2);
        QCOMPARE(checks.at(1).at(0).value<qint32>(), 3);

        // The right button reports on release, and selects the row as the pop-up menus expect.
        QTest::mousePress(list.viewport(), Qt::RightButton, {}, onRow2);
        QCOMPARE(rightUps.count(), 0);
        QTest::mouseRelease(list.viewport(), Qt::RightButton, {}, onRow2);
        QCOMPARE(rightUps.count(), 1);
        QCOMPARE(rightUps.at(0).at(0).toPoint(), list.viewport()->mapToGlobal(onRow2));
        QCOMPARE(list.SelectedIndex(), 2);
    }
};

QTEST_MAIN(ControlsTest)
#include "test_controls.moc"
