#pragma once

// The rip panel on fakes, as Form1 gives it its components.
#include "cd/FrameCDMode.h"
#include "cd/TrackRename.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>

struct CdFixture {
    CallLog log;
    FakeHarnTools tools{&log};
    FakeMci mci{&log};
    FakeDrives drives{&log};
    FakeSettingsStore settings{&log};
    FakeMessageBox messageBox{&log};
    ReportErrorsOn reporting{&messageBox};
    FakeSkin skin{&log};
    FakeMainWindow main{&log};
    SharedState state;
    FakeDiscLookup lookup{&log};
    FrameCDMode panel{{tools, mci, drives, settings, messageBox, skin, main, state, lookup}};

    CdFixture() {
        main.state = &state;
        tools.drives = {{0x010000, "PLEXTOR", "PX-716A", "1.11"},
                        {0x010100, "HL-DT-ST", "DVDRAM GH22NS50", "TN02"},
                        {0xff0000, "Melvane", "Image demo", "2.0"},
                        {0xff0100, "Melvane", "Image spare", "2.0"}};
        drives.roots = {"C:\\", "D:\\", "E:\\", "F:\\", "G:\\"};
        for (const char* root : {"D:\\", "E:\\", "F:\\", "G:\\"})
            drives.types[QLatin1String(root)] = Drives::CdRom;
        tools.trackCount = 3;
        const char* lengths[] = {"04:35:10", "03:00:00", "10:05:74"};
        for (const QString alias : {"cd1", "cd2"}) {
            for (int n = 1; n <= 3; ++n)
                mci.answers[QStringLiteral("status %1 length track %2").arg(alias).arg(n)] = {
                    0, QLatin1String(lengths[n - 1])};
            mci.answers[QStringLiteral("status %1 length wait").arg(alias)] = {0, "17:41:09"};
        }
        for (int n = 1; n <= 10; ++n)
            mci.answers[QStringLiteral("status cd2 length%1").arg(n)] = {
                mcierr::UnrecognizedKeyword, {}};
        state.newJob = True16;
    }

    void enter() {
        panel.show();
        panel.enterRipMode();
    }
    // Entered, and set to rip WAV into /rips with numbered names.
    void enterForWaveRips() {
        main.folders = {QStringLiteral("/rips")};
        enter();
        action(QStringLiteral("mnuoptcdmode1"))->trigger();
        child(QStringLiteral("Command16"))->click();
        child<QCheckBox>(QStringLiteral("Check1"))->setChecked(false);
    }

    template <class T = QPushButton> T* child(const QString& name) const {
        return namedChild<T>(panel, name);
    }
    ReportList* list() const { return child<ReportList>(QStringLiteral("ListView1")); }
    QComboBox* combo(int n) const { return child<QComboBox>(QStringLiteral("Combo%1").arg(n)); }
    ProgressBar* bar(const QString& name) const { return child<ProgressBar>(name); }
    QString text(const QString& name) const { return child<QLabel>(name)->text(); }
    QAction* action(const QString& name) const { return child<QAction>(name); }
    QTimer* ripClock() const { return child<QTimer>(QStringLiteral("Timer1")); }

    // The user picks drive index in Combo1.
    void pickDrive(int index) {
        combo(1)->setCurrentIndex(index);
        Q_EMIT combo(1)->activated(index);
    }
    QStringList status() const {
        QStringList lines;
        const auto* box = child<QListWidget>(QStringLiteral("lstStatus"));
        for (int i = 0; i < box->count(); ++i)
            lines << box->item(i)->text();
        return lines;
    }
    // The MCI commands sent, in order.
    QStringList mciCommands() const {
        QStringList commands;
        for (const QString& call : log.matching(QStringLiteral("Mci.mciSendString(")))
            commands << call.mid(18, call.size() - 19);
        return commands;
    }
    // Track, length, size, track count and disc length of a row of the track list.
    QStringList row(qint32 n) const {
        QStringList texts;
        for (int sub = 1; sub <= 5; ++sub)
            texts << list()->SubItem(n, sub);
        return texts;
    }
    void checkOnly(const QList<qint32>& rows) {
        for (qint32 row = 1; row <= list()->Count(); ++row)
            list()->setChecked(row, rows.contains(row));
    }
};
