#pragma once

#include "components/FilgraphManager.h"
#include "tests/fakes/CallLog.h"

#include <array>

// The player's graph: keeps what was rendered, its state, position and band gains; plays
// nothing. The reads that players poll (state, position, duration, gains) are not logged. A
// test moves the position itself and raises Failed and Complete (Q_EMIT fake.Failed(...)).
class FakeFilgraphManager final : public FilgraphManager, public CallRecorder {
public:
    explicit FakeFilgraphManager(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("FilgraphManager"), log) {}

    void RenderFile(const QString& path) override;
    void Run() override;
    void Pause() override;
    void Stop() override;
    State GetState() const override { return state; }
    double Duration() const override { return renderedFile.isEmpty() ? 0 : duration; }
    double CurrentPosition() const override { return position; }
    void setCurrentPosition(double seconds) override;
    double BandGain(int band) const override;
    void setBandGain(int band, double gain) override;
    int SampleRate() const override { return 44100; }

    // When not empty, RenderFile raises Error with this text, as for an undecodable file.
    QString renderError;
    QString renderedFile;
    State state = State::Stopped;
    double duration = 200; // the length of every file rendered
    double position = 0;
    std::array<double, EqBandCount> gains{};
};
