#include "backends/media/EncodedSink.h"

#include "backends/media/CodecPolicy.h"
#include "backends/media/Ffmpeg.h"
#include "backends/media/InputFile.h"
#include "backends/media/LameEncoder.h"
#include "backends/media/OutputFile.h"
#include "backends/media/ParallelEncoder.h"
#include "backends/media/SampleConverter.h"
#include "components/Error.h"

#include <QThread>

extern "C" {
#include <libavutil/intreadwrite.h>
}

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using media::writeError;

namespace {

// Frames per encoder call when the codec takes any size (PCM).
constexpr int kVariableFrameSize = 4096;
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

struct IoDeleter {
    void operator()(AVIOContext* p) const {
        av_freep(&p->buffer);
        avio_context_free(&p);
    }
};

struct OutputContextDeleter {
    void operator()(AVFormatContext* p) const { avformat_free_context(p); }
};

struct SampleBufferDeleter {
    void operator()(uint8_t** p) const {
        av_freep(&p[0]);
        av_free(p);
    }
};

} // namespace

struct EncodedSink::Impl {
    QString path;
    Options options;
    const CodecPolicy* policy = nullptr;
    PcmFormat input;
    PcmFormat encoded;
    ffmpeg::CodecContext encoder; // its settings describe the stream; it encodes without threads
    qint64 bitRate = 0;
    std::unique_ptr<ParallelEncoder> parallel;
    std::unique_ptr<LameEncoder> lame;
    std::vector<uint8_t> lameFrame;
    // Samples decoders drop at the start, for gapless information the encoder does not give.
    int gaplessDelay = 0;
    std::unique_ptr<OutputFile> file;
    std::unique_ptr<AVIOContext, IoDeleter> io;
    std::unique_ptr<AVFormatContext, OutputContextDeleter> output;
    AVStream* stream = nullptr;
    std::unique_ptr<SampleConverter> converter;
    bool copyInput = false;
    ffmpeg::Fifo fifo;
    ffmpeg::Frame frame = ffmpeg::makeFrame();
    ffmpeg::Packet packet = ffmpeg::makePacket();
    int frameSize = kVariableFrameSize;
    // Silence before the audio, for an encoder that would otherwise lose its first samples.
    int leadIn = 0;
    ffmpeg::Packet held = ffmpeg::makePacket();
    qint64 packetsOut = 0;
    qint64 realSamples = 0; // encoder-rate samples of real audio handed to the encoder
    int64_t nextPts = 0;
    bool finished = false;
    bool committed = false;
    bool failed = false;

    // Scratch space for converted samples, in the encoder's format.
    std::unique_ptr<uint8_t*, SampleBufferDeleter> converted;
    int convertedCapacity = 0;

    [[noreturn]] void fail(const QString& reason) {
        failed = true;
        if (file)
            file->discard();
        throw Error(writeError(path, reason));
    }

    // A fresh encoder with this sink's settings; raises Error when it refuses them.
    ffmpeg::CodecContext makeEncoder(const AVCodec* codec) {
        ffmpeg::CodecContext context(avcodec_alloc_context3(codec));
        if (!context)
            fail(QStringLiteral("out of memory"));
        context->sample_fmt = CodecPolicy::sampleFormat(codec);
        context->sample_rate = encoded.sampleRate;
        av_channel_layout_default(&context->ch_layout, encoded.channels);
        context->time_base = {1, encoded.sampleRate};
        context->bit_rate = bitRate;
        if (output->oformat->flags & AVFMT_GLOBALHEADER)
            context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        ffmpeg::clearLastLog();
        const int ret = avcodec_open2(context.get(), codec, nullptr);
        if (ret < 0) {
            const QString why = ffmpeg::lastLog();
            fail(QStringLiteral("the %1 encoder refuses %2 bit/s at %3 Hz with %4 channel(s) (%5)")
                     .arg(QString::fromUtf8(codec->name))
                     .arg(bitRate)
                     .arg(encoded.sampleRate)
                     .arg(encoded.channels)
                     .arg(why.isEmpty() ? ffmpeg::errorText(ret) : why));
        }
        return context;
    }

