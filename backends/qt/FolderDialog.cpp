#include "backends/qt/FolderDialog.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>

QString FolderDialog::BrowseForFolder() {
    QWidget* owner = m_owner ? m_owner.data() : QApplication::activeWindow();
    const QString start = !m_initialDir.isEmpty() && QFileInfo(m_initialDir).isDir()
                              ? m_initialDir
                              : QDir::homePath();
    // The prompt is the one text the caller gives; without it the dialog says what it is for.
    const QString title =
        m_showPrompt && !m_title.isEmpty() ? m_title : QStringLiteral("Browse for Folder");
    QFileDialog dialog(owner, title, start);
    dialog.setObjectName(QStringLiteral("FolderDialog"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    // Without the new-folder button the dialog may not change the file system at all.
    dialog.setOption(QFileDialog::ReadOnly, !m_newFolderButton);
    if (m_fileSystemOnly)
        dialog.setSupportedSchemes({QStringLiteral("file")});
    if (!m_editBox) {
        // Qt's dialog has no switch for its name box; hide it, the folder is picked in the view.
        if (auto* edit = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
            edit->hide();
        if (auto* label = dialog.findChild<QLabel*>(QStringLiteral("fileNameLabel")))
            label->hide();
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    QString folder = QDir::cleanPath(dialog.selectedFiles().constFirst());
    return QDir::toNativeSeparators(folder);
}
