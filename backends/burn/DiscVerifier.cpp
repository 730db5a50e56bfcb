#include "backends/burn/DiscVerifier.h"

#include "backends/burn/Program.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "components/Error.h"

#include <zlib.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>
#include <thread>

namespace burning {

namespace {

// A drive that has just written may need a while before it reads the disc again.
constexpr int kOpenAttempts = 30;
constexpr auto kOpenPause = std::chrono::milliseconds(100);
constexpr int kPausesPerAttempt = 10;

std::vector<qint16> samplesOf(const QByteArray& bytes) {
    std::vector<qint16> samples(size_t(bytes.size()) / 2);
    std::memcpy(samples.data(), bytes.constData(), samples.size() * 2);
    return samples;
}

} // namespace

QString TrackCheck::text() const {
    switch (result) {
    case Result::Identical:
        return QStringLiteral("identical");
    case Result::Differs:
        return QStringLiteral("differs at %1").arg(playingPosition(std::max<qint64>(sector, 0)));
    case Result::Unreadable:
        return QStringLiteral("unreadable");
    case Result::NotChecked:
        break;
    }
    return QStringLiteral("not checked");
}

DiscVerifier::DiscVerifier(cdio::Drive drive, std::vector<WrittenTrack> tracks,
                           const WriteRecord& record)
    : m_drive(std::move(drive)), m_tracks(std::move(tracks)), m_record(record) {
    for (const WrittenTrack& t : m_tracks)
        m_total += t.sectors;
}

void DiscVerifier::interrupt() {
    m_interrupted.store(true);
    std::lock_guard lock(m_readerMutex);
    if (m_reader)
        m_reader->interrupt();
}

DiscVerifier::Reading::Reading(DiscVerifier& verifier, qint64 first, qint64 end, qint32 offset,
                               bool paranoia)
    : m_verifier(verifier) {
    cdio::DiscReader::Options options;
    options.paranoia = paranoia;
    options.offsetFrames = offset;
    m_reader = cdio::DiscReader::sectors(verifier.m_drive, qint32(first), qint32(end), options);
    std::lock_guard lock(verifier.m_readerMutex);
    verifier.m_reader = m_reader.get();
    if (verifier.m_interrupted.load())
        m_reader->interrupt();
}

DiscVerifier::Reading::~Reading() {
    std::lock_guard lock(m_verifier.m_readerMutex);
    m_verifier.m_reader = nullptr;
}

std::vector<TrackCheck> DiscVerifier::run() {
    std::vector<TrackCheck> checks(m_tracks.size());
    std::optional<cdio::Toc> toc;
    QString why = QStringLiteral("there is no disc to read");
    for (int attempt = 0; attempt < kOpenAttempts && !toc && !m_interrupted.load(); ++attempt) {
        try {
            toc = cdio::Disc(m_drive).readToc();
        } catch (const Error& e) {
            why = e.message();
        }
        for (int i = 0; i < kPausesPerAttempt && !toc && !m_interrupted.load(); ++i)
            std::this_thread::sleep_for(kOpenPause);
    }
    if (toc && toc->tracks.size() < qsizetype(m_tracks.size())) {
        why = QStringLiteral("the disc holds %1 tracks, %2 were written")
                  .arg(toc->tracks.size())
                  .arg(m_tracks.size());
        toc.reset();
    }
    if (!toc || m_interrupted.load()) {
        for (TrackCheck& c : checks) {
            c.result = TrackCheck::Result::Unreadable;
            c.reason = why;
        }
        return checks;
    }
    const qsizetype base = toc->tracks.size() - qsizetype(m_tracks.size());
    m_audioFirst = qint64(toc->tracks.front().start) * kFramesPerSector;
    m_audioEnd = qint64(toc->leadout) * kFramesPerSector;
    const auto discFirst = [&](size_t i) {
        return qint64(toc->tracks[base + qsizetype(i)].start) - m_tracks[i].pregapSectors;
    };

    const qint64 probe = m_record.probeSector();
    for (size_t i = 0; i < m_tracks.size() && probe >= 0; ++i) {
        const WrittenTrack& t = m_tracks[i];
        if (probe >= t.firstSector && probe < t.firstSector + t.sectors) {
            m_offset = findOffset(discFirst(i) + probe - t.firstSector);
            break;
        }
    }
    for (size_t i = 0; i < m_tracks.size() && !m_interrupted.load(); ++i)
        checks[i] = checkTrack(i, discFirst(i), toc->tracks[base + qsizetype(i)].start);
    m_percent.store(100);
    return checks;
}

qint32 DiscVerifier::findOffset(qint64 probeDiscSector) {
    const qint64 reach = (kOffsetReach + kFramesPerSector - 1) / kFramesPerSector;
    std::vector<qint16> read(size_t((2 * reach + 1) * kFramesPerSector * 2));
    try {
        const Reading reader(*this, probeDiscSector - reach, probeDiscSector + reach + 1, 0, true);
        reader->read(read.data(), qint64(read.size() / 2));
    } catch (const Error&) {
        return 0; // what cannot be read shows up as such in the comparison
    }
    const std::vector<qint16> probe = samplesOf(m_record.probe());
    const qint64 centre = reach * kFramesPerSector;
    const auto at = [&](qint32 shift) { return read.data() + (centre + shift) * 2; };
    // The nearest exact match: a tone repeats itself, a drive's offset is small.
    for (qint32 distance = 0; distance <= kOffsetReach; ++distance)
        for (const qint32 shift : {distance, -distance})
            if (std::memcmp(at(shift), probe.data(), probe.size() * 2) == 0)
                return shift;
    // None (the probe itself was read wrongly): the best normalised correlation.
    double best = -2.0;
    qint32 found = 0;
    for (qint32 shift = -kOffsetReach; shift <= kOffsetReach; ++shift) {
        const qint16* window = at(shift);
        double dot = 0, energy = 0, own = 0;
        for (size_t i = 0; i < probe.size(); ++i) {
            dot += double(window[i]) * probe[i];
            energy += double(window[i]) * window[i];
            own += double(probe[i]) * probe[i];
        }
        const double score = energy > 0 && own > 0 ? dot / std::sqrt(energy * own) : -1.0;
        if (score > best) {
            best = score;
            found = shift;
        }
    }
    return found;
}

TrackCheck DiscVerifier::checkTrack(size_t index, qint64 discFirst, qint64 index1) {
    const WrittenTrack& t = m_tracks[index];
    TrackCheck check;
    std::vector<qint16> sector(size_t(kFramesPerSector) * 2);
    qint64 done = 0;
    bool careful = false; // paranoia gave up ahead: sector by sector from here
    std::optional<Reading> reader;
    while (done < t.sectors) {
        try {
            if (!reader)
                reader.emplace(*this, discFirst + done, discFirst + t.sectors, m_offset, !careful);
            if ((*reader)->read(sector.data(), kFramesPerSector) != kFramesPerSector)
                throw Error(QStringLiteral("the disc ends early"));
        } catch (const Error& e) {
            reader.reset();
            if (!careful && !m_interrupted.load()) {
                careful = true;
                continue;
            }
            check.result = TrackCheck::Result::Unreadable;
            check.sector = discFirst + done - index1;
            check.reason = e.message();
            m_done += t.sectors - done;
            return check;
        }
        const qint64 written = t.firstSector + done;
        const QByteArray edge = m_record.edgeSector(written);
        bool same = written < m_record.sectors();
        if (!same) {
            // Nothing was recorded for it: it cannot be the same.
        } else if (!edge.isEmpty()) {
            // Frames the offset reaches outside the disc for cannot be read.
            const qint64 first = (discFirst + done) * kFramesPerSector + m_offset;
            const auto* sent = reinterpret_cast<const qint16*>(edge.constData());
            for (qint64 f = 0; f < kFramesPerSector && same; ++f)
                if (first + f >= m_audioFirst && first + f < m_audioEnd)
                    same = std::memcmp(sector.data() + f * 2, sent + f * 2, 4) == 0;
        } else {
            same = quint32(::crc32(0, reinterpret_cast<const Bytef*>(sector.data()),
                                   uInt(kAudioSectorBytes))) == m_record.sectorCrc(written);
        }
        if (!same && check.differing++ == 0)
            check.sector = discFirst + done - index1;
        ++done;
        ++m_done;
        if (m_total > 0)
            m_percent.store(int(m_done * 100 / m_total));
    }
    check.result =
        check.differing > 0 ? TrackCheck::Result::Differs : TrackCheck::Result::Identical;
    return check;
}

} // namespace burning