    // LAME writes the frames; this context only describes the stream to the muxer.
    void openLame() {
        encoded.sampleRate = policy->sampleRate(nullptr, input.sampleRate);
        encoded.channels = std::min(input.channels, policy->maxChannels);
        const bool variable = options.vbrQuality >= 0;
        if (variable && options.vbrQuality > 9)
            fail(QStringLiteral("V%1 is not a LAME quality (0 to 9)").arg(options.vbrQuality));
        if (!variable && options.bitRate <= 0)
            fail(QStringLiteral("%1 bit/s is not a valid bit rate").arg(options.bitRate));
        bitRate =
            variable ? 0 : policy->bitRate(options.bitRate, encoded.sampleRate, encoded.channels);
        LameEncoder::Settings settings;
        settings.sampleRate = encoded.sampleRate;
        settings.channels = encoded.channels;
        settings.bitRateKbps = int(bitRate / 1000);
        settings.vbrQuality = options.vbrQuality;
        settings.workers = options.cores > 0 ? options.cores : QThread::idealThreadCount();
        try {
            lame = std::make_unique<LameEncoder>(settings);
        } catch (const Error& e) {
            fail(e.message());
        }
        encoder.reset(avcodec_alloc_context3(nullptr));
        if (!encoder)
            fail(QStringLiteral("out of memory"));
        encoder->codec_type = AVMEDIA_TYPE_AUDIO;
        encoder->codec_id = AV_CODEC_ID_MP3;
        encoder->sample_fmt = AV_SAMPLE_FMT_S16;
        encoder->sample_rate = encoded.sampleRate;
        av_channel_layout_default(&encoder->ch_layout, encoded.channels);
        encoder->time_base = {1, encoded.sampleRate};
        encoder->bit_rate = bitRate;
        encoder->frame_size = lame->samplesPerFrame();
        encoder->initial_padding = lame->startPadding();
        frameSize = lame->samplesPerFrame();
        gaplessDelay = lame->startPadding();
    }

    void openEncoder() {
        gaplessDelay = policy->gaplessDelay;
        if (policy->lame) {
            openLame();
            return;
        }
        const AVCodec* codec = avcodec_find_encoder_by_name(policy->encoder);
        if (!codec)
            fail(QStringLiteral("this FFmpeg has no %1 encoder")
                     .arg(QString::fromUtf8(policy->encoder)));
        encoded.sampleRate = policy->sampleRate(codec, input.sampleRate);
        encoded.channels = policy->maxChannels > 0 ? std::min(input.channels, policy->maxChannels)
                                                   : input.channels;
        if (policy->hasBitRate && options.bitRate <= 0)
            fail(QStringLiteral("%1 bit/s is not a valid bit rate").arg(options.bitRate));
        bitRate = policy->bitRate(options.bitRate, encoded.sampleRate, encoded.channels);
        encoder = makeEncoder(codec);
        const bool variable =
            (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) || encoder->frame_size <= 0;
        frameSize = variable ? kVariableFrameSize : encoder->frame_size;
        // wmav2 cannot be drained: its first frame only primes the overlap and decoders drop
        // it, so lead in with that much silence to keep the first samples.
        if (!(codec->capabilities & AV_CODEC_CAP_DELAY))
            leadIn = std::min(encoder->initial_padding, frameSize);
        if (options.cores != 1 && policy->independentFrames && ParallelEncoder::suits(codec))
            parallel = std::make_unique<ParallelEncoder>([&] { return makeEncoder(codec); }, 2);
    }

