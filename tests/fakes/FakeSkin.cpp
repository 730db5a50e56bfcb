#include "tests/fakes/FakeSkin.h"

#include "components/Error.h"

void FakeSkin::LoadSkin(const QString& path) {
    record(QStringLiteral("LoadSkin"), {path});
    if (!loadError.isEmpty())
        throw Error(loadError);
}

void FakeSkin::ApplySkin(QWidget* window) {
    record(QStringLiteral("ApplySkin"), {widgetName(window)});
}

QColor FakeSkin::BackColor() const {
    record(QStringLiteral("BackColor"));
    return backColor;
}
