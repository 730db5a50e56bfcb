#pragma once

#include "backends/audio/AudioOutput.h"
#include "components/Player.h"

// The recorder's player on the program's one audio output. A file that a recording of this
// program is still writing is played from the recording's PCM as far as it had come when Play
// was called.
class SoundPlayer final : public Player {
    Q_OBJECT
public:
    explicit SoundPlayer(QObject* parent = nullptr);

    void Play(const QString& fileName) override;
    void PausePlayback() override;
    void ResumePlayback() override;
    void StopPlayback() override;
    qint32 PlayerState() const override;
    double Position() const override;

private:
    AudioOutput m_output;
};
