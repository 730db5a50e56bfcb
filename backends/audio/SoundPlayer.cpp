#include "backends/audio/SoundPlayer.h"

#include "backends/audio/RecordingSpool.h"
#include "backends/media/FileSource.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"

SoundPlayer::SoundPlayer(QObject* parent) : Player(parent) {
    connect(&m_output, &AudioOutput::finished, this, &Player::PlaybackFinished);
    connect(&m_output, &AudioOutput::failed, this, [this](const QString& message) {
        Q_EMIT Failed(message);
        Q_EMIT PlaybackFinished();
    });
}

void SoundPlayer::Play(const QString& fileName) {
    if (fileName.isEmpty())
        throw Error(QStringLiteral("Cannot play: nothing has been recorded yet."));
    if (std::shared_ptr<RecordingSpool> spool = RecordingSpool::find(fileName)) {
        const PcmFormat format = spool->format();
        if (AudioOutput::playableFormat(format) != format)
            throw Error(QStringLiteral("Cannot play %1 while it is being recorded: the audio "
                                       "output does not take %2 Hz with %3 channels.")
                            .arg(fileName)
                            .arg(format.sampleRate)
                            .arg(format.channels));
        const qint64 frames = spool->frames();
        m_output.open([spool, frames] { return RecordingSpool::source(spool, frames); });
    } else {
        const MediaFacts facts = probeMediaFile(fileName);
        // Devices that cannot take the file's own format get it resampled to theirs.
        const PcmFormat format = AudioOutput::playableFormat({facts.sampleRate, facts.channels});
        m_output.open(
            [fileName, format] { return std::make_unique<FileSource>(fileName, format); });
    }
    m_output.start();
}

void SoundPlayer::PausePlayback() {
    if (m_output.state() == AudioOutput::State::Playing)
        m_output.pause();
}

void SoundPlayer::ResumePlayback() {
    if (m_output.state() == AudioOutput::State::Paused)
        m_output.start();
}

void SoundPlayer::StopPlayback() {
    if (m_output.state() == AudioOutput::State::Stopped)
        return;
    m_output.stop();
    if (m_output.canSeek())
        m_output.seek(0);
}

qint32 SoundPlayer::PlayerState() const {
    switch (m_output.state()) {
    case AudioOutput::State::Playing:
        return Playing;
    case AudioOutput::State::Paused:
        return Paused;
    case AudioOutput::State::Stopped:
        break;
    }
    return Stopped;
}

double SoundPlayer::Position() const {
    return m_output.state() == AudioOutput::State::Stopped ? 0.0 : m_output.position();
}
