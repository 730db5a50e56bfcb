#include "backends/audio/AudioOutput.h"

#include "backends/media/MediaJob.h"
#include "backends/media/PcmPipe.h"
#include "components/Error.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QIODevice>
#include <QMediaDevices>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cmath>

namespace {

// Audio decoded ahead of the device: enough to ride out a busy moment, little enough that a
// seek or a stop drops little work.
constexpr int kAheadMilliseconds = 500;
constexpr qint64 kChunkFrames = 2048;
constexpr int kDrainPollMilliseconds = 50;
constexpr int kStallPollMilliseconds = 250;

QAudioFormat audioFormat(const PcmFormat& pcm) {
    QAudioFormat format;
    format.setSampleRate(pcm.sampleRate);
    format.setChannelCount(pcm.channels);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

QAudioDevice outputDevice() {
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (device.isNull())
        throw Error(QStringLiteral("Cannot play: there is no audio output."));
    return device;
}

} // namespace

// The pipe as a byte stream the audio device pulls. readData runs on the device's thread and
// never waits; when it finds the pipe empty the device goes idle, and the pipe's next data
// wakes it through readyRead.
class PipeDevice final : public QIODevice {
public:
    PipeDevice(std::shared_ptr<PcmPipe> pipe, std::function<void(const QString&)> broken)
        : m_pipe(std::move(pipe)), m_broken(std::move(broken)) {
        m_pipe->setWakeUp([this] {
            if (m_starved.exchange(false))
                QMetaObject::invokeMethod(
                    this, [this] { Q_EMIT readyRead(); }, Qt::QueuedConnection);
        });
        open(QIODevice::ReadOnly);
    }
    ~PipeDevice() override { m_pipe->setWakeUp(nullptr); }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return m_ended || m_pipe->atEnd(); }
    qint64 bytesAvailable() const override {
        return m_pipe->queuedBytes() + QIODevice::bytesAvailable();
    }
    qint64 pulledBytes() const { return m_pulled; }

protected:
    // Called by Qt Multimedia: nothing may be thrown through it.
    qint64 readData(char* data, qint64 maxSize) noexcept override {
        try {
            m_starved = true;
            const qint64 got = m_pipe->readAvailable(data, maxSize);
            if (got > 0)
                m_starved = false;
            if (got < 0) {
                // The job reports a broken source itself; only a pipe broken otherwise is ours.
                m_ended = true;
                return 0;
            }
            m_pulled += got;
            return got;
        } catch (...) {
            m_ended = true;
            QMetaObject::invokeMethod(
                this,
                [this] {
                    m_broken(QStringLiteral("Cannot play: the audio could not be passed to the "
                                            "output."));
                },
                Qt::QueuedConnection);
            return 0;
        }
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    std::shared_ptr<PcmPipe> m_pipe;
    std::function<void(const QString&)> m_broken;
    std::atomic<bool> m_starved{false};
    bool m_ended = false;
    qint64 m_pulled = 0;
};

AudioOutput::AudioOutput(QObject* parent)
    : QObject(parent), m_drainTimer(new QTimer(this)), m_stallTimer(new QTimer(this)) {
    m_drainTimer->setInterval(kDrainPollMilliseconds);
    connect(m_drainTimer, &QTimer::timeout, this, &AudioOutput::checkDrained);
    m_stallTimer->setInterval(kStallPollMilliseconds);
    connect(m_stallTimer, &QTimer::timeout, this, &AudioOutput::checkStalled);
}

AudioOutput::~AudioOutput() {
    teardown();
    m_retired.clear();
}

PcmFormat AudioOutput::playableFormat(PcmFormat wanted) {
    const QAudioDevice device = outputDevice();
    if (device.isFormatSupported(audioFormat(wanted)))
        return wanted;
    const QAudioFormat preferred = device.preferredFormat();
    return {preferred.sampleRate(), std::min(preferred.channelCount(), 2)};
}

void AudioOutput::open(SourceFactory makeSource) {
    teardown();
    m_makeSource = nullptr;
    m_first.reset();
    m_state = State::Stopped;
    m_position = 0;
    const QAudioDevice device = outputDevice();
    std::unique_ptr<PcmSource> first = makeSource();
    const PcmFormat format = first->format();
    if (!device.isFormatSupported(audioFormat(format)))
        throw Error(QStringLiteral("Cannot play: the audio output does not take %1 Hz with %2 "
                                   "channel(s).")
                        .arg(format.sampleRate)
                        .arg(format.channels));
    m_format = format;
    m_expected = first->expectedFrames();
    m_canSeek = first->seekable() != nullptr;
    m_first = std::move(first);
    m_makeSource = std::move(makeSource);
}

void AudioOutput::start() {
    if (!isOpen())
        throw Error(QStringLiteral("Cannot play: nothing has been opened."));
    if (m_state == State::Paused) {
        m_sink->resume();
        m_state = State::Playing;
        watchForStalls();
        return;
    }
    if (m_state == State::Playing)
        return;
    std::unique_ptr<PcmSource> source = m_first ? std::move(m_first) : m_makeSource();
    Seekable* seekable = source->seekable();
    if (m_position > 0 && seekable)
        seekable->seek(m_position);
    else
        m_position = 0;
    play(std::move(source));
}

void AudioOutput::play(std::unique_ptr<PcmSource> source) {
    m_pipe = std::make_shared<PcmPipe>(m_format, m_format.sampleRate * kAheadMilliseconds / 1000,
                                       kChunkFrames);
    m_device = std::make_unique<PipeDevice>(m_pipe, [this](const QString& why) { fail(why); });
    MediaJob::Options options;
    options.pieceFrames = kChunkFrames;
    options.readAhead = false;
    options.progressSteps = 1; // nothing to report: the device tells the position
    m_job = new MediaJob(this);
    connect(m_job, &MediaJob::failed, this, &AudioOutput::fail);
    m_job->start(std::move(source), std::make_unique<PipeSink>(m_pipe), options);

    m_retired.clear();
    m_sink = std::make_unique<QAudioSink>(outputDevice(), audioFormat(m_format));
    connect(m_sink.get(), &QAudioSink::stateChanged, this, &AudioOutput::onSinkState);
    m_startFrame = m_position;
    m_state = State::Playing;
    m_sink->start(m_device.get());
    if (m_sink->error() != QAudio::NoError) {
        teardown();
        throw Error(QStringLiteral("Cannot play: the audio output refused to start."));
    }
    watchForStalls();
}

void AudioOutput::pause() {
    if (m_state != State::Playing)
        return;
    m_sink->suspend();
    m_state = State::Paused;
    m_stallTimer->stop();
}

void AudioOutput::stop() {
    if (m_state == State::Stopped)
        return;
    m_position = m_canSeek ? m_startFrame + playedFrames() : 0;
    teardown();
}

void AudioOutput::seek(double seconds) {
    if (!m_canSeek)
        throw Error(QStringLiteral("Cannot move the playback: this audio cannot seek."));
    const State was = m_state;
    teardown();
    m_position = std::llround(std::max(seconds, 0.0) * m_format.sampleRate);
    if (was == State::Stopped)
        return;
    start();
    if (was == State::Paused)
        pause();
}

qint64 AudioOutput::playedFrames() const {
    if (!m_sink || !m_device)
        return 0;
    const qint64 processed = m_sink->processedUSecs() * m_format.sampleRate / 1000000;
    return std::min(processed, m_device->pulledBytes() / m_format.bytesPerFrame());
}

double AudioOutput::position() const {
    const qint64 frame = m_state == State::Stopped ? m_position : m_startFrame + playedFrames();
    return m_format.sampleRate > 0 ? double(frame) / m_format.sampleRate : 0.0;
}

double AudioOutput::duration() const {
    return m_expected >= 0 && m_format.sampleRate > 0 ? double(m_expected) / m_format.sampleRate
                                                      : -1.0;
}

void AudioOutput::teardown() {
    m_drainTimer->stop();
    m_stallTimer->stop();
    if (m_sink) {
        // Kept a while: teardown may run inside the sink's own stateChanged.
        m_sink->disconnect(this);
        m_sink->stop();
        m_retired.push_back(std::move(m_sink));
    }
    if (m_job) {
        // Cancelled, and deleted later: teardown may run inside one of its signals.
        m_job->cancel();
        m_job->disconnect(this);
        m_job->deleteLater();
        m_job = nullptr;
    }
    if (m_pipe)
        m_pipe->interrupt();
    m_device.reset();
    m_pipe.reset();
    m_state = State::Stopped;
}

void AudioOutput::onSinkState() {
    if (!m_sink)
        return;
    const QAudio::State state = m_sink->state();
    if (state == QAudio::IdleState && m_pipe->atEnd() && !m_drainTimer->isActive()) {
        // The device took the last data; it ends when what it holds has been played. (A broken
        // stream ends the device too, but the job's failed() tells of that.)
        m_drainTimer->start();
    } else if (state == QAudio::StoppedState && m_sink->error() != QAudio::NoError) {
        fail(QStringLiteral("Cannot play: the audio output stopped working."));
    }
}

void AudioOutput::checkDrained() {
    if (!m_sink || !m_device)
        return;
    const qint64 pulled = m_device->pulledBytes() / m_format.bytesPerFrame();
    if (playedFrames() + m_format.sampleRate / 100 < pulled)
        return;
    teardown();
    m_position = 0;
    Q_EMIT finished();
}

void AudioOutput::watchForStalls() {
    m_lastProcessed = -1;
    m_sinceProgress.start();
    m_stallTimer->start();
}

// A device that takes no sound while it has some waiting is stalled; one that waits for the
// source (a slow disc, a busy machine) has nothing to play and is not.
void AudioOutput::checkStalled() {
    if (!m_sink || !m_device || m_state != State::Playing)
        return;
    const qint64 processed = m_sink->processedUSecs();
    const qint64 pulled = m_device->pulledBytes() / m_format.bytesPerFrame();
    const bool hasSound =
        m_pipe->queuedBytes() > 0 || playedFrames() + m_format.sampleRate / 100 < pulled;
    if (processed != m_lastProcessed || !hasSound) {
        m_lastProcessed = processed;
        m_sinceProgress.start();
        return;
    }
    if (m_sinceProgress.elapsed() >= StallLimit)
        fail(QStringLiteral("Cannot play: the audio output has played nothing for %1 seconds; "
                            "its device may have been removed or switched off.")
                 .arg(StallLimit / 1000));
}

void AudioOutput::fail(const QString& message) {
    if (m_state == State::Stopped && !m_sink)
        return;
    teardown();
    m_position = 0;
    Q_EMIT failed(message);
}
