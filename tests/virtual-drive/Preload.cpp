// The C library entry points this library stands in for: those that libburn, libcdio and the
// programs under test call on a drive's node. Each checks whether the path or file descriptor
// is one of the virtual drives' and otherwise hands the call on unchanged.
#include "Ioctls.h"
#include "Libc.h"
#include "Nodes.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

using namespace vdrive;

namespace {

template <typename F> F next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(args, int) : 0;
    va_end(args);
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const auto real = next<int (*)(const char*, int, ...)>("open");
    return real(path, flags, mode);
}

int __open_2(const char* path, int flags) {
    if (Drive* d = driveAt(path))
        return openNode(*d, path, flags);
    static const auto real = next<int (*)(const char*, int)>("__open_2");
    return real(path, flags);
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
        return driveIoctl(*n->drive, request, arg);
    return libc().ioctl(fd, request, arg);
}

// stat and lstat, and the __xstat form of programs built against an older C library; a node is
// no link, so both report it alike.
#define STAT_FUNCTION(name, ...)                                                                   \
    int name(__VA_ARGS__ __VA_OPT__(, ) const char* path, struct stat* st) {                       \
        if (Drive* d = driveAt(path)) {                                                            \
            fillStat(*d, st);                                                                      \
            return 0;                                                                              \
        }                                                                                          \
        static const auto real =                                                                   \
            next<int (*)(__VA_ARGS__ __VA_OPT__(, ) const char*, struct stat*)>(#name);            \
        return real(__VA_OPT__(version, ) path, st);                                               \
    }
STAT_FUNCTION(stat)
STAT_FUNCTION(lstat)
STAT_FUNCTION(__xstat, int version)

int fstat(int fd, struct stat* st) {
    if (OpenNode* n = nodeOf(fd)) {
        fillStat(*n->drive, st);
        return 0;
    }
    return libc().fstat(fd, st);
}

char* realpath(const char* path, char* resolved) {
    const std::string name = canonicalPath(path);
    if (name.empty()) {
        static const auto real = next<char* (*)(const char*, char*)>("realpath");
        return real(path, resolved);
    }
    if (!resolved)
        return strdup(name.c_str());
    std::snprintf(resolved, PATH_MAX, "%s", name.c_str());
    return resolved;
}

} // extern "C"
