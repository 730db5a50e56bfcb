#include "core/VolumeMixer.h"

#include "components/Checked.h"

bool VolumeMixer::OpenVolumeMixer(qint32 device) {
    if (device < 0 || quint32(device) >= m_mixer.mixerGetNumDevs())
        return false;
    if (m_mixer.mixerOpen(mixerHandle, quint32(device)) != Mixer::NoError)
        return false;
    // The lines in the order they are looked up, each with its row in the table.
    const std::pair<quint32, qint32> lines[] = {
        {Mixer::DstSpeakers, Speakers},     {Mixer::SrcLine, LineIn},
        {Mixer::SrcAuxiliary, Auxiliary},   {Mixer::SrcCompactDisc, CompactDisc},
        {Mixer::SrcMicrophone, Microphone}, {Mixer::SrcWaveOut, WaveOut},
        {Mixer::SrcDigital, Digital}};
    for (const auto& [type, row] : lines)
        FindControl(mixerHandle, type, Mixer::VolumeControl, mixerControls[size_t(row)]);
    for (const auto& [type, row] : lines)
        FindControl(mixerHandle, type, Mixer::MuteControl, mixerControls[size_t(row + MuteOffset)]);
    return true;
}

bool VolumeMixer::FindControl(Mixer::Handle handle, quint32 componentType, quint32 controlType,
                              Mixer::Control& target) {
    Mixer::Line line;
    if (m_mixer.mixerGetLineInfo(handle, componentType, line) != Mixer::NoError)
        return false;
    Mixer::Control found;
    if (m_mixer.mixerGetLineControls(handle, line.lineId, controlType, found) != Mixer::NoError)
        return false;
    target = found;
    return true;
}

bool VolumeMixer::SetControlValue(Mixer::Handle handle, const Mixer::Control& control,
                                  qint32 value) {
    qint32 raw = control.maximum >= 101 ? checked::mul32(value, control.maximum / 100) : value;
    raw = std::min(raw, control.maximum);
    raw = std::max(raw, control.minimum);
    return m_mixer.mixerSetControlDetails(handle, control.controlId, quint32(raw)) ==
           Mixer::NoError;
}

qint32 VolumeMixer::GetControlValue(Mixer::Handle handle, const Mixer::Control& control) {
    quint32 detail = 0;
    m_mixer.mixerGetControlDetails(handle, control.controlId, detail);
    const qint32 raw = qint32(detail);
    if (control.maximum < 101)
        return raw;
    // The minimum comes off after scaling, unlike in SetControlValue.
    return checked::roundEven32(double(checked::mul32(raw, 100)) / control.maximum -
                                control.minimum);
}

const Mixer::Control& VolumeMixer::control(qint32 index) const {
    if (index < 0 || index >= TableSize)
        throw IndexError(QStringLiteral("mixer control %1").arg(index));
    return mixerControls[size_t(index)];
}

qint32 VolumeMixer::GetVolume(qint32 index) {
    return GetControlValue(mixerHandle, control(index));
}

bool VolumeMixer::GetMute(qint32 index) {
    return GetControlValue(mixerHandle, control(index)) != 0;
}

bool VolumeMixer::SetVolume(qint32 index, qint32 value) {
    return SetControlValue(mixerHandle, control(index), value);
}

bool VolumeMixer::SetMute(qint32 index, bool state) {
    return SetControlValue(mixerHandle, control(index), state ? 1 : 0);
}

void VolumeMixer::CloseVolumeMixer() {
    m_mixer.mixerClose(mixerHandle);
    mixerHandle = 0;
}
