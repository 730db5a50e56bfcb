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
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Start writing back to the disk every so often, so commit()'s flush finds little left to do.
constexpr qint64 kWriteBackBytes = 8 << 20;
const QString kTemporaryPrefix = QStringLiteral(".melvane-");
const QString kTemporarySuffix = QStringLiteral(".part");
// Characters that FAT, exFAT, NTFS and SMB shares refuse in names (with the control characters).
const QString kRefusedElsewhere = QStringLiteral("\"*:<>?\\|");

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

QString temporaryName(const QString& folder, const QString& tail = {}) {
    return QStringLiteral("%1/%2%3-%4%5%6")
        .arg(folder, kTemporaryPrefix)
        .arg(qint64(::getpid()))
        .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'))
        .arg(tail, kTemporarySuffix);
}

// What the file system can do, or what a test makes it seem to lack (MELVANE_OUTPUT_FS).
struct Abilities {
    bool unnamedFiles = true;
    bool renameNoReplace = true;
    bool hardLinks = true;
};

Abilities abilities() {
    const QByteArray forced = qgetenv("MELVANE_OUTPUT_FS");
    if (forced == "links")
        return {false, false, true};
    if (forced == "nolinks")
        return {false, false, false};
    return {};
}

// The errors of a file system that does not have the operation at all.
bool unsupported(int err) {
    return err == EINVAL || err == ENOSYS || err == EOPNOTSUPP || err == ENOTSUP;
}

QString kindOf(mode_t mode) {
    if (S_ISDIR(mode))
        return QStringLiteral("it is a folder");
    if (S_ISFIFO(mode))
        return QStringLiteral("it is a named pipe, not a file");
    if (S_ISSOCK(mode))
        return QStringLiteral("it is a socket, not a file");
    return QStringLiteral("it is a device, not a file");
}

QString quotedList(const QStringList& items) {
    QStringList quoted;
    for (const QString& item : items)
        quoted << u'\'' + item + u'\'';
    if (quoted.size() == 1)
        return quoted.first();
    return quoted.mid(0, quoted.size() - 1).join(QStringLiteral(", ")) + QStringLiteral(" or ") +
           quoted.last();
}

QString shownCharacter(QChar c) {
    if (c.unicode() < 0x20 || c.unicode() == 0x7f)
        return QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
    return QString(c);
}

} // namespace

OutputFile::OutputFile(const QString& path, const OverwriteRule& rule, Temporary temporary)
    : m_path(path), m_rule(rule) {
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
    checkTarget();
    checkName(folder);
    removeStale(folder);
    if (temporary == Temporary::Unnamed && abilities().unnamedFiles) {
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

// What is at the path now, judged by the rule. Raises without touching anything.
void OutputFile::checkTarget() const {
    const QByteArray target = native(m_path);
    struct stat st {};
    if (::stat(target.constData(), &st) == 0) {
        if (!S_ISREG(st.st_mode))
            throw Error(error(kindOf(st.st_mode)));
        for (const QString& source : m_rule.sources) {
            struct stat read {};
            if (::stat(native(source).constData(), &read) == 0 && read.st_dev == st.st_dev &&
                read.st_ino == st.st_ino)
                throw Error(error(QStringLiteral("it is one of the files being converted, which "
                                                 "are never written over")));
        }
    } else if (::lstat(target.constData(), &st) != 0) {
        return; // a free name
    }
    // A file, or a symbolic link to nowhere: a name taken all the same.
    if (!m_rule.replace)
        throw OutputExistsError(m_path,
                                error(QStringLiteral("a file of that name exists already")));
}

// Characters some file systems refuse are tried on a hidden name first, so that the user learns
// it now, with the reason, and not after the whole job as "No such file or directory".
void OutputFile::checkName(const QString& folder) const {
    QString suspicious;
    for (const QChar c : QFileInfo(m_path).fileName()) {
        if ((c.unicode() < 0x20 || c.unicode() == 0x7f || kRefusedElsewhere.contains(c)) &&
            !suspicious.contains(c))
            suspicious += c;
    }
    QStringList refused;
    for (const QChar c : suspicious) {
        const QByteArray probe = native(temporaryName(folder, QString(c)));
        const int fd = ::open(probe.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            ::close(fd);
            ::unlink(probe.constData());
        } else if (errno == ENOENT || errno == EINVAL || errno == EILSEQ) {
            refused << shownCharacter(c);
        }
    }
    if (!refused.isEmpty())
        throw Error(error(QStringLiteral("the file system of %1 does not allow %2 in file names")
                              .arg(folder, quotedList(refused))));
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
    try {
        commitAs(m_path);
    } catch (...) {
        discard();
        throw;
    }
}

void OutputFile::commitAs(const QString& path) {
    if (m_committed)
        return;
    if (m_fd < 0)
        fail(QStringLiteral("the file is already closed"));
    m_path = path;
    if (!m_finished)
        finish();
    // Whatever came to the name since the start is judged again.
    checkTarget();
    if (m_rule.replace)
        placeOver();
    else
        placeNew();
    ::close(m_fd);
    m_fd = -1;
    m_committed = true;
}

// A new name only: a file that is there already (or arrived meanwhile) is never replaced, and
// raises OutputExistsError with this file still ready for another name.
void OutputFile::placeNew() {
    const QByteArray target = native(m_path);
    if (m_temporary.isEmpty()) {
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, target.constData(), AT_SYMLINK_FOLLOW) !=
            0)
            failPlacing(errno);
        return;
    }
    const Abilities can = abilities();
    if (can.renameNoReplace) {
        if (::renameat2(AT_FDCWD, native(m_temporary).constData(), AT_FDCWD, target.constData(),
                        RENAME_NOREPLACE) == 0) {
            m_temporary.clear();
            return;
        }
        if (!unsupported(errno))
            failPlacing(errno);
    }
    if (can.hardLinks && linkNamed(target))
        return;
    claimAndRename(target);
}

