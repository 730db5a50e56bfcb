#pragma once

#include "backends/audio/AudioOutput.h"
#include "backends/cdio/CdPlayer.h"

namespace cdio {

// The CD player behind MCI: a stretch of the disc read without paranoia (as a CD player reads
// while it plays) through the one audio output. User-interface thread only.
class DiscPlayer final : public CdPlayer {
public:
    DiscPlayer() = default;

    // Raises Error when there is no audio output or the disc cannot be read at all.
    void play(const Drive& drive, qint32 first, qint32 end) override;
    void pause() override;
    void resume() override;
    void stop() override;

    State state() const override;
    qint32 position() const override;

private:
    AudioOutput m_output;
    qint32 m_first = 0;
};

} // namespace cdio
