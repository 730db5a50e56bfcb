#include "backends/cdio/DiscPlayer.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"

#include <cmath>

namespace cdio {

void DiscPlayer::play(const Drive& drive, qint32 first, qint32 end) {
    m_first = first;
    DiscReader::Options options;
    options.paranoia = false;
    // A drive without a disc raises here, at once; one that goes away while playing ends
    // the sound, and the output turns Stopped.
    m_output.open(
        [drive, first, end, options] { return DiscReader::sectors(drive, first, end, options); });
    m_output.start();
}

void DiscPlayer::pause() {
    m_output.pause();
}

void DiscPlayer::resume() {
    if (m_output.state() == AudioOutput::State::Paused)
        m_output.start();
}

void DiscPlayer::stop() {
    m_output.stop();
}

CdPlayer::State DiscPlayer::state() const {
    switch (m_output.state()) {
    case AudioOutput::State::Playing:
        return State::Playing;
    case AudioOutput::State::Paused:
        return State::Paused;
    case AudioOutput::State::Stopped:
        break;
    }
    return State::Stopped;
}

qint32 DiscPlayer::position() const {
    const double frames = m_output.position() * m_output.format().sampleRate;
    return m_first + qint32(std::llround(frames) / kFramesPerSector);
}

} // namespace cdio
