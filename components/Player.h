#pragma once

#include <QObject>
#include <QString>

// Plays an audio file (MP3, WAVE, WMA) on the default output device.
//
// PlayerState: 0 = stopped (also after StopPlayback and at the end), 2 = playing, 3 = paused.
// Playing the file of a recording that is still running plays what has been recorded so far.
// Pausing, resuming or stopping when it does not apply is harmless.
class Player : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    static constexpr qint32 Stopped = 0;
    static constexpr qint32 Playing = 2;
    static constexpr qint32 Paused = 3;

    // Plays fileName from its start, stopping what played before. Raises Error when the file
    // cannot be played (missing, not audio) or there is no audio output.
    virtual void Play(const QString& fileName) = 0;
    virtual void PausePlayback() = 0;
    virtual void ResumePlayback() = 0;
    virtual void StopPlayback() = 0;
    virtual qint32 PlayerState() const = 0;
    // Seconds played from the start of the file; 0 when stopped.
    virtual double Position() const = 0;

Q_SIGNALS:
    // Played to the end, or playback broke (Failed first).
    void PlaybackFinished();
    void Failed(const QString& message);
};
