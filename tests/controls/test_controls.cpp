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

// Pixels of a widget's picture close to a colour, in a region.
int countPixels(const QImage& image, const QRect& region, const QColor& color) {
    int count = 0;
    for (int y = region.top(); y <= region.bottom(); ++y) {
        for (int x = region.left(); x <= region.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (qAbs(c.red() - color.red()) < 24 && qAbs(c.green() - color.green()) < 24 &&
                qAbs(c.blue() - color.blue()) < 24)
                ++count;
        }
    }
    return count;
}

QPalette plainPalette() {
    QPalette p;
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::Window, Qt::white);
    p.setColor(QPalette::Text, Qt::black);
    p.setColor(QPalette::WindowText, Qt::black);
    p.setColor(QPalette::Highlight, QColor(255, 0, 0));
    p.setColor(QPalette::HighlightedText, Qt::white);
    return p;
}

} // namespace

class ControlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void checkBoxTogglesOnReleaseInside();
    void checkBoxKeepsValueOnReleaseOutside();
    void checkBoxSetValueIsSilent();
    void checkBoxSpaceToggles();
    void checkBoxPaintsItsState();
    void designerFormSetsProperties();

    void progressBarFractionsAndClamping_data();
    void progressBarFractionsAndClamping();
    void progressBarRejectsNonFiniteValues();
    void progressBarPaintsProportionalFill();

    void listRaisesIndexErrorOutsideItsRows();
    void listRowsAreOneBased();
    void listCheckBoxes();
    void listSelection();
    void listReportsUserToggles();
    void listMouseSignals();
};

void ControlsTest::checkBoxTogglesOnReleaseInside() {
    QWidget host;
    host.resize(300, 80);
    auto* box = new SkinCheckBox(&host);
    box->setCaption(QStringLiteral("Finalize Disc"));
    box->setGeometry(10, 10, 150, 24);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    QSignalSpy clicks(box, &SkinCheckBox::Click);

    QTest::mousePress(box, Qt::LeftButton, {}, QPoint(20, 12));
    QCOMPARE(QWidget::mouseGrabber(), box);
    QCOMPARE(box->Value(), qint16(0)); // nothing happens before the release
    QCOMPARE(clicks.count(), 0);
    QTest::mouseRelease(box, Qt::LeftButton, {}, QPoint(22, 12));
    QCOMPARE(QWidget::mouseGrabber(), nullptr);
    QCOMPARE(box->Value(), qint16(1));
    QCOMPARE(clicks.count(), 1);

    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(100, 12));
    QCOMPARE(box->Value(), qint16(0));
    QCOMPARE(clicks.count(), 2);

    // Other buttons neither grab nor toggle.
    QTest::mousePress(box, Qt::RightButton, {}, QPoint(20, 12));
    QCOMPARE(QWidget::mouseGrabber(), nullptr);
    QTest::mouseRelease(box, Qt::RightButton, {}, QPoint(20, 12));
    QCOMPARE(box->Value(), qint16(0));
    QCOMPARE(clicks.count(), 2);
}

void ControlsTest::checkBoxKeepsValueOnReleaseOutside() {
    QWidget host;
    host.resize(300, 80);
    auto* box = new SkinCheckBox(&host);
    box->setCaption(QStringLiteral("Only Test Burn"));
    box->setGeometry(10, 10, 150, 24);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    QSignalSpy clicks(box, &SkinCheckBox::Click);

    QTest::mousePress(box, Qt::LeftButton, {}, QPoint(20, 12));
    QCOMPARE(QWidget::mouseGrabber(), box);
    QTest::mouseMove(box, QPoint(200, 40));
    QTest::mouseRelease(box, Qt::LeftButton, {}, QPoint(200, 40));
    QCOMPARE(QWidget::mouseGrabber(), nullptr);
    QCOMPARE(box->Value(), qint16(0));
    QCOMPARE(clicks.count(), 0);

    // Leaving and coming back before the release still counts as a click.
    QTest::mousePress(box, Qt::LeftButton, {}, QPoint(20, 12));
    QTest::mouseMove(box, QPoint(-30, 12));
    QTest::mouseMove(box, QPoint(30, 12));
    QTest::mouseRelease(box, Qt::LeftButton, {}, QPoint(30, 12));
    QCOMPARE(box->Value(), qint16(1));
    QCOMPARE(clicks.count(), 1);
}

