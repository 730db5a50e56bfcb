#include "backends/media/InputFile.h"

#include "components/Error.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace media {

namespace {

// The highest rate of any audio format in use (DXD and studio PCM go up to 768 kHz).
constexpr int kHighestSampleRate = 768000;

quint32 le32(const char* p) {
    return quint32(quint8(p[0])) | quint32(quint8(p[1])) << 8 | quint32(quint8(p[2])) << 16 |
           quint32(quint8(p[3])) << 24;
}

quint64 le64(const char* p) {
    return quint64(le32(p)) | quint64(le32(p + 4)) << 32;
}

// How large a RIFF/WAVE file says it is: the RIFF size, or where its data chunk ends when that
// is further; -1 for the placeholders of writers that cannot seek back (0 or a huge value).
qint64 announcedWavSize(QFile& file) {
    char head[12];
    if (file.read(head, 12) != 12 || std::memcmp(head, "RIFF", 4) != 0 ||
        std::memcmp(head + 8, "WAVE", 4) != 0)
        return -1;
    const auto placeholder = [](quint32 size) { return size == 0 || size >= 0x7ffff000u; };
    const quint32 riff = le32(head + 4);
    if (placeholder(riff))
        return -1;
    qint64 announced = qint64(riff) + 8;
    // Chunks past the end of the file are not looked for: they are not there.
    for (qint64 pos = 12; pos + 8 <= announced && pos + 8 <= file.size();) {
        char chunk[8];
        if (!file.seek(pos) || file.read(chunk, 8) != 8)
            break;
        const quint32 size = le32(chunk + 4);
        if (std::memcmp(chunk, "data", 4) == 0) {
            if (!placeholder(size))
                announced = std::max(announced, pos + 8 + qint64(size));
            break;
        }
        pos += 8 + qint64(size) + (size & 1);
    }
    return announced;
}

// The file size an ASF header announces (File Properties object), or -1 when it has none or
// the file is flagged as a live broadcast, whose sizes mean nothing.
qint64 announcedAsfSize(QFile& file) {
    static const char headerGuid[16] = {'\x30', '\x26', '\xb2', '\x75', '\x8e', '\x66',
                                        '\xcf', '\x11', '\xa6', '\xd9', '\x00', '\xaa',
                                        '\x00', '\x62', '\xce', '\x6c'};
    static const char filePropertiesGuid[16] = {'\xa1', '\xdc', '\xab', '\x8c', '\x47', '\xa9',
                                                '\xcf', '\x11', '\x8e', '\xe4', '\x00', '\xc0',
                                                '\x0c', '\x20', '\x53', '\x65'};
    char head[30];
    if (file.read(head, 30) != 30 || std::memcmp(head, headerGuid, 16) != 0)
        return -1;
    // Objects are looked for inside the file only, which also keeps the sum from wrapping.
    const quint64 headerEnd = std::min(le64(head + 16), quint64(file.size()));
    quint64 pos = 30;
    while (pos + 24 <= headerEnd) {
        char object[24];
        if (!file.seek(qint64(pos)) || file.read(object, 24) != 24)
            return -1;
        const quint64 objectSize = le64(object + 16);
        if (std::memcmp(object, filePropertiesGuid, 16) == 0) {
            char props[80]; // file id, file size, dates, counts, durations, preroll, flags
            if (objectSize < 104 || file.read(props, 80) != 80)
                return -1;
            const bool broadcast = le32(props + 64) & 1;
            const quint64 size = le64(props + 16);
            return broadcast || size == 0 ? -1 : qint64(size);
        }
        if (objectSize < 24 || objectSize > headerEnd - pos)
            return -1;
        pos += objectSize;
    }
    return -1;
}

void refuseTruncated(const QString& path, const char* formatName, qint64 actual) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray name(formatName);
    qint64 announced = -1;
    if (name == "wav")
        announced = announcedWavSize(file);
    else if (name == "asf")
        announced = announcedAsfSize(file);
    // One byte of slack: some writers drop the pad byte after an odd-sized last chunk.
    if (announced > actual + 1)
        throw Error(readError(path, QStringLiteral("the file is truncated (its header announces "
                                                   "%1 bytes, but it has only %2)")
                                        .arg(announced)
                                        .arg(actual)));
}

} // namespace

QString readError(const QString& path, const QString& reason) {
    return QStringLiteral("Cannot read %1: %2").arg(path, reason);
}

QString writeError(const QString& path, const QString& reason) {
    return QStringLiteral("Cannot write %1: %2").arg(path, reason);
}

