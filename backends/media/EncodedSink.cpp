#include "backends/media/EncodedSink.h"

#include "backends/media/CodecPolicy.h"
#include "backends/media/ContainerWriter.h"
#include "backends/media/Ffmpeg.h"
#include "backends/media/InputFile.h"
#include "backends/media/OutputFile.h"
#include "backends/media/SampleConverter.h"
#include "backends/media/SinkEncoder.h"
#include "backends/media/SinkFailure.h"
#include "components/Error.h"

#include <algorithm>

using media::writeError;

namespace {

struct SampleBufferDeleter {
    void operator()(uint8_t** p) const {
        av_freep(&p[0]);
        av_free(p);
    }
};

} // namespace

void SinkFailure::raise(const QString& reason) {
    failed = true;
    if (file)
        file->discard();
    throw Error(writeError(path, reason));
}

struct EncodedSink::Impl {
    Options options;
    const CodecPolicy* policy = nullptr;
    PcmFormat input;
    PcmFormat encoded;
    SinkFailure failure;
    std::unique_ptr<OutputFile> file;
    std::unique_ptr<ContainerWriter> container;
    std::unique_ptr<SinkEncoder> encoder;
    std::unique_ptr<SampleConverter> converter;
    bool copyInput = false;
    qint64 realSamples = 0; // encoder-rate samples of real audio handed to the encoder
    bool finished = false;
    bool committed = false;

    // Scratch space for converted samples, in the encoder's format.
    std::unique_ptr<uint8_t*, SampleBufferDeleter> converted;
    int convertedCapacity = 0;

    [[noreturn]] void fail(const QString& reason) { failure.raise(reason); }

    // The muxer is created first: whether the encoder puts its headers in the container
    // depends on it; the stream it writes depends on the encoder.
    void open() {
        container = std::make_unique<ContainerWriter>(policy->container, *file, failure);
        const SinkEncoder::Setup setup{options, *policy, input, *container, failure};
        encoder = policy->lame ? openLameEncoder(setup) : openFfmpegEncoder(setup);
        const AVCodecContext* stream = encoder->stream();
        encoded.sampleRate = stream->sample_rate;
        encoded.channels = stream->ch_layout.nb_channels;
        container->start(stream, options.tags, encoder->gaplessDelay(), encoder->frameSize());

        converter = std::make_unique<SampleConverter>(
            SampleConverter::Format{stream->sample_fmt, encoded.sampleRate, encoded.channels},
            [this](const QString& why) {
                return writeError(failure.path,
                                  QStringLiteral("the audio cannot be converted for the "
                                                 "encoder (%1)")
                                      .arg(why));
            });
        try {
            copyInput = converter->setInput(AV_SAMPLE_FMT_S16, input.sampleRate, input.channels);
        } catch (const Error&) {
            failure.failed = true;
            throw;
        }
    }

    void ensureConverted(int samples) {
        if (samples <= convertedCapacity)
            return;
        uint8_t** planes = nullptr;
        if (av_samples_alloc_array_and_samples(&planes, nullptr, encoded.channels, samples,
                                               encoder->stream()->sample_fmt, 0) < 0)
            fail(QStringLiteral("out of memory"));
        converted.reset(planes);
        convertedCapacity = samples;
    }

    void give(void** data, int samples) {
        encoder->encode(data, samples);
        realSamples += samples;
    }

    // Converts one piece of input and hands it to the encoder.
    void take(const qint16* buffer, int samples) {
        if (copyInput) {
            void* in = const_cast<qint16*>(buffer);
            give(&in, samples);
            return;
        }
        const int room = converter->outputRoom(samples);
        ensureConverted(room);
        const auto* in = reinterpret_cast<const uint8_t*>(buffer);
        const int got = converter->convert(&in, samples, converted.get(), room);
        give(reinterpret_cast<void**>(converted.get()), got);
    }

    void complete() {
        if (converter->isActive()) {
            const int room = converter->outputRoom(0);
            if (room > 0) {
                ensureConverted(room);
                const int got = converter->drain(converted.get(), room);
                give(reinterpret_cast<void**>(converted.get()), got);
            }
        }
        encoder->finish();
        container->finish(realSamples);
        try {
            file->finish();
        } catch (const Error&) {
            failure.failed = true;
            throw;
        }
    }
};

EncodedSink::EncodedSink(const QString& path, const Options& options, PcmFormat input)
    : d(std::make_unique<Impl>()) {
    ffmpeg::initialise();
    d->failure.path = path;
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
    d->failure.file = d->file.get();
    d->open();
}

EncodedSink::~EncodedSink() = default;

PcmFormat EncodedSink::format() const {
    return d->input;
}

void EncodedSink::write(const qint16* buffer, qint64 frames) {
    if (d->finished)
        d->fail(QStringLiteral("the file is already complete"));
    if (d->failure.failed)
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
    if (d->failure.failed)
        d->fail(QStringLiteral("an earlier write failed"));
    d->container->flush();
}

void EncodedSink::finish() {
    if (d->finished)
        return;
    if (d->failure.failed)
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
        d->failure.failed = true;
        throw;
    }
    d->committed = true;
}

QString EncodedSink::path() const {
    return d->failure.path;
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
    return d->encoder->stream()->bit_rate;
}
