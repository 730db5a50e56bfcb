#pragma once

#include "components/FolderBrowse.h"

#include <QPointer>
#include <QString>
#include <QWidget>

// The folder picker on QFileDialog in folder mode, Qt's own dialog rather than the desktop's.
class FolderDialog final : public FolderBrowse {
public:
    void setOwner(QWidget* owner) override { m_owner = owner; }
    void setInitialDir(const QString& dir) override { m_initialDir = dir; }
    void setTitle(const QString& prompt) override { m_title = prompt; }
    void setFileSystemOnly(bool on) override { m_fileSystemOnly = on; }
    void setShowPrompt(bool on) override { m_showPrompt = on; }
    void setEditBox(bool on) override { m_editBox = on; }
    void setNewFolderButton(bool on) override { m_newFolderButton = on; }
    QString BrowseForFolder() override;

private:
    QPointer<QWidget> m_owner;
    QString m_initialDir;
    QString m_title;
    bool m_fileSystemOnly = false;
    bool m_showPrompt = false;
    bool m_editBox = false;
    bool m_newFolderButton = false;
};
