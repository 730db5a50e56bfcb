#pragma once

#include <QString>

class QWidget;

// The open/save file dialog. Filters use the "Description|pattern|Description|pattern" form.
// A cancelled dialog leaves FileName empty and raises nothing. Texts end at their first NUL
// character, and the blanks that end a file name are not part of it, as in the classic dialog.
class CommonDialog {
public:
    virtual ~CommonDialog() = default;
    virtual void setDialogTitle(const QString& title) = 0;
    virtual QString DialogTitle() const = 0;
    virtual void setFilter(const QString& filter) = 0;
    virtual QString Filter() const = 0;
    virtual void setFileName(const QString& name) = 0;
    virtual QString FileName() const = 0;
    virtual void setInitDir(const QString& dir) = 0;
    virtual void setOwner(QWidget* owner) = 0;
    // The filter shown first, counted from 1 (0 also means the first).
    virtual void setFilterIndex(qint16 index) = 0;
    // Appended, after a dot, to a name typed without an extension in the save dialog.
    virtual void setDefaultExt(const QString& extension) = 0;
    // The classic flags; the save dialog asks before replacing a file only with OverwritePrompt.
    static constexpr qint32 OverwritePrompt = 0x2;
    virtual void setFlags(qint32 flags) = 0;
    virtual void ShowOpen() = 0;
    virtual void ShowSave() = 0;
};
