#pragma once

#include "components/FilgraphManager.h"
#include "tests/fakes/CallLog.h"

// The player's graph: keeps what was rendered and whether it runs; plays nothing. A test raises
// Failed itself (Q_EMIT fake.Failed(...)).
class FakeFilgraphManager final : public FilgraphManager, public CallRecorder {
public:
    enum class State { Stopped, Paused, Running };

    explicit FakeFilgraphManager(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("FilgraphManager"), log) {}

    void RenderFile(const QString& path) override;
    void Run() override;
    void Pause() override;
    void Stop() override;

    // When not empty, RenderFile raises Error with this text, as for an undecodable file.
    QString renderError;
    QString renderedFile;
    State state = State::Stopped;
};