InputFile openInputFile(const QString& path, bool checkComplete,
                        const std::atomic<bool>* interrupt) {
    ffmpeg::initialise();
    if (path.isEmpty())
        throw Error(QStringLiteral("Cannot read the input: no file was given"));
    const QByteArray native = QFile::encodeName(path);
    struct stat info {};
    if (::stat(native.constData(), &info) != 0) {
        const int err = errno;
        throw Error(readError(path, err == ENOENT ? QStringLiteral("the file does not exist")
                                                  : QString::fromLocal8Bit(std::strerror(err))));
    }
    // Opening a named pipe would wait for a writer, and a device never ends: refuse both.
    if (S_ISDIR(info.st_mode))
        throw Error(readError(path, QStringLiteral("it is a folder, not a file")));
    if (S_ISFIFO(info.st_mode))
        throw Error(readError(path, QStringLiteral("it is a named pipe, not a file")));
    if (S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode))
        throw Error(readError(path, QStringLiteral("it is a device, not a file")));
    if (!S_ISREG(info.st_mode))
        throw Error(readError(path, QStringLiteral("it is not a regular file")));
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        throw Error(readError(path, QString::fromLocal8Bit(std::strerror(errno))));
    ::close(fd);

    InputFile input;
    input.sizeBytes = qint64(info.st_size);
    if (input.sizeBytes == 0)
        throw Error(readError(path, QStringLiteral("the file is empty")));

    const QString notAudio = QStringLiteral("it is not an audio file FFmpeg can decode");
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* raw = avformat_alloc_context();
    if (!raw)
        throw Error(readError(path, QStringLiteral("out of memory")));
    if (interrupt) {
        raw->interrupt_callback.callback = [](void* flag) -> int {
            return static_cast<const std::atomic<bool>*>(flag)->load() ? 1 : 0;
        };
        raw->interrupt_callback.opaque = const_cast<std::atomic<bool>*>(interrupt);
    }
    ffmpeg::clearLastLog();
    int ret = avformat_open_input(&raw, ffmpeg::fileUrl(path).constData(), nullptr, &options);
    av_dict_free(&options);
    if (ret < 0) {
        throw Error(
            readError(path, ret == AVERROR_INVALIDDATA || ret == AVERROR(EPERM)
                                ? notAudio
                                : notAudio + QStringLiteral(" (%1)").arg(ffmpeg::errorText(ret))));
    }
    input.format.reset(raw);
    ret = avformat_find_stream_info(raw, nullptr);
    if (ret < 0) // the demuxers' generic -1 would read "Operation not permitted": leave it out
        throw Error(
            readError(path, ret == AVERROR(EPERM)
                                ? notAudio
                                : notAudio + QStringLiteral(" (%1)").arg(ffmpeg::errorText(ret))));

    ret = av_find_best_stream(raw, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (ret == AVERROR_STREAM_NOT_FOUND)
        throw Error(readError(path, notAudio + QStringLiteral(" (it has no audio stream)")));
    if (ret < 0)
        throw Error(
            readError(path, notAudio + QStringLiteral(" (%1)").arg(ffmpeg::errorText(ret))));
    const AVCodecID codecId = raw->streams[ret]->codecpar->codec_id;
    if (codecId == AV_CODEC_ID_NONE)
        throw Error(readError(path, notAudio + QStringLiteral(" (its audio codec is unknown)")));
    input.decoder = avcodec_find_decoder(codecId);
    if (!input.decoder) {
        throw Error(readError(path, QStringLiteral("FFmpeg has no decoder for its audio (%1)")
                                        .arg(QString::fromUtf8(avcodec_get_name(codecId)))));
    }
    input.stream = raw->streams[ret];
    const AVCodecParameters* par = input.stream->codecpar;
    if (par->sample_rate <= 0 || par->ch_layout.nb_channels <= 0)
        throw Error(readError(path, notAudio + QStringLiteral(" (its audio format is unknown)")));
    // A damaged header can claim any rate; resampling from gigahertz takes gigabytes.
    if (par->sample_rate > kHighestSampleRate)
        throw Error(readError(path, QStringLiteral("its header gives %1 Hz as the sample rate, "
                                                   "more than any audio has (at most %2 Hz); "
                                                   "the file is damaged")
                                        .arg(par->sample_rate)
                                        .arg(kHighestSampleRate)));
    // Other streams (cover art, video) are never read.
    for (unsigned i = 0; i < raw->nb_streams; ++i) {
        if (raw->streams[i] != input.stream)
            raw->streams[i]->discard = AVDISCARD_ALL;
    }
    if (checkComplete)
        refuseTruncated(path, raw->iformat->name, input.sizeBytes);
    return input;
}

QMap<QString, QString> tagsOf(const InputFile& input) {
    QMap<QString, QString> tags;
    for (const AVDictionary* dict : {input.stream->metadata, input.format->metadata}) {
        const AVDictionaryEntry* entry = nullptr;
        while ((entry = av_dict_get(dict, "", entry, AV_DICT_IGNORE_SUFFIX)))
            tags.insert(QString::fromUtf8(entry->key).toLower(), QString::fromUtf8(entry->value));
    }
    return tags;
}

double durationOf(const InputFile& input) {
    if (input.format->duration != AV_NOPTS_VALUE && input.format->duration > 0)
        return input.format->duration / double(AV_TIME_BASE);
    if (input.stream->duration != AV_NOPTS_VALUE && input.stream->duration > 0)
        return input.stream->duration * av_q2d(input.stream->time_base);
    return 0.0;
}

} // namespace media
