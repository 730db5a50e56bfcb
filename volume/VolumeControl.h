#pragma once

#include <QVariantMap>
#include <QWidget>

class QTimer;
class VolumeMixer;
class VolumePopup;

// The volume control over one line of the first audio mixer: DeviceToControl picks the line's
// volume in the mixer module's table (its mute is 7 further on), Volume (percent) and Mute
// read and write it. While enabled it follows the mixer (a short poll, and at once when the
// mixer reports a change) and raises VolumeChanged and MuteChanged when another program moved
// it. Writes of Volume, Mute and DeviceToControl are ignored while it is disabled.
//
// It draws itself as a small speaker showing the level and the mute state; a click opens a
// slider and a mute switch.
class VolumeControl final : public QWidget {
    Q_OBJECT
public:
    // Opens the first mixer device in the shared module; closing happens on destruction.
    explicit VolumeControl(VolumeMixer& mixer, QWidget* parent = nullptr);
    ~VolumeControl() override;

    // The control's own enabled state (QWidget::setEnabled writes it); Timer1 runs exactly
    // while it is true.
    bool Enabled() const;
    qint32 Volume() const { return m_volume; }
    void setVolume(qint32 value);
    bool Mute() const { return m_mute; }
    void setMute(bool value);
    qint32 DeviceToControl() const { return m_deviceToControl; }
    // Raises VolumeChanged, then MuteChanged, with the new line's values, changed or not.
    void setDeviceToControl(qint32 index);

    // The property store: first placement, loading and saving, under the stored names
    // "Enabled", "Volume", "mute" and "DeviceToControl".
    void InitProperties();
    void ReadProperties(const QVariantMap& bag);
    void WriteProperties(QVariantMap& bag) const;

    // One poll of the mixer; raises the change events, volume first.
    void Timer1_Timer();
    static constexpr int PollInterval = 200; // ms

    QSize sizeHint() const override;

Q_SIGNALS:
    void MuteChanged(bool mute);
    void VolumeChanged(qint32 volume);
    // A property was written ("Enabled", "Volume", "Mute", "DeviceToControl").
    void PropertyChanged(const QString& name);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void poll();
    void keepSize();
    void showPopup();
    void refresh();

    VolumeMixer& m_mixer;
    QTimer* m_pollTimer = nullptr; // "Timer1", polling the mixer while enabled
    VolumePopup* m_popup = nullptr;
    qint32 m_deviceToControl = 5;
    qint32 m_volume = 0;
    bool m_mute = false;
};
