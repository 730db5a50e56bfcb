#pragma once

#include <QPalette>
#include <QRectF>

class QPainter;

// The look of a check box shared by the skinned check box and the lists: a rounded box in the
// input colour, filled with the accent colour and a tick when checked.
struct CheckLook {
    bool checked = false;
    bool enabled = true;
    bool pressed = false;
    bool hovered = false;
};

void paintCheck(QPainter& painter, const QRectF& box, const QPalette& palette,
                const CheckLook& look);
