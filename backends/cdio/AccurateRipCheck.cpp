#include "backends/cdio/AccurateRipCheck.h"

#include "backends/cdio/Checksums.h"
#include "backends/cdio/DiscReader.h"

#include <cstdlib>
#include <vector>

namespace cdio {
namespace {

constexpr qint32 kMarginSectors = 5;
constexpr int kTracksTried = 3;

} // namespace

AccurateRipCheck::AccurateRipCheck(QObject* parent)
    : QObject(parent), m_lookup(new lookup::AccurateRipLookup(this)) {
    connect(m_lookup, &lookup::AccurateRipLookup::finished, this,
            [this](const lookup::AccurateRipAnswer& answer) {
                m_answer = answer;
                switch (answer.kind) {
                case lookup::AccurateRipAnswer::Kind::Found:
                    m_state = State::Found;
                    break;
                case lookup::AccurateRipAnswer::Kind::NotFound:
                    m_state = State::NotFound;
                    break;
                case lookup::AccurateRipAnswer::Kind::Failed:
                    m_state = State::Failed;
                    break;
                }
                Q_EMIT finished();
            });
}

void AccurateRipCheck::fetch(const DiscIds& ids) {
    const QString disc = ids.accurateRipText();
    if (disc == m_disc && m_state != State::Idle && m_state != State::Failed)
        return;
    m_disc = disc;
    m_answer = {};
    if (ids.accurateRip.audioTracks == 0) {
        m_state = State::NotFound;
        return;
    }
    m_state = State::Fetching;
    m_lookup->fetch(ids.accurateRip);
}

void AccurateRipCheck::cancel() {
    if (m_state != State::Fetching)
        return;
    m_lookup->cancel();
    m_state = State::Failed;
    m_answer.problem = QStringLiteral("the AccurateRip database was not asked");
    m_disc.clear();
}

const lookup::AccurateRipEntry* AccurateRipCheck::entry() const {
    return m_state == State::Found ? &m_answer.entry : nullptr;
}

std::optional<lookup::AccurateRipVerdict> AccurateRipCheck::verdict(int index, quint32 v1,
                                                                    quint32 v2) const {
    if (index < 1)
        return std::nullopt;
    if (m_state == State::NotFound)
        return lookup::AccurateRipVerdict{};
    if (m_state != State::Found)
        return std::nullopt;
    return lookup::verdictFor(m_answer.entry, index, v1, v2);
}

QString AccurateRipCheck::stateText() const {
    switch (m_state) {
    case State::Idle:
        return QStringLiteral("not asked");
    case State::Fetching:
        return QStringLiteral("no answer yet");
    case State::Found:
        return QStringLiteral("%1 record(s) for this disc").arg(m_answer.entry.pressings.size());
    case State::NotFound:
        return QStringLiteral("the disc is not in the database");
    case State::Failed:
        break;
    }
    return m_answer.problem;
}

std::optional<qint32> findReadOffset(const Drive& drive, const Toc& toc,
                                     const lookup::AccurateRipEntry& entry, QString* how) {
    const int audioTracks = toc.audioTrackCount();
    int index = 0;
    for (const TocTrack& t : toc.tracks) {
        if (!t.audio())
            continue;
        if (++index > kTracksTried)
            break;
        const QList<std::pair<quint32, int>> known = lookup::checksumsOf(entry, index);
        if (known.isEmpty())
            continue;
        DiscReader::Options reading;
        reading.paranoia = true;
        const auto reader = DiscReader::sectors(drive, t.start - kMarginSectors,
                                                t.start + t.sectors + kMarginSectors, reading);
        std::vector<qint16> samples(size_t(reader->expectedFrames()) * 2);
        qint64 got = 0;
        while (got < reader->expectedFrames()) {
            const qint64 n = reader->read(samples.data() + got * 2, reader->expectedFrames() - got);
            if (n == 0)
                break;
            got += n;
        }
        const qint64 margin = qint64(kMarginSectors) * kFramesPerSector;
        const QList<quint32> sums =
            accurateRipV1AtOffsets(samples, margin, index == 1, index == audioTracks);
        std::optional<qint32> best;
        int bestConfidence = 0;
        for (qsizetype i = 0; i < sums.size(); ++i) {
            const auto offset = qint32(i - margin);
            for (const auto& [sum, confidence] : known) {
                if (sum != sums[i])
                    continue;
                if (!best || confidence > bestConfidence ||
                    (confidence == bestConfidence && std::abs(offset) < std::abs(*best))) {
                    best = offset;
                    bestConfidence = confidence;
                }
            }
        }
        if (best) {
            *how = QStringLiteral("found by AccurateRip: track %1 matches with it, confidence %2")
                       .arg(t.number)
                       .arg(bestConfidence);
            return best;
        }
    }
    return std::nullopt;
}

} // namespace cdio
