#include "backends/media/FileSource.h"

#include "backends/media/Ffmpeg.h"
#include "backends/media/InputFile.h"
#include "backends/media/SampleConverter.h"
#include "components/Error.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <vector>

using media::readError;

namespace {
// Consecutive undecodable packets after which a file counts as damaged rather than glitched.
constexpr int kMaxBadPackets = 64;
} // namespace

struct FileSource::Impl {
    QString path;
    std::atomic<bool> interrupted{false};
    media::InputFile input;
    ffmpeg::CodecContext decoder;
    ffmpeg::Packet packet = ffmpeg::makePacket();
    ffmpeg::Frame frame = ffmpeg::makeFrame();
    PcmFormat out;
    std::unique_ptr<SampleConverter> converter;
    qint64 expected = -1;
    bool lengthFromHeader = false;
    qint64 codecFrame = 0; // the largest codec frame seen, in output frames

    // Decoded frames not yet handed out, as interleaved samples [begin, end).
    std::vector<qint16> pending;
    qint64 begin = 0;
    qint64 end = 0;

    qint64 produced = 0;
    bool demuxEnded = false;
    bool decoderEnded = false;
    bool endChecked = false;
    int badPackets = 0;

    // After a seek: frames before discardUntil are dropped; position is the output frame the
    // next decoded sample belongs to.
    bool seeked = false;
    bool needPosition = false;
    qint64 position = 0;
    qint64 discardUntil = 0;

    qint64 pendingFrames() const { return (end - begin) / out.channels; }

    uint8_t* reserve(qint64 frames) {
        const size_t needed = size_t(end + frames * out.channels);
        if (pending.size() < needed)
            pending.resize(needed);
        return reinterpret_cast<uint8_t*>(pending.data() + end);
    }

    void openDecoder() {
        decoder.reset(avcodec_alloc_context3(input.decoder));
        if (!decoder)
            throw Error(readError(path, QStringLiteral("out of memory")));
        int ret = avcodec_parameters_to_context(decoder.get(), input.stream->codecpar);
        if (ret >= 0) {
            decoder->pkt_timebase = input.stream->time_base;
            ffmpeg::clearLastLog();
            ret = avcodec_open2(decoder.get(), input.decoder, nullptr);
        }
        if (ret < 0) {
            const QString why = ffmpeg::lastLog();
            throw Error(readError(path, QStringLiteral("its %1 audio cannot be decoded (%2)")
                                            .arg(QString::fromUtf8(input.decoder->name),
                                                 why.isEmpty() ? ffmpeg::errorText(ret) : why)));
        }
    }

    // Appends the decoded frame to pending, converted to the output format.
    qint64 convert(const AVFrame* f) {
        codecFrame =
            std::max<qint64>(codecFrame, av_rescale(f->nb_samples, out.sampleRate, f->sample_rate));
        if (converter->setInput(AVSampleFormat(f->format), f->sample_rate, f->ch_layout)) {
            std::memcpy(reserve(f->nb_samples), f->data[0],
                        size_t(f->nb_samples) * size_t(out.bytesPerFrame()));
            end += qint64(f->nb_samples) * out.channels;
            return f->nb_samples;
        }
        const int room = converter->outputRoom(f->nb_samples);
        uint8_t* target = reserve(room);
        const int got = converter->convert(f->extended_data, f->nb_samples, &target, room);
        end += qint64(got) * out.channels;
        return got;
    }

    void drainConverter() {
        const int room = converter->isActive() ? converter->outputRoom(0) : 0;
        if (room <= 0)
            return;
        uint8_t* target = reserve(room);
        end += qint64(converter->drain(&target, room)) * out.channels;
    }

    void takeFrame() {
        if (needPosition) {
            needPosition = false;
            const int64_t ts = frame->best_effort_timestamp;
            if (ts == AV_NOPTS_VALUE) {
                position = discardUntil;
            } else {
                const int64_t start =
                    input.stream->start_time == AV_NOPTS_VALUE ? 0 : input.stream->start_time;
                position = av_rescale_q(ts - start, input.stream->time_base, {1, out.sampleRate});
            }
        }
        const qint64 before = end;
        const qint64 got = convert(frame.get());
        if (discardUntil > position) {
            const qint64 drop = std::min(got, discardUntil - position);
            if (begin == before)
                begin += drop * out.channels;
        }
        position += got;
    }

    // Decoders fail single packets of a damaged file; like any player we skip those, and give
    // up only when nothing decodes for a long stretch. Running out of memory ends it at once.
    void noteBadData(int code) {
        if (code == AVERROR(ENOMEM))
            throw Error(readError(path, ffmpeg::errorText(code)));
        if (++badPackets <= kMaxBadPackets)
            return;
        const QString why = ffmpeg::lastLog();
        throw Error(readError(
            path, QStringLiteral("its audio data is damaged%1")
                      .arg(why.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(why))));
    }

    void feedDecoder() {
        int ret = av_read_frame(input.format.get(), packet.get());
        if (ret == AVERROR_EXIT && interrupted)
            return;
        if (ret == AVERROR_EOF || ret == AVERROR_INVALIDDATA) {
            demuxEnded = true;
            avcodec_send_packet(decoder.get(), nullptr);
            return;
        }
        if (ret < 0)
            throw Error(readError(path, ffmpeg::errorText(ret)));
        if (packet->stream_index == input.stream->index) {
            ffmpeg::clearLastLog();
            ret = avcodec_send_packet(decoder.get(), packet.get());
            if (ret < 0 && ret != AVERROR(EAGAIN)) {
                av_packet_unref(packet.get());
                noteBadData(ret);
            }
        }
        av_packet_unref(packet.get());
    }

