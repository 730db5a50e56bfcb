#include "volume/VolumeControl.h"

#include "components/Checked.h"
#include "core/VolumeMixer.h"
#include "panelkit/ErrorBoundary.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QSignalBlocker>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>

using ErrorBoundary::guarded;

// The slider and mute switch that a click on the speaker opens.
class VolumePopup final : public QFrame {
public:
    explicit VolumePopup(VolumeControl* control) : QFrame(control, Qt::Popup) {
        setObjectName(QStringLiteral("volumePopup"));
        setFrameShape(QFrame::StyledPanel);
        auto* layout = new QVBoxLayout(this);
        m_level = new QLabel(this);
        m_level->setObjectName(QStringLiteral("volumeLevel"));
        m_level->setAlignment(Qt::AlignCenter);
        m_slider = new QSlider(Qt::Vertical, this);
        m_slider->setObjectName(QStringLiteral("volumeSlider"));
        m_slider->setRange(0, 100);
        m_slider->setPageStep(10);
        m_slider->setMinimumHeight(120);
        m_mute = new QCheckBox(QStringLiteral("Mute"), this);
        m_mute->setObjectName(QStringLiteral("volumeMute"));
        layout->addWidget(m_level);
        layout->addWidget(m_slider, 1, Qt::AlignHCenter);
        layout->addWidget(m_mute);
        connect(m_slider, &QSlider::valueChanged, control,
                guarded([control](int value) { control->setVolume(value); }));
        connect(m_mute, &QCheckBox::toggled, control,
                guarded([control](bool on) { control->setMute(on); }));
    }

    // Shows the control's values without writing them back.
    void show(qint32 volume, bool mute) {
        const QSignalBlocker sliderBlock(m_slider), muteBlock(m_mute);
        m_slider->setValue(volume);
        m_mute->setChecked(mute);
        m_level->setText(QStringLiteral("%1%").arg(volume));
    }

private:
    QLabel* m_level;
    QSlider* m_slider;
    QCheckBox* m_mute;
};

VolumeControl::VolumeControl(VolumeMixer& mixer, QWidget* parent)
    : QWidget(parent), m_mixer(mixer), m_pollTimer(new QTimer(this)) {
    setObjectName(QStringLiteral("VolumeControl1"));
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    m_mixer.OpenVolumeMixer(0);
    keepSize();
    m_pollTimer->setObjectName(QStringLiteral("Timer1"));
    m_pollTimer->setInterval(PollInterval);
    connect(m_pollTimer, &QTimer::timeout, this, &VolumeControl::poll);
    // The mixer reports changes made elsewhere; a poll then shows them at once.
    connect(&m_mixer.mixer(), &Mixer::ControlChanged, this, [this](Mixer::Handle handle) {
        if (m_pollTimer->isActive() && handle == m_mixer.handle())
            poll();
    });
    refresh();
}

VolumeControl::~VolumeControl() {
    m_mixer.CloseVolumeMixer();
}

void VolumeControl::keepSize() {
    // 480 twips: a third of an inch.
    const int side = qRound(480.0 * logicalDpiX() / 1440.0);
    setFixedSize(side, side);
}

QSize VolumeControl::sizeHint() const {
    return size();
}

void VolumeControl::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    keepSize();
}

bool VolumeControl::Enabled() const {
    return !testAttribute(Qt::WA_ForceDisabled);
}

void VolumeControl::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::EnabledChange)
        return;
    Q_EMIT PropertyChanged(QStringLiteral("Enabled"));
    if (Enabled())
        m_pollTimer->start();
    else
        m_pollTimer->stop();
    if (!Enabled() && m_popup)
        m_popup->hide();
    update();
}

void VolumeControl::setVolume(qint32 value) {
    if (!Enabled())
        return;
    m_volume = value;
    m_mixer.SetVolume(m_deviceToControl, value);
    Q_EMIT PropertyChanged(QStringLiteral("Volume"));
    refresh();
}

void VolumeControl::setMute(bool value) {
    if (!Enabled())
        return;
    m_mute = value;
    m_mixer.SetMute(checked::add32(m_deviceToControl, VolumeMixer::MuteOffset), value);
    Q_EMIT PropertyChanged(QStringLiteral("Mute"));
    refresh();
}

void VolumeControl::setDeviceToControl(qint32 index) {
    if (!Enabled())
        return;
    m_deviceToControl = index;
    Q_EMIT PropertyChanged(QStringLiteral("DeviceToControl"));
    m_volume = m_mixer.GetVolume(m_deviceToControl);
    refresh();
    Q_EMIT VolumeChanged(m_volume);
    m_mute = m_mixer.GetMute(checked::add32(m_deviceToControl, VolumeMixer::MuteOffset));
    refresh();
    Q_EMIT MuteChanged(m_mute);
}