void ControlsTest::checkBoxSetValueIsSilent() {
    SkinCheckBox box;
    QSignalSpy clicks(&box, &SkinCheckBox::Click);
    box.setValue(1);
    QCOMPARE(box.Value(), qint16(1));
    box.setValue(0);
    QCOMPARE(box.Value(), qint16(0));
    box.setValue(-1); // a 16-bit true
    QCOMPARE(box.Value(), qint16(1));
    QCOMPARE(clicks.count(), 0);
}

void ControlsTest::checkBoxSpaceToggles() {
    SkinCheckBox box;
    box.setCaption(QStringLiteral("Burn Proof Status"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QSignalSpy clicks(&box, &SkinCheckBox::Click);
    QTest::keyClick(&box, Qt::Key_Space);
    QCOMPARE(box.Value(), qint16(1));
    QCOMPARE(clicks.count(), 1);
    QTest::keyClick(&box, Qt::Key_Space);
    QCOMPARE(box.Value(), qint16(0));
    QCOMPARE(clicks.count(), 2);
    QTest::keyClick(&box, Qt::Key_A);
    QCOMPARE(clicks.count(), 2);
}

void ControlsTest::checkBoxPaintsItsState() {
    SkinCheckBox box;
    box.setPalette(plainPalette());
    box.setCaption(QStringLiteral("Finalize Disc"));
    box.setBackColor(QColor(0, 0, 255));
    box.resize(box.sizeHint() + QSize(60, 0));
    const QRect boxArea(0, 0, 30, box.height());

    const QImage unchecked = box.grab().toImage();
    QCOMPARE(countPixels(unchecked, boxArea, QColor(255, 0, 0)), 0);
    // The back colour fills the control; the area past the caption shows nothing else.
    QCOMPARE(unchecked.pixelColor(box.width() - 3, 1), QColor(0, 0, 255));

    box.setValue(1);
    const QImage checked = box.grab().toImage();
    QVERIFY(countPixels(checked, boxArea, QColor(255, 0, 0)) > 40);
    QVERIFY(countPixels(checked, boxArea, QColor(255, 255, 255)) > 3); // the tick

    // The caption is drawn in the fore colour and makes the control wider.
    box.setForeColor(QColor(0, 255, 0));
    const QImage green = box.grab().toImage();
    QVERIFY(countPixels(green, QRect(30, 0, box.width() - 30, box.height()), QColor(0, 255, 0)) > 20);
    const int shortWidth = box.sizeHint().width();
    box.setCaption(QStringLiteral("Finalize Disc And Close The Session"));
    QVERIFY(box.sizeHint().width() > shortWidth + 50);
}

void ControlsTest::designerFormSetsProperties() {
    QWidget form;
    Ui::ControlsForm ui;
    ui.setupUi(&form);
    QCOMPARE(ui.TestBurnChk->Caption(), QStringLiteral("Only Test Burn"));
    QCOMPARE(ui.TestBurnChk->ForeColor(), QColor(10, 20, 30));
    QCOMPARE(ui.TestBurnChk->BackColor(), QColor(200, 210, 220));
    QCOMPARE(ui.TestBurnChk->Value(), qint16(1));
    QVERIFY(!ui.TestBurnChk->isEnabled());
    QCOMPARE(ui.TestBurnChk->font().family(), QStringLiteral("Arial"));
    QCOMPARE(ui.ProgressBar1->Min(), 10.0);
    QCOMPARE(ui.ProgressBar1->Max(), 20.0);
    QCOMPARE(ui.ProgressBar1->Value(), 12.5);

    // The same properties by name, as a form would set them at run time.
    QVERIFY(ui.TestBurnChk->setProperty("Enabled", true));
    QVERIFY(ui.TestBurnChk->isEnabled());
    QVERIFY(ui.TestBurnChk->setProperty("Value", 0));
    QCOMPARE(ui.TestBurnChk->Value(), qint16(0));
}

void ControlsTest::progressBarFractionsAndClamping_data() {
    QTest::addColumn<double>("min");
    QTest::addColumn<double>("max");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("fraction");
    QTest::addColumn<QString>("text");
    QTest::newRow("fractional") << 0.0 << 100.0 << 42.75 << 0.4275 << "42%";
    QTest::newRow("just under full") << 0.0 << 100.0 << 99.99 << 0.9999 << "99%";
    QTest::newRow("full") << 0.0 << 100.0 << 100.0 << 1.0 << "100%";
    QTest::newRow("above max") << 0.0 << 100.0 << 150.0 << 1.0 << "100%";
    QTest::newRow("below min") << 0.0 << 100.0 << -5.0 << 0.0 << "0%";
    QTest::newRow("offset range") << 10.0 << 20.0 << 12.5 << 0.25 << "25%";
    QTest::newRow("small range") << 0.0 << 1.0 << 0.333 << 0.333 << "33%";
    QTest::newRow("empty range") << 5.0 << 5.0 << 5.0 << 0.0 << "0%";
    QTest::newRow("reversed range") << 10.0 << 0.0 << 5.0 << 0.0 << "0%";
}

void ControlsTest::progressBarFractionsAndClamping() {
    QFETCH(double, min);
    QFETCH(double, max);
    QFETCH(double, value);
    QFETCH(double, fraction);
    QFETCH(QString, text);
    ProgressBar bar;
    QCOMPARE(bar.Min(), 0.0);
    QCOMPARE(bar.Max(), 100.0);
    QCOMPARE(bar.Value(), 0.0);
    bar.setMin(min);
    bar.setMax(max);
    bar.setValue(value);
    QCOMPARE(bar.Value(), value); // kept as given
    QVERIFY2(std::abs(bar.fraction() - fraction) < 1e-9, qPrintable(QString::number(bar.fraction())));
    QCOMPARE(bar.text(), text);
}

void ControlsTest::progressBarRejectsNonFiniteValues() {
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

void ControlsTest::progressBarPaintsProportionalFill() {
    ProgressBar bar;
    bar.setPalette(plainPalette());
    bar.resize(200, 20);
    const QColor red(255, 0, 0);
    auto fillAt = [&bar, &red](int x) { return countPixels(bar.grab().toImage(), QRect(x, 6, 1, 8), red) == 8; };

    QVERIFY(!fillAt(5));
    bar.setValue(25.0);
    QVERIFY(fillAt(5));
    QVERIFY(fillAt(45));
    QVERIFY(!fillAt(55));
    QVERIFY(!fillAt(190));
    bar.setValue(25.6); // a fraction of a percent moves the edge
    QVERIFY(fillAt(50));
    bar.setValue(150.0);
    QVERIFY(fillAt(190));
    bar.setValue(-10.0);
    QVERIFY(!fillAt(5));
}

void ControlsTest::listRaisesIndexErrorOutsideItsRows() {
    ReportList list;
    list.setObjectName(QStringLiteral("LV"));
    list.setColumnHeaders({QStringLiteral("File"), QStringLiteral("Type")});
    QCOMPARE(list.Count(), 0);
    QCOMPARE(list.SelectedIndex(), 0);
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Text(1));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Text(0));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Checked(1));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.setChecked(1, false));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.setSelected(1, true));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Remove(1));

    list.Add(QStringLiteral("/music/a.wav"));
    list.Add(QStringLiteral("/music/b.wav"));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Text(3));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.Text(-1));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.SubItem(3, 1));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.setText(3, QString()));
    // Sub-items exist only for the columns after the first.
    QVERIFY_THROWS_EXCEPTION(IndexError, list.SubItem(1, 0));
    QVERIFY_THROWS_EXCEPTION(IndexError, list.setSubItem(1, 2, QStringLiteral("x")));
    try {
        list.Text(3);
    } catch (const IndexError& e) {
        QVERIFY2(e.message().contains(QLatin1String("row 3")) && e.message().contains(QLatin1String("LV")),
                 qPrintable(e.message()));
    }
    QCOMPARE(list.Count(), 2);
}

