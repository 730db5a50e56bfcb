#include "Libc.h"

#include <dlfcn.h>

namespace vdrive {

const Libc& libc() {
    static const Libc functions{
        reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open")),
        reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close")),
        reinterpret_cast<int (*)(int, struct stat*)>(dlsym(RTLD_NEXT, "fstat")),
        reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl")),
        reinterpret_cast<ssize_t (*)(int, const void*, size_t)>(dlsym(RTLD_NEXT, "write"))};
    return functions;
}

} // namespace vdrive