    // Decodes until pending holds something; false at the end of the file or when interrupted.
    bool decodeMore() {
        while (!decoderEnded && !interrupted) {
            const int ret = avcodec_receive_frame(decoder.get(), frame.get());
            if (ret == 0) {
                badPackets = 0;
                takeFrame();
                av_frame_unref(frame.get());
                if (end > begin)
                    return true;
            } else if (ret == AVERROR(EAGAIN) && !demuxEnded) {
                feedDecoder();
            } else if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) {
                decoderEnded = true;
                drainConverter();
            } else {
                noteBadData(ret);
            }
        }
        return end > begin;
    }

    void checkEnd() {
        if (endChecked || seeked || interrupted)
            return;
        endChecked = true;
        if (produced == 0)
            throw Error(readError(path, QStringLiteral("it contains no audio FFmpeg can decode")));
        // Headers count the encoder's delay and padding too: up to about four codec frames,
        // which at low rates (a 512-sample WMA frame at 8 kHz) is well over the 50 ms minimum.
        const qint64 tolerance = std::max<qint64>(5 * codecFrame, out.sampleRate / 20);
        if (lengthFromHeader && expected > 0 && produced + tolerance < expected) {
            throw Error(readError(
                path, QStringLiteral("the file is truncated or damaged (only %1 of %2 seconds can "
                                     "be decoded)")
                          .arg(double(produced) / out.sampleRate, 0, 'f', 2)
                          .arg(double(expected) / out.sampleRate, 0, 'f', 2)));
        }
    }
};

FileSource::FileSource(const QString& path, std::optional<PcmFormat> wanted)
    : d(std::make_unique<Impl>()) {
    d->path = path;
    d->input = media::openInputFile(path, true, &d->interrupted);
    d->openDecoder();
    const AVCodecParameters* par = d->input.stream->codecpar;
    d->out = wanted.value_or(PcmFormat{par->sample_rate, par->ch_layout.nb_channels});
    if (!d->out.isValid())
        throw Error(readError(path, QStringLiteral("the requested output format is not valid")));
    d->converter = std::make_unique<SampleConverter>(
        SampleConverter::Format{AV_SAMPLE_FMT_S16, d->out.sampleRate, d->out.channels},
        [path](const QString& why) {
            return readError(path, QStringLiteral("its audio cannot be converted (%1)").arg(why));
        });

    const double seconds = media::durationOf(d->input);
    if (seconds > 0)
        d->expected = std::llround(seconds * d->out.sampleRate);
    d->lengthFromHeader = d->input.format->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    const int frameSize = par->frame_size > 0 ? par->frame_size : d->decoder->frame_size;
    if (frameSize > 0)
        d->codecFrame = av_rescale(frameSize, d->out.sampleRate, par->sample_rate);
}

FileSource::~FileSource() = default;

PcmFormat FileSource::format() const {
    return d->out;
}

qint64 FileSource::expectedFrames() const {
    return d->expected;
}

qint64 FileSource::read(qint16* buffer, qint64 maxFrames) {
    if (maxFrames <= 0 || d->interrupted)
        return 0;
    qint64 done = 0;
    while (done < maxFrames) {
        const qint64 available = d->pendingFrames();
        if (available == 0) {
            d->begin = d->end = 0;
            if (!d->decodeMore())
                break;
            continue;
        }
        const qint64 n = std::min(available, maxFrames - done);
        std::memcpy(buffer + done * d->out.channels, d->pending.data() + d->begin,
                    size_t(n) * size_t(d->out.bytesPerFrame()));
        d->begin += n * d->out.channels;
        done += n;
    }
    d->produced += done;
    if (done == 0)
        d->checkEnd();
    return done;
}

void FileSource::interrupt() {
    d->interrupted = true;
}

void FileSource::seek(qint64 frame) {
    frame = std::max<qint64>(frame, 0);
    const AVStream* stream = d->input.stream;
    int64_t target = av_rescale_q(frame, {1, d->out.sampleRate}, stream->time_base);
    if (stream->start_time != AV_NOPTS_VALUE)
        target += stream->start_time;
    const int ret =
        avformat_seek_file(d->input.format.get(), stream->index, INT64_MIN, target, target, 0);
    if (ret < 0)
        throw Error(QStringLiteral("Cannot seek in %1: %2").arg(d->path, ffmpeg::errorText(ret)));
    avcodec_flush_buffers(d->decoder.get());
    d->converter->reset();
    d->begin = d->end = 0;
    d->demuxEnded = d->decoderEnded = false;
    d->badPackets = 0;
    d->seeked = true;
    d->needPosition = true;
    d->discardUntil = frame;
}

bool FileSource::lengthIsExact() const {
    const AVCodecParameters* par = d->input.stream->codecpar;
    const AVCodecDescriptor* codec = avcodec_descriptor_get(par->codec_id);
    return d->lengthFromHeader && d->expected >= 0 && par->sample_rate == d->out.sampleRate &&
           codec && QByteArray(codec->name).startsWith("pcm_");
}

QString FileSource::path() const {
    return d->path;
}

double FileSource::durationSeconds() const {
    return media::durationOf(d->input);
}

QString FileSource::codecName() const {
    return QString::fromUtf8(avcodec_get_name(d->input.stream->codecpar->codec_id));
}

QMap<QString, QString> FileSource::tags() const {
    return media::tagsOf(d->input);
}
