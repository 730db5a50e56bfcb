#pragma once

#include <QWidget>

// The volume control over one line of the audio mixer. The main window enables it in convert
// mode and picks the line with DeviceToControl; following the mixer comes with the mixer module.
class VolumeControl final : public QWidget {
    Q_OBJECT
public:
    explicit VolumeControl(QWidget* parent = nullptr);

    qint16 DeviceToControl() const { return m_deviceToControl; }
    void setDeviceToControl(qint16 device) { m_deviceToControl = device; }

private:
    qint16 m_deviceToControl = 0;
};
