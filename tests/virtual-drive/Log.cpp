#include "Log.h"

#include "Libc.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace vdrive {

Log& Log::instance() {
    static Log log;
    return log;
}

Log::Log() : m_start(std::chrono::steady_clock::now()) {
    if (const char* path = std::getenv("VIRTUAL_DRIVE_LOG"); path && *path)
        m_fd = libc().open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}

void Log::line(const std::string& node, const char* via, const std::string& name,
               const std::string& details) {
    if (m_fd < 0)
        return;
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    char prefix[48];
    std::snprintf(prefix, sizeof prefix, "%.3f %d ", seconds, int(getpid()));
    const std::string whole = prefix + node + " " + via + " " + name + ":" +
                              (details.empty() ? "" : " ") + details + "\n";
    libc().write(m_fd, whole.data(), whole.size());
}

} // namespace vdrive
