#pragma once

#include "backends/media/PcmFormat.h"

#include <QAudioDevice>
#include <QString>
#include <optional>
#include <vector>

// The capture devices of the machine as Qt Multimedia sees them (the sources of PulseAudio or
// PipeWire). Qt 6.4 reports no changes, so every call reads the lists afresh.

struct CaptureDevice {
    QString id; // the sound server's name for it, e.g. "alsa_input.pci-0000_00_1f.3.analog-stereo"
    QString name; // what users read, e.g. "Built-in Audio Analog Stereo"
    bool isDefault = false;
};

std::vector<CaptureDevice> captureDevices();
// The default input's id; empty when the machine has no capture device.
QString defaultCaptureDevice();
// The device with this id, or the default input for an empty id; nothing when it is not there.
std::optional<QAudioDevice> findCaptureDevice(const QString& id);

// One format a device can capture in.
struct CaptureFormat {
    int sampleRate = 44100;
    int bits = 16; // 8 (unsigned) or 16 (signed)
    int channels = 2;

    // "44100 Hz, 16 bit, stereo"
    QString name() const;
    // The media core works in 16 bits whatever the device delivers.
    PcmFormat pcm() const { return {sampleRate, channels}; }
    bool operator==(const CaptureFormat&) const = default;
};

// The formats the device takes, in the order the recorder's PCMFormat counts them: rates 8000,
// 11025, 22050, 44100, 48000 Hz, each with 8 and 16 bits, each mono and stereo. A device that
// takes them all has 44.1 kHz 16-bit stereo at 15.
std::vector<CaptureFormat> captureFormats(const QAudioDevice& device);
