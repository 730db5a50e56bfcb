// The burn panel's blank test: the disc in the rip panel's chosen drive, asked of the CD tools.
#include "burn/FrameBurn.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace {

struct BlankFixture {
    CallLog log;
    FakeAudioBurner engine{&log};
    FakeCommonDialog dialog{&log};
    FakeMessageBox messageBox{&log};
    FakeHarnTools tools{&log};
    FakeSkin skin{&log};
    FakeMainWindow main{&log};
    SharedState state;
    FrameBurn panel{{engine, dialog, messageBox, tools, skin, main, state}};

    BlankFixture() {
        ErrorBoundary::setMessageBox(&messageBox);
        tools.drives = {{0x010200, "PLEXTOR", "PX-716A", "1.11"}};
    }
    ~BlankFixture() { ErrorBoundary::setMessageBox(nullptr); }

    QString label() const { return panel.findChild<QLabel*>("SkinLabel32")->text(); }
    void press() const { panel.findChild<QPushButton*>("Command26")->click(); }
};

} // namespace

class TestBurnBlank : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void discState_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("text");
        QTest::newRow("blank") << 2 << "The Disc Is Blank";
        QTest::newRow("finalised") << 0 << "The Disc Is Not Blank!";
        QTest::newRow("appendable") << 1 << "The Disc Is Not Blank!";
        QTest::newRow("other") << 3 << "The Disc Is Not Blank!";
    }
    void discState() {
        QFETCH(int, state);
        QFETCH(QString, text);
        BlankFixture f;
        QCOMPARE(f.panel.findChild<QPushButton*>("Command26")->text(), QStringLiteral("Command26"));
        f.main.ripDrive = [] { return 0x010200; };
        f.tools.discState = state;
        f.press();
        QCOMPARE(f.log.calls,
                 QStringList({"MainWindow.ripDriveAddress()", "HarnTools.DiscState(66048)"}));
        QCOMPARE(f.label(), text);
    }

    // No drive chosen on the rip panel: the report says so and the tools are not asked.
    void noDriveChosen() {
        BlankFixture f;
        f.press();
        QCOMPARE(f.messageBox.shown.size(), 1);
        QCOMPARE(f.messageBox.shown[0].prompt,
                 QStringLiteral("No CD drive is chosen on the rip panel."));
        QCOMPARE(f.tools.count("DiscState"), 0);
        QCOMPARE(f.label(), QString());
    }
};

QTEST_MAIN(TestBurnBlank)
#include "test_burn_blank.moc"