void ControlsTest::listRowsAreOneBased() {
    ReportList list;
    list.setColumnHeaders({QStringLiteral("Track"), QStringLiteral("TrackTime"), QStringLiteral("Size"),
                           QStringLiteral("Tracks"), QStringLiteral("CD Time")});
    QCOMPARE(list.columnCount(), 5);
    QCOMPARE(list.headerItem()->text(4), QStringLiteral("CD Time"));
    QCOMPARE(list.Add(QStringLiteral("1")), 1);
    QCOMPARE(list.Add(QStringLiteral("2")), 2);
    QCOMPARE(list.Add(QStringLiteral("3")), 3);
    list.setSubItem(1, 1, QStringLiteral("Track01"));
    list.setSubItem(2, 1, QStringLiteral("Track02"));
    list.setSubItem(3, 4, QStringLiteral("55:20:12"));
    QCOMPARE(list.Text(1), QStringLiteral("1"));
    QCOMPARE(list.SubItem(2, 1), QStringLiteral("Track02"));
    QCOMPARE(list.SubItem(3, 4), QStringLiteral("55:20:12"));
    QCOMPARE(list.SubItem(3, 2), QString());
    // Row 1 is the top row on the screen too.
    QCOMPARE(list.topLevelItem(0)->text(1), QStringLiteral("Track01"));

    list.setText(2, QStringLiteral("two"));
    QCOMPARE(list.Text(2), QStringLiteral("two"));
    list.Remove(1);
    QCOMPARE(list.Count(), 2);
    QCOMPARE(list.Text(1), QStringLiteral("two"));
    QCOMPARE(list.SubItem(1, 1), QStringLiteral("Track02"));
    QCOMPARE(list.Text(2), QStringLiteral("3"));
    list.Clear();
    QCOMPARE(list.Count(), 0);
    QCOMPARE(list.columnCount(), 5); // headers stay
    QCOMPARE(list.Add(QStringLiteral("again")), 1);
}

