#pragma once

// The C library's own versions of the calls this library stands in for, so that the model can
// open its image files and log without coming back through its own entry points.

#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>

namespace vdrive {

struct Libc {
    int (*open)(const char*, int, ...);
    int (*close)(int);
    int (*fstat)(int, struct stat*);
    int (*ioctl)(int, unsigned long, ...);
    ssize_t (*write)(int, const void*, size_t);
};

const Libc& libc();

} // namespace vdrive