    void openOutput() {
        AVFormatContext* raw = nullptr;
        int ret = avformat_alloc_output_context2(&raw, nullptr, policy->container, nullptr);
        if (ret < 0 || !raw)
            fail(QStringLiteral("FFmpeg cannot write %1 files")
                     .arg(QString::fromUtf8(policy->container)));
        output.reset(raw);
        openEncoder();

        stream = avformat_new_stream(raw, nullptr);
        if (!stream)
            fail(QStringLiteral("out of memory"));
        ret = avcodec_parameters_from_context(stream->codecpar, encoder.get());
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
        stream->time_base = encoder->time_base;
        for (auto it = options.tags.cbegin(); it != options.tags.cend(); ++it)
            av_dict_set(&raw->metadata, it.key().toUtf8().constData(),
                        it.value().toUtf8().constData(), 0);

        auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
        io.reset(buffer ? avio_alloc_context(buffer, kIoBufferBytes, 1, file.get(), nullptr,
                                             writeToFile, seekInFile)
                        : nullptr);
        if (!io) {
            av_free(buffer);
            fail(QStringLiteral("out of memory"));
        }
        raw->pb = io.get();
        raw->flags |= AVFMT_FLAG_CUSTOM_IO;
        ffmpeg::clearLastLog();
        ret = avformat_write_header(raw, nullptr);
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
    }

