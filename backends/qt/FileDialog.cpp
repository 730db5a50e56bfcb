#include "backends/qt/FileDialog.h"

#include "components/Error.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <algorithm>

QStringList qtNameFilters(const QString& filter) {
    QStringList result;
    if (filter.trimmed().isEmpty())
        return result;
    const QStringList parts = filter.split(QLatin1Char('|'));
    if (parts.size() % 2 != 0)
        throw Error(
            QStringLiteral("Invalid file filter \"%1\": the description \"%2\" has no pattern")
                .arg(filter, parts.last()));
    for (qsizetype i = 0; i < parts.size(); i += 2) {
        const QString description = parts.at(i).trimmed();
        QStringList patterns;
        for (const QString& raw : parts.at(i + 1).split(QLatin1Char(';'))) {
            const QString pattern = raw.trimmed();
            if (pattern.isEmpty())
                continue;
            // On Windows "*.*" also matches names without a dot; Qt's "*" does that.
            patterns.append(pattern == QLatin1String("*.*") ? QStringLiteral("*") : pattern);
        }
        if (patterns.isEmpty())
            throw Error(
                QStringLiteral("Invalid file filter \"%1\": the description \"%2\" has no pattern")
                    .arg(filter, description));
        const QString patternText = patterns.join(QLatin1Char(' '));
        result.append(description.isEmpty()
                          ? patternText
                          : description + QStringLiteral(" (") + patternText + QLatin1Char(')'));
    }
    return result;
}

void FileDialog::setFilter(const QString& filter) {
    // Translated here so that a malformed filter is reported where it is set.
    m_nameFilters = qtNameFilters(filter);
    m_filter = filter;
}

void FileDialog::ShowOpen() {
    show(false);
}

void FileDialog::ShowSave() {
    show(true);
}

namespace {

// A text as the classic dialog reads it: up to its first NUL.
QString cText(const QString& text) {
    const qsizetype end = text.indexOf(QChar(0));
    return end < 0 ? text : text.left(end);
}

// A file name as the classic dialog takes it: the blanks that end it are not part of it.
QString fileNameText(const QString& text) {
    QString name = cText(text);
    while (name.endsWith(u' '))
        name.chop(1);
    return name;
}

} // namespace

QString FileDialog::startFolder() const {
    const QString initDir = cText(m_initDir);
    if (!initDir.isEmpty() && QFileInfo(initDir).isDir())
        return initDir;
    // A file's path opens its folder.
    const QFileInfo initFile(initDir);
    if (!initDir.isEmpty() && initFile.isAbsolute() && initFile.dir().exists())
        return initFile.absolutePath();
    const QString fileName = fileNameText(m_fileName);
    const QFileInfo named(fileName);
    if (!fileName.isEmpty() && named.isAbsolute() && named.dir().exists())
        return named.absolutePath();
    if (!m_lastDir.isEmpty() && QFileInfo(m_lastDir).isDir())
        return m_lastDir;
    return QDir::homePath();
}

void FileDialog::show(bool save) {
    QWidget* owner = m_owner ? m_owner.data() : QApplication::activeWindow();
    QFileDialog dialog(owner, m_title, startFolder());
    dialog.setObjectName(QStringLiteral("FileDialog"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog.setFileMode(save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    if (!m_nameFilters.isEmpty()) {
        dialog.setNameFilters(m_nameFilters);
        dialog.selectNameFilter(m_nameFilters.value(std::max(1, int(m_filterIndex)) - 1));
    }
    if (save && !(m_flags & OverwritePrompt))
        dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.setDefaultSuffix(m_defaultExt);
    const QString fileName = fileNameText(m_fileName);
    if (!fileName.isEmpty())
        dialog.selectFile(QFileInfo(fileName).fileName());

    m_fileName.clear();
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    m_fileName = QDir::toNativeSeparators(dialog.selectedFiles().constFirst());
    m_lastDir = QFileInfo(m_fileName).absolutePath();
}
