#include "cd/RipRules.h"

#include "components/Error.h"

#include <QStringList>

namespace RipRules {

QString twoDigits(qint64 n) {
    return QStringLiteral("%1").arg(n, 2, 10, QChar(u'0'));
}

double leadingNumber(const QString& text) {
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    while (end < trimmed.size() && (trimmed[end].isDigit() || trimmed[end] == u'.'))
        ++end;
    return trimmed.left(end).toDouble();
}

qint32 lengthSeconds(const QString& length) {
    const QString withoutFrames = length.left(qMax<qsizetype>(0, length.size() - 3));
    const qint32 minutes = qint32(leadingNumber(length.left(2)));
    const qint32 seconds = qint32(leadingNumber(withoutFrames.right(2)));
    return minutes * 60 + seconds;
}

QString sizeText(qint32 seconds) {
    return QStringLiteral("%1 MB").arg(seconds * 0.16856, 5, 'f', 2, QChar(u'0'));
}

QString addressPrefix(qint32 address) {
    return QStringLiteral("%1:%2:%3 ")
        .arg((address >> 16) & 0xff)
        .arg((address >> 8) & 0xff)
        .arg(address & 0xff);
}

QString destinationFile(const QString& folder, const QString& extension) {
    static const QStringList roots = {"c:\\", "C:\\", "d:\\", "D:\\", "e:\\", "E:\\"};
    const QString name = QStringLiteral("Track") + extension;
    return roots.contains(folder) ? folder + name : folder + u'/' + name;
}

QString numberedFile(const QString& filename, qint32 n, const QString& extension) {
    if (filename.size() < 4)
        throw Error(QStringLiteral("There is no file name to number: choose a destination with "
                                   "the Destination button first."));
    return filename.left(filename.size() - 4) + twoDigits(n) + extension;
}

QString speedText(double speed) {
    return QString::number(speed, 'f', 2);
}

} // namespace RipRules