void VolumeControl::poll() {
    try {
        Timer1_Timer();
    } catch (...) {
        // One report, not one per tick: polling waits for the next enabling.
        m_pollTimer->stop();
        ErrorBoundary::reportCurrentException();
    }
}

void VolumeControl::Timer1_Timer() {
    const qint32 volume = m_mixer.GetVolume(m_deviceToControl);
    if (volume != m_volume) {
        m_volume = volume;
        refresh();
        Q_EMIT VolumeChanged(volume);
    }
    const bool mute = m_mixer.GetMute(checked::add32(m_deviceToControl, VolumeMixer::MuteOffset));
    if (mute != m_mute) {
        m_mute = mute;
        refresh();
        Q_EMIT MuteChanged(mute);
    }
}

void VolumeControl::InitProperties() {
    m_deviceToControl = VolumeMixer::WaveOut;
    m_volume = m_mixer.GetVolume(VolumeMixer::WaveOut);
    m_mute = m_mixer.GetMute(VolumeMixer::WaveOut + VolumeMixer::MuteOffset);
    keepSize();
    refresh();
}

void VolumeControl::ReadProperties(const QVariantMap& bag) {
    const bool enabled = bag.value(QStringLiteral("Enabled"), true).toBool();
    m_volume = checked::narrow<qint16>(bag.value(QStringLiteral("Volume"), 0).toInt());
    m_mute = bag.value(QStringLiteral("mute"), false).toBool();
    m_deviceToControl = bag.value(QStringLiteral("DeviceToControl"), 5).toInt();
    setEnabled(enabled);
    // The timer follows the state even when loading did not change it.
    if (enabled)
        m_pollTimer->start();
    else
        m_pollTimer->stop();
    refresh();
}

void VolumeControl::WriteProperties(QVariantMap& bag) const {
    bag.insert(QStringLiteral("Enabled"), Enabled());
    bag.insert(QStringLiteral("Volume"), QVariant::fromValue(checked::narrow<qint16>(m_volume)));
    bag.insert(QStringLiteral("mute"), m_mute);
    bag.insert(QStringLiteral("DeviceToControl"), m_deviceToControl);
}

void VolumeControl::refresh() {
    setToolTip(m_mute ? QStringLiteral("Volume: %1% (muted)").arg(m_volume)
                      : QStringLiteral("Volume: %1%").arg(m_volume));
    if (m_popup && m_popup->isVisible())
        m_popup->show(m_volume, m_mute);
    update();
}

void VolumeControl::showPopup() {
    if (!m_popup)
        m_popup = new VolumePopup(this);
    m_popup->show(m_volume, m_mute);
    m_popup->adjustSize();
    // Below the speaker, right edges aligned, so it stays inside a window's right corner.
    const QPoint below = mapToGlobal(QPoint(width() - m_popup->width(), height()));
    m_popup->move(below);
    m_popup->QFrame::show();
}

void VolumeControl::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        showPopup();
    else
        QWidget::mousePressEvent(event);
}

void VolumeControl::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return)
        showPopup();
    else
        QWidget::keyPressEvent(event);
}

void VolumeControl::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor ink = palette().color(group, QPalette::WindowText);
    const qreal s = width() / 32.0;
    p.scale(s, s);

    // The speaker: a box and its cone.
    QPainterPath speaker;
    speaker.moveTo(4, 12);
    speaker.lineTo(9, 12);
    speaker.lineTo(15, 6);
    speaker.lineTo(15, 26);
    speaker.lineTo(9, 20);
    speaker.lineTo(4, 20);
    speaker.closeSubpath();
    p.fillPath(speaker, ink);

    if (m_mute) {
        p.setPen(
            QPen(isEnabled() ? QColor(0xd0, 0x30, 0x30) : ink, 2.4, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(19, 11), QPointF(29, 21));
        p.drawLine(QPointF(29, 11), QPointF(19, 21));
    } else {
        // One to three waves for the level, none at zero.
        const int waves = m_volume <= 0 ? 0 : m_volume < 34 ? 1 : m_volume < 67 ? 2 : 3;
        p.setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap));
        for (int i = 0; i < waves; ++i) {
            const qreal r = 5 + 4.5 * i;
            p.drawArc(QRectF(14 - r, 16 - r, 2 * r, 2 * r), -45 * 16, 90 * 16);
        }
    }
    // The level as a bar along the bottom edge.
    const qreal level = std::clamp(m_volume, 0, 100) / 100.0;
    p.setPen(Qt::NoPen);
    p.setBrush(palette().color(group, QPalette::Mid));
    p.drawRect(QRectF(4, 29, 25, 2));
    p.setBrush(m_mute || !isEnabled() ? ink : palette().color(group, QPalette::Highlight));
    p.drawRect(QRectF(4, 29, 25 * level, 2));
    if (hasFocus()) {
        p.setPen(QPen(palette().color(group, QPalette::Highlight), 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(0.5, 0.5, 31, 31));
    }
}
