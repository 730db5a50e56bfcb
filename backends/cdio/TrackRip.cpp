#include "backends/cdio/TrackRip.h"

#include "backends/cdio/Checksums.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "backends/cdio/RipRecord.h"
#include "backends/media/FanOutSink.h"

#include <malloc.h>
#include <mutex>

namespace cdio {
namespace {

// Feeds checksums that the rip keeps while the job owns (and destroys) its sinks.
class ChecksumTap final : public PcmSink {
public:
    explicit ChecksumTap(std::shared_ptr<TrackChecksums> sums) : m_sums(std::move(sums)) {}

    PcmFormat format() const override { return m_sums->format(); }
    void write(const qint16* buffer, qint64 frames) override { m_sums->write(buffer, frames); }
    void finish() override {}
    void commit() override {}

private:
    std::shared_ptr<TrackChecksums> m_sums;
};

// Lets go of the disc reader once it has delivered the whole track.
class ReleasingSource final : public PcmSource {
public:
    explicit ReleasingSource(std::unique_ptr<DiscReader> reader)
        : m_format(reader->format()), m_frames(reader->expectedFrames()),
          m_reader(std::move(reader)) {}

    PcmFormat format() const override { return m_format; }
    qint64 expectedFrames() const override { return m_frames; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        if (!m_reader)
            return 0;
        const qint64 n = m_reader->read(buffer, maxFrames);
        if (n == 0) {
            std::lock_guard lock(m_mutex);
            m_reader.reset();
            malloc_trim(0);
        }
        return n;
    }
    void interrupt() override {
        std::lock_guard lock(m_mutex);
        if (m_reader)
            m_reader->interrupt();
    }
    quint64 activity() const override {
        std::lock_guard lock(m_mutex);
        return m_reader ? m_reader->activity() : 0;
    }

private:
    PcmFormat m_format;
    qint64 m_frames;
    mutable std::mutex m_mutex; // between the reading thread letting go and the others
    std::unique_ptr<DiscReader> m_reader;
};

} // namespace

TrackRip::TrackRip(const Drive& drive, int track, qint32 offsetSamples)
    : m_drive(drive), m_track(track) {
    DiscReader::Options reading;
    reading.paranoia = true;
    reading.offsetFrames = offsetSamples;
    reading.keepSkipped = true;
    reading.statistics = m_paranoia;
    m_reader = DiscReader::track(drive, track, reading);
    m_sectors = m_reader->totalSectors();
    m_format = m_reader->format();
    m_frames = m_reader->expectedFrames();
}

TrackRip::~TrackRip() = default;

void TrackRip::addFile(const QString& path, const EncodedSink::Options& options) {
    m_sinks.push_back(std::make_unique<EncodedSink>(path, options, m_format));
    m_files << path;
}

std::unique_ptr<PcmSource> TrackRip::takeSource() {
    return std::make_unique<ReleasingSource>(std::move(m_reader));
}

std::unique_ptr<PcmSink> TrackRip::takeSink(const Toc& toc) {
    int first = 0;
    int last = 0;
    for (const TocTrack& t : toc.tracks) {
        if (t.audio()) {
            first = first ? first : t.number;
            last = t.number;
        }
    }
    m_sums = std::make_shared<TrackChecksums>(m_frames, m_track == first, m_track == last);
    m_sinks.push_back(std::make_unique<ChecksumTap>(m_sums));
    return std::make_unique<FanOutSink>(std::move(m_sinks));
}

QString TrackRip::sourceName() const {
    return m_track == 0 ? QStringLiteral("the hidden track of %1").arg(m_drive.name())
                        : QStringLiteral("track %1 of %2").arg(m_track).arg(m_drive.name());
}

int TrackRip::stallSeconds() const {
    return m_drive.image ? kFileStallSeconds : kDriveStallSeconds;
}

void TrackRip::fillIn(RippedTrack& track) const {
    if (m_sums) {
        track.crc32 = m_sums->crc32();
        track.accurateRipV1 = m_sums->accurateRipV1();
        track.accurateRipV2 = m_sums->accurateRipV2();
        track.peak = m_sums->peak();
    }
    track.paranoia = *m_paranoia;
}

} // namespace cdio