void ControlsTest::listCheckBoxes() {
    ReportList list;
    list.Add(QStringLiteral("before check boxes"));
    QVERIFY(!list.Checked(1));
    list.setChecked(1, true); // no box, nothing to tick
    QVERIFY(!list.Checked(1));
    QVERIFY(!list.topLevelItem(0)->data(0, Qt::CheckStateRole).isValid());

    list.setCheckBoxes(true);
    QVERIFY(list.topLevelItem(0)->data(0, Qt::CheckStateRole).isValid()); // the box now shows
    QVERIFY(!list.Checked(1));
    list.Add(QStringLiteral("unchecked when new"));
    QVERIFY(!list.Checked(2));
    list.setCheckNewRows(true);
    list.Add(QStringLiteral("checked when new"));
    list.Add(QStringLiteral("also checked"));
    QVERIFY(list.Checked(3));
    QVERIFY(list.Checked(4));
    list.setChecked(3, false);
    list.setChecked(2, true);
    QVERIFY(!list.Checked(3));
    QVERIFY(list.Checked(2));
    QVERIFY(list.Checked(4));
    list.Remove(2);
    QVERIFY(!list.Checked(2)); // the old row 3
    QVERIFY(list.Checked(3));

    list.setCheckBoxes(false);
    QVERIFY(!list.Checked(3));
    QVERIFY(!list.topLevelItem(2)->data(0, Qt::CheckStateRole).isValid());
}

