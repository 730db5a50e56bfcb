#include "backends/audio/FilterGraph.h"

#include "backends/media/FileSource.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"

FilterGraph::FilterGraph(QObject* parent) : FilgraphManager(parent) {
    connect(&m_output, &AudioOutput::failed, this, &FilgraphManager::Failed);
}

void FilterGraph::RenderFile(const QString& path) {
    const MediaFacts facts = probeMediaFile(path);
    // Devices that cannot take the file's own format get it resampled to theirs.
    const PcmFormat format = AudioOutput::playableFormat({facts.sampleRate, facts.channels});
    m_output.open([path, format] { return std::make_unique<FileSource>(path, format); });
}

void FilterGraph::Run() {
    if (!m_output.isOpen())
        throw Error(QStringLiteral("Cannot play: no file has been opened."));
    m_output.start();
}

void FilterGraph::Pause() {
    m_output.pause();
}

void FilterGraph::Stop() {
    m_output.stop();
    if (m_output.canSeek())
        m_output.seek(0); // the next Run plays the file from its start
}

bool FilterGraph::isPlaying() const {
    return m_output.state() == AudioOutput::State::Playing;
}

double FilterGraph::position() const {
    return m_output.position();
}
