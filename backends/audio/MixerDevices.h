#pragma once

#include "components/Mixer.h"

#include <QElapsedTimer>
#include <map>
#include <memory>

class AlsaMixer;
class QSocketNotifier;

// The machine's mixers on ALSA's simple mixer, as the Mixer platform service describes them.
// Each open mixer watches its poll descriptors, so a change made anywhere is announced by
// ControlChanged as soon as the sound system reports it.
//
// On a sound server ALSA's `default` mixer binds the default output as it was when opened, and
// says nothing when another output becomes the default. An open `default` is therefore opened
// afresh before a read or a write once it is ReopenAfter old, so it follows the default output.
class MixerDevices final : public Mixer {
    Q_OBJECT
public:
    explicit MixerDevices(QObject* parent = nullptr);
    ~MixerDevices() override;

    quint32 mixerGetNumDevs() override;
    quint32 mixerOpen(Handle& handle, quint32 device) override;
    quint32 mixerGetLineInfo(Handle handle, quint32 componentType, Line& line) override;
    quint32 mixerGetLineControls(Handle handle, quint32 lineId, quint32 controlType,
                                 Control& control) override;
    quint32 mixerGetControlDetails(Handle handle, quint32 controlId, quint32& value) override;
    quint32 mixerSetControlDetails(Handle handle, quint32 controlId, quint32 value) override;
    quint32 mixerClose(Handle handle) override;

    static constexpr int ReopenAfter = 1000; // ms

private:
    struct Open {
        std::unique_ptr<AlsaMixer> mixer;
        std::vector<std::unique_ptr<QSocketNotifier>> notifiers;
        QElapsedTimer age;
    };
    // A control: the element of its line, and whether it is the line's mute.
    struct ControlRef {
        QString element;
        bool mute = false;
    };
    static bool decode(quint32 controlId, ControlRef& ref);
    AlsaMixer* mixer(Handle handle);
    void watch(Handle handle, Open& open);
    static void release(Open& open);
    void freshen(Handle handle);
    quint32 find(Handle handle, quint32 controlId, AlsaMixer*& alsa, ControlRef& ref);

    std::map<Handle, Open> m_open;
    Handle m_nextHandle = 1;
};
