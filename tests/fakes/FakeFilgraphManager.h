#pragma once

#include "components/Error.h"
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

    void RenderFile(const QString& path) override {
        call("RenderFile", path);
        if (!renderError.isEmpty())
            throw Error(renderError);
        renderedFile = path;
        state = State::Stopped;
        position = 0;
        gains = {};
        Q_EMIT EqualizerChanged();
    }
    void Run() override {
        call("Run");
        opened("play");
        state = State::Running;
    }
    void Pause() override {
        call("Pause");
        state = State::Paused;
    }
    void Stop() override {
        call("Stop");
        state = State::Stopped;
        position = 0;
    }
    State GetState() const override { return state; }
    double Duration() const override { return renderedFile.isEmpty() ? 0 : duration; }
    double CurrentPosition() const override { return position; }
    void setCurrentPosition(double seconds) override {
        call("setCurrentPosition", seconds);
        opened("move");
        position = seconds;
    }
    double BandGain(int band) const override { return gains[index(band)]; }
    void setBandGain(int band, double gain) override {
        call("setBandGain", band, gain);
        gains[index(band)] = gain;
        Q_EMIT EqualizerChanged();
    }
    int SampleRate() const override { return 44100; }

    // When not empty, RenderFile raises Error with this text, as for an undecodable file.
    QString renderError;
    QString renderedFile;
    State state = State::Stopped;
    double duration = 200; // the length of every file rendered
    double position = 0;
    std::array<double, EqBandCount> gains{};

private:
    void opened(const char* what) const {
        if (renderedFile.isEmpty())
            throw Error(QStringLiteral("Cannot %1: no file has been opened.").arg(what));
    }
    static size_t index(int band) {
        if (band < 0 || band >= EqBandCount)
            throw IndexError(QStringLiteral("band %1").arg(band));
        return size_t(band);
    }
};