    void openConverter() {
        converter = std::make_unique<SampleConverter>(
            SampleConverter::Format{encoder->sample_fmt, encoded.sampleRate, encoded.channels},
            [this](const QString& why) {
                return writeError(path, QStringLiteral("the audio cannot be converted for the "
                                                       "encoder (%1)")
                                            .arg(why));
            });
        try {
            copyInput = converter->setInput(AV_SAMPLE_FMT_S16, input.sampleRate, input.channels);
        } catch (const Error&) {
            failed = true;
            throw;
        }
        fifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, encoded.channels, frameSize * 4));
        if (!fifo || !newFrameBuffer())
            fail(QStringLiteral("out of memory"));
        if (leadIn > 0) {
            av_samples_set_silence(frame->data, 0, leadIn, encoded.channels, encoder->sample_fmt);
            toFifo(reinterpret_cast<void**>(frame->data), leadIn);
            realSamples = 0;
        }
    }

    bool newFrameBuffer() {
        frame->format = encoder->sample_fmt;
        frame->sample_rate = encoded.sampleRate;
        frame->nb_samples = frameSize;
        return av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) >= 0 &&
               av_frame_get_buffer(frame.get(), 0) >= 0;
    }

    void ensureConverted(int samples) {
        if (samples <= convertedCapacity)
            return;
        uint8_t** planes = nullptr;
        if (av_samples_alloc_array_and_samples(&planes, nullptr, encoded.channels, samples,
                                               encoder->sample_fmt, 0) < 0)
            fail(QStringLiteral("out of memory"));
        converted.reset(planes);
        convertedCapacity = samples;
    }

    void toFifo(void** data, int samples) {
        if (samples > 0 && av_audio_fifo_write(fifo.get(), data, samples) < samples)
            fail(QStringLiteral("out of memory"));
        realSamples += samples;
    }

    // Hands LAME's finished frames to the muxer; with wait, all of them up to the end.
    void writeLameFrames(bool wait) {
        try {
            while (lame->takeFrame(lameFrame, wait)) {
                if (av_new_packet(packet.get(), int(lameFrame.size())) < 0)
                    fail(QStringLiteral("out of memory"));
                std::copy(lameFrame.begin(), lameFrame.end(), packet->data);
                packet->pts = packet->dts = nextPts;
                packet->duration = frameSize;
                nextPts += frameSize;
                writeEncoded(packet.get());
            }
        } catch (const Error& e) {
            if (failed)
                throw;
            fail(e.message());
        }
    }

    void toLame(const qint16* samples, int count) {
        try {
            lame->write(samples, count);
        } catch (const Error& e) {
            fail(e.message());
        }
        realSamples += count;
        writeLameFrames(false);
    }

    // Converts and queues one piece of input; full frames go to the encoder.
    void take(const qint16* buffer, int samples) {
        if (lame && copyInput) {
            toLame(buffer, samples);
            return;
        }
        if (lame) {
            const int room = converter->outputRoom(samples);
            ensureConverted(room);
            const auto* in = reinterpret_cast<const uint8_t*>(buffer);
            const int got = converter->convert(&in, samples, converted.get(), room);
            toLame(reinterpret_cast<const qint16*>(converted.get()[0]), got);
            return;
        }
        if (copyInput) {
            void* in = const_cast<qint16*>(buffer);
            toFifo(&in, samples);
        } else {
            const int room = converter->outputRoom(samples);
            ensureConverted(room);
            const auto* in = reinterpret_cast<const uint8_t*>(buffer);
            const int got = converter->convert(&in, samples, converted.get(), room);
            toFifo(reinterpret_cast<void**>(converted.get()), got);
        }
        while (av_audio_fifo_size(fifo.get()) >= frameSize)
            encodeFromFifo(frameSize, frameSize);
    }

    void writePacket(AVPacket* p, qint64 discardAtEnd) {
        if (gaplessDelay > 0 && (packetsOut == 0 || discardAtEnd >= 0)) {
            // Edges to trim, as libmp3lame reports them; the MP3 muxer puts them in the LAME tag.
            uint8_t* skip = av_packet_new_side_data(p, AV_PKT_DATA_SKIP_SAMPLES, 10);
            if (!skip)
                fail(QStringLiteral("out of memory"));
            AV_WL32(skip, packetsOut == 0 ? uint32_t(gaplessDelay) : 0);
            AV_WL32(skip + 4, uint32_t(std::max<qint64>(discardAtEnd, 0)));
        }
        p->stream_index = stream->index;
        av_packet_rescale_ts(p, encoder->time_base, stream->time_base);
        const int ret = av_write_frame(output.get(), p);
        av_packet_unref(p);
        ++packetsOut;
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
    }

    void writeEncoded(AVPacket* p) {
        if (gaplessDelay == 0) {
            writePacket(p, -1);
            return;
        }
        // Hold one packet back: the last one must carry the padding to trim.
        if (held->data)
            writePacket(held.get(), -1);
        av_packet_move_ref(held.get(), p);
    }

    void writeHeldPacket() {
        if (gaplessDelay == 0 || !held->data)
            return;
        const qint64 coded = (packetsOut + 1) * qint64(frameSize);
        writePacket(held.get(), coded - gaplessDelay - realSamples);
    }

    [[noreturn]] void encoderFailed(int code) {
        const QString why = ffmpeg::lastLog();
        fail(QStringLiteral("the %1 encoder failed (%2)")
                 .arg(QString::fromUtf8(encoder->codec->name),
                      why.isEmpty() ? ffmpeg::errorText(code) : why));
    }

    void encode(const AVFrame* f) {
        if (parallel) {
            try {
                if (f)
                    parallel->add(f);
                else
                    parallel->finish();
                while (parallel->takePacket(packet.get(), !f))
                    writeEncoded(packet.get());
            } catch (const Error& e) {
                fail(e.message());
            }
            return;
        }
        ffmpeg::clearLastLog();
        int ret = avcodec_send_frame(encoder.get(), f);
        if (ret < 0)
            encoderFailed(ret);
        while ((ret = avcodec_receive_packet(encoder.get(), packet.get())) >= 0)
            writeEncoded(packet.get());
        if (ret != AVERROR(EAGAIN) && ret != AVERROR_EOF)
            encoderFailed(ret);
    }

    // Encodes one frame of `samples` from the FIFO, padded with silence up to `padTo`.
    void encodeFromFifo(int samples, int padTo) {
        // A frame still referenced by an encoder gets a new buffer, without copying the old.
        if (!av_frame_is_writable(frame.get())) {
            av_frame_unref(frame.get());
            if (!newFrameBuffer())
                fail(QStringLiteral("out of memory"));
        }
        frame->nb_samples = padTo;
        const int got = std::max(
            0, av_audio_fifo_read(fifo.get(), reinterpret_cast<void**>(frame->data), samples));
        if (got < padTo)
            av_samples_set_silence(frame->data, got, padTo - got, encoded.channels,
                                   encoder->sample_fmt);
        frame->pts = nextPts;
        nextPts += padTo;
        encode(frame.get());
    }

    void completeLame() {
        if (converter->isActive()) {
            const int room = converter->outputRoom(0);
            if (room > 0) {
                ensureConverted(room);
                const int got = converter->drain(converted.get(), room);
                toLame(reinterpret_cast<const qint16*>(converted.get()[0]), got);
            }
        }
        try {
            lame->finish();
        } catch (const Error& e) {
            fail(e.message());
        }
        writeLameFrames(true);
        writeHeldPacket();
    }

    void completeEncoder() {
        if (converter->isActive()) {
            const int room = converter->outputRoom(0);
            if (room > 0) {
                ensureConverted(room);
                const int got = converter->drain(converted.get(), room);
                toFifo(reinterpret_cast<void**>(converted.get()), got);
                while (av_audio_fifo_size(fifo.get()) >= frameSize)
                    encodeFromFifo(frameSize, frameSize);
            }
        }
        const int rest = av_audio_fifo_size(fifo.get());
        const unsigned caps = encoder->codec->capabilities;
        if (rest > 0) {
            const bool shortOk =
                caps & (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
            encodeFromFifo(rest, shortOk || frameSize == kVariableFrameSize ? rest : frameSize);
        }
        for (int i = 0; i < policy->tailFrames; ++i)
            encodeFromFifo(0, frameSize);
        encode(nullptr);
        writeHeldPacket();
    }

    void complete() {
        if (lame)
            completeLame();
        else
            completeEncoder();
        int ret = av_write_trailer(output.get());
        if (ret >= 0) {
            avio_flush(io.get());
            ret = io->error;
        }
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
        try {
            file->finish();
        } catch (const Error&) {
            failed = true;
            throw;
        }
    }
};

