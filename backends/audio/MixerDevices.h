#pragma once

#include "components/Mixer.h"

#include <map>
#include <memory>

class AlsaMixer;
class QSocketNotifier;

// The machine's mixers on ALSA's simple mixer, as the Mixer platform service describes them.
// Each open mixer watches its poll descriptors, so a change made anywhere is announced by
// ControlChanged as soon as the sound system reports it.
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

private:
    struct Open {
        std::unique_ptr<AlsaMixer> mixer;
        std::vector<std::unique_ptr<QSocketNotifier>> notifiers;
    };
    // A control: the element of its line, and whether it is the line's mute.
    struct ControlRef {
        QString element;
        bool mute = false;
    };
    static bool decode(quint32 controlId, ControlRef& ref);
    AlsaMixer* mixer(Handle handle);
    quint32 find(Handle handle, quint32 controlId, AlsaMixer*& alsa, ControlRef& ref);

    std::map<Handle, Open> m_open;
    Handle m_nextHandle = 1;
};
