#include "backends/audio/CaptureDevices.h"

#include <QAudioFormat>
#include <QMediaDevices>

std::vector<CaptureDevice> captureDevices() {
    const QByteArray defaultId = QMediaDevices::defaultAudioInput().id();
    std::vector<CaptureDevice> devices;
    for (const QAudioDevice& device : QMediaDevices::audioInputs())
        devices.push_back(
            {QString::fromUtf8(device.id()), device.description(), device.id() == defaultId});
    return devices;
}

QString defaultCaptureDevice() {
    return QString::fromUtf8(QMediaDevices::defaultAudioInput().id());
}

std::optional<QAudioDevice> findCaptureDevice(const QString& id) {
    const QByteArray wanted = id.isEmpty() ? QMediaDevices::defaultAudioInput().id() : id.toUtf8();
    if (wanted.isEmpty())
        return std::nullopt;
    for (const QAudioDevice& device : QMediaDevices::audioInputs())
        if (device.id() == wanted)
            return device;
    return std::nullopt;
}

QString CaptureFormat::name() const {
    return QStringLiteral("%1 Hz, %2 bit, %3")
        .arg(sampleRate)
        .arg(bits)
        .arg(channels == 1 ? QStringLiteral("mono") : QStringLiteral("stereo"));
}

std::vector<CaptureFormat> captureFormats(const QAudioDevice& device) {
    std::vector<CaptureFormat> formats;
    for (const int rate : {8000, 11025, 22050, 44100, 48000})
        for (const int bits : {8, 16})
            for (const int channels : {1, 2}) {
                QAudioFormat format;
                format.setSampleRate(rate);
                format.setChannelCount(channels);
                format.setSampleFormat(bits == 8 ? QAudioFormat::UInt8 : QAudioFormat::Int16);
                if (device.isFormatSupported(format))
                    formats.push_back({rate, bits, channels});
            }
    return formats;
}
