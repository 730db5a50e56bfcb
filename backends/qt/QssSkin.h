#pragma once

#include "components/Skin.h"

#include <QColor>
#include <QPalette>
#include <QString>

// The skin engine on Qt style sheets: the skin file is a style sheet, and applying the skin
// sets it on a window, from where it reaches every child widget and child dialog. The program
// also gets a palette taken from the sheet's colours, so that what Qt's style draws on its own
// (check marks, arrows) and the controls that paint themselves match the sheet.
class QssSkin final : public Skin {
public:
    void LoadSkin(const QString& path) override;
    void ApplySkin(QWidget* window) override;
    QColor BackColor() const override;

    // The style sheet last loaded.
    QString styleSheet() const { return m_sheet; }
    // The palette derived from the sheet, which ApplySkin makes the application's palette.
    QPalette palette() const { return m_palette; }

private:
    QString m_path;
    QString m_sheet;
    QPalette m_palette;
    bool m_loaded = false;
};
