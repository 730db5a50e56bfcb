#pragma once

#include <QString>
#include <QVariant>

class QWidget;

// The main window as panels and dialogs see it: the services it keeps for all of them (the
// folder picker, the skin, the drive chosen on the rip panel), nothing of any one panel's own
// work. Form1 implements it; panel tests use a fake.
class MainWindow {
public:
    virtual ~MainWindow() = default;

    // The folder picker: remembers the folder in SharedState::prevFolder and returns it, empty
    // when the user cancels.
    virtual QString SelectFolder(QWidget* owner, const QString& title) = 0;

    // melvane.skn in the application folder, for every window that loads the skin.
    virtual QString skinPath() const = 0;

    // The packed address of the drive chosen on the rip panel; raises Error when none is.
    virtual qint32 ripDriveAddress() const = 0;

protected:
    MainWindow() = default;
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;
};
