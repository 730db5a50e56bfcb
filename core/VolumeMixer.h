#pragma once

#include "components/Mixer.h"

#include <array>

// The volume control's mixer module: the first mixer device's handle and a table of 21
// controls, filled at opening with the volume (indices 0 to 6) and mute (7 to 13) controls of
// seven lines; 14 to 20 stay empty. One per process: every volume control shares it, so
// closing it closes the mixer for all of them.
//
// Volumes are in percent. A control whose maximum is above 100 is scaled (the 65535 example:
// 50 % writes 655 * 50 = 32750, which reads back as 50); a smaller maximum is written and read
// as it is. A line or control the machine lacks leaves its entry empty, and reading or writing
// it fails silently (a read gives 0).
class VolumeMixer {
public:
    static constexpr qint32 TableSize = 21;
    // The table's rows: volume of the line at i, its mute at i + MuteOffset.
    static constexpr qint32 Speakers = 0, Digital = 1, LineIn = 2, Microphone = 3, CompactDisc = 4,
                            WaveOut = 5, Auxiliary = 6, MuteOffset = 7;

    explicit VolumeMixer(Mixer& mixer) : m_mixer(mixer) {}

    // Opens a mixer device and fills the table; false when there is no such device or it does
    // not open.
    bool OpenVolumeMixer(qint32 device);
    // Finds the control of a type on the line of a component type and copies it into target.
    bool FindControl(Mixer::Handle handle, quint32 componentType, quint32 controlType,
                     Mixer::Control& target);
    bool SetControlValue(Mixer::Handle handle, const Mixer::Control& control, qint32 value);
    qint32 GetControlValue(Mixer::Handle handle, const Mixer::Control& control);

    // By table index; an index outside 0 to 20 raises IndexError.
    qint32 GetVolume(qint32 index);
    bool GetMute(qint32 index);
    bool SetVolume(qint32 index, qint32 value);
    bool SetMute(qint32 index, bool state);
    void CloseVolumeMixer();

    // The entry at index; raises IndexError outside the table.
    const Mixer::Control& control(qint32 index) const;
    Mixer::Handle handle() const { return mixerHandle; }
    Mixer& mixer() { return m_mixer; }

private:
    Mixer& m_mixer;
    Mixer::Handle mixerHandle = 0;
    std::array<Mixer::Control, TableSize> mixerControls{};
};
