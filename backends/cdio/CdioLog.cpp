#include "backends/cdio/CdioLog.h"

#include <cdio/logging.h>
#include <mutex>
#include <string>

namespace cdio {
namespace {

thread_local std::string t_lastMessage;

void keepMessage(cdio_log_level_t level, const char message[]) noexcept {
    if (level < CDIO_LOG_WARN || !message)
        return;
    try {
        t_lastMessage = message;
    } catch (...) {
        // Out of memory while keeping a log line: the line is lost, nothing else.
    }
}

} // namespace

void installLogHandler() {
    static std::once_flag once;
    std::call_once(once, [] { cdio_log_set_handler(keepMessage); });
}

QString takeLogMessage() {
    QString message = QString::fromLocal8Bit(t_lastMessage.c_str()).trimmed();
    t_lastMessage.clear();
    return message;
}

} // namespace cdio