EncodedSink::EncodedSink(const QString& path, const Options& options, PcmFormat input)
    : d(std::make_unique<Impl>()) {
    ffmpeg::initialise();
    d->path = path;
    d->options = options;
    d->policy = &policyFor(options.codec);
    d->input = input;
    if (path.isEmpty())
        throw Error(QStringLiteral("Cannot write the output: no file was given"));
    if (!input.isValid())
        d->fail(QStringLiteral("the audio format %1 Hz, %2 channel(s) is not valid")
                    .arg(input.sampleRate)
                    .arg(input.channels));
    d->file = std::make_unique<OutputFile>(path, options.overwrite);
    d->openOutput();
    d->openConverter();
}

EncodedSink::~EncodedSink() = default;

PcmFormat EncodedSink::format() const {
    return d->input;
}

void EncodedSink::write(const qint16* buffer, qint64 frames) {
    if (d->finished)
        d->fail(QStringLiteral("the file is already complete"));
    if (d->failed)
        d->fail(QStringLiteral("an earlier write failed"));
    while (frames > 0) {
        // Bounded pieces keep the scratch buffer and the FIFO small.
        const int piece = int(std::min<qint64>(frames, 1 << 16));
        d->take(buffer, piece);
        buffer += qint64(piece) * d->input.channels;
        frames -= piece;
    }
}

void EncodedSink::flush() {
    if (d->finished)
        return;
    if (d->failed)
        d->fail(QStringLiteral("an earlier write failed"));
    avio_flush(d->io.get());
    if (d->io->error < 0)
        d->fail(ffmpeg::errorText(d->io->error));
    if (::fdatasync(d->file->fd()) != 0)
        d->fail(QString::fromLocal8Bit(std::strerror(errno)));
}

void EncodedSink::finish() {
    if (d->finished)
        return;
    if (d->failed)
        d->fail(QStringLiteral("an earlier write failed"));
    d->complete();
    d->finished = true;
}

void EncodedSink::commit() {
    if (d->committed)
        return;
    finish();
    try {
        d->file->commit();
    } catch (const Error&) {
        d->failed = true;
        throw;
    }
    d->committed = true;
}

QString EncodedSink::path() const {
    return d->path;
}

int EncodedSink::fd() const {
    return d->file->fd();
}

QString EncodedSink::temporaryPath() const {
    return d->file->temporaryPath();
}

PcmFormat EncodedSink::encodedFormat() const {
    return d->encoded;
}

qint64 EncodedSink::bitRate() const {
    return d->encoder->bit_rate;
}
