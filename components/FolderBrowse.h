#pragma once

#include <QString>

class QWidget;

// The folder picker. BrowseForFolder returns the chosen folder, or an empty text when the user
// cancels.
class FolderBrowse {
public:
    virtual ~FolderBrowse() = default;
    virtual void setOwner(QWidget* owner) = 0;
    virtual void setInitialDir(const QString& dir) = 0;
    virtual void setTitle(const QString& prompt) = 0;
    // Offer only folders of the file system, not virtual places.
    virtual void setFileSystemOnly(bool on) = 0;
    // Show the prompt text inside the dialog.
    virtual void setShowPrompt(bool on) = 0;
    // Let the user type a path.
    virtual void setEditBox(bool on) = 0;
    // Let the user make a new folder from the dialog.
    virtual void setNewFolderButton(bool on) = 0;
    virtual QString BrowseForFolder() = 0;
};
