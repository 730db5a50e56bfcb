#include "tests/fakes/FakeMainWindow.h"

#include "components/Error.h"
#include "panelkit/SharedState.h"

QString FakeMainWindow::SelectFolder(QWidget* owner, const QString& title) {
    record(QStringLiteral("SelectFolder"), {widgetName(owner), title});
    const QString chosen = folders.isEmpty() ? QString() : folders.takeFirst();
    if (state)
        state->prevFolder = chosen;
    return chosen;
}

qint32 FakeMainWindow::ripDriveAddress() const {
    record(QStringLiteral("ripDriveAddress"));
    if (!ripDrive)
        throw Error(QStringLiteral("No CD drive is chosen on the rip panel."));
    return ripDrive();
}
