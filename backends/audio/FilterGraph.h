#pragma once

#include "backends/audio/AudioOutput.h"
#include "components/FilgraphManager.h"

#include <memory>

class EqualizerGains;

// The file player's playback graph: a file decoded by the media core, led through the "EQ
// Filter" (EqualizerSource) and played on the default audio output through AudioOutput.
class FilterGraph final : public FilgraphManager {
    Q_OBJECT
public:
    explicit FilterGraph(QObject* parent = nullptr);
    ~FilterGraph() override;

    void RenderFile(const QString& path) override;
    void Run() override;
    void Pause() override;
    void Stop() override;
    State GetState() const override;
    double Duration() const override;
    double CurrentPosition() const override;
    void setCurrentPosition(double seconds) override;
    double BandGain(int band) const override;
    void setBandGain(int band, double gain) override;
    int SampleRate() const override { return m_sampleRate; }

private:
    static void checkBand(int band);

    AudioOutput m_output;
    // Shared with every source the output makes: a seek or a new start keeps the gains.
    std::shared_ptr<EqualizerGains> m_gains;
    int m_sampleRate = 44100;
};
