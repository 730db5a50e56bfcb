#pragma once

#include "components/Record.h"

#include <QThread>
#include <memory>

// The recorder on Qt Multimedia and the media core: a capture device (QAudioSource, on a thread
// of its own) feeds a pipe, and one MediaJob in its recording mode encodes the pipe into the file
// (MP3 through LAME or shine, WAVE through FFmpeg's muxer) until stop() commits it. The job also
// keeps the PCM aside, so that the file can be played while it is being recorded. The file has
// a visible ".recording" name while it grows, flushed to the disk every second (see
// GrowingRecording): a crash keeps it, a full disk keeps what was written before.
//
// The device list has the system's default input first, named "Default (<its name>)", with an
// empty id: choosing it follows whatever the default input is when the recording starts.
// Starting while a recording runs does nothing; starting while the last one is still being saved
// raises Error.
class SoundRecorder final : public Record {
    Q_OBJECT
public:
    explicit SoundRecorder(QObject* parent = nullptr);
    // A recording still running is stopped and saved; this waits for it (a few seconds at most).
    ~SoundRecorder() override;

    void setFileName(const QString& path) override { m_fileName = path; }
    QString FileName() const override { return m_fileName; }
    void setOutputFormat(qint32 format) override { m_outputFormat = format; }
    void setPCMFormat(qint32 index) override { m_pcmFormat = index; }
    void setMP3Bitrate(qint32 kbps) override { m_mp3Bitrate = kbps; }
    void setEncoderDLL(const QString& name) override { m_encoderDLL = name; }
    void setDevice(const QString& id) override { m_device = id; }

    bool IsRecording() const override;
    bool IsPaused() const override;
    double RecordedTime() const override;

    void StartRecording() override;
    void PauseRecording() override;
    void ResumeRecording() override;
    void StopRecording() override;

    void ListDevices() override;
    void ListBitrates() override;
    void ListFormats(const QString& deviceId) override;
    QString DefaultDevice() const override;

    QStringList InterruptedRecordings(const QString& folder) override;
    QString RecoverRecording(const QString& path) override;

    // Ends each recording by itself once it holds this much audio (exactly); 0 (or anything not
    // finite) for no end.
    void setMaximumSeconds(double seconds) { m_maximumSeconds = seconds; }

    // What the last recording captured in all and lost to a full pipe, for the tests.
    qint64 capturedFrames() const;
    qint64 droppedFrames() const;

private:
    struct Run;
    void endCapture();
    void onLost(const QString& reason);
    void onEnded(const QString& failure);

    QString m_fileName;
    qint32 m_outputFormat = 1;
    qint32 m_pcmFormat = 15;
    qint32 m_mp3Bitrate = 128;
    QString m_encoderDLL = QStringLiteral("lame_enc.dll");
    QString m_device;

    // The one thread of the program's own that is not a pool task: QAudioSource delivers its
    // audio and its state through the event loop of the thread it lives on, so the capture needs
    // a thread with an event loop that lasts as long as the recorder, which a pool task is not.
    QThread m_captureThread;
    // Lives on the capture thread: a call to it comes after every call posted there before.
    std::unique_ptr<QObject> m_captureAnchor;
    std::unique_ptr<Run> m_run; // from StartRecording until the job has reported
    double m_lastRecordedTime = 0;
    double m_maximumSeconds = 0;
};
