// The C library entry points this library stands in for. Each checks whether the path or file
// descriptor is one of the virtual drives' and otherwise hands the call on unchanged.
#include "Ioctls.h"
#include "Libc.h"
#include "Nodes.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace vdrive;

namespace {

template <typename F> F next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

using XstatFn = int (*)(int, const char*, struct stat*);
using FxstatFn = int (*)(int, int, struct stat*);
using FxstatatFn = int (*)(int, int, const char*, struct stat*, int);
using StatxFn = int (*)(int, const char*, int, unsigned, struct statx*);
using OpenFn = int (*)(const char*, int, ...);
using OpenatFn = int (*)(int, const char*, int, ...);
using Open2Fn = int (*)(const char*, int);
using Openat2Fn = int (*)(int, const char*, int);
using PreadFn = ssize_t (*)(int, void*, size_t, off_t);
using LseekFn = off_t (*)(int, off_t, int);
using RealpathFn = char* (*)(const char*, char*);
using RealpathChkFn = char* (*)(const char*, char*, size_t);
using ReadlinkFn = ssize_t (*)(const char*, char*, size_t);
using AccessFn = int (*)(const char*, int);
using FaccessatFn = int (*)(int, const char*, int, int);
using DupFn = int (*)(int);
using Dup2Fn = int (*)(int, int);
using Dup3Fn = int (*)(int, int, int);
using FcntlFn = int (*)(int, int, ...);

void toStatx(const struct stat& st, struct statx* x) {
    std::memset(x, 0, sizeof *x);
    x->stx_mask = STATX_BASIC_STATS;
    x->stx_blksize = uint32_t(st.st_blksize);
    x->stx_nlink = uint32_t(st.st_nlink);
    x->stx_uid = st.st_uid;
    x->stx_gid = st.st_gid;
    x->stx_mode = uint16_t(st.st_mode);
    x->stx_ino = st.st_ino;
    x->stx_size = uint64_t(st.st_size);
    x->stx_rdev_major = major(st.st_rdev);
    x->stx_rdev_minor = minor(st.st_rdev);
    x->stx_dev_major = major(st.st_dev);
    x->stx_dev_minor = minor(st.st_dev);
}

bool emptyPath(const char* path) {
    return !path || !*path;
}

int openMode(int flags, va_list& args) {
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, int) : 0;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = openMode(flags, args);
    va_end(args);
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const OpenFn real = next<OpenFn>("open");
    return real(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = openMode(flags, args);
    va_end(args);
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const OpenFn real = next<OpenFn>("open64");
    return real(path, flags, mode);
}

int __open_2(const char* path, int flags) {
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const Open2Fn real = next<Open2Fn>("__open_2");
    return real(path, flags);
}

int __open64_2(const char* path, int flags) {
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const Open2Fn real = next<Open2Fn>("__open64_2");
    return real(path, flags);
}

int openat(int dir, const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = openMode(flags, args);
    va_end(args);
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const OpenatFn real = next<OpenatFn>("openat");
    return real(dir, path, flags, mode);
}

int openat64(int dir, const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = openMode(flags, args);
    va_end(args);
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const OpenatFn real = next<OpenatFn>("openat64");
    return real(dir, path, flags, mode);
}

int __openat_2(int dir, const char* path, int flags) {
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const Openat2Fn real = next<Openat2Fn>("__openat_2");
    return real(dir, path, flags);
}

int __openat64_2(int dir, const char* path, int flags) {
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const Openat2Fn real = next<Openat2Fn>("__openat64_2");
    return real(dir, path, flags);
}

int close(int fd) {
    if (ours(fd))
        forgetNode(fd);
    return libc().close(fd);
}

int ioctl(int fd, unsigned long request, ...) {
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    if (OpenNode* n = nodeOf(fd))
        return driveIoctl(*n->drive, n->sg, request, arg);
    return libc().ioctl(fd, request, arg);
}

ssize_t read(int fd, void* buffer, size_t size) {
    if (OpenNode* n = nodeOf(fd))
        return driveRead(*n->drive, n->position, buffer, size);
    return libc().read(fd, buffer, size);
}

ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
    if (OpenNode* n = nodeOf(fd)) {
        long long position = offset;
        return driveRead(*n->drive, position, buffer, size);
    }
    static const PreadFn real = next<PreadFn>("pread");
    return real(fd, buffer, size, offset);
}

ssize_t pread64(int fd, void* buffer, size_t size, off_t offset) {
    if (OpenNode* n = nodeOf(fd)) {
        long long position = offset;
        return driveRead(*n->drive, position, buffer, size);
    }
    static const PreadFn real = next<PreadFn>("pread64");
    return real(fd, buffer, size, offset);
}

