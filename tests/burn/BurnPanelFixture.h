#pragma once

// The burn panel on fakes, as Form1 gives it its components.
#include "burn/FrameBurn.h"
#include "burn/FrmBurnMethod.h"
#include "burn/FrmSpeedSelect.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "controls/SkinCheckBox.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

struct BurnFixture {
    CallLog log;
    FakeAudioBurner engine{&log};
    FakeCommonDialog dialog{&log};
    FakeMessageBox messageBox{&log};
    FakeHarnTools tools{&log};
    FakeSkin skin{&log};
    FakeMainWindow main{&log};
    SharedState state;
    FrameBurn panel{{engine, dialog, messageBox, tools, skin, main, state}};

    BurnFixture() {
        ErrorBoundary::setMessageBox(&messageBox);
        engine.recorders = {{"Plextor", "PX-716A", "1.11", 3, 40, 48, 2 << 20, true, true},
                            {"Melvane", "Image Recorder", "2.0", 2, 48, 48, 1 << 20, true, true}};
        engine.fileBytes = {{"/m/a.wav", 1 << 20}, {"/m/b.mp3", 2 << 20}, {"/m/c.wma", 3 << 20}};
    }
    ~BurnFixture() { ErrorBoundary::setMessageBox(nullptr); }

    template <class T = QLabel> T* child(const QString& name) const {
        T* found = panel.findChild<T*>(name);
        if (!found)
            qFatal("no %s", qPrintable(name));
        return found;
    }
    QString text(const QString& name) const { return child<QLabel>(name)->text(); }
    ProgressBar* bar(int n) const {
        return child<ProgressBar>(QStringLiteral("ProgressBar%1").arg(n));
    }
    QPushButton* button(const QString& name) const { return child<QPushButton>(name); }
    ReportList* list() const { return child<ReportList>(QStringLiteral("ListView2")); }

    void enter() {
        panel.show();
        panel.enterBurnMode();
    }
    void add(const QStringList& paths) {
        for (const QString& path : paths) {
            dialog.answers << path;
            panel.AddBtn_Click();
        }
    }
    QStringList rows() const {
        QStringList result;
        for (qint32 row = 1; row <= list()->Count(); ++row)
            result << list()->Text(row) + u' ' + list()->SubItem(row, 1);
        return result;
    }
    // The panel is idle: the button starts, the inputs are on, the progress box is cleared.
    void checkIdle() const {
        QCOMPARE(button("BurnNowBtn")->text(), QStringLiteral("BurnNow!"));
        QCOMPARE(state.burnRunning, False16);
        QVERIFY(button("AddBtn")->isEnabled() && button("BurnNowBtn")->isEnabled());
        QCOMPARE(text("driveStatusLbl"), QStringLiteral("Idle"));
        QCOMPARE(text("ProgressLbl"), QStringLiteral("Burn Tracks:"));
        QCOMPARE(bar(1)->Value(), 0.0);
        QCOMPARE(text("driveBurnedBlocksLbl"), QStringLiteral("0"));
    }
};

// What DisableBurnControls turns off and EnableBurnControls on again.
inline const QStringList kBurnControls = {
    "RefreshBtn",        "BurnNowBtn",         "EjectBtn",    "AddBtn",
    "DeleteBtn",         "DeleteAllBtn",       "driveCombo",  "driveTypeLbl",
    "driveMaxRSpeedLbl", "driveBufferSizeLbl", "cdTypeLbl",   "cdStatusLbl",
    "cdUsedSpaceLbl",    "FinilizeCDChk",      "TestBurnChk", "BurnMethodBtn",
    "SelSpeedBtn"};
