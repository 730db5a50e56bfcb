#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

// The burn panel's check box. It paints itself in the skin's colours and behaves like a
// classic check box: the mouse is captured while the button is down, and only a release over
// the control toggles it. The properties are named as the windows use them, so .ui files can
// set them directly.
class SkinCheckBox : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString Caption READ Caption WRITE setCaption)
    Q_PROPERTY(QColor ForeColor READ ForeColor WRITE setForeColor)
    Q_PROPERTY(QColor BackColor READ BackColor WRITE setBackColor)
    Q_PROPERTY(bool Enabled READ isEnabled WRITE setEnabled)
    Q_PROPERTY(qint16 Value READ Value WRITE setValue)
    Q_PROPERTY(QFont Font READ font WRITE setFont)

public:
    explicit SkinCheckBox(QWidget* parent = nullptr);

    QString Caption() const { return m_caption; }
    void setCaption(const QString& caption);

    // Unset colours follow the palette, which the skin's style sheet provides.
    QColor ForeColor() const;
    void setForeColor(const QColor& color);
    QColor BackColor() const;
    void setBackColor(const QColor& color);

    // 0 unchecked, 1 checked. Any other non-zero value (a true of -1) counts as checked.
    qint16 Value() const { return m_value; }
    void setValue(qint16 value);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    // The user toggled the box, by mouse or keyboard. Not sent by setValue.
    void Click();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QRect boxRect() const;
    int boxSize() const;
    void toggleByUser();
    void setPressed(bool pressed);

    QString m_caption;
    QColor m_foreColor;
    QColor m_backColor;
    qint16 m_value = 0;
    // The button (or Space) is down and the pointer is still over the control.
    bool m_pressed = false;
    // The press started on this control; the release decides whether it toggles.
    bool m_tracking = false;
};
