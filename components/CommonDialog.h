#pragma once

#include <QString>

class QWidget;

// The open/save file dialog. Filters use the "Description|pattern|Description|pattern" form.
// A cancelled dialog leaves FileName empty and raises nothing.
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
    virtual void ShowOpen() = 0;
    virtual void ShowSave() = 0;
};
