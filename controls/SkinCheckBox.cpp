#include "controls/SkinCheckBox.h"

#include "controls/CheckPainter.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>

namespace {
constexpr int kMargin = 2;
constexpr int kSpacing = 6;
} // namespace

SkinCheckBox::SkinCheckBox(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void SkinCheckBox::setCaption(const QString& caption) {
    if (caption == m_caption)
        return;
    m_caption = caption;
    updateGeometry();
    update();
}

QColor SkinCheckBox::ForeColor() const {
    return m_foreColor.isValid() ? m_foreColor : palette().color(QPalette::WindowText);
}

void SkinCheckBox::setForeColor(const QColor& color) {
    m_foreColor = color;
    update();
}

QColor SkinCheckBox::BackColor() const {
    return m_backColor.isValid() ? m_backColor : palette().color(QPalette::Window);
}

void SkinCheckBox::setBackColor(const QColor& color) {
    m_backColor = color;
    update();
}

void SkinCheckBox::setValue(qint16 value) {
    const qint16 normalised = value != 0 ? 1 : 0;
    if (normalised == m_value)
        return;
    m_value = normalised;
    update();
}

int SkinCheckBox::boxSize() const {
    return qMax(12, fontMetrics().height() - 2);
}

QRect SkinCheckBox::boxRect() const {
    const int size = boxSize();
    return QRect(kMargin, (height() - size) / 2, size, size);
}

QSize SkinCheckBox::sizeHint() const {
    const QFontMetrics fm = fontMetrics();
    const int textWidth = m_caption.isEmpty() ? 0 : kSpacing + fm.horizontalAdvance(m_caption);
    const int h = qMax(boxSize(), fm.height()) + 2 * kMargin;
    return QSize(2 * kMargin + boxSize() + textWidth + kMargin, h);
}

QSize SkinCheckBox::minimumSizeHint() const {
    return QSize(2 * kMargin + boxSize(), qMax(boxSize(), fontMetrics().height()) + 2 * kMargin);
}

void SkinCheckBox::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const bool enabled = isEnabled();

    if (m_backColor.isValid())
        p.fillRect(rect(), m_backColor);

    CheckLook look;
    look.checked = m_value != 0;
    look.enabled = enabled;
    look.pressed = m_pressed;
    look.hovered = underMouse();
    paintCheck(p, QRectF(boxRect()), palette(), look);

    if (m_caption.isEmpty())
        return;
    const int textLeft = boxRect().right() + 1 + kSpacing;
    const QRect textArea(textLeft, 0, qMax(0, width() - textLeft - kMargin), height());
    const QString text = fontMetrics().elidedText(m_caption, Qt::ElideRight, textArea.width());
    QColor textColor = ForeColor();
    if (!enabled)
        textColor = palette().color(QPalette::Disabled, QPalette::WindowText);
    p.setPen(textColor);
    p.drawText(textArea, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);

    if (hasFocus()) {
        QStyleOptionFocusRect focus;
        focus.initFrom(this);
        focus.rect = fontMetrics()
                         .boundingRect(textArea, Qt::AlignLeft | Qt::AlignVCenter, text)
                         .adjusted(-2, -1, 2, 1);
        focus.backgroundColor = BackColor();
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &p, this);
    }
}

void SkinCheckBox::setPressed(bool pressed) {
    if (pressed == m_pressed)
        return;
    m_pressed = pressed;
    update();
}

void SkinCheckBox::toggleByUser() {
    m_value = m_value != 0 ? 0 : 1;
    update();
    Q_EMIT Click();
}

void SkinCheckBox::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    // Keep the mouse until the button comes up, wherever the pointer goes meanwhile.
    grabMouse();
    m_tracking = true;
    setPressed(true);
    event->accept();
}

void SkinCheckBox::mouseMoveEvent(QMouseEvent* event) {
    if (m_tracking)
        setPressed(rect().contains(event->position().toPoint()));
}

void SkinCheckBox::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_tracking) {
        event->ignore();
        return;
    }
    releaseMouse();
    m_tracking = false;
    setPressed(false);
    if (rect().contains(event->position().toPoint()))
        toggleByUser();
    event->accept();
}

void SkinCheckBox::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && !m_tracking) {
        setPressed(true);
        return;
    }
    QWidget::keyPressEvent(event);
}

void SkinCheckBox::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat() && m_pressed && !m_tracking) {
        setPressed(false);
        toggleByUser();
        return;
    }
    QWidget::keyReleaseEvent(event);
}

void SkinCheckBox::focusOutEvent(QFocusEvent* event) {
    // A Space held down while the focus leaves must not toggle later.
    if (!m_tracking)
        setPressed(false);
    QWidget::focusOutEvent(event);
}

void SkinCheckBox::changeEvent(QEvent* event) {
    if (event->type() == QEvent::EnabledChange && !isEnabled() && m_tracking) {
        releaseMouse();
        m_tracking = false;
        setPressed(false);
    }
    if (event->type() == QEvent::FontChange)
        updateGeometry();
    QWidget::changeEvent(event);
}
