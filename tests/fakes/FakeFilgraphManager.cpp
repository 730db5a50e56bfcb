#include "tests/fakes/FakeFilgraphManager.h"

#include "components/Error.h"

void FakeFilgraphManager::RenderFile(const QString& path) {
    record(QStringLiteral("RenderFile"), {path});
    if (!renderError.isEmpty())
        throw Error(renderError);
    renderedFile = path;
    state = State::Stopped;
}

void FakeFilgraphManager::Run() {
    record(QStringLiteral("Run"));
    state = State::Running;
}

void FakeFilgraphManager::Pause() {
    record(QStringLiteral("Pause"));
    state = State::Paused;
}

void FakeFilgraphManager::Stop() {
    record(QStringLiteral("Stop"));
    state = State::Stopped;
}