// The hard link of the temporary file under the name fails when the name is taken; true when
// placed, false when the file system has no hard links.
bool OutputFile::linkNamed(const QByteArray& target) {
    const QByteArray temporary = native(m_temporary);
    if (::link(temporary.constData(), target.constData()) != 0) {
        const int err = errno;
        if (err == EPERM || err == EMLINK || unsupported(err))
            return false;
        failPlacing(err);
    }
    ::unlink(temporary.constData());
    m_temporary.clear();
    return true;
}

// The name is claimed by an exclusive create, which only one program can win, and the file is
// renamed over that claim. A crash between the two leaves an empty file of the name.
void OutputFile::claimAndRename(const QByteArray& target) {
    const int claim = ::open(target.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (claim < 0)
        failPlacing(errno);
    ::close(claim);
    if (std::rename(native(m_temporary).constData(), target.constData()) != 0) {
        const int err = errno;
        ::unlink(target.constData());
        failPlacing(err);
    }
    m_temporary.clear();
}

// An older file of the name is replaced in one step.
void OutputFile::placeOver() {
    const QByteArray target = native(m_path);
    if (m_temporary.isEmpty()) {
        // An unnamed file is linked under a temporary name first, then renamed over it.
        const QString folder = QFileInfo(m_path).absolutePath();
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
        for (int attempt = 0;; ++attempt) {
            m_temporary = temporaryName(folder);
            if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, native(m_temporary).constData(),
                         AT_SYMLINK_FOLLOW) == 0)
                break;
            const int err = errno;
            m_temporary.clear();
            if (err != EEXIST || attempt == 16)
                failPlacing(err);
        }
    }
    if (std::rename(native(m_temporary).constData(), target.constData()) != 0)
        failPlacing(errno);
    m_temporary.clear();
}

void OutputFile::failPlacing(int err) {
    if (err == EEXIST)
        throw OutputExistsError(m_path,
                                error(QStringLiteral("a file of that name exists already")));
    // A name the file system refuses looks like a missing folder; say which it is.
    const QString folder = QFileInfo(m_path).absolutePath();
    if ((err == ENOENT || err == EINVAL || err == EILSEQ) && QFileInfo(folder).isDir())
        throw Error(error(
            QStringLiteral("the file system of %1 does not allow this file name").arg(folder)));
    throw Error(error(strerrorText(err)));
}

void OutputFile::discard() noexcept {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    if (!m_temporary.isEmpty())
        ::unlink(native(m_temporary).constData());
    m_temporary.clear();
}
