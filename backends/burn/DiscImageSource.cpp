#include "backends/burn/DiscImageSource.h"

#include "backends/cdio/CueSheet.h"
#include "components/Error.h"

#include <QFile>

#include <atomic>

namespace burning {

namespace {

// Sectors [first, end) of a BIN file, as they are.
class BinFeed final : public TrackFeed {
public:
    BinFeed(const QString& bin, qint64 first, qint64 end)
        : m_file(bin), m_offset(first * kAudioSectorBytes),
          m_left((end - first) * kAudioSectorBytes) {}

    void start() override {}
    qint64 read(char* buffer, qint64 bytes) override {
        if (m_cancelled.load())
            return 0;
        if (!m_file.isOpen() && (!m_file.open(QIODevice::ReadOnly) || !m_file.seek(m_offset)))
            throw Error(
                QStringLiteral("Cannot read %1: %2").arg(m_file.fileName(), m_file.errorString()));
        const qint64 wanted = std::min(bytes, m_left);
        qint64 done = 0;
        while (done < wanted && !m_cancelled.load()) {
            const qint64 got = m_file.read(buffer + done, wanted - done);
            if (got <= 0)
                throw Error(QStringLiteral("Cannot read %1: it ends before the disc's end")
                                .arg(m_file.fileName()));
            done += got;
        }
        m_left -= done;
        return m_cancelled.load() ? 0 : done;
    }
    void cancel() override { m_cancelled.store(true); }
    int fill() const override { return 100; }

private:
    QFile m_file;
    qint64 m_offset;
    qint64 m_left;
    std::atomic<bool> m_cancelled{false};
};

} // namespace

bool isCueSheet(const QString& path) {
    return path.right(3).toLower() == QLatin1String("cue");
}

DiscImageSource::DiscImageSource(const QString& cuePath)
    : m_cue(cuePath), m_bin(cdio::CueSheet(cuePath).dataFile()) {
    cdio::Drive drive;
    drive.device = cuePath;
    drive.image = true;
    m_disc = cdio::describeDisc(drive);
    if (m_disc.tracks.isEmpty())
        throw Error(QStringLiteral("The disc image %1 holds no tracks.").arg(cuePath));
    for (const cdio::TrackDescription& t : m_disc.tracks)
        if (!t.audio)
            throw Error(QStringLiteral("The disc image %1 has a data track (track %2); only "
                                       "audio CDs are copied.")
                            .arg(cuePath)
                            .arg(t.number));
    // libcdio ends the disc where the data file ends, even inside a track.
    for (const cdio::TrackDescription& t : m_disc.tracks)
        if (t.start >= t.end)
            throw Error(QStringLiteral("The data file %1 ends before track %2 of its cue sheet.")
                            .arg(m_bin)
                            .arg(t.number));
}

qint64 DiscImageSource::sectors() const {
    return m_disc.leadout - m_disc.tracks.front().pregapStart;
}

DiscInfo DiscImageSource::discInfo() const {
    return {m_disc.catalog, m_disc.title, m_disc.performer, m_disc.songwriter};
}

std::vector<TrackInfo> DiscImageSource::trackInfos() const {
    std::vector<TrackInfo> infos;
    for (const cdio::TrackDescription& t : m_disc.tracks) {
        TrackInfo i;
        i.frames = qint64(t.end - t.start) * kFramesPerSector;
        i.exact = true;
        i.pregapFrames = qint64(t.start - t.pregapStart) * kFramesPerSector;
        i.padToShortest = false;
        i.title = t.title;
        i.performer = t.performer;
        i.songwriter = t.songwriter;
        i.album = m_disc.title;
        i.isrc = t.isrc;
        i.preEmphasis = t.preEmphasis;
        i.copyPermitted = t.copyPermitted;
        infos.push_back(i);
    }
    return infos;
}

std::vector<PlannedTrack> DiscImageSource::plan() const {
    std::vector<PlannedTrack> planned;
    const std::vector<TrackInfo> infos = trackInfos();
    for (qsizetype i = 0; i < m_disc.tracks.size(); ++i) {
        const cdio::TrackDescription& t = m_disc.tracks[i];
        PlannedTrack p;
        p.source = QStringLiteral("track %1 of %2").arg(t.number).arg(m_cue);
        p.info = infos[size_t(i)];
        p.feed = std::make_unique<BinFeed>(m_bin, t.pregapStart, t.end);
        planned.push_back(std::move(p));
    }
    return planned;
}

} // namespace burning
