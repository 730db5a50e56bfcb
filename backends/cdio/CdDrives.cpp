#include "backends/cdio/CdDrives.h"

namespace cdio {
namespace {

constexpr char16_t kFirstCdLetter = u'D';
constexpr int kLetters = u'Z' - kFirstCdLetter + 1;

} // namespace

CdDrives::CdDrives(std::shared_ptr<const DriveTable> drives) : m_drives(std::move(drives)) {}

QStringList CdDrives::roots() const {
    QStringList roots{QStringLiteral("C:\\")};
    for (int i = 0; i < m_drives->count() && i < kLetters; ++i)
        roots.append(QChar(char16_t(kFirstCdLetter + i)) + QStringLiteral(":\\"));
    return roots;
}

qint32 CdDrives::GetLogicalDriveStrings(QString& buffer) {
    QString strings;
    for (const QString& root : roots())
        strings += root + QChar(u'\0');
    if (strings.size() + 1 > buffer.size())
        return qint32(strings.size() + 1);
    buffer.replace(0, strings.size() + 1, strings + QChar(u'\0'));
    return qint32(strings.size());
}

qint32 CdDrives::GetDriveType(const QString& root) {
    const QString upper = root.toUpper();
    if (upper == QLatin1String("C:\\"))
        return Fixed;
    const QStringList all = roots();
    return all.indexOf(upper) > 0 ? CdRom : NoRootDir;
}

} // namespace cdio
