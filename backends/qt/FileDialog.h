#pragma once

#include "components/CommonDialog.h"

#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

// Turns a filter text of the form "Description|pattern|Description|pattern" into Qt name
// filters. Each entry keeps its description as written and appends its patterns in
// parentheses, "Description (*.a *.b)", so that a dialog hiding the filter details shows the
// description alone. Patterns separated by ";" (blanks around them allowed) become a list;
// "*.*" means every file. Raises Error for a description without a pattern.
QStringList qtNameFilters(const QString& filter);

// The open and save dialogs on QFileDialog. Qt's own dialog is used rather than the desktop's,
// so that it looks the same everywhere and wears the skin of its owner.
class FileDialog final : public CommonDialog {
public:
    void setDialogTitle(const QString& title) override { m_title = title; }
    QString DialogTitle() const override { return m_title; }
    void setFilter(const QString& filter) override;
    QString Filter() const override { return m_filter; }
    void setFileName(const QString& name) override { m_fileName = name; }
    QString FileName() const override { return m_fileName; }
    void setInitDir(const QString& dir) override { m_initDir = dir; }
    void setOwner(QWidget* owner) override { m_owner = owner; }
    void setFilterIndex(qint16 index) override { m_filterIndex = index; }
    void setDefaultExt(const QString& extension) override { m_defaultExt = extension; }
    void setFlags(qint32 flags) override { m_flags = flags; }
    void ShowOpen() override;
    void ShowSave() override;

private:
    void show(bool save);
    QString startFolder() const;

    QString m_title;
    QString m_filter;
    QStringList m_nameFilters;
    QString m_fileName;
    QString m_initDir;
    qint16 m_filterIndex = 0;
    QString m_defaultExt;
    qint32 m_flags = 0;
    // The folder of the last file chosen, where the next dialog opens when no folder is set.
    QString m_lastDir;
    QPointer<QWidget> m_owner;
};
