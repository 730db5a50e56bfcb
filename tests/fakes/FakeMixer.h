#pragma once

#include "components/Mixer.h"
#include "tests/fakes/CallLog.h"

#include <QMap>
#include <optional>

// The machine's mixers answered from a table: `devices` devices that all hold `lines`, keyed by
// component type. A control's id is its line's component type times 2, plus 1 for mute; the
// open mixer's handle is 7.
class FakeMixer final : public Mixer, public CallRecorder {
public:
    struct Value {
        qint32 minimum = 0;
        qint32 maximum = 0;
        quint32 raw = 0;
    };
    struct LineControls {
        std::optional<Value> volume;
        std::optional<Value> mute;
    };

    explicit FakeMixer(CallLog* log = nullptr) : CallRecorder(QStringLiteral("Mixer"), log) {}

    quint32 mixerGetNumDevs() override {
        record(QStringLiteral("mixerGetNumDevs"));
        return devices;
    }
    quint32 mixerOpen(Handle& handle, quint32 device) override {
        record(QStringLiteral("mixerOpen"), {argText(device)});
        if (openFails || device >= devices)
            return openFails ? Failed : BadDeviceId;
        handle = 7;
        return NoError;
    }
    quint32 mixerGetLineInfo(Handle handle, quint32 componentType, Mixer::Line& line) override {
        record(QStringLiteral("mixerGetLineInfo"), {argText(handle), hex(componentType)});
        if (handle != 7 || !lines.contains(componentType))
            return InvalidLine;
        line = {componentType, componentType, QStringLiteral("line %1").arg(componentType)};
        return NoError;
    }
    quint32 mixerGetLineControls(Handle handle, quint32 lineId, quint32 controlType,
                                 Control& control) override {
        record(QStringLiteral("mixerGetLineControls"),
               {argText(handle), hex(lineId), hex(controlType)});
        const bool mute = controlType == MuteControl;
        const Value* value = find(lineId * 2 + (mute ? 1 : 0));
        if (handle != 7 || !value)
            return InvalidControl;
        control = {lineId * 2 + (mute ? 1 : 0), controlType, QString(), value->minimum,
                   value->maximum};
        return NoError;
    }
    quint32 mixerGetControlDetails(Handle handle, quint32 controlId, quint32& value) override {
        record(QStringLiteral("mixerGetControlDetails"), {argText(handle), argText(controlId)});
        const Value* found = find(controlId);
        if (handle != 7 || !found)
            return InvalidControl;
        value = found->raw;
        return NoError;
    }
    quint32 mixerSetControlDetails(Handle handle, quint32 controlId, quint32 value) override {
        record(QStringLiteral("mixerSetControlDetails"),
               {argText(handle), argText(controlId), argText(value)});
        Value* found = find(controlId);
        if (handle != 7 || !found)
            return InvalidControl;
        found->raw = value;
        return NoError;
    }
    quint32 mixerClose(Handle handle) override {
        record(QStringLiteral("mixerClose"), {argText(handle)});
        return handle == 7 ? NoError : InvalidHandle;
    }

    // The raw value of a line's volume or mute control; the line and control must exist.
    quint32& raw(quint32 componentType, bool mute) {
        return find(componentType * 2 + (mute ? 1 : 0))->raw;
    }
    // Another program changes a control, and the mixer says so.
    void changeOutside(quint32 componentType, bool mute, quint32 value) {
        raw(componentType, mute) = value;
        Q_EMIT ControlChanged(7);
    }

    quint32 devices = 1;
    bool openFails = false;
    QMap<quint32, LineControls> lines;

private:
    static QString hex(quint32 value) { return QStringLiteral("0x%1").arg(value, 0, 16); }
    Value* find(quint32 controlId) {
        auto it = lines.find(controlId / 2);
        if (it == lines.end())
            return nullptr;
        std::optional<Value>& v = controlId % 2 ? it->mute : it->volume;
        return v ? &*v : nullptr;
    }
};