static off_t seekNode(OpenNode& n, off_t offset, int whence) {
    long long base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? n.position : -1;
    if (whence == SEEK_END)
        base = driveSize(*n.drive);
    if (base < 0 || base + offset < 0) {
        errno = EINVAL;
        return -1;
    }
    n.position = base + offset;
    return off_t(n.position);
}

off_t lseek(int fd, off_t offset, int whence) {
    if (OpenNode* n = nodeOf(fd))
        return seekNode(*n, offset, whence);
    static const LseekFn real = next<LseekFn>("lseek");
    return real(fd, offset, whence);
}

off_t lseek64(int fd, off_t offset, int whence) {
    if (OpenNode* n = nodeOf(fd))
        return seekNode(*n, offset, whence);
    static const LseekFn real = next<LseekFn>("lseek64");
    return real(fd, offset, whence);
}

// struct stat64 is struct stat on 64-bit Linux.
static_assert(sizeof(struct stat) == sizeof(struct stat64));

#define STAT_FUNCTION(name, type, follow)                                                          \
    int name(const char* path, struct type* st) {                                                  \
        if (fakeStat(path, reinterpret_cast<struct stat*>(st), follow))                            \
            return 0;                                                                              \
        static const auto real = next<int (*)(const char*, struct type*)>(#name);                  \
        return real(path, st);                                                                     \
    }
STAT_FUNCTION(stat, stat, true)
STAT_FUNCTION(stat64, stat64, true)
STAT_FUNCTION(lstat, stat, false)
STAT_FUNCTION(lstat64, stat64, false)

#define XSTAT_FUNCTION(name, follow)                                                               \
    int name(int version, const char* path, struct stat* st) {                                     \
        if (fakeStat(path, st, follow))                                                            \
            return 0;                                                                              \
        static const XstatFn real = next<XstatFn>(#name);                                          \
        return real(version, path, st);                                                            \
    }
XSTAT_FUNCTION(__xstat, true)
XSTAT_FUNCTION(__xstat64, true)
XSTAT_FUNCTION(__lxstat, false)
XSTAT_FUNCTION(__lxstat64, false)

#define FSTAT_FUNCTION(name, type)                                                                 \
    int name(int fd, struct type* st) {                                                            \
        if (OpenNode* n = nodeOf(fd)) {                                                            \
            fillStat(*n->drive, reinterpret_cast<struct stat*>(st));                               \
            return 0;                                                                              \
        }                                                                                          \
        static const auto real = next<int (*)(int, struct type*)>(#name);                          \
        return real(fd, st);                                                                       \
    }
FSTAT_FUNCTION(fstat, stat)
FSTAT_FUNCTION(fstat64, stat64)

#define FXSTAT_FUNCTION(name)                                                                      \
    int name(int version, int fd, struct stat* st) {                                               \
        if (OpenNode* n = nodeOf(fd)) {                                                            \
            fillStat(*n->drive, st);                                                               \
            return 0;                                                                              \
        }                                                                                          \
        static const FxstatFn real = next<FxstatFn>(#name);                                        \
        return real(version, fd, st);                                                              \
    }
FXSTAT_FUNCTION(__fxstat)
FXSTAT_FUNCTION(__fxstat64)

#define FSTATAT_FUNCTION(name, type)                                                               \
    int name(int dir, const char* path, struct type* st, int flags) {                              \
        struct stat* plain = reinterpret_cast<struct stat*>(st);                                   \
        if ((flags & AT_EMPTY_PATH) && emptyPath(path)) {                                          \
            if (OpenNode* n = nodeOf(dir)) {                                                       \
                fillStat(*n->drive, plain);                                                        \
                return 0;                                                                          \
            }                                                                                      \
        } else if (fakeStat(path, plain, !(flags & AT_SYMLINK_NOFOLLOW))) {                        \
            return 0;                                                                              \
        }                                                                                          \
        static const auto real = next<int (*)(int, const char*, struct type*, int)>(#name);        \
        return real(dir, path, st, flags);                                                         \
    }
FSTATAT_FUNCTION(fstatat, stat)
FSTATAT_FUNCTION(fstatat64, stat64)

#define FXSTATAT_FUNCTION(name)                                                                    \
    int name(int version, int dir, const char* path, struct stat* st, int flags) {                 \
        if (fakeStat(path, st, !(flags & AT_SYMLINK_NOFOLLOW)))                                    \
            return 0;                                                                              \
        static const FxstatatFn real = next<FxstatatFn>(#name);                                    \
        return real(version, dir, path, st, flags);                                                \
    }
FXSTATAT_FUNCTION(__fxstatat)
FXSTATAT_FUNCTION(__fxstatat64)

int statx(int dir, const char* path, int flags, unsigned mask, struct statx* x) {
    struct stat st;
    bool faked = false;
    if ((flags & AT_EMPTY_PATH) && emptyPath(path)) {
        if (OpenNode* n = nodeOf(dir)) {
            fillStat(*n->drive, &st);
            faked = true;
        }
    } else {
        faked = fakeStat(path, &st, !(flags & AT_SYMLINK_NOFOLLOW));
    }
    if (faked) {
        toStatx(st, x);
        return 0;
    }
    static const StatxFn real = next<StatxFn>("statx");
    return real(dir, path, flags, mask, x);
}

int access(const char* path, int mode) {
    struct stat st;
    if (fakeStat(path, &st, true))
        return 0;
    static const AccessFn real = next<AccessFn>("access");
    return real(path, mode);
}

int faccessat(int dir, const char* path, int mode, int flags) {
    struct stat st;
    if (fakeStat(path, &st, true))
        return 0;
    static const FaccessatFn real = next<FaccessatFn>("faccessat");
    return real(dir, path, mode, flags);
}

char* realpath(const char* path, char* resolved) {
    const std::string name = canonicalPath(path);
    if (name.empty()) {
        static const RealpathFn real = next<RealpathFn>("realpath");
        return real(path, resolved);
    }
    if (!resolved)
        return strdup(name.c_str());
    std::snprintf(resolved, PATH_MAX, "%s", name.c_str());
    return resolved;
}

char* __realpath_chk(const char* path, char* resolved, size_t size) {
    const std::string name = canonicalPath(path);
    if (name.empty()) {
        static const RealpathChkFn real = next<RealpathChkFn>("__realpath_chk");
        return real(path, resolved, size);
    }
    std::snprintf(resolved, size, "%s", name.c_str());
    return resolved;
}

char* canonicalize_file_name(const char* path) {
    const std::string name = canonicalPath(path);
    if (name.empty()) {
        static const auto real = next<char* (*)(const char*)>("canonicalize_file_name");
        return real(path);
    }
    return strdup(name.c_str());
}

ssize_t readlink(const char* path, char* buffer, size_t size) {
    std::string target;
    if (sysDeviceLink(path, target)) {
        const size_t n = std::min(size, target.size());
        std::memcpy(buffer, target.data(), n);
        return ssize_t(n);
    }
    if (driveAt(path)) {
        errno = EINVAL; // a device node, not a link
        return -1;
    }
    static const ReadlinkFn real = next<ReadlinkFn>("readlink");
    return real(path, buffer, size);
}

int dup(int fd) {
    static const DupFn real = next<DupFn>("dup");
    const int copy = real(fd);
    if (copy >= 0 && ours(fd))
        copyNode(fd, copy);
    return copy;
}

int dup2(int fd, int target) {
    static const Dup2Fn real = next<Dup2Fn>("dup2");
    if (fd != target && ours(target))
        forgetNode(target);
    const int copy = real(fd, target);
    if (copy >= 0 && fd != target && ours(fd))
        copyNode(fd, copy);
    return copy;
}

int dup3(int fd, int target, int flags) {
    static const Dup3Fn real = next<Dup3Fn>("dup3");
    if (fd != target && ours(target))
        forgetNode(target);
    const int copy = real(fd, target, flags);
    if (copy >= 0 && ours(fd))
        copyNode(fd, copy);
    return copy;
}

int fcntl(int fd, int command, ...) {
    va_list args;
    va_start(args, command);
    void* arg = va_arg(args, void*);
    va_end(args);
    static const FcntlFn real = next<FcntlFn>("fcntl");
    const int result = real(fd, command, arg);
    if (result >= 0 && (command == F_DUPFD || command == F_DUPFD_CLOEXEC) && ours(fd))
        copyNode(fd, result);
    return result;
}

int fcntl64(int fd, int command, ...) {
    va_list args;
    va_start(args, command);
    void* arg = va_arg(args, void*);
    va_end(args);
    static const FcntlFn real = next<FcntlFn>("fcntl64");
    const int result = real(fd, command, arg);
    if (result >= 0 && (command == F_DUPFD || command == F_DUPFD_CLOEXEC) && ours(fd))
        copyNode(fd, result);
    return result;
}

} // extern "C"
