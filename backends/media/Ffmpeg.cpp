#include "backends/media/Ffmpeg.h"

#include "components/Error.h"

#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace ffmpeg {

namespace {

// No buffer of a decoder, demuxer or encoder of audio comes near this; a damaged header that
// asks for more (a WAV's LIST chunk claiming 3 GB made the demuxer zero 1.6 GB) gets ENOMEM.
constexpr size_t kLargestAllocation = size_t(128) << 20;

thread_local QString t_lastLog;
bool g_echo = false;

void logHandler(void* avcl, int level, const char* fmt, va_list args) {
    if (level > AV_LOG_ERROR && !g_echo)
        return;
    char line[1024];
    int printPrefix = 1;
    va_list copy;
    va_copy(copy, args);
    av_log_format_line2(avcl, level, fmt, copy, line, sizeof line, &printPrefix);
    va_end(copy);
    if (level <= AV_LOG_ERROR) {
        // Keep the message without the "[codec @ 0x...] " prefix.
        QString text = QString::fromUtf8(line).trimmed();
        if (text.startsWith(QLatin1Char('['))) {
            const qsizetype end = text.indexOf(QLatin1String("] "));
            if (end > 0)
                text = text.mid(end + 2);
        }
        if (!text.isEmpty())
            t_lastLog = text;
    }
    if (g_echo)
        std::fputs(line, stderr);
}

} // namespace

Frame makeFrame() {
    Frame frame(av_frame_alloc());
    if (!frame)
        throw Error(QStringLiteral("Out of memory while allocating an audio frame"));
    return frame;
}

Packet makePacket() {
    Packet packet(av_packet_alloc());
    if (!packet)
        throw Error(QStringLiteral("Out of memory while allocating an audio packet"));
    return packet;
}

QString errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

QString lastLog() {
    return t_lastLog;
}

void clearLastLog() {
    t_lastLog.clear();
}

void initialise() {
    static std::once_flag once;
    std::call_once(once, [] {
        g_echo = qEnvironmentVariableIsSet("MELVANE_FFMPEG_LOG");
        av_log_set_level(g_echo ? AV_LOG_INFO : AV_LOG_ERROR);
        av_log_set_callback(logHandler);
        av_max_alloc(kLargestAllocation);
    });
}

QByteArray fileUrl(const QString& path) {
    return QByteArrayLiteral("file:") + QFile::encodeName(QFileInfo(path).absoluteFilePath());
}

} // namespace ffmpeg
