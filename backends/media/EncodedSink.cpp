#include "backends/media/EncodedSink.h"

#include "backends/media/Ffmpeg.h"
#include "backends/media/InputFile.h"
#include "backends/media/ParallelEncoder.h"
#include "components/Error.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using media::writeError;

namespace {

// Frames per encoder call when the codec takes any size (PCM).
constexpr int kVariableFrameSize = 4096;

struct OutputContextDeleter {
    void operator()(AVFormatContext* p) const {
        if (p->pb)
            avio_closep(&p->pb);
        avformat_free_context(p);
    }
};
using OutputContext = std::unique_ptr<AVFormatContext, OutputContextDeleter>;

struct SampleBufferDeleter {
    void operator()(uint8_t** p) const {
        av_freep(&p[0]);
        av_free(p);
    }
};

const char* containerName(OutputCodec codec) {
    switch (codec) {
    case OutputCodec::Mp3Lame:
    case OutputCodec::Mp3Shine:
        return "mp3";
    case OutputCodec::Wma:
        return "asf";
    case OutputCodec::Wav:
        break;
    }
    return "wav";
}

QString strerrorText(int err) {
    return QString::fromLocal8Bit(std::strerror(err));
}

// MP3 has a fixed list of bit rates per MPEG version; take the nearest, the higher one on a tie.
qint64 nearestMp3BitRate(qint64 wanted, int sampleRate) {
    static constexpr int mpeg1[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    static constexpr int mpeg2[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    const int* table = sampleRate >= 32000 ? mpeg1 : mpeg2;
    qint64 best = table[0] * 1000LL;
    for (int i = 0; i < 14; ++i) {
        const qint64 rate = table[i] * 1000LL;
        if (std::llabs(rate - wanted) <= std::llabs(best - wanted))
            best = rate;
    }
    return best;
}

int chooseSampleRate(const AVCodec* codec, OutputCodec kind, int rate) {
    if (kind == OutputCodec::Wma && rate > 48000) // wmav2 stops at 48 kHz
        return rate % 11025 == 0 ? 44100 : 48000;
    // libshine announces 32 kHz too, but writes frames no decoder accepts at most bit rates there.
    static constexpr int shineRates[] = {44100, 48000, 0};
    const int* rates = kind == OutputCodec::Mp3Shine ? shineRates : codec->supported_samplerates;
    if (!rates)
        return rate;
    int best = rates[0];
    for (const int* r = rates; *r; ++r) {
        if (std::abs(*r - rate) < std::abs(best - rate))
            best = *r;
    }
    return best;
}

AVSampleFormat chooseSampleFormat(const AVCodec* codec) {
    if (!codec->sample_fmts)
        return AV_SAMPLE_FMT_S16;
    for (AVSampleFormat wanted : {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P}) {
        for (const AVSampleFormat* f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
            if (*f == wanted)
                return wanted;
        }
    }
    return codec->sample_fmts[0];
}

} // namespace

struct EncodedSink::Impl {
    QString path;
    QString temporary;
    Options options;
    PcmFormat input;
    PcmFormat encoded;
    ffmpeg::CodecContext encoder; // its settings describe the stream; it encodes without threads
    qint64 bitRate = 0;
    std::unique_ptr<ParallelEncoder> parallel;
    OutputContext output;
    AVStream* stream = nullptr;
    ffmpeg::Resampler resampler;
    ffmpeg::Fifo fifo;
    ffmpeg::Frame frame = ffmpeg::makeFrame();
    ffmpeg::Packet packet = ffmpeg::makePacket();
    int frameSize = kVariableFrameSize;
    // Silence around the audio where an encoder would otherwise lose its edges.
    int leadIn = 0;
    int tailFrames = 0;
    // Encoder delay that the file's gapless information must tell decoders to skip, for an
    // encoder whose FFmpeg wrapper does not say it; 0 when not needed.
    int gaplessDelay = 0;
    ffmpeg::Packet held = ffmpeg::makePacket();
    qint64 packetsOut = 0;
    qint64 realSamples = 0; // encoder-rate samples of real audio handed to the encoder
    int64_t nextPts = 0;
    bool committed = false;
    bool failed = false;

    // Scratch space for converted samples, in the encoder's format.
    std::unique_ptr<uint8_t*, SampleBufferDeleter> converted;
    int convertedCapacity = 0;

    [[noreturn]] void fail(const QString& reason) {
        failed = true;
        throw Error(writeError(path, reason));
    }

    void discard() {
        if (output && output->pb)
            avio_closep(&output->pb);
        if (!temporary.isEmpty())
            ::unlink(QFile::encodeName(temporary).constData());
        temporary.clear();
    }

    void createTemporary() {
        const QFileInfo info(path);
        const QString folder = info.absolutePath();
        const QFileInfo folderInfo(folder);
        if (!folderInfo.exists())
            fail(QStringLiteral("the folder %1 does not exist").arg(folder));
        if (!folderInfo.isDir())
            fail(QStringLiteral("%1 is not a folder").arg(folder));
        if (info.isDir())
            fail(QStringLiteral("it is a folder"));
        for (int attempt = 0;; ++attempt) {
            temporary = QStringLiteral("%1/.%2.%3.part")
                            .arg(folder, info.fileName())
                            .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
            const int fd = ::open(QFile::encodeName(temporary).constData(),
                                  O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (fd >= 0) {
                ::close(fd);
                return;
            }
            if (errno != EEXIST || attempt == 16) {
                const int err = errno;
                temporary.clear();
                fail(strerrorText(err));
            }
        }
    }

    // A fresh encoder with this sink's settings; raises Error when it refuses them.
    ffmpeg::CodecContext makeEncoder(const AVCodec* codec) {
        ffmpeg::CodecContext context(avcodec_alloc_context3(codec));
        if (!context)
            fail(QStringLiteral("out of memory"));
        context->sample_fmt = chooseSampleFormat(codec);
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

    void openEncoder() {
        const char* name = EncodedSink::encoderName(options.codec);
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        if (!codec)
            fail(QStringLiteral("this FFmpeg has no %1 encoder").arg(QString::fromUtf8(name)));

        encoded.sampleRate = chooseSampleRate(codec, options.codec, input.sampleRate);
        encoded.channels =
            options.codec == OutputCodec::Wav ? input.channels : std::min(input.channels, 2);
        if (options.codec != OutputCodec::Wav) {
            if (options.bitRate <= 0)
                fail(QStringLiteral("%1 bit/s is not a valid bit rate").arg(options.bitRate));
            bitRate = options.codec == OutputCodec::Wma
                          ? options.bitRate
                          : nearestMp3BitRate(options.bitRate, encoded.sampleRate);
            // The same flaw in libshine hits mono at 320 kbit/s and 44.1 kHz.
            if (options.codec == OutputCodec::Mp3Shine && encoded.channels == 1 &&
                encoded.sampleRate == 44100 && bitRate > 256000)
                bitRate = 256000;
        }
        encoder = makeEncoder(codec);
        const bool variable =
            (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) || encoder->frame_size <= 0;
        frameSize = variable ? kVariableFrameSize : encoder->frame_size;
        // wmav2 cannot be drained: its first frame only primes the overlap and decoders drop
        // it, so lead in with that much silence to keep the first samples.
        if (!(codec->capabilities & AV_CODEC_CAP_DELAY))
            leadIn = std::min(encoder->initial_padding, frameSize);
        // shine holds back about a frame and a half (1056 samples, measured): two frames of
        // silence bring out the end, and the LAME tag tells decoders what to trim.
        if (options.codec == OutputCodec::Mp3Shine) {
            tailFrames = 2;
            gaplessDelay = 1056;
        }
        // PCM costs nothing to encode; any real encoder gets threads of its own.
        if (options.parallel && options.codec != OutputCodec::Wav)
            parallel = std::make_unique<ParallelEncoder>([&] { return makeEncoder(codec); },
                                                         ParallelEncoder::suits(codec), 2);
    }

    void openOutput() {
        AVFormatContext* raw = nullptr;
        int ret =
            avformat_alloc_output_context2(&raw, nullptr, containerName(options.codec), nullptr);
        if (ret < 0 || !raw)
            fail(QStringLiteral("FFmpeg cannot write %1 files")
                     .arg(QString::fromUtf8(containerName(options.codec))));
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

        ret = avio_open(&raw->pb, ffmpeg::fileUrl(temporary).constData(), AVIO_FLAG_WRITE);
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
        ffmpeg::clearLastLog();
        ret = avformat_write_header(raw, nullptr);
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
    }

    void openConverter() {
        if (encoder->sample_fmt != AV_SAMPLE_FMT_S16 || encoded.sampleRate != input.sampleRate ||
            encoded.channels != input.channels) {
            AVChannelLayout inLayout = {};
            av_channel_layout_default(&inLayout, input.channels);
            SwrContext* swr = nullptr;
            int ret = swr_alloc_set_opts2(&swr, &encoder->ch_layout, encoder->sample_fmt,
                                          encoded.sampleRate, &inLayout, AV_SAMPLE_FMT_S16,
                                          input.sampleRate, 0, nullptr);
            av_channel_layout_uninit(&inLayout);
            resampler.reset(swr);
            if (ret >= 0)
                ret = swr_init(swr);
            if (ret < 0)
                fail(QStringLiteral("the audio cannot be converted for the encoder (%1)")
                         .arg(ffmpeg::errorText(ret)));
        }
        fifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, encoded.channels, frameSize * 4));
        frame->format = encoder->sample_fmt;
        frame->sample_rate = encoded.sampleRate;
        frame->nb_samples = frameSize;
        if (!fifo || av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) < 0 ||
            av_frame_get_buffer(frame.get(), 0) < 0)
            fail(QStringLiteral("out of memory"));
        if (leadIn > 0) {
            av_samples_set_silence(frame->data, 0, leadIn, encoded.channels, encoder->sample_fmt);
            toFifo(reinterpret_cast<void**>(frame->data), leadIn);
            realSamples = 0;
        }
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

    void writePackets() {
        for (;;) {
            const int ret = avcodec_receive_packet(encoder.get(), packet.get());
            if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
                return;
            if (ret < 0)
                encoderFailed(ret);
            writeEncoded(packet.get());
        }
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
        const int ret = avcodec_send_frame(encoder.get(), f);
        if (ret < 0)
            encoderFailed(ret);
        writePackets();
    }

    // Encodes one frame of `samples` from the FIFO, padded with silence up to `padTo`.
    void encodeFromFifo(int samples, int padTo) {
        // A frame still referenced by an encoder gets a new buffer, without copying the old.
        if (!av_frame_is_writable(frame.get())) {
            av_frame_unref(frame.get());
            frame->format = encoder->sample_fmt;
            frame->sample_rate = encoded.sampleRate;
            frame->nb_samples = frameSize;
            if (av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout) < 0 ||
                av_frame_get_buffer(frame.get(), 0) < 0)
                fail(QStringLiteral("out of memory"));
        }
        frame->nb_samples = padTo;
        const int got =
            av_audio_fifo_read(fifo.get(), reinterpret_cast<void**>(frame->data), samples);
        if (got < padTo)
            av_samples_set_silence(frame->data, std::max(got, 0), padTo - std::max(got, 0),
                                   encoded.channels, encoder->sample_fmt);
        frame->pts = nextPts;
        nextPts += padTo;
        encode(frame.get());
    }

    void drainFifo() {
        while (av_audio_fifo_size(fifo.get()) >= frameSize)
            encodeFromFifo(frameSize, frameSize);
    }

    void finish() {
        if (resampler) {
            const int room = swr_get_out_samples(resampler.get(), 0);
            if (room > 0) {
                ensureConverted(room);
                const int got = swr_convert(resampler.get(), converted.get(), room, nullptr, 0);
                toFifo(reinterpret_cast<void**>(converted.get()), got);
                drainFifo();
            }
        }
        const int rest = av_audio_fifo_size(fifo.get());
        const unsigned caps = encoder->codec->capabilities;
        if (rest > 0) {
            const bool shortOk =
                caps & (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE);
            encodeFromFifo(rest, shortOk || frameSize == kVariableFrameSize ? rest : frameSize);
        }
        for (int i = 0; i < tailFrames; ++i)
            encodeFromFifo(0, frameSize);
        encode(nullptr);
        writeHeldPacket();

        int ret = av_write_trailer(output.get());
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
        ret = avio_closep(&output->pb);
        if (ret < 0)
            fail(ffmpeg::errorText(ret));
        if (std::rename(QFile::encodeName(temporary).constData(),
                        QFile::encodeName(path).constData()) != 0)
            fail(strerrorText(errno));
        committed = true;
    }
};

EncodedSink::EncodedSink(const QString& path, const Options& options, PcmFormat input)
    : d(std::make_unique<Impl>()) {
    ffmpeg::initialise();
    d->path = path;
    d->options = options;
    d->input = input;
    if (path.isEmpty())
        throw Error(QStringLiteral("Cannot write the output: no file was given"));
    if (!input.isValid())
        d->fail(QStringLiteral("the audio format %1 Hz, %2 channel(s) is not valid")
                    .arg(input.sampleRate)
                    .arg(input.channels));
    d->createTemporary();
    try {
        d->openOutput();
        d->openConverter();
    } catch (...) {
        d->discard(); // no destructor runs for a half-built object
        throw;
    }
}

EncodedSink::~EncodedSink() {
    if (!d->committed)
        d->discard();
}

PcmFormat EncodedSink::format() const {
    return d->input;
}

void EncodedSink::write(const qint16* buffer, qint64 frames) {
    if (d->committed)
        d->fail(QStringLiteral("the file is already complete"));
    if (d->failed)
        d->fail(QStringLiteral("an earlier write failed"));
    while (frames > 0) {
        // Bounded pieces keep the scratch buffer and the FIFO small.
        const int piece = int(std::min<qint64>(frames, 1 << 16));
        if (d->resampler) {
            const int room = swr_get_out_samples(d->resampler.get(), piece);
            d->ensureConverted(room);
            const auto* in = reinterpret_cast<const uint8_t*>(buffer);
            const int got = swr_convert(d->resampler.get(), d->converted.get(), room, &in, piece);
            if (got < 0)
                d->fail(QStringLiteral("the audio cannot be converted (%1)")
                            .arg(ffmpeg::errorText(got)));
            d->toFifo(reinterpret_cast<void**>(d->converted.get()), got);
        } else {
            void* in = const_cast<qint16*>(buffer);
            d->toFifo(&in, piece);
        }
        d->drainFifo();
        buffer += qint64(piece) * d->input.channels;
        frames -= piece;
    }
}

void EncodedSink::commit() {
    if (d->committed)
        return;
    if (d->failed)
        d->fail(QStringLiteral("an earlier write failed"));
    d->finish();
}

QString EncodedSink::path() const {
    return d->path;
}

QString EncodedSink::temporaryPath() const {
    return d->temporary;
}

PcmFormat EncodedSink::encodedFormat() const {
    return d->encoded;
}

qint64 EncodedSink::bitRate() const {
    return d->encoder->bit_rate;
}

const char* EncodedSink::encoderName(OutputCodec codec) {
    switch (codec) {
    case OutputCodec::Mp3Lame:
        return "libmp3lame";
    case OutputCodec::Mp3Shine:
        return "libshine";
    case OutputCodec::Wma:
        return "wmav2";
    case OutputCodec::Wav:
        break;
    }
    return "pcm_s16le";
}
