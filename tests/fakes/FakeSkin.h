#pragma once

#include "components/Error.h"
#include "components/Skin.h"
#include "tests/fakes/CallLog.h"

// Records "Skin.LoadSkin(path)" and "Skin.ApplySkin(objectName)"; styles nothing.
class FakeSkin final : public Skin, public CallRecorder {
public:
    explicit FakeSkin(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Skin"), log) {}

    void LoadSkin(const QString& path) override {
        call("LoadSkin", path);
        if (!loadError.isEmpty())
            throw Error(loadError);
    }
    void ApplySkin(QWidget* window) override { call("ApplySkin", window); }
    QColor BackColor() const override { return read("BackColor", backColor); }

    // When not empty, LoadSkin raises Error with this text, as for a missing skin file.
    QString loadError;
    QColor backColor = QColor(0xd8, 0xdc, 0xe4);
};
