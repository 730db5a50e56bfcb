#pragma once

// The burn panel with the components Form1 gives it: fakes, and a burning engine of the test's
// choice, made from the shared log by makeEngine (the fake engine here; the real one in
// BurnPanelOnEngine.h).
#include "burn/FrameBurn.h"
#include "burn/FrmBurnMethod.h"
#include "burn/FrmSpeedSelect.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "controls/SkinCheckBox.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

template <class Engine, std::unique_ptr<Engine> (*makeEngine)(CallLog&)> struct BurnPanelOn {
    CallLog log;
    std::unique_ptr<Engine> ownEngine = makeEngine(log);
    Engine& engine = *ownEngine;
    FakeCommonDialog dialog{&log};
    FakeMessageBox messageBox{&log};
    ReportErrorsOn reporting{&messageBox};
    FakeHarnTools tools{&log};
    FakeSkin skin{&log};
    FakeMainWindow main{&log};
    SharedState state;
    FrameBurn panel{{engine, dialog, messageBox, tools, skin, main, state}};

    template <class T = QLabel> T* child(const QString& name) const {
        return namedChild<T>(panel, name);
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
    // Picks the recorder at index of the drive list, as the user does.
    void pickRecorder(int index) {
        auto* drives = child<QComboBox>(QStringLiteral("driveCombo"));
        drives->setCurrentIndex(index);
        Q_EMIT drives->activated(index);
    }
    // Adds each file with the Add button's open dialog.
    void add(const QStringList& paths) {
        for (const QString& path : paths) {
            dialog.answers << path;
            panel.AddBtn_Click();
        }
    }
    // "No path" for each row of the compilation.
    QStringList rows() const {
        QStringList result;
        for (qint32 row = 1; row <= list()->Count(); ++row)
            result << list()->Text(row) + u' ' + list()->SubItem(row, 1);
        return result;
    }
    // Clicks BurnNow! and waits for the end: the status BurnFinished gave, -1 for none.
    int burn(int timeout = 60000) {
        QSignalSpy finished(&engine, &AudioBurner::BurnFinished);
        button(QStringLiteral("BurnNowBtn"))->click();
        return finished.wait(timeout) ? finished.at(0).at(0).toInt() : -1;
    }
    // The texts of the message boxes shown, in order.
    QStringList shown() const { return messageBox.prompts(); }
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

inline std::unique_ptr<FakeAudioBurner> makeFakeBurner(CallLog& log) {
    return std::make_unique<FakeAudioBurner>(&log);
}

// On the fake engine: two recorders, and three files of 1, 2 and 3 MiB.
struct BurnFixture : BurnPanelOn<FakeAudioBurner, makeFakeBurner> {
    BurnFixture() {
        engine.recorders = {{"Plextor", "PX-716A", "1.11", 3, 40, 48, 2 << 20, true, true},
                            {"Melvane", "Image Recorder", "2.0", 2, 48, 48, 1 << 20, true, true}};
        engine.fileBytes = {{"/m/a.wav", 1 << 20}, {"/m/b.mp3", 2 << 20}, {"/m/c.wma", 3 << 20}};
    }
};

// What DisableBurnControls turns off and EnableBurnControls on again.
inline const QStringList kBurnControls = {
    "RefreshBtn",        "BurnNowBtn",         "EjectBtn",    "AddBtn",
    "DeleteBtn",         "DeleteAllBtn",       "driveCombo",  "driveTypeLbl",
    "driveMaxRSpeedLbl", "driveBufferSizeLbl", "cdTypeLbl",   "cdStatusLbl",
    "cdUsedSpaceLbl",    "FinilizeCDChk",      "TestBurnChk", "BurnMethodBtn",
    "SelSpeedBtn"};
