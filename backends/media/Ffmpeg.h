#pragma once

// Private to backends/media: RAII owners for FFmpeg objects and the helpers that turn FFmpeg
// results into our error texts. Nothing outside this folder includes FFmpeg.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <QByteArray>
#include <QString>
#include <memory>

namespace ffmpeg {

struct InputContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
struct CodecContextDeleter {
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct FrameDeleter {
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct PacketDeleter {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct ResamplerDeleter {
    void operator()(SwrContext* p) const { swr_free(&p); }
};
struct FifoDeleter {
    void operator()(AVAudioFifo* p) const { av_audio_fifo_free(p); }
};
struct OutputContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_free_context(p); }
};
// A custom I/O context owns its buffer, which FFmpeg may have replaced.
struct IoContextDeleter {
    void operator()(AVIOContext* p) const {
        av_freep(&p->buffer);
        avio_context_free(&p);
    }
};

using InputContext = std::unique_ptr<AVFormatContext, InputContextDeleter>;
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using Frame = std::unique_ptr<AVFrame, FrameDeleter>;
using Packet = std::unique_ptr<AVPacket, PacketDeleter>;
using Resampler = std::unique_ptr<SwrContext, ResamplerDeleter>;
using Fifo = std::unique_ptr<AVAudioFifo, FifoDeleter>;
using OutputContext = std::unique_ptr<AVFormatContext, OutputContextDeleter>;
using IoContext = std::unique_ptr<AVIOContext, IoContextDeleter>;

// Allocators that never return null (they raise Error when memory runs out).
Frame makeFrame();
Packet makePacket();

// The library's text for an AVERROR code, e.g. "No space left on device".
QString errorText(int code);

// The last error line FFmpeg logged on this thread (often more precise than the code, e.g.
// "bitrate too low"), or an empty text; clearLastLog() forgets it.
QString lastLog();
void clearLastLog();

// Installs our log handler once: FFmpeg's own chatter stays off standard error unless
// MELVANE_FFMPEG_LOG is set, but its error lines are kept for our messages.
void initialise();

// A local path as an FFmpeg URL. The "file:" prefix keeps a colon in a file name from being
// read as a protocol.
QByteArray fileUrl(const QString& path);

} // namespace ffmpeg
