#include "backends/cdio/CdioLog.h"

#include <QStringList>
#include <cdio/logging.h>
#include <deque>
#include <mutex>
#include <string>

namespace cdio {
namespace {

// A refusal takes one or two messages ("… line 3 after word TRACK:", "Expecting a track
// number, got X"); a few more keep what led up to it.
constexpr size_t kMessagesKept = 4;

thread_local std::deque<std::string> t_messages;

void keepMessage(cdio_log_level_t level, const char message[]) noexcept {
    if (level < CDIO_LOG_INFO || !message)
        return;
    try {
        t_messages.emplace_back(message);
        if (t_messages.size() > kMessagesKept)
            t_messages.pop_front();
    } catch (...) {
        // Out of memory while keeping a log line: the line is lost, nothing else.
    }
}

} // namespace

void installLogHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        cdio_log_set_handler(keepMessage);
        // libcdio drops notes before they reach the handler unless asked for them.
        cdio_loglevel_default = CDIO_LOG_INFO;
    });
}

QString takeLogMessages() {
    QStringList parts;
    for (const std::string& message : t_messages) {
        const QString text = QString::fromLocal8Bit(message).simplified();
        if (!text.isEmpty())
            parts << text;
    }
    t_messages.clear();
    return parts.join(u' ');
}

} // namespace cdio
