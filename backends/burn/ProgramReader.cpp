#include "backends/burn/ProgramReader.h"

#include "components/Error.h"

#include <algorithm>
#include <cstring>

namespace burning {

QString paddedNotice(int trackNumber, const QString& source, qint64 frames) {
    return QStringLiteral("Track %1 (%2) is %3 s long: it is padded with silence to 4 s, the "
                          "shortest track an audio CD allows.")
        .arg(trackNumber)
        .arg(source)
        .arg(double(frames) / kFramesPerSecond, 0, 'f', 2);
}

ProgramReader::ProgramReader(std::vector<PlannedTrack>& tracks, Joining joining, bool planned,
                             int sectorBytes)
    : m_tracks(tracks), m_joining(joining), m_planned(planned), m_sectorBytes(sectorBytes),
      m_delivered(tracks.size(), 0), m_record(sectorBytes) {
    if (m_tracks.empty())
        m_stage = Stage::Ended;
}

std::vector<TrackPlace> ProgramReader::places() const {
    std::vector<qint64> stream, gaps;
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const TrackInfo& info = m_tracks[i].info;
        const qint64 frames =
            m_planned || !m_ended.load() ? info.frames : m_delivered[i] - info.pregapFrames;
        stream.push_back(streamFrames(info, frames));
        gaps.push_back(info.pregapFrames);
    }
    return placeTracks(stream, gaps, m_joining, sectorFrames());
}

QStringList ProgramReader::takeNotices() {
    std::lock_guard lock(m_noticeMutex);
    return std::exchange(m_notices, {});
}

qint64 ProgramReader::read(char* buffer, qint64 bytes) {
    bytes -= bytes % kFrameBytes;
    qint64 done = 0;
    while (done < bytes && m_stage != Stage::Ended) {
        const size_t index = size_t(m_track.load());
        if (m_stage == Stage::Feed) {
            PlannedTrack& track = m_tracks[index];
            qint64 wanted = bytes - done;
            if (m_planned) {
                const qint64 left =
                    track.info.pregapFrames + track.info.frames - m_delivered[index];
                // One frame more than planned tells a feed that goes on from one that ends.
                wanted = std::min(wanted, (left + (left == 0 ? 1 : 0)) * kFrameBytes);
            }
            const qint64 got = track.feed->read(buffer + done, wanted);
            const qint64 frames = got / kFrameBytes;
            m_delivered[index] += frames;
            done += frames * kFrameBytes;
            m_programFrames += frames;
            if (got < wanted)
                endOfFeed();
            else if (m_planned && m_delivered[index] > track.info.pregapFrames + track.info.frames)
                throw Error(QStringLiteral("%1 holds more audio than it did when the burn "
                                           "began; was it changed?")
                                .arg(track.source));
        } else {
            const qint64 n = std::min(m_padding, (bytes - done) / kFrameBytes);
            std::memset(buffer + done, 0, size_t(n * kFrameBytes));
            done += n * kFrameBytes;
            m_padding -= n;
            m_programFrames += n;
            if (m_padding == 0)
                nextTrack();
        }
    }
    m_record.add(buffer, done);
    return done;
}

void ProgramReader::endOfFeed() {
    const size_t index = size_t(m_track.load());
    const PlannedTrack& track = m_tracks[index];
    const qint64 frames = m_delivered[index] - track.info.pregapFrames;
    if (m_planned && frames != track.info.frames)
        throw Error(QStringLiteral("%1 ended after %2 of the %3 s it had when the burn began; "
                                   "was it changed?")
                        .arg(track.source)
                        .arg(double(std::max<qint64>(frames, 0)) / kFramesPerSecond, 0, 'f', 2)
                        .arg(double(track.info.frames) / kFramesPerSecond, 0, 'f', 2));
    if (frames <= 0 && track.info.padToShortest)
        throw Error(QStringLiteral("%1 holds no audio to burn.").arg(track.source));
    const qint64 stream = streamFrames(track.info, frames);
    m_padding = stream - m_delivered[index];
    if (!m_planned && m_padding > 0) {
        std::lock_guard lock(m_noticeMutex);
        m_notices << paddedNotice(int(index) + 1, track.source, frames);
    }
    const bool last = index + 1 == m_tracks.size();
    if (m_joining == Joining::Separate || last) {
        const qint64 spill = (m_programFrames + m_padding) % sectorFrames();
        if (spill != 0)
            m_padding += sectorFrames() - spill;
    }
    m_stage = Stage::Padding;
    if (m_padding == 0)
        nextTrack();
}

void ProgramReader::nextTrack() {
    if (size_t(m_track.load()) + 1 >= m_tracks.size()) {
        m_stage = Stage::Ended;
        m_ended.store(true);
        return;
    }
    m_track.fetch_add(1);
    m_stage = Stage::Feed;
}

} // namespace burning
