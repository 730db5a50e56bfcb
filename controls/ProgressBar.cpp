#include "controls/ProgressBar.h"

#include "components/Error.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

ProgressBar::ProgressBar(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ProgressBar::assign(double& field, double value, const char* name) {
    // A NaN would make every later fill meaningless; say so where it comes in.
    if (!std::isfinite(value))
        throw FloatError(QStringLiteral("progress bar %1 %2 set to %3")
                             .arg(objectName(), QLatin1String(name), QString::number(value)));
    if (field == value)
        return;
    field = value;
    update();
}

void ProgressBar::setMin(double min) {
    assign(m_min, min, "Min");
}

void ProgressBar::setMax(double max) {
    assign(m_max, max, "Max");
}

void ProgressBar::setValue(double value) {
    assign(m_value, value, "Value");
}

double ProgressBar::fraction() const {
    const double span = m_max - m_min;
    if (!(span > 0.0))
        return 0.0;
    return std::clamp((m_value - m_min) / span, 0.0, 1.0);
}

QString ProgressBar::text() const {
    // Rounded down, so the bar never claims 100% before the job is done.
    const int percent = static_cast<int>(std::floor(fraction() * 100.0 + 1e-9));
    return QString::number(percent) + QLatin1Char('%');
}

QSize ProgressBar::sizeHint() const {
    return QSize(160, fontMetrics().height() + 8);
}

QSize ProgressBar::minimumSizeHint() const {
    return QSize(fontMetrics().horizontalAdvance(QStringLiteral("100%")) + 8,
                 fontMetrics().height() + 4);
}

void ProgressBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal radius = qMin<qreal>(4.0, frame.height() / 2);

    QPainterPath outline;
    outline.addRoundedRect(frame, radius, radius);
    p.setPen(QPen(palette().color(group, QPalette::Mid), 1));
    p.setBrush(palette().color(group, QPalette::Base));
    p.drawPath(outline);

    const QString label = text();
    const QRect textRect = rect();
    p.setPen(palette().color(group, QPalette::Text));
    p.drawText(textRect, Qt::AlignCenter, label);

    const double filled = fraction() * frame.width();
    if (filled <= 0.0)
        return;
    // The fill and the text over it are clipped to the exact fraction, so the text changes
    // colour where the fill ends.
    p.save();
    p.setClipPath(outline);
    p.setClipRect(QRectF(frame.left(), frame.top(), filled, frame.height()), Qt::IntersectClip);
    p.fillRect(frame, palette().color(group, QPalette::Highlight));
    p.setPen(palette().color(group, QPalette::HighlightedText));
    p.drawText(textRect, Qt::AlignCenter, label);
    p.restore();
}
