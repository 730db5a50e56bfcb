#include "backends/media/OutputFile.h"

#include "components/Error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

// Start writing back to the disk every so often, so commit()'s flush finds little left to do.
constexpr qint64 kWriteBackBytes = 8 << 20;
const QString kTemporaryPrefix = QStringLiteral(".melvane-");
const QString kTemporarySuffix = QStringLiteral(".part");

QString strerrorText(int err) {
    return QString::fromLocal8Bit(std::strerror(err));
}

QByteArray native(const QString& path) {
    return QFile::encodeName(path);
}

// Past the file size limit a write should fail with EFBIG, not end the program.
void ignoreFileSizeSignal() {
    static std::once_flag once;
    std::call_once(once, [] { std::signal(SIGXFSZ, SIG_IGN); });
}

QString temporaryName(const QString& folder) {
    return QStringLiteral("%1/%2%3-%4%5")
        .arg(folder, kTemporaryPrefix)
        .arg(qint64(::getpid()))
        .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'))
        .arg(kTemporarySuffix);
}

} // namespace

OutputFile::OutputFile(const QString& path, Temporary temporary) : m_path(path) {
    ignoreFileSizeSignal();
    if (path.isEmpty())
        throw Error(QStringLiteral("Cannot write the output: no file was given"));
    const QFileInfo info(path);
    const QString folder = info.absolutePath();
    const QFileInfo folderInfo(folder);
    if (!folderInfo.exists())
        fail(QStringLiteral("the folder %1 does not exist").arg(folder));
    if (!folderInfo.isDir())
        fail(QStringLiteral("%1 is not a folder").arg(folder));
    if (info.isDir())
        fail(QStringLiteral("it is a folder"));
    removeStale(folder);
    if (temporary == Temporary::Unnamed) {
        m_fd = ::open(native(folder).constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
        if (m_fd >= 0)
            return;
        // Only a file system without unnamed files gets the named fallback.
        if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            failErrno(errno);
    }
    createNamed(folder);
}

OutputFile::~OutputFile() {
    if (!m_committed)
        discard();
}

QString OutputFile::error(const QString& reason) const {
    return QStringLiteral("Cannot write %1: %2").arg(m_path, reason);
}

void OutputFile::fail(const QString& reason) {
    discard();
    throw Error(error(reason));
}

void OutputFile::failErrno(int err) {
    fail(strerrorText(err));
}

void OutputFile::createNamed(const QString& folder) {
    for (int attempt = 0;; ++attempt) {
        m_temporary = temporaryName(folder);
        m_fd =
            ::open(native(m_temporary).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_fd >= 0)
            return;
        const int err = errno;
        m_temporary.clear();
        if (err != EEXIST || attempt == 16)
            failErrno(err);
    }
}

// Temporary files of processes that are gone: a killed job could not remove its own.
void OutputFile::removeStale(const QString& folder) const {
    const QStringList names =
        QDir(folder).entryList({kTemporaryPrefix + QStringLiteral("*") + kTemporarySuffix},
                               QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        bool number = false;
        const qint64 pid =
            name.mid(kTemporaryPrefix.size()).section(u'-', 0, 0).toLongLong(&number);
        if (!number || pid <= 0 || pid == ::getpid())
            continue;
        if (::kill(pid_t(pid), 0) != 0 && errno == ESRCH)
            ::unlink(native(folder + u'/' + name).constData());
    }
}

int OutputFile::writeAll(const void* data, size_t size) noexcept {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t done = ::write(m_fd, bytes, size);
        if (done < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        bytes += done;
        size -= size_t(done);
        m_unsynced += done;
    }
    if (m_unsynced >= kWriteBackBytes) {
        m_unsynced = 0;
        ::sync_file_range(m_fd, 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    return 0;
}

void OutputFile::write(const void* data, qint64 size) {
    if (m_fd < 0)
        fail(QStringLiteral("the file is already closed"));
    if (const int err = writeAll(data, size_t(size)))
        failErrno(err);
}

void OutputFile::finish() {
    if (m_fd < 0)
        fail(QStringLiteral("the file is already closed"));
    if (::fdatasync(m_fd) != 0)
        failErrno(errno);
    m_finished = true;
}

void OutputFile::commit() {
    if (m_committed)
        return;
    if (!m_finished)
        finish();
    linkInPlace();
    ::close(m_fd);
    m_fd = -1;
    m_committed = true;
}

void OutputFile::linkInPlace() {
    const QByteArray target = native(m_path);
    if (m_temporary.isEmpty()) {
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, target.constData(), AT_SYMLINK_FOLLOW) ==
            0)
            return;
        if (errno != EEXIST)
            failErrno(errno);
        // An older file of that name is replaced in one step: link under a temporary name
        // first, then rename over it.
        for (int attempt = 0;; ++attempt) {
            const QString folder = QFileInfo(m_path).absolutePath();
            m_temporary = temporaryName(folder);
            if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, native(m_temporary).constData(),
                         AT_SYMLINK_FOLLOW) == 0)
                break;
            const int err = errno;
            m_temporary.clear();
            if (err != EEXIST || attempt == 16)
                failErrno(err);
        }
    }
    if (std::rename(native(m_temporary).constData(), target.constData()) != 0)
        failErrno(errno);
    m_temporary.clear();
}

void OutputFile::discard() noexcept {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    if (!m_temporary.isEmpty())
        ::unlink(native(m_temporary).constData());
    m_temporary.clear();
}
