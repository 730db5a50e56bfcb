#include "backends/cdio/CueSheet.h"

#include "backends/cdio/CueText.h"
#include "components/Error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QSet>
#include <QTemporaryDir>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cdio {
namespace {

constexpr qint64 kRawSectorBytes = 2352;
// Far beyond any real sheet (99 tracks with every line there is take a few kilobytes).
constexpr qint64 kLargestSheet = 1 << 20;
// libcdio reads at most eight blocks of 256 packs of 18 bytes, after a 4-byte header.
constexpr qint64 kLargestCdText = 8 * 256 * 18 + 4;
// And refuses a file too small to hold one pack.
constexpr qint64 kSmallestCdText = 5;

QString text(const QByteArray& bytes) {
    return QString::fromUtf8(bytes);
}

QString systemError(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// What a file is, in words, when it is not a regular file; empty when it is one.
QString specialKind(mode_t mode) {
    if (S_ISREG(mode))
        return {};
    if (S_ISDIR(mode))
        return QStringLiteral("a folder");
    if (S_ISFIFO(mode))
        return QStringLiteral("a named pipe");
    if (S_ISCHR(mode))
        return QStringLiteral("a character device");
    if (S_ISBLK(mode))
        return QStringLiteral("a block device");
    if (S_ISSOCK(mode))
        return QStringLiteral("a socket");
    return QStringLiteral("not a regular file");
}

// Up to limit bytes of a regular file. A special file is refused without being opened for
// reading in a way that could wait (a named pipe without a writer would block for ever).
// `what` names the file in messages ("The CUE sheet /x/a.cue").
QByteArray readRegularFile(const QString& path, const QString& what, qint64 limit,
                           bool refuseLarger) {
    const QByteArray local = QFile::encodeName(path);
    struct stat info {};
    if (::stat(local.constData(), &info) != 0)
        throw Error(QStringLiteral("%1 cannot be read: %2").arg(what, systemError(errno)));
    QString kind = specialKind(info.st_mode);
    if (!kind.isEmpty())
        throw Error(QStringLiteral("%1 is %2, not a file; only a regular file can be read")
                        .arg(what, kind));
    const int fd = ::open(local.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        throw Error(QStringLiteral("%1 cannot be read: %2").arg(what, systemError(errno)));
    QByteArray data;
    QString failure;
    // It may have been replaced between the two looks.
    if (::fstat(fd, &info) != 0 || !(kind = specialKind(info.st_mode)).isEmpty()) {
        failure = QStringLiteral("%1 is %2, not a file; only a regular file can be read")
                      .arg(what, kind.isEmpty() ? QStringLiteral("not a regular file") : kind);
    } else if (refuseLarger && info.st_size > limit) {
        failure = QStringLiteral("%1 is too large to be a CUE sheet (%2 bytes)")
                      .arg(what)
                      .arg(info.st_size);
    } else {
        data.resize(qsizetype(std::min<qint64>(info.st_size, limit)));
        qsizetype got = 0;
        while (got < data.size()) {
            const ssize_t n = ::read(fd, data.data() + got, size_t(data.size() - got));
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0) {
                failure = QStringLiteral("%1 cannot be read: %2").arg(what, systemError(errno));
                break;
            }
            if (n == 0)
                break;
            got += n;
        }
        data.truncate(got);
    }
    ::close(fd);
    if (!failure.isEmpty())
        throw Error(failure);
    return data;
}

// The number (from 1) of the line the byte at offset is on.
qsizetype lineAt(const QByteArray& sheet, qsizetype offset) {
    const QByteArray before = sheet.left(offset);
    const qsizetype complete = splitCueLines(before).size();
    return before.isEmpty() || before.endsWith('\n') || before.endsWith('\r') ? complete + 1
                                                                              : complete;
}

// The file a sheet names, looked for as CD tools do: as written (a Windows path's separators
// taken as folders), then by its bare name next to the sheet, then in any letter case there.
// Empty when none is there.
QString findNamedFile(const QDir& folder, QByteArray name) {
    name.replace('\\', '/');
    const QString written = QFile::decodeName(name);
    const QString asWritten = QDir::isAbsolutePath(written) ? written : folder.filePath(written);
    if (QFileInfo::exists(asWritten))
        return asWritten;
    const QString bare = QFileInfo(written).fileName();
    if (bare.isEmpty())
        return {};
    if (QFileInfo::exists(folder.filePath(bare)))
        return folder.filePath(bare);
    const QStringList entries =
        folder.entryList(QDir::Files | QDir::System | QDir::Hidden, QDir::Name);
    for (const QString& entry : entries) {
        if (entry.compare(bare, Qt::CaseInsensitive) == 0)
            return folder.filePath(entry);
    }
    return {};
}

} // namespace

struct CueSheet::Copy {
    QTemporaryDir folder{QDir(QDir::tempPath()).filePath(QStringLiteral("melvane-cue-XXXXXX"))};
};

CueSheet::CueSheet(const QString& cuePath) : m_cuePath(cuePath) {
    if (!cuePath.endsWith(QLatin1String(".cue"), Qt::CaseInsensitive))
        throw Error(
            QStringLiteral("%1 is not a CUE sheet: its name must end in .cue").arg(cuePath));
    const QString sheetName = QStringLiteral("The CUE sheet %1").arg(cuePath);
    QByteArray sheet = readRegularFile(cuePath, sheetName, kLargestSheet, true);
    if (sheet.startsWith("\xef\xbb\xbf"))
        sheet.remove(0, 3);
    else if (sheet.startsWith("\xff\xfe") || sheet.startsWith("\xfe\xff"))
        throw Error(
            QStringLiteral("The CUE sheet %1 is written in UTF-16; save it as UTF-8").arg(cuePath));
    if (const qsizetype nul = sheet.indexOf('\0'); nul >= 0)
        throw Error(QStringLiteral("The CUE sheet %1 holds a NUL byte on line %2, so it is not "
                                   "a text file")
                        .arg(cuePath)
                        .arg(lineAt(sheet, nul)));

    CueText reader(cuePath);
    const QByteArray copy = reader.rewrite(sheet);
    m_firstTrack = reader.firstTrack();

    const QDir folder = QFileInfo(cuePath).dir();
    m_dataFile = findNamedFile(folder, reader.dataName());
    if (m_dataFile.isEmpty())
        throw Error(QStringLiteral("The data file \"%1\" of the CUE sheet %2 is missing: it is "
                                   "not in %3")
                        .arg(text(reader.dataName()), cuePath,
                             QDir::toNativeSeparators(folder.absolutePath())));
    m_dataFile = QFileInfo(m_dataFile).absoluteFilePath();
    struct stat info {};
    if (::stat(QFile::encodeName(m_dataFile).constData(), &info) != 0)
        throw Error(QStringLiteral("The data file %1 of the CUE sheet %2 cannot be read: %3")
                        .arg(m_dataFile, cuePath, systemError(errno)));
    if (const QString kind = specialKind(info.st_mode); !kind.isEmpty())
        throw Error(QStringLiteral("The data file %1 of the CUE sheet %2 is %3, not a file; "
                                   "only a regular file can be read")
                        .arg(m_dataFile, cuePath, kind));
    if (info.st_size == 0)
        throw Error(QStringLiteral("The data file %1 of the CUE sheet %2 is empty")
                        .arg(m_dataFile, cuePath));
    if (info.st_size % kRawSectorBytes != 0)
        throw Error(QStringLiteral("The data file %1 of the CUE sheet %2 is not a whole number of "
                                   "2352-byte sectors (%3 bytes)")
                        .arg(m_dataFile, cuePath)
                        .arg(info.st_size));
    QByteArray cdText;
    if (!reader.cdTextName().isEmpty()) {
        const QString path = findNamedFile(folder, reader.cdTextName());
        if (path.isEmpty())
            throw Error(QStringLiteral("The CD-Text file \"%1\" of the CUE sheet %2 is missing: "
                                       "it is not in %3")
                            .arg(text(reader.cdTextName()), cuePath,
                                 QDir::toNativeSeparators(folder.absolutePath())));
        const QString what =
            QStringLiteral("The CD-Text file %1 of the CUE sheet %2").arg(path, cuePath);
        cdText = readRegularFile(path, what, kLargestCdText, false);
        if (cdText.size() < kSmallestCdText)
            throw Error(QStringLiteral("%1 is too small to hold CD-Text (%2 bytes)")
                            .arg(what)
                            .arg(cdText.size()));
    }

    m_copy = std::make_unique<Copy>();
    const QDir place(m_copy->folder.path());
    auto write = [&](const QString& name, const QByteArray& bytes) {
        QFile file(place.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
            throw Error(QStringLiteral("Cannot prepare the CUE sheet %1 for reading: %2 cannot "
                                       "be written: %3")
                            .arg(cuePath, file.fileName(), file.errorString()));
    };
    if (!m_copy->folder.isValid())
        throw Error(QStringLiteral("Cannot prepare the CUE sheet %1 for reading: no temporary "
                                   "folder can be made in %2: %3")
                        .arg(cuePath, QDir::tempPath(), m_copy->folder.errorString()));
    write(QStringLiteral("disc.cue"), copy);
    if (!cdText.isEmpty())
        write(QStringLiteral("cdtext.cdt"), cdText);
    const QString link = place.filePath(QStringLiteral("disc.bin"));
    if (::symlink(QFile::encodeName(m_dataFile).constData(), QFile::encodeName(link).constData()) !=
        0)
        throw Error(QStringLiteral("Cannot prepare the CUE sheet %1 for reading: the link %2 "
                                   "cannot be made: %3")
                        .arg(cuePath, link, systemError(errno)));
}

CueSheet::~CueSheet() = default;

QByteArray CueSheet::copyPath() const {
    return QFile::encodeName(QDir(m_copy->folder.path()).filePath(QStringLiteral("disc.cue")));
}

QString CueSheet::explain(QString message) const {
    const QDir place(m_copy->folder.path());
    message.replace(place.filePath(QStringLiteral("disc.cue")), m_cuePath);
    message.replace(place.filePath(QStringLiteral("disc.bin")), m_dataFile);
    message.replace(place.filePath(QStringLiteral("cdtext.cdt")),
                    QStringLiteral("its CD-Text file"));
    return message;
}

} // namespace cdio
