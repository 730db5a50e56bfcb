#pragma once

#include "panelkit/MainWindow.h"
#include "tests/fakes/CallLog.h"

#include <QStringList>
#include <functional>

struct SharedState;

// The main window as a panel sees it. SelectFolder answers from folders in order (an empty
// answer or none left is a cancel) and, when the test gave it state, remembers the answer in
// its prevFolder as Form1 does (a cancel empties it).
class FakeMainWindow final : public MainWindow, public CallRecorder {
public:
    explicit FakeMainWindow(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("MainWindow"), log) {}

    QString SelectFolder(QWidget* owner, const QString& title) override;
    QString skinPath() const override { return skin; }
    // Raises Error when the test gave no drive.
    qint32 ripDriveAddress() const override;

    QStringList folders;
    SharedState* state = nullptr;
    std::function<qint32()> ripDrive;
    QString skin = QStringLiteral("/opt/melvane/melvane.skn");
};
