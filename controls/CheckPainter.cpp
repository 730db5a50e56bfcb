#include "controls/CheckPainter.h"

#include <QPainter>
#include <QPainterPath>

void paintCheck(QPainter& p, const QRectF& area, const QPalette& palette, const CheckLook& look) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF box = area.adjusted(0.5, 0.5, -0.5, -0.5);
    const QPalette::ColorGroup group = look.enabled ? QPalette::Active : QPalette::Disabled;

    QColor fill = look.checked && look.enabled
                      ? palette.color(QPalette::Active, QPalette::Highlight)
                      : palette.color(group, QPalette::Base);
    if (look.pressed)
        fill = fill.lightnessF() < 0.5 ? fill.lighter(140) : fill.darker(120);
    // The border is drawn from the text colour so that it shows on dark and light skins alike.
    const QColor text = palette.color(group, QPalette::Text);
    QColor border = text;
    border.setAlphaF(look.enabled ? 0.45f : 0.25f);
    if (look.enabled && (look.hovered || look.checked))
        border = palette.color(QPalette::Active, QPalette::Highlight);
    p.setPen(QPen(border, 1));
    p.setBrush(fill);
    p.drawRoundedRect(box, 2.5, 2.5);

    if (look.checked) {
        const qreal s = box.width();
        QPainterPath tick;
        tick.moveTo(box.left() + s * 0.22, box.top() + s * 0.52);
        tick.lineTo(box.left() + s * 0.42, box.top() + s * 0.72);
        tick.lineTo(box.left() + s * 0.78, box.top() + s * 0.28);
        const QColor tickColor = look.enabled
                                     ? palette.color(QPalette::Active, QPalette::HighlightedText)
                                     : palette.color(QPalette::Disabled, QPalette::Text);
        p.setPen(
            QPen(tickColor, qMax<qreal>(1.6, s / 7.0), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        p.drawPath(tick);
    }
    p.restore();
}
