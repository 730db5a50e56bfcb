#include "backends/media/FileSource.h"

#include "backends/media/Ffmpeg.h"
#include "backends/media/InputFile.h"
#include "components/Error.h"

#include <algorithm>
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
    media::InputFile input;
    ffmpeg::CodecContext decoder;
    ffmpeg::Packet packet = ffmpeg::makePacket();
    ffmpeg::Frame frame = ffmpeg::makeFrame();
    PcmFormat out;
    qint64 expected = -1;
    bool lengthFromHeader = false;
    qint64 sourceFrameSize = 0; // one codec frame, in output frames

    // Created on the first frame that is not already interleaved 16-bit in the output format.
    ffmpeg::Resampler resampler;
    int resamplerFormat = -1;
    int resamplerRate = 0;
    AVChannelLayout resamplerLayout = {};

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

    ~Impl() { av_channel_layout_uninit(&resamplerLayout); }

    qint64 pendingFrames() const { return (end - begin) / out.channels; }

    qint16* reserve(qint64 frames) {
        const size_t needed = size_t(end + frames * out.channels);
        if (pending.size() < needed)
            pending.resize(needed);
        return pending.data() + end;
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

    void ensureResampler(const AVFrame* f) {
        AVChannelLayout layout = {};
        if (f->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
            av_channel_layout_default(&layout, f->ch_layout.nb_channels);
        else
            av_channel_layout_copy(&layout, &f->ch_layout);
        if (resampler && resamplerFormat == f->format && resamplerRate == f->sample_rate &&
            av_channel_layout_compare(&resamplerLayout, &layout) == 0) {
            av_channel_layout_uninit(&layout);
            return;
        }
        AVChannelLayout outLayout = {};
        av_channel_layout_default(&outLayout, out.channels);
        SwrContext* swr = nullptr;
        int ret = swr_alloc_set_opts2(&swr, &outLayout, AV_SAMPLE_FMT_S16, out.sampleRate, &layout,
                                      AVSampleFormat(f->format), f->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&outLayout);
        resampler.reset(swr);
        if (ret >= 0)
            ret = swr_init(swr);
        if (ret < 0) {
            av_channel_layout_uninit(&layout);
            throw Error(readError(
                path,
                QStringLiteral("its audio cannot be converted (%1)").arg(ffmpeg::errorText(ret))));
        }
        resamplerFormat = f->format;
        resamplerRate = f->sample_rate;
        av_channel_layout_uninit(&resamplerLayout);
        resamplerLayout = layout;
    }

    // Appends the decoded frame to pending, converted to the output format.
    qint64 convert(const AVFrame* f) {
        const bool direct = !resampler && f->format == AV_SAMPLE_FMT_S16 &&
                            f->sample_rate == out.sampleRate &&
                            f->ch_layout.nb_channels == out.channels;
        if (direct) {
            std::memcpy(reserve(f->nb_samples), f->data[0],
                        size_t(f->nb_samples) * size_t(out.bytesPerFrame()));
            end += qint64(f->nb_samples) * out.channels;
            return f->nb_samples;
        }
        ensureResampler(f);
        const int room = swr_get_out_samples(resampler.get(), f->nb_samples);
        auto* target = reinterpret_cast<uint8_t*>(reserve(room));
        const int got = swr_convert(resampler.get(), &target, room,
                                    const_cast<const uint8_t**>(f->extended_data), f->nb_samples);
        if (got < 0)
            throw Error(readError(
                path,
                QStringLiteral("its audio cannot be converted (%1)").arg(ffmpeg::errorText(got))));
        end += qint64(got) * out.channels;
        return got;
    }

    void flushResampler() {
        if (!resampler)
            return;
        const int room = swr_get_out_samples(resampler.get(), 0);
        if (room <= 0)
            return;
        auto* target = reinterpret_cast<uint8_t*>(reserve(room));
        const int got = swr_convert(resampler.get(), &target, room, nullptr, 0);
        if (got > 0)
            end += qint64(got) * out.channels;
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

    // Decodes until pending holds something; false at the end of the file.
    bool decodeMore() {
        while (!decoderEnded) {
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
                flushResampler();
            } else {
                noteBadData(ret);
            }
        }
        return end > begin;
    }

    void checkEnd() {
        if (endChecked || seeked)
            return;
        endChecked = true;
        if (produced == 0)
            throw Error(readError(path, QStringLiteral("it contains no audio FFmpeg can decode")));
        // Headers count the encoder's delay and padding too, up to about four frames.
        const qint64 tolerance = std::max<qint64>(5 * sourceFrameSize, out.sampleRate / 20);
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
    d->input = media::openInputFile(path, true);
    d->openDecoder();
    const AVCodecParameters* par = d->input.stream->codecpar;
    d->out = wanted.value_or(PcmFormat{par->sample_rate, par->ch_layout.nb_channels});
    if (!d->out.isValid())
        throw Error(readError(path, QStringLiteral("the requested output format is not valid")));

    const double seconds = media::durationOf(d->input);
    if (seconds > 0)
        d->expected = std::llround(seconds * d->out.sampleRate);
    d->lengthFromHeader = d->input.format->duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    const int frameSize = par->frame_size > 0 ? par->frame_size : d->decoder->frame_size;
    d->sourceFrameSize =
        frameSize > 0 ? av_rescale(frameSize, d->out.sampleRate, par->sample_rate) : 0;
}

FileSource::~FileSource() = default;

PcmFormat FileSource::format() const {
    return d->out;
}

qint64 FileSource::expectedFrames() const {
    return d->expected;
}

qint64 FileSource::read(qint16* buffer, qint64 maxFrames) {
    if (maxFrames <= 0)
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

void FileSource::seek(double seconds) {
    if (!(seconds > 0))
        seconds = 0;
    const AVStream* stream = d->input.stream;
    int64_t target =
        av_rescale_q(std::llround(seconds * AV_TIME_BASE), AV_TIME_BASE_Q, stream->time_base);
    if (stream->start_time != AV_NOPTS_VALUE)
        target += stream->start_time;
    const int ret =
        avformat_seek_file(d->input.format.get(), stream->index, INT64_MIN, target, target, 0);
    if (ret < 0)
        throw Error(QStringLiteral("Cannot seek in %1: %2").arg(d->path, ffmpeg::errorText(ret)));
    avcodec_flush_buffers(d->decoder.get());
    d->resampler.reset();
    d->begin = d->end = 0;
    d->demuxEnded = d->decoderEnded = false;
    d->badPackets = 0;
    d->seeked = true;
    d->needPosition = true;
    d->discardUntil = std::llround(seconds * d->out.sampleRate);
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