void ControlsTest::listSelection() {
    ReportList list;
    for (int i = 0; i < 4; ++i)
        list.Add(QString::number(i + 1));
    QCOMPARE(list.SelectedIndex(), 0);
    list.setSelected(3, true);
    QVERIFY(list.Selected(3));
    QCOMPARE(list.SelectedIndex(), 3);
    list.setSelected(2, true); // several rows may be selected
    QVERIFY(list.Selected(3));
    QCOMPARE(list.SelectedIndex(), 2);
    list.setSelected(2, false);
    QVERIFY(!list.Selected(2));
    QCOMPARE(list.SelectedIndex(), 3);
    list.Remove(1);
    QCOMPARE(list.SelectedIndex(), 2);
}

void ControlsTest::listReportsUserToggles() {
    ReportList list;
    list.setColumnHeaders({QStringLiteral("Track"), QStringLiteral("Name")});
    list.setCheckBoxes(true);
    list.setCheckNewRows(true);
    list.resize(300, 200);
    for (int i = 1; i <= 3; ++i)
        list.Add(QString::number(i));
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QSignalSpy checks(&list, &ReportList::ItemCheck);

    list.setChecked(1, false); // made in code: not reported
    QCOMPARE(checks.count(), 0);

    // A click on the box of row 2.
    QStyleOptionViewItem option;
    option.initFrom(&list);
    option.rect = list.visualItemRect(list.topLevelItem(1));
    option.features = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
    option.text = QStringLiteral("2");
    const QRect boxRect = list.style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, &list);
    QVERIFY(boxRect.isValid());
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, boxRect.center());
    QCOMPARE(checks.count(), 1);
    QCOMPARE(checks.at(0).at(0).value<qint32>(), 2);
    QVERIFY(!list.Checked(2));

    // A click on the text selects but does not toggle.
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, QPoint(200, option.rect.center().y()));
    QCOMPARE(checks.count(), 1);
    QVERIFY(!list.Checked(2));

    // Space toggles the current row.
    list.setCurrentItem(list.topLevelItem(2));
    QTest::keyClick(&list, Qt::Key_Space);
    QCOMPARE(checks.count(), 2);
    QCOMPARE(checks.at(1).at(0).value<qint32>(), 3);
    QVERIFY(!list.Checked(3));
}

void ControlsTest::listMouseSignals() {
    ReportList list;
    list.setColumnHeaders({QStringLiteral("No"), QStringLiteral("File Path")});
    list.resize(300, 200);
    list.Add(QStringLiteral("1"));
    list.Add(QStringLiteral("2"));
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QSignalSpy rightUps(&list, &ReportList::RightButtonUp);
    QSignalSpy doubleClicks(&list, &ReportList::DblClick);

    const QPoint onRow2 = list.visualItemRect(list.topLevelItem(1)).center();
    QTest::mousePress(list.viewport(), Qt::RightButton, {}, onRow2);
    QCOMPARE(rightUps.count(), 0); // the release, not the press
    QTest::mouseRelease(list.viewport(), Qt::RightButton, {}, onRow2);
    QCOMPARE(rightUps.count(), 1);
    QCOMPARE(rightUps.at(0).at(0).toPoint(), list.viewport()->mapToGlobal(onRow2));
    QCOMPARE(list.SelectedIndex(), 2); // a right click also selects, as the pop-ups expect

    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, onRow2);
    QCOMPARE(rightUps.count(), 1);
    QCOMPARE(doubleClicks.count(), 0);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, onRow2);
    QCOMPARE(doubleClicks.count(), 1);
    QCOMPARE(list.SelectedIndex(), 2);
}

QTEST_MAIN(ControlsTest)
#include "test_controls.moc"
