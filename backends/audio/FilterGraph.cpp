#include "backends/audio/FilterGraph.h"

#include "backends/audio/EqualizerSource.h"
#include "backends/media/FileSource.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"

FilterGraph::FilterGraph(QObject* parent)
    : FilgraphManager(parent), m_gains(std::make_shared<EqualizerGains>()) {
    connect(&m_output, &AudioOutput::failed, this, &FilgraphManager::Failed);
    connect(&m_output, &AudioOutput::finished, this, &FilgraphManager::Complete);
}

FilterGraph::~FilterGraph() = default;

void FilterGraph::RenderFile(const QString& path) {
    const MediaFacts facts = probeMediaFile(path);
    // Devices that cannot take the file's own format get it resampled to theirs.
    const PcmFormat format = AudioOutput::playableFormat({facts.sampleRate, facts.channels});
    // Every band starts at zero before the graph runs.
    auto gains = std::make_shared<EqualizerGains>();
    m_output.open([path, format, gains]() -> std::unique_ptr<PcmSource> {
        return std::make_unique<EqualizerSource>(std::make_unique<FileSource>(path, format), gains);
    });
    m_gains = std::move(gains);
    m_sampleRate = format.sampleRate;
    Q_EMIT EqualizerChanged();
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

FilgraphManager::State FilterGraph::GetState() const {
    switch (m_output.state()) {
    case AudioOutput::State::Playing:
        return State::Running;
    case AudioOutput::State::Paused:
        return State::Paused;
    case AudioOutput::State::Stopped:
        break;
    }
    return State::Stopped;
}

double FilterGraph::Duration() const {
    return m_output.isOpen() ? std::max(m_output.duration(), 0.0) : 0.0;
}

double FilterGraph::CurrentPosition() const {
    return m_output.isOpen() ? m_output.position() : 0.0;
}

void FilterGraph::setCurrentPosition(double seconds) {
    if (!m_output.isOpen())
        throw Error(QStringLiteral("Cannot move in the file: no file has been opened."));
    const double length = Duration();
    m_output.seek(length > 0 ? std::clamp(seconds, 0.0, length) : std::max(seconds, 0.0));
}

void FilterGraph::checkBand(int band) {
    if (band < 0 || band >= EqBandCount)
        throw IndexError(QStringLiteral("the equaliser has no band %1").arg(band));
}

double FilterGraph::BandGain(int band) const {
    checkBand(band);
    return m_gains->get(band);
}

void FilterGraph::setBandGain(int band, double gain) {
    checkBand(band);
    m_gains->set(band, gain);
    Q_EMIT EqualizerChanged();
}
