#include "backends/media/ContainerWriter.h"

#include "backends/media/OutputFile.h"
#include "backends/media/SinkFailure.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kIoBufferBytes = 1 << 16;

#if LIBAVFORMAT_VERSION_MAJOR < 61
using IoBytes = uint8_t*;
#else
using IoBytes = const uint8_t*;
#endif

// FFmpeg writes the container through these, into the OutputFile. C callbacks: no exceptions.
int writeToFile(void* opaque, IoBytes data, int size) noexcept {
    const int err = static_cast<OutputFile*>(opaque)->writeAll(data, size_t(size));
    return err ? AVERROR(err) : size;
}

int64_t seekInFile(void* opaque, int64_t offset, int whence) noexcept {
    const int fd = static_cast<OutputFile*>(opaque)->fd();
    if (whence & AVSEEK_SIZE) {
        struct stat info {};
        return ::fstat(fd, &info) == 0 ? int64_t(info.st_size) : AVERROR(errno);
    }
    const off_t at = ::lseek(fd, off_t(offset), whence & ~AVSEEK_FORCE);
    return at < 0 ? AVERROR(errno) : int64_t(at);
}

} // namespace

ContainerWriter::ContainerWriter(const char* container, OutputFile& file, SinkFailure& failure)
    : m_file(file), m_failure(failure) {
    AVFormatContext* raw = nullptr;
    const int ret = avformat_alloc_output_context2(&raw, nullptr, container, nullptr);
    if (ret < 0 || !raw)
        m_failure.raise(
            QStringLiteral("FFmpeg cannot write %1 files").arg(QString::fromUtf8(container)));
    m_output.reset(raw);
}

bool ContainerWriter::wantsGlobalHeader() const {
    return m_output->oformat->flags & AVFMT_GLOBALHEADER;
}

void ContainerWriter::start(const AVCodecContext* encoder, const QMap<QString, QString>& tags,
                            int gaplessDelay, int frameSize) {
    AVFormatContext* raw = m_output.get();
    m_stream = avformat_new_stream(raw, nullptr);
    if (!m_stream)
        m_failure.raise(QStringLiteral("out of memory"));
    int ret = avcodec_parameters_from_context(m_stream->codecpar, encoder);
    if (ret < 0)
        m_failure.raise(ffmpeg::errorText(ret));
    m_timeBase = encoder->time_base;
    m_stream->time_base = m_timeBase;
    m_gaplessDelay = gaplessDelay;
    m_frameSize = frameSize;
    for (auto it = tags.cbegin(); it != tags.cend(); ++it)
        av_dict_set(&raw->metadata, it.key().toUtf8().constData(), it.value().toUtf8().constData(),
                    0);

    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
    m_io.reset(buffer ? avio_alloc_context(buffer, kIoBufferBytes, 1, &m_file, nullptr, writeToFile,
                                           seekInFile)
                      : nullptr);
    if (!m_io) {
        av_free(buffer);
        m_failure.raise(QStringLiteral("out of memory"));
    }
    raw->pb = m_io.get();
    raw->flags |= AVFMT_FLAG_CUSTOM_IO;
    ffmpeg::clearLastLog();
    ret = avformat_write_header(raw, nullptr);
    if (ret < 0)
        m_failure.raise(ffmpeg::errorText(ret));
}

void ContainerWriter::writePacket(AVPacket* p, qint64 discardAtEnd) {
    if (m_gaplessDelay > 0 && (m_packetsOut == 0 || discardAtEnd >= 0)) {
        // Edges to trim, as libmp3lame reports them; the MP3 muxer puts them in the LAME tag.
        uint8_t* skip = av_packet_new_side_data(p, AV_PKT_DATA_SKIP_SAMPLES, 10);
        if (!skip)
            m_failure.raise(QStringLiteral("out of memory"));
        AV_WL32(skip, m_packetsOut == 0 ? uint32_t(m_gaplessDelay) : 0);
        AV_WL32(skip + 4, uint32_t(std::max<qint64>(discardAtEnd, 0)));
    }
    p->stream_index = m_stream->index;
    av_packet_rescale_ts(p, m_timeBase, m_stream->time_base);
    const int ret = av_write_frame(m_output.get(), p);
    av_packet_unref(p);
    ++m_packetsOut;
    if (ret < 0)
        m_failure.raise(ffmpeg::errorText(ret));
}

void ContainerWriter::write(AVPacket* p) {
    if (m_gaplessDelay == 0) {
        writePacket(p, -1);
        return;
    }
    if (m_held->data)
        writePacket(m_held.get(), -1);
    av_packet_move_ref(m_held.get(), p);
}

void ContainerWriter::flush() {
    avio_flush(m_io.get());
    if (m_io->error < 0)
        m_failure.raise(ffmpeg::errorText(m_io->error));
    if (::fdatasync(m_file.fd()) != 0)
        m_failure.raise(QString::fromLocal8Bit(std::strerror(errno)));
}

void ContainerWriter::finish(qint64 realSamples) {
    if (m_gaplessDelay > 0 && m_held->data) {
        const qint64 coded = (m_packetsOut + 1) * qint64(m_frameSize);
        writePacket(m_held.get(), coded - m_gaplessDelay - realSamples);
    }
    int ret = av_write_trailer(m_output.get());
    if (ret >= 0) {
        avio_flush(m_io.get());
        ret = m_io->error;
    }
    if (ret < 0)
        m_failure.raise(ffmpeg::errorText(ret));
}
