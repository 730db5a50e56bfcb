#include "tests/fakes/FakeAudioBurner.h"

#include "components/Error.h"

#include <QMetaObject>

const FakeAudioBurner::Recorder& FakeAudioBurner::current() const {
    static const Recorder none;
    return currentRecorder >= 1 && currentRecorder <= recorders.size()
               ? recorders[currentRecorder - 1]
               : none;
}

void FakeAudioBurner::raise(const Event& event) {
    if (event.finished) {
        m_burning = false;
        Q_EMIT BurnFinished(event.status, event.text);
        return;
    }
    status = event;
    Q_EMIT Progress(event.percent);
}

void FakeAudioBurner::StartBurn() {
    call("StartBurn");
    const int run = ++m_run;
    m_burning = true;
    for (const Event& event : burnEvents) {
        if (finishInsideStart)
            raise(event);
        else
            QMetaObject::invokeMethod(
                this,
                [this, event, run] {
                    if (run == m_run)
                        raise(event);
                },
                Qt::QueuedConnection);
    }
}

void FakeAudioBurner::CancelBurn() {
    call("CancelBurn");
    if (!m_burning)
        return;
    const int run = ++m_run;
    QMetaObject::invokeMethod(
        this,
        [this, run] {
            if (run == m_run)
                raise(burnFinished(BurnCancelled, QStringLiteral("The burn was cancelled.")));
        },
        Qt::QueuedConnection);
}

void FakeAudioBurner::AddTrack(const QString& path) {
    call("AddTrack", path);
    tracks.append(path);
}

void FakeAudioBurner::RemoveTrack() {
    call("RemoveTrack");
    if (selectedTrack < 1 || selectedTrack > tracks.size())
        throw IndexError(QStringLiteral("there is no track number %1").arg(selectedTrack));
    tracks.removeAt(selectedTrack - 1);
}

void FakeAudioBurner::ClearTracks() {
    call("ClearTracks");
    tracks.clear();
}

qint32 FakeAudioBurner::CompilationSize() const {
    call("CompilationSize");
    qint32 sum = 0;
    for (const QString& path : tracks)
        sum += fileBytes.value(path);
    return sum;
}

void FakeAudioBurner::setCurrentRecorder(qint16 recorder) {
    write("setCurrentRecorder", currentRecorder, recorder);
    // As the engine: a change of recorder empties the compilation.
    tracks.clear();
}

void FakeAudioBurner::setWriteSpeed(qint16 factor) {
    call("setWriteSpeed", factor);
    writeSpeed = acceptSpeed ? acceptSpeed(factor) : factor;
}
