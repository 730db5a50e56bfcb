#pragma once

#include "backends/audio/CaptureDevices.h"

#include <QAudioDevice>
#include <QObject>
#include <atomic>
#include <memory>

class PcmPipe;
class QAudioSource;
class QTimer;
class CaptureStream;

// What the capture and its owner share across threads.
struct CaptureCounters {
    std::atomic<bool> paused{false};
    // Frames taken into the pipe; paused and dropped frames do not count.
    std::atomic<qint64> frames{0};
    // Frames lost because the pipe was full (the encoder fell far behind).
    std::atomic<qint64> dropped{0};
    // Frames to take in all; -1 for no end.
    std::atomic<qint64> limit{-1};
};

// Captures one input device into a PcmPipe with QAudioSource, on the thread it is moved to, so
// that a busy window never costs audio. The audio callback only turns 8-bit samples into 16-bit
// ones and queues them: no encoding, no file writing there.
//
// Use: create, moveToThread(), then invoke begin() there; end() stops the device and deletes
// the object (exactly once, from its owner). While paused the device is suspended and whatever
// it still delivers is dropped. The device is checked four times a second: when it has gone from
// the machine's list, or stopped with an error, capturing ends and lost() is emitted; when the
// counters' limit is reached (nothing more is taken then), filled() is.
class AudioCapture final : public QObject {
    Q_OBJECT
public:
    AudioCapture(const QAudioDevice& device, const CaptureFormat& format,
                 std::shared_ptr<PcmPipe> pipe, std::shared_ptr<CaptureCounters> counters);
    ~AudioCapture() override;

    void begin();
    void end();
    void suspend();
    void resume();

Q_SIGNALS:
    // reason completes "the capture device ...": "is no longer there".
    void lost(const QString& reason);
    void filled();

private:
    void check();
    void stopDevice();

    QAudioDevice m_device;
    CaptureFormat m_format;
    std::shared_ptr<PcmPipe> m_pipe;
    std::shared_ptr<CaptureCounters> m_counters;
    // No parent: Qt 6.4 gives the source's backend the same parent, which would delete it twice.
    std::unique_ptr<QAudioSource> m_source;
    std::unique_ptr<CaptureStream> m_stream;
    QTimer* m_check = nullptr;
    bool m_lost = false;
    bool m_filled = false;
};
