#include "backends/audio/AudioCapture.h"

#include "backends/media/PcmPipe.h"

#include <QAudioFormat>
#include <QAudioSource>
#include <QIODevice>
#include <QMediaDevices>
#include <QTimer>
#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int kCheckMilliseconds = 250;

QAudioFormat audioFormat(const CaptureFormat& capture) {
    QAudioFormat format;
    format.setSampleRate(capture.sampleRate);
    format.setChannelCount(capture.channels);
    format.setSampleFormat(capture.bits == 8 ? QAudioFormat::UInt8 : QAudioFormat::Int16);
    return format;
}

} // namespace

// The device QAudioSource writes into (push mode): whole frames go to the pipe without waiting;
// a partial frame waits for the rest.
class CaptureStream final : public QIODevice {
public:
    CaptureStream(std::shared_ptr<PcmPipe> pipe, std::shared_ptr<CaptureCounters> counters,
                  const CaptureFormat& format)
        : m_pipe(std::move(pipe)), m_counters(std::move(counters)), m_channels(format.channels),
          m_bytesPerSample(format.bits / 8) {
        open(QIODevice::WriteOnly);
    }

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char*, qint64) override { return -1; }

    qint64 writeData(const char* data, qint64 size) override {
        if (m_counters->paused)
            return size;
        const qint64 bytesPerFrame = qint64(m_channels) * m_bytesPerSample;
        m_partial.insert(m_partial.end(), data, data + size);
        const qint64 frames = qint64(m_partial.size()) / bytesPerFrame;
        if (frames == 0)
            return size;
        const qint16* samples = nullptr;
        if (m_bytesPerSample == 1) {
            m_samples.resize(size_t(frames * m_channels));
            for (size_t i = 0; i < m_samples.size(); ++i)
                m_samples[i] = qint16((int(quint8(m_partial[i])) - 128) << 8);
            samples = m_samples.data();
        } else {
            m_samples.resize(size_t(frames * m_channels));
            std::memcpy(m_samples.data(), m_partial.data(), size_t(frames * bytesPerFrame));
            samples = m_samples.data();
        }
        m_partial.erase(m_partial.begin(), m_partial.begin() + frames * bytesPerFrame);
        const qint64 limit = m_counters->limit;
        const qint64 wanted =
            limit < 0 ? frames : std::clamp<qint64>(limit - m_counters->frames, 0, frames);
        const qint64 taken = m_pipe->tryWrite(samples, wanted);
        m_counters->frames += taken;
        m_counters->dropped += wanted - taken;
        return size;
    }

private:
    std::shared_ptr<PcmPipe> m_pipe;
    std::shared_ptr<CaptureCounters> m_counters;
    const int m_channels;
    const int m_bytesPerSample;
    std::vector<char> m_partial;
    std::vector<qint16> m_samples;
};

AudioCapture::AudioCapture(const QAudioDevice& device, const CaptureFormat& format,
                           std::shared_ptr<PcmPipe> pipe, std::shared_ptr<CaptureCounters> counters)
    : m_device(device), m_format(format), m_pipe(std::move(pipe)), m_counters(std::move(counters)) {
}

AudioCapture::~AudioCapture() {
    stopDevice();
}

void AudioCapture::begin() {
    m_stream = std::make_unique<CaptureStream>(m_pipe, m_counters, m_format);
    m_source = std::make_unique<QAudioSource>(m_device, audioFormat(m_format));
    m_source->start(m_stream.get());
    m_check = new QTimer(this);
    connect(m_check, &QTimer::timeout, this, &AudioCapture::check);
    m_check->start(kCheckMilliseconds);
    if (m_counters->paused)
        suspend();
}

void AudioCapture::end() {
    stopDevice();
    deleteLater();
}

void AudioCapture::suspend() {
    if (m_source)
        m_source->suspend();
}

void AudioCapture::resume() {
    if (m_source)
        m_source->resume();
}

void AudioCapture::stopDevice() {
    if (m_check)
        m_check->stop();
    if (m_source)
        m_source->stop();
    m_source.reset();
    m_stream.reset();
}

void AudioCapture::check() {
    if (m_lost || !m_source)
        return;
    const qint64 limit = m_counters->limit;
    if (!m_filled && limit >= 0 && m_counters->frames >= limit) {
        m_filled = true;
        Q_EMIT filled();
    }
    QString reason;
    if (m_source->error() != QAudio::NoError && m_source->state() == QAudio::StoppedState) {
        reason = QStringLiteral("stopped delivering audio");
    } else {
        bool present = false;
        for (const QAudioDevice& device : QMediaDevices::audioInputs())
            present = present || device.id() == m_device.id();
        if (!present)
            reason = QStringLiteral("is no longer there");
    }
    if (reason.isEmpty())
        return;
    m_lost = true;
    stopDevice();
    Q_EMIT lost(reason);
}
