#pragma once

#include "convert/EqualizerResponse.h"

#include <QWidget>

// The response of the "EQ Filter" as a curve over the audible range (logarithmic frequency,
// -15 to +15 dB), with a dot at each band's centre.
class EqualizerCurve final : public QWidget {
    Q_OBJECT
public:
    explicit EqualizerCurve(QWidget* parent = nullptr);

    void setResponse(const EqualizerResponse::Gains& gains, int sampleRate);
    // What the curve shows at a frequency, in dB.
    double levelAt(double frequency) const;

    QSize sizeHint() const override { return {520, 180}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPointF point(const QRectF& plot, double frequency, double db) const;

    EqualizerResponse::Gains m_gains{};
    int m_sampleRate = 44100;
};
