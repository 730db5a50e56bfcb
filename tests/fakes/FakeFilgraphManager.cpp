#include "tests/fakes/FakeFilgraphManager.h"

#include "components/Error.h"

void FakeFilgraphManager::RenderFile(const QString& path) {
    record(QStringLiteral("RenderFile"), {path});
    if (!renderError.isEmpty())
        throw Error(renderError);
    renderedFile = path;
    state = State::Stopped;
    position = 0;
    gains = {};
    Q_EMIT EqualizerChanged();
}

void FakeFilgraphManager::Run() {
    record(QStringLiteral("Run"));
    if (renderedFile.isEmpty())
        throw Error(QStringLiteral("Cannot play: no file has been opened."));
    state = State::Running;
}

void FakeFilgraphManager::Pause() {
    record(QStringLiteral("Pause"));
    state = State::Paused;
}

void FakeFilgraphManager::Stop() {
    record(QStringLiteral("Stop"));
    state = State::Stopped;
    position = 0;
}

void FakeFilgraphManager::setCurrentPosition(double seconds) {
    record(QStringLiteral("setCurrentPosition"), {argText(seconds)});
    if (renderedFile.isEmpty())
        throw Error(QStringLiteral("Cannot move: no file has been opened."));
    position = seconds;
}

double FakeFilgraphManager::BandGain(int band) const {
    if (band < 0 || band >= EqBandCount)
        throw IndexError(QStringLiteral("band %1").arg(band));
    return gains[size_t(band)];
}

void FakeFilgraphManager::setBandGain(int band, double gain) {
    record(QStringLiteral("setBandGain"), {argText(band), argText(gain)});
    if (band < 0 || band >= EqBandCount)
        throw IndexError(QStringLiteral("band %1").arg(band));
    gains[size_t(band)] = gain;
    Q_EMIT EqualizerChanged();
}
