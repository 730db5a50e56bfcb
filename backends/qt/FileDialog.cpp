#include "backends/qt/FileDialog.h"

#include "components/Error.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

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

QString FileDialog::startFolder() const {
    if (!m_initDir.isEmpty() && QFileInfo(m_initDir).isDir())
        return m_initDir;
    const QFileInfo named(m_fileName);
    if (!m_fileName.isEmpty() && named.isAbsolute() && named.dir().exists())
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
    if (!m_nameFilters.isEmpty())
        dialog.setNameFilters(m_nameFilters);
    if (!m_fileName.isEmpty())
        dialog.selectFile(QFileInfo(m_fileName).fileName());

    m_fileName.clear();
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    m_fileName = QDir::toNativeSeparators(dialog.selectedFiles().constFirst());
    m_lastDir = QFileInfo(m_fileName).absolutePath();
}
