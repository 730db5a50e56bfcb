#include "backends/audio/FilterGraph.h"

#include "backends/audio/PcmDevice.h"
#include "backends/media/FileSource.h"
#include "components/Error.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QMediaDevices>

namespace {

QAudioFormat audioFormat(const PcmFormat& pcm) {
    QAudioFormat format;
    format.setSampleRate(pcm.sampleRate);
    format.setChannelCount(pcm.channels);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

} // namespace

FilterGraph::FilterGraph(QObject* parent) : QObject(parent) {}

FilterGraph::~FilterGraph() {
    release();
}

void FilterGraph::release() {
    if (m_sink)
        m_sink->stop();
    m_sink.reset();
    m_device.reset();
}

void FilterGraph::RenderFile(const QString& path) {
    release();
    const QAudioDevice output = QMediaDevices::defaultAudioOutput();
    if (output.isNull())
        throw Error(QStringLiteral("Cannot play %1: there is no audio output.").arg(path));

    auto source = std::make_unique<FileSource>(path);
    // Devices that cannot take the file's own format get it resampled to theirs.
    if (!output.isFormatSupported(audioFormat(source->format()))) {
        const QAudioFormat preferred = output.preferredFormat();
        source = std::make_unique<FileSource>(
            path, PcmFormat{preferred.sampleRate(), std::min(preferred.channelCount(), 2)});
    }
    const QAudioFormat format = audioFormat(source->format());
    m_device = std::make_unique<PcmDevice>(std::move(source));
    m_device->open(QIODevice::ReadOnly);
    m_sink = std::make_unique<QAudioSink>(output, format);
    m_path = path;
}

void FilterGraph::Run() {
    if (!m_sink)
        throw Error(QStringLiteral("Cannot play: no file has been opened."));
    if (m_sink->state() == QAudio::SuspendedState) {
        m_sink->resume();
        return;
    }
    if (m_sink->state() == QAudio::ActiveState || m_sink->state() == QAudio::IdleState)
        return;
    m_sink->start(m_device.get());
    if (m_sink->error() != QAudio::NoError)
        throw Error(
            QStringLiteral("Cannot play %1: the audio output refused to start.").arg(m_path));
}

void FilterGraph::Pause() {
    if (m_sink && m_sink->state() == QAudio::ActiveState)
        m_sink->suspend();
}

// Stop rewinds, so the next Run plays the file from its start.
void FilterGraph::Stop() {
    if (!m_sink)
        return;
    m_sink->stop();
    auto& source = static_cast<FileSource&>(m_device->source());
    source.seek(0);
    m_device->restart();
}

bool FilterGraph::isPlaying() const {
    return m_sink && (m_sink->state() == QAudio::ActiveState);
}

qint64 FilterGraph::playedUSecs() const {
    return m_sink ? m_sink->processedUSecs() : 0;
}
