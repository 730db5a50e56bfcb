#include "convert/EqualizerCurve.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace {

constexpr double kLowest = 10, kHighest = 22000, kRange = 15; // Hz, Hz, ±dB

} // namespace

EqualizerCurve::EqualizerCurve(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void EqualizerCurve::setResponse(const EqualizerResponse::Gains& gains, int sampleRate) {
    m_gains = gains;
    m_sampleRate = sampleRate;
    update();
}

double EqualizerCurve::levelAt(double frequency) const {
    return EqualizerResponse::at(m_gains, frequency, m_sampleRate);
}

QPointF EqualizerCurve::point(const QRectF& plot, double frequency, double db) const {
    const double x = std::log(frequency / kLowest) / std::log(kHighest / kLowest);
    const double y = (kRange - std::clamp(db, -kRange, kRange)) / (2 * kRange);
    return {plot.left() + x * plot.width(), plot.top() + y * plot.height()};
}

void EqualizerCurve::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    p.fillRect(rect(), pal.color(QPalette::Base));
    const QFontMetrics metrics = fontMetrics();
    const QRectF plot = QRectF(rect()).adjusted(
        metrics.horizontalAdvance(QStringLiteral("+12 dB")) + 8, 8, -8, -metrics.height() - 6);

    // The grid: decibels across, frequencies up.
    QColor grid = pal.color(QPalette::Text);
    grid.setAlphaF(0.18);
    p.setFont(font());
    for (int db = -12; db <= 12; db += 6) {
        const QPointF at = point(plot, kLowest, db);
        p.setPen(QPen(grid, db == 0 ? 1.5 : 1));
        p.drawLine(QPointF(plot.left(), at.y()), QPointF(plot.right(), at.y()));
        p.setPen(pal.color(QPalette::PlaceholderText));
        p.drawText(QRectF(0, at.y() - metrics.height() / 2.0, plot.left() - 6, metrics.height()),
                   Qt::AlignRight | Qt::AlignVCenter,
                   QStringLiteral("%1%2 dB").arg(db > 0 ? "+" : "").arg(db));
    }
    const std::pair<double, const char*> marks[] = {
        {20, "20"},   {50, "50"},   {100, "100"}, {200, "200"},   {500, "500"},
        {1000, "1k"}, {2000, "2k"}, {5000, "5k"}, {10000, "10k"}, {20000, "20k"}};
    for (const auto& [hz, label] : marks) {
        const double x = point(plot, hz, 0).x();
        p.setPen(QPen(grid, 1));
        p.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
        p.setPen(pal.color(QPalette::PlaceholderText));
        p.drawText(QRectF(x - 30, plot.bottom() + 3, 60, metrics.height()), Qt::AlignCenter,
                   QLatin1String(label));
    }

    // The response, sampled evenly on the logarithmic axis up to half the sample rate.
    const double top = std::min(kHighest, m_sampleRate / 2.0 * 0.999);
    QPainterPath curve;
    constexpr int steps = 300;
    for (int i = 0; i <= steps; ++i) {
        const double hz = kLowest * std::pow(top / kLowest, double(i) / steps);
        const QPointF at = point(plot, hz, levelAt(hz));
        if (i == 0)
            curve.moveTo(at);
        else
            curve.lineTo(at);
    }
    const QColor ink = pal.color(QPalette::Highlight);
    p.setPen(QPen(ink, 2));
    p.drawPath(curve);
    p.setBrush(ink);
    p.setPen(Qt::NoPen);
    for (int band = 0; band < FilgraphManager::EqBandCount; ++band) {
        const double hz = FilgraphManager::EqBandFrequencies[size_t(band)];
        if (FilgraphManager::EqBandInUse(band, m_sampleRate))
            p.drawEllipse(point(plot, hz, levelAt(hz)), 3, 3);
    }
}
