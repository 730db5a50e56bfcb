#pragma once

#include <QString>
#include <QWidget>

// A progress bar with a fractional value: Min, Max and Value are doubles, and the fill is
// drawn to the exact proportion rather than in whole steps. A value outside Min..Max is kept
// as given but drawn clamped.
class ProgressBar : public QWidget {
    Q_OBJECT
    Q_PROPERTY(double Min READ Min WRITE setMin)
    Q_PROPERTY(double Max READ Max WRITE setMax)
    Q_PROPERTY(double Value READ Value WRITE setValue)

public:
    explicit ProgressBar(QWidget* parent = nullptr);

    double Min() const { return m_min; }
    void setMin(double min);
    double Max() const { return m_max; }
    void setMax(double max);
    double Value() const { return m_value; }
    void setValue(double value);

    // The filled part, 0 to 1, as drawn.
    double fraction() const;
    // The text drawn over the bar, e.g. "42%".
    QString text() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void assign(double& field, double value, const char* name);

    double m_min = 0.0;
    double m_max = 100.0;
    double m_value = 0.0;
};
