#include "backends/cdio/CueSheet.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace cdio {
namespace {

constexpr qint64 kRawSectorBytes = 2352;

// The words of a sheet line; a quoted name stays one word, without its quotes.
QStringList words(const QString& line) {
    static const QRegularExpression word(QStringLiteral(R"x("([^"]*)"|(\S+))x"));
    QStringList found;
    for (auto it = word.globalMatch(line); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        found.append(m.hasCaptured(1) ? m.captured(1) : m.captured(2));
    }
    return found;
}

bool isRawMode(const QString& mode) {
    return mode == QLatin1String("AUDIO") || mode == QLatin1String("MODE1/2352") ||
           mode == QLatin1String("MODE2/2352");
}

} // namespace

QString binPathFor(const QString& cuePath) {
    const QFileInfo info(cuePath);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral(".bin"));
}

QString cueSheetProblem(const QString& cuePath) {
    if (!cuePath.endsWith(QLatin1String(".cue"), Qt::CaseInsensitive))
        return QStringLiteral("%1 is not a CUE sheet: its name must end in .cue").arg(cuePath);
    QFile file(cuePath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QStringLiteral("The CUE sheet %1 cannot be read: %2")
            .arg(cuePath, file.errorString());
    const QString binPath = binPathFor(cuePath);
    const QString binName = QFileInfo(binPath).fileName();

    int files = 0;
    QString track;
    while (!file.atEnd()) {
        const QStringList w = words(QString::fromUtf8(file.readLine()));
        if (w.isEmpty())
            continue;
        const QString keyword = w[0].toUpper();
        if (keyword == QLatin1String("FILE")) {
            if (++files > 1)
                return QStringLiteral("The CUE sheet %1 names more than one data file; Melvane "
                                      "reads sheets with a single FILE line")
                    .arg(cuePath);
            const QString named = QFileInfo(w.value(1)).fileName();
            if (named != binName)
                return QStringLiteral("The CUE sheet %1 names the data file \"%2\", but the data "
                                      "must be in %3, the sheet's own name ending in .bin")
                    .arg(cuePath, w.value(1), binName);
        } else if (keyword == QLatin1String("TRACK")) {
            track = w.value(1);
            const QString mode = w.value(2).toUpper();
            if (!isRawMode(mode))
                return QStringLiteral("Track %1 of the CUE sheet %2 is stored as %3, which cannot "
                                      "be read as it is; store it as AUDIO, MODE1/2352 or "
                                      "MODE2/2352")
                    .arg(track, cuePath, w.value(2));
        } else if (keyword == QLatin1String("PREGAP") || keyword == QLatin1String("POSTGAP")) {
            return QStringLiteral("Track %1 of the CUE sheet %2 has a %3 line, which would be "
                                  "left out; store the gap in the data file with INDEX 00")
                .arg(track, cuePath, keyword);
        }
    }
    if (files == 0)
        return QStringLiteral("The CUE sheet %1 names no data file").arg(cuePath);
    const QFileInfo bin(binPath);
    if (!bin.exists())
        return QStringLiteral("The data file %1 of the CUE sheet %2 is missing")
            .arg(binPath, cuePath);
    if (bin.size() == 0 || bin.size() % kRawSectorBytes != 0)
        return QStringLiteral("The data file %1 is not a whole number of 2352-byte sectors "
                              "(%2 bytes)")
            .arg(binPath)
            .arg(bin.size());
    return {};
}

} // namespace cdio
