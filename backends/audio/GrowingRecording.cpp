#include "backends/audio/GrowingRecording.h"

#include "backends/audio/RecordingRepair.h"
#include "components/Error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kEnding = QStringLiteral(".recording");
// Names tried before giving up: "take.mp3", "take (2).mp3" ... "take (99).mp3".
constexpr int kNames = 99;

QByteArray native(const QString& path) {
    return QFile::encodeName(path);
}

QString errnoText(int err) {
    return QString::fromLocal8Bit(std::strerror(err));
}

// "take.mp3" for 1, "take (2).mp3" for 2 ...
QString numbered(const QString& path, int n) {
    if (n == 1)
        return path;
    const QFileInfo info(path);
    const QString suffix = info.suffix().isEmpty() ? QString() : u'.' + info.suffix();
    return QStringLiteral("%1/%2 (%3)%4")
        .arg(info.absolutePath(), info.completeBaseName())
        .arg(n)
        .arg(suffix);
}

// Makes a new name in the folder last to the disk, so that a power cut cannot lose it.
void syncFolderOf(const QString& path) {
    const int folder =
        ::open(native(QFileInfo(path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
}

QString indexFolder() {
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return data.isEmpty() ? QString() : data + QStringLiteral("/melvane/recordings");
}

QString linkTarget(const QString& entry) {
    char target[4096];
    const ssize_t n = ::readlink(native(entry).constData(), target, sizeof target);
    return n > 0 && size_t(n) < sizeof target ? QFile::decodeName(QByteArray(target, int(n)))
                                              : QString();
}

QStringList indexEntries() {
    const QString folder = indexFolder();
    if (folder.isEmpty())
        return {};
    QStringList entries;
    for (const QString& name :
         QDir(folder).entryList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot))
        entries << folder + u'/' + name;
    return entries;
}

void dropFromIndex(const QString& path) {
    for (const QString& entry : indexEntries())
        if (linkTarget(entry) == path)
            ::unlink(native(entry).constData());
}

// A regular file (not a link, not a device) that nobody holds the lock of.
bool isLeftOver(const QString& path) {
    struct stat info {};
    if (::lstat(native(path).constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return false;
    const int fd = ::open(native(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    ::close(fd);
    return free;
}

qint64 modified(const QString& path) {
    struct stat info {};
    return ::lstat(native(path).constData(), &info) == 0 ? qint64(info.st_mtime) : 0;
}

[[noreturn]] void cannotRecover(const QString& path, const QString& why) {
    throw Error(QStringLiteral("Cannot recover the recording %1: %2").arg(path, why));
}

} // namespace

GrowingRecording::GrowingRecording(int fd, const QString& path) {
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(fd);
    // A lock of its own, taken before the name is there: no one else can take the file for an
    // interrupted one while it is being recorded.
    m_lock = ::open(self.constData(), O_RDONLY | O_CLOEXEC);
    if (m_lock < 0 || ::flock(m_lock, LOCK_EX | LOCK_NB) != 0)
        return;
    for (int n = 1; n <= kNames; ++n) {
        const QString name = numbered(path, n) + kEnding;
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, native(name).constData(),
                     AT_SYMLINK_FOLLOW) == 0) {
            m_name = QDir::cleanPath(QFileInfo(name).absoluteFilePath());
            break;
        }
        if (errno != EEXIST)
            return; // no hard links here: recorded all the same, only not kept through a crash
    }
    if (m_name.isEmpty())
        return;
    const QString index = indexFolder();
    if (!index.isEmpty() && QDir().mkpath(index)) {
        const QString entry =
            QStringLiteral("%1/%2-%3")
                .arg(index)
                .arg(qint64(::getpid()))
                .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        if (::symlink(native(m_name).constData(), native(entry).constData()) == 0)
            m_index = entry;
    }
}

GrowingRecording::~GrowingRecording() {
    if (m_lock >= 0)
        ::close(m_lock);
}

void GrowingRecording::syncName() {
    if (m_nameSynced || m_name.isEmpty())
        return;
    syncFolderOf(m_name);
    m_nameSynced = true;
}

void GrowingRecording::remove() noexcept {
    if (!m_name.isEmpty())
        ::unlink(native(m_name).constData());
    if (!m_index.isEmpty())
        ::unlink(native(m_index).constData());
    m_name.clear();
    m_index.clear();
}

double GrowingRecording::keepAs(const QString& path) {
    if (m_name.isEmpty())
        throw Error(QStringLiteral("the folder's file system cannot keep a recording that was "
                                   "cut short"));
    const int fd = ::open(native(m_name).constData(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        throw Error(QStringLiteral("%1 cannot be opened: %2").arg(m_name, errnoText(errno)));
    double seconds = 0;
    try {
        seconds = repairRecording(fd, m_name);
    } catch (...) {
        ::close(fd);
        throw;
    }
    ::close(fd);
    if (seconds <= 0) {
        remove();
        return 0;
    }
    if (std::rename(native(m_name).constData(), native(path).constData()) != 0)
        throw Error(
            QStringLiteral("%1 cannot be renamed to %2: %3").arg(m_name, path, errnoText(errno)));
    syncFolderOf(path);
    m_name.clear();
    remove();
    return seconds;
}

QStringList GrowingRecording::interrupted(const QString& folder) {
    QStringList candidates;
    for (const QString& entry : indexEntries()) {
        const QString target = linkTarget(entry);
        struct stat info {};
        if (target.isEmpty() || ::lstat(native(target).constData(), &info) != 0)
            ::unlink(native(entry).constData()); // recovered, saved or deleted since
        else
            candidates << target;
    }
    if (!folder.isEmpty()) {
        const QDir dir(folder);
        for (const QString& name : dir.entryList({u'*' + kEnding}, QDir::Files | QDir::System))
            candidates << dir.absoluteFilePath(name);
    }
    QStringList found;
    for (const QString& candidate : std::as_const(candidates)) {
        const QString path = QDir::cleanPath(QFileInfo(candidate).absoluteFilePath());
        if (path.endsWith(kEnding) && !found.contains(path) && isLeftOver(path))
            found << path;
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const QString& a, const QString& b) { return modified(a) < modified(b); });
    return found;
}

QString GrowingRecording::recover(const QString& given) {
    const QString path = QDir::cleanPath(QFileInfo(given).absoluteFilePath());
    if (!path.endsWith(kEnding) || path.size() == kEnding.size())
        cannotRecover(path, QStringLiteral("it is not an interrupted recording (its name does "
                                           "not end in \"%1\")")
                                .arg(kEnding));
    const int fd = ::open(native(path).constData(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        cannotRecover(path,
                      errno == ELOOP ? QStringLiteral("it is a symbolic link") : errnoText(errno));
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat self {};
    if (::fstat(fd, &self) != 0 || !S_ISREG(self.st_mode))
        cannotRecover(path, QStringLiteral("it is not a regular file"));
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        cannotRecover(path, QStringLiteral("it is still being recorded"));

    const QString wanted = path.chopped(kEnding.size());
    struct stat saved {};
    if (::lstat(native(wanted).constData(), &saved) == 0 && saved.st_ino == self.st_ino &&
        saved.st_dev == self.st_dev) {
        // Saved in full; only the visible name was left behind.
        ::unlink(native(path).constData());
        dropFromIndex(path);
        return wanted;
    }
    if (repairRecording(fd, path) <= 0) {
        ::unlink(native(path).constData());
        dropFromIndex(path);
        return {};
    }
    for (int n = 1; n <= kNames; ++n) {
        const QString name = numbered(wanted, n);
        if (::link(native(path).constData(), native(name).constData()) == 0) {
            ::unlink(native(path).constData());
            syncFolderOf(name);
            dropFromIndex(path);
            return name;
        }
        if (errno != EEXIST)
            cannotRecover(path,
                          QStringLiteral("%1 cannot be made: %2").arg(name, errnoText(errno)));
    }
    cannotRecover(
        path,
        QStringLiteral("%1 and the %2 names after it are all taken").arg(wanted).arg(kNames - 1));
}
