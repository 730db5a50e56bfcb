#pragma once

#include <QColor>
#include <QString>

class QWidget;

// The skin engine: every window loads the skin file and applies it to itself when created.
class Skin {
public:
    virtual ~Skin() = default;
    // Raises Error when the file is missing or cannot be read.
    virtual void LoadSkin(const QString& path) = 0;
    virtual void ApplySkin(QWidget* window) = 0;
    // The colour the skin gives window backgrounds, for controls that paint themselves.
    virtual QColor BackColor() const = 0;
};
