#include "backends/media/SampleConverter.h"

#include "components/Error.h"

#include <vector>

SampleConverter::SampleConverter(Format output, std::function<QString(const QString&)> describe)
    : m_output(output), m_describe(std::move(describe)) {}

SampleConverter::~SampleConverter() {
    av_channel_layout_uninit(&m_inLayout);
}

void SampleConverter::fail(int code) const {
    throw Error(m_describe(ffmpeg::errorText(code)));
}

bool SampleConverter::setInput(AVSampleFormat sampleFormat, int sampleRate, int channels) {
    AVChannelLayout layout = {};
    av_channel_layout_default(&layout, channels);
    const bool copy = setInput(sampleFormat, sampleRate, layout);
    av_channel_layout_uninit(&layout);
    return copy;
}

bool SampleConverter::setInput(AVSampleFormat sampleFormat, int sampleRate,
                               const AVChannelLayout& given) {
    AVChannelLayout layout = {};
    // A stream that names no speaker positions gets the usual ones for its channel count.
    if (given.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&layout, given.nb_channels);
    else if (av_channel_layout_copy(&layout, &given) < 0)
        fail(AVERROR(ENOMEM));
    if (m_configured && m_inFormat == sampleFormat && m_inRate == sampleRate &&
        av_channel_layout_compare(&m_inLayout, &layout) == 0) {
        av_channel_layout_uninit(&layout);
        return m_copy;
    }
    av_channel_layout_uninit(&m_inLayout);
    m_inLayout = layout;
    m_inFormat = sampleFormat;
    m_inRate = sampleRate;
    m_configured = true;
    m_context.reset();
    m_copy = sampleFormat == m_output.sampleFormat && sampleRate == m_output.sampleRate &&
             layout.nb_channels == m_output.channels;
    if (m_copy)
        return true;

    AVChannelLayout outLayout = {};
    av_channel_layout_default(&outLayout, m_output.channels);
    SwrContext* swr = nullptr;
    int ret = swr_alloc_set_opts2(&swr, &outLayout, m_output.sampleFormat, m_output.sampleRate,
                                  &layout, sampleFormat, sampleRate, 0, nullptr);
    av_channel_layout_uninit(&outLayout);
    m_context.reset(swr);
    if (ret < 0)
        fail(ret);
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC && layout.nb_channels != m_output.channels)
        mixDownUnordered(layout.nb_channels);
    ret = swr_init(swr);
    if (ret < 0)
        fail(ret);
    return false;
}

// libswresample can only remix channels whose positions it knows. Without positions, spread
// the inputs over the outputs in turn, each output the mean of its inputs, so nothing is lost
// or clips.
void SampleConverter::mixDownUnordered(int inChannels) {
    const int outChannels = m_output.channels;
    std::vector<double> matrix(size_t(outChannels) * size_t(inChannels), 0.0);
    for (int out = 0; out < outChannels; ++out) {
        int count = 0;
        for (int in = out % inChannels; in < inChannels; in += outChannels)
            ++count;
        for (int in = out % inChannels; in < inChannels; in += outChannels)
            matrix[size_t(out * inChannels + in)] = 1.0 / count;
    }
    const int ret = swr_set_matrix(m_context.get(), matrix.data(), inChannels);
    if (ret < 0)
        fail(ret);
}

int SampleConverter::outputRoom(int samples) const {
    return m_context ? swr_get_out_samples(m_context.get(), samples) : samples;
}

int SampleConverter::convert(const uint8_t* const* in, int samples, uint8_t* const* out, int room) {
    if (!m_context)
        return 0;
    const int got = swr_convert(m_context.get(), const_cast<uint8_t**>(out), room,
                                const_cast<const uint8_t**>(in), samples);
    if (got < 0)
        fail(got);
    return got;
}
