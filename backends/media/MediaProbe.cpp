#include "backends/media/MediaProbe.h"

#include "backends/media/InputFile.h"

MediaFacts probeMediaFile(const QString& path) {
    // A short file is still described as it is; only conversions refuse it.
    const media::InputFile input = media::openInputFile(path, false);
    const AVCodecParameters* par = input.stream->codecpar;
    MediaFacts facts;
    facts.formatName = QString::fromUtf8(input.format->iformat->name);
    facts.codecName = QString::fromUtf8(avcodec_get_name(par->codec_id));
    facts.duration = media::durationOf(input);
    facts.bitRate = par->bit_rate > 0 ? par->bit_rate : input.format->bit_rate;
    facts.sampleRate = par->sample_rate;
    facts.channels = par->ch_layout.nb_channels;
    facts.sizeBytes = input.sizeBytes;
    facts.tags = media::tagsOf(input);
    return facts;
}
