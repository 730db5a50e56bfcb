#include "tests/fakes/FakeMainWindow.h"

#include "components/Error.h"
#include "core/CommonHelpers.h"
#include "panelkit/SharedState.h"

QString FakeMainWindow::SelectFolder(QWidget* owner, const QString& title) {
    record(QStringLiteral("SelectFolder"), {widgetName(owner), title});
    const QString chosen = folders.isEmpty() ? QString() : folders.takeFirst();
    if (state)
        state->prevFolder = chosen;
    return chosen;
}

qint16 FakeMainWindow::CountCSString(const QVariant& value) const {
    record(QStringLiteral("CountCSString"), {value.toString()});
    return ::CountCSString(value);
}

QVariant FakeMainWindow::GetCSString(const QVariant& value, qint16 index) const {
    record(QStringLiteral("GetCSString"), {value.toString(), QString::number(index)});
    return ::GetCSString(value, index);
}

qint32 FakeMainWindow::ripDriveAddress() const {
    record(QStringLiteral("ripDriveAddress"));
    if (!ripDrive)
        throw Error(QStringLiteral("No CD drive is chosen on the rip panel."));
    return ripDrive();
}

void FakeMainWindow::complete(const QString& member) {
    record(member);
    if (onCompletion)
        onCompletion();
}
