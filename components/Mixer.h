#pragma once

#include <QObject>
#include <QString>

// The machine's audio mixers, as the mixer... calls of the platform give them: devices counted
// from 0, a device's lines found by their component type, and one control of a line read and
// written as one unsigned value for all its channels.
//
// Our choices on Linux (ALSA's simple mixer):
// - Device 0 is the `default` mixer (on PulseAudio or PipeWire: 'Master' for the default sink
//   and 'Capture' for the default source), then one device per sound card.
// - Lines are the mixer's elements with the classic names: speakers 'Master', digital
//   'IEC958', line in 'Line', microphone 'Mic', compact disc 'CD', wave output 'PCM',
//   auxiliary 'Aux'. A missing element is a missing line.
// - A volume control's bounds are the element's own playback range (0 to 65536 on PulseAudio);
//   its value is the loudest channel's, and a write sets every channel.
// - A mute control has the bounds 0 to 1; 1 means muted, i.e. the element's switch is off.
class Mixer : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    using Handle = quint32; // 0 is no mixer

    // Line component types and control types, with the platform's numbers.
    static constexpr quint32 DstSpeakers = 4;
    static constexpr quint32 SrcDigital = 0x1002;
    static constexpr quint32 SrcLine = 0x1003;
    static constexpr quint32 SrcMicrophone = 0x1004;
    static constexpr quint32 SrcCompactDisc = 0x1005;
    static constexpr quint32 SrcWaveOut = 0x1008;
    static constexpr quint32 SrcAuxiliary = 0x1009;
    static constexpr quint32 VolumeControl = 0x50030001;
    static constexpr quint32 MuteControl = 0x20010002;

    // Results of the calls, with the platform's numbers.
    static constexpr quint32 NoError = 0;
    static constexpr quint32 Failed = 1;        // the sound system refused the call
    static constexpr quint32 BadDeviceId = 2;   // no such device
    static constexpr quint32 InvalidHandle = 5; // not an open mixer
    static constexpr quint32 InvalidLine = 1024;
    static constexpr quint32 InvalidControl = 1025;

    struct Line {
        quint32 lineId = 0;
        quint32 componentType = 0;
        QString name;
    };

    // One control of a line; all zero when empty.
    struct Control {
        quint32 controlId = 0;
        quint32 controlType = 0;
        QString name;
        qint32 minimum = 0;
        qint32 maximum = 0;
    };

    // mixerGetNumDevs
    virtual quint32 mixerGetNumDevs() = 0;
    // mixerOpen: opens a device into handle.
    virtual quint32 mixerOpen(Handle& handle, quint32 device) = 0;
    // mixerGetLineInfo by component type.
    virtual quint32 mixerGetLineInfo(Handle handle, quint32 componentType, Line& line) = 0;
    // mixerGetLineControls: the line's one control of a type.
    virtual quint32 mixerGetLineControls(Handle handle, quint32 lineId, quint32 controlType,
                                         Control& control) = 0;
    // mixerGetControlDetails and mixerSetControlDetails: one value for every channel. A read
    // shows what the sound system has now, changes made elsewhere included.
    virtual quint32 mixerGetControlDetails(Handle handle, quint32 controlId, quint32& value) = 0;
    virtual quint32 mixerSetControlDetails(Handle handle, quint32 controlId, quint32 value) = 0;
    virtual quint32 mixerClose(Handle handle) = 0;

Q_SIGNALS:
    // Some control of an open mixer changed, here or in another program (the desktop's volume
    // panel); sent soon after the change, on the mixer's thread.
    void ControlChanged(Mixer::Handle handle);
};
