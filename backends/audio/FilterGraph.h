#pragma once

#include "backends/audio/AudioOutput.h"
#include "components/FilgraphManager.h"

// The file player's playback graph: a file decoded by the media core and played on the default
// audio output through AudioOutput.
class FilterGraph final : public FilgraphManager {
    Q_OBJECT
public:
    explicit FilterGraph(QObject* parent = nullptr);

    void RenderFile(const QString& path) override;
    void Run() override;
    void Pause() override;
    void Stop() override;

    // For the tests: whether the output is playing, and where, in seconds.
    bool isPlaying() const;
    double position() const;

private:
    AudioOutput m_output;
};
