#include "backends/burn/BurnRun.h"

#include "backends/media/WorkThreads.h"
#include "components/AudioBurner.h"
#include "components/Error.h"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>

namespace burning {

namespace {

constexpr int kPollMilliseconds = 100;
// While the first buffer fills, the writer should start the moment it is full enough.
constexpr int kFillPollMilliseconds = 20;
constexpr int kFullEnough = 90;
constexpr qint64 kLongestFillMilliseconds = 10000;

qint32 clamp32(qint64 value) {
    return qint32(std::clamp<qint64>(value, 0, std::numeric_limits<qint32>::max()));
}

struct Measurement {
    qint64 frames = 0;
    QString error;
};

} // namespace

// The files being decoded to count their frames, on the compute pool (a few at a time). Shared
// with the tasks, which may outlive the run by one read after a cancel.
struct BurnRun::Measured {
    std::atomic<bool> stop{false};
    std::vector<std::pair<size_t, QFuture<Measurement>>> files;
};

BurnRun::BurnRun(std::vector<PlannedTrack> tracks, DiscInfo disc, const BurnSettings& settings)
    : m_tracks(std::move(tracks)), m_disc(std::move(disc)), m_settings(settings) {
    m_timer.setInterval(kPollMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &BurnRun::tick);
}

BurnRun::~BurnRun() {
    // Both answer a stop within one read.
    if (m_measured) {
        m_measured->stop.store(true);
        for (auto& [index, future] : m_measured->files)
            future.waitForFinished();
    }
    if (m_verifier) {
        m_verifier->interrupt();
        m_verifying.waitForFinished();
    }
}

std::vector<TrackPlace> BurnRun::places() const {
    if (m_reader)
        return m_reader->places();
    std::vector<qint64> stream, gaps;
    for (const PlannedTrack& t : m_tracks) {
        stream.push_back(streamFrames(t.info, t.info.frames));
        gaps.push_back(t.info.pregapFrames);
    }
    return placeTracks(stream, gaps, joining(), sectorBytes() / kFrameBytes);
}

void BurnRun::start() {
    if (m_stage != Stage::Idle)
        return;
    m_status.state = 2;
    m_status.trackPhase = 1;
    m_status.track = 1;
    m_status.totalBlocks = clamp32(programSectors(places()));
    m_measured = std::make_shared<Measured>();
    if (plansAhead()) {
        for (size_t i = 0; i < m_tracks.size(); ++i) {
            if (m_tracks[i].info.exact || !m_tracks[i].measure)
                continue;
            auto measure = m_tracks[i].measure;
            m_measured->files.emplace_back(
                i,
                QtConcurrent::run(computePool(), [measure, shared = m_measured]() -> Measurement {
                    try {
                        return {measure(shared->stop), {}};
                    } catch (const Error& e) {
                        return {0, e.message()};
                    } catch (const std::exception& e) {
                        return {0, QString::fromLocal8Bit(e.what())};
                    }
                }));
        }
    }
    if (!m_measured->files.empty()) {
        addNotice(QStringLiteral("Measuring the exact length of %1 track(s) before writing.")
                      .arg(m_measured->files.size()));
        m_stage = Stage::Measuring;
        m_timer.start(kPollMilliseconds);
        return;
    }
    // Nothing to wait for, but the burn still begins from the event loop.
    m_stage = Stage::Measuring;
    m_timer.start(0);
}

void BurnRun::cancel() {
    if (m_over || m_cancelRequested || m_status.state == 3)
        return;
    m_cancelRequested = true;
    if (m_measured)
        m_measured->stop.store(true);
    if (m_stage == Stage::Writing)
        stopWriting();
    if (m_verifier)
        m_verifier->interrupt();
    cancelFeeds();
}

void BurnRun::wake() {
    QMetaObject::invokeMethod(this, &BurnRun::tick, Qt::QueuedConnection);
}

void BurnRun::cancelFeeds() {
    for (PlannedTrack& t : m_tracks)
        if (t.feed)
            t.feed->cancel();
}

void BurnRun::startFeedsUpTo(int track) {
    const int last = std::min<int>(track, int(m_tracks.size()) - 1);
    for (; m_feedsStarted <= last; ++m_feedsStarted)
        m_tracks[size_t(m_feedsStarted)].feed->start();
}

void BurnRun::collectNotices() {
    if (m_reader)
        for (const QString& line : m_reader->takeNotices())
            addNotice(line);
}

void BurnRun::tick() {
    // Progress handlers yield to the event loop, which may deliver the next tick inside this one.
    if (m_inTick)
        return;
    m_inTick = true;
    switch (m_stage) {
    case Stage::Measuring:
        measureTick();
        break;
    case Stage::Filling:
        fillTick();
        break;
    case Stage::Writing:
        writeTick();
        break;
    case Stage::Verifying:
        verifyTick();
        break;
    default:
        break;
    }
    m_inTick = false;
}

void BurnRun::measureTick() {
    if (m_cancelRequested) {
        finishWriting();
        end(AudioBurner::BurnCancelled, QStringLiteral("The burn was cancelled."));
        return;
    }
    for (const auto& [index, future] : m_measured->files)
        if (!future.isFinished()) {
            Q_EMIT progressed();
            return;
        }
    QString error;
    for (const auto& [index, future] : m_measured->files) {
        const Measurement m = future.result();
        if (!m.error.isEmpty() && error.isEmpty())
            error = m.error;
        m_tracks[index].info.frames = m.frames;
        m_tracks[index].info.exact = true;
    }
    m_measured->files.clear();
    if (error.isEmpty() && plansAhead()) {
        int number = 0;
        for (const PlannedTrack& t : m_tracks) {
            ++number;
            if (t.info.padToShortest && t.info.frames < kShortestTrackFrames)
                addNotice(paddedNotice(number, t.source, t.info.frames));
        }
        try {
            lengthsKnown();
        } catch (const Error& e) {
            error = e.message();
        }
    }
    if (!error.isEmpty()) {
        cancelFeeds();
        finishWriting();
        end(AudioBurner::BurnFailed, error);
        return;
    }
    m_status.totalBlocks = clamp32(programSectors(places()));
    beginFilling();
}

void BurnRun::beginFilling() {
    m_reader = std::make_unique<ProgramReader>(m_tracks, joining(), plansAhead(), sectorBytes());
    m_stage = Stage::Filling;
    startFeedsUpTo(0);
    m_filling.start();
    m_timer.start(kFillPollMilliseconds);
}

void BurnRun::fillTick() {
    if (m_cancelRequested) {
        finishWriting();
        end(AudioBurner::BurnCancelled, QStringLiteral("The burn was cancelled."));
        return;
    }
    const int fill = m_tracks.front().feed->fill();
    m_status.bufferFill = qint16(fill);
    if (fill >= kFullEnough || m_filling.elapsed() >= kLongestFillMilliseconds) {
        QString error;
        try {
            m_stage = Stage::Writing;
            beginWriting();
        } catch (const Error& e) {
            error = e.message();
        } catch (const std::exception& e) {
            error = QStringLiteral("The burn could not start: %1")
                        .arg(QString::fromLocal8Bit(e.what()));
        }
        if (!error.isEmpty()) {
            cancelFeeds();
            finishWriting();
            end(AudioBurner::BurnFailed, error);
            return;
        }
        // The first track is being written: the second one decodes meanwhile.
        startFeedsUpTo(1);
        m_timer.start(kPollMilliseconds);
    }
    Q_EMIT progressed();
}

void BurnRun::writeTick() {
    const Sample s = sample();
    const int track =
        std::clamp<int>(std::max(s.track, m_reader->currentTrack()), 0, int(m_tracks.size()) - 1);
    startFeedsUpTo(track + 1);
    collectNotices();

    m_status.track = qint16(track + 1);
    m_status.writtenBlocks = std::max(m_status.writtenBlocks, clamp32(s.written));
    m_status.bufferFill = qint16(m_tracks[size_t(track)].feed->fill());
    const bool finalising = s.finishing && closesDisc();
    m_status.state = finalising ? 3 : 2;
    if (finalising)
        m_status.percent = 0;
    else if (m_status.totalBlocks > 0)
        m_status.percent = qint16(
            std::min<qint64>(99, qint64(m_status.writtenBlocks) * 100 / m_status.totalBlocks));
    m_status.trackPhase = s.preparing ? 1 : (s.closing || s.finishing) ? 3 : 2;

    if (!s.ended) {
        Q_EMIT progressed();
        return;
    }
    const QString error = finishWriting();
    collectNotices();
    if (m_cancelRequested && !error.isEmpty()) {
        end(AudioBurner::BurnCancelled, QStringLiteral("The burn was cancelled."));
    } else if (!error.isEmpty()) {
        end(AudioBurner::BurnFailed, error);
    } else {
        m_wrote = true;
        m_status.totalBlocks = clamp32(programSectors(places()));
        m_status.writtenBlocks = m_status.totalBlocks;
        writingDone();
    }
}

void BurnRun::writingDone() {
    const std::optional<cdio::Drive> drive =
        m_settings.verify && !m_settings.simulate ? readBackDrive() : std::nullopt;
    if (!drive) {
        m_status.percent = 100;
        m_status.trackPhase = 3;
        m_status.state = closesDisc() ? 3 : 2;
        end(AudioBurner::BurnSucceeded,
            m_settings.simulate ? QStringLiteral("The test burn went well.")
                                : QStringLiteral("Burn complete."),
            true);
        return;
    }
    std::vector<WrittenTrack> written;
    for (const TrackPlace& p : places())
        written.push_back({p.firstSector, p.sectors, p.index1Sector - p.firstSector});
    m_verifier = std::make_unique<DiscVerifier>(*drive, std::move(written), m_reader->record());
    m_verifying = QtConcurrent::run(blockingPool(),
                                    [verifier = m_verifier.get()] { return verifier->run(); });
    addNotice(QStringLiteral("Verifying: reading the disc back with full paranoia."));
    m_stage = Stage::Verifying;
    m_status.state = 4;
    m_status.trackPhase = 0;
    m_status.percent = 0;
    m_timer.start(kPollMilliseconds);
    Q_EMIT progressed();
}

void BurnRun::verifyTick() {
    m_status.percent = qint16(std::min(m_verifier->percent(), 99));
    if (!m_verifying.isFinished()) {
        Q_EMIT progressed();
        return;
    }
    if (m_cancelRequested) {
        end(AudioBurner::BurnCancelled,
            QStringLiteral("The disc is written; its verification was cancelled."));
        return;
    }
    m_checks = m_verifying.result();
    m_verifiedOffset = m_verifier->offset();
    QStringList faults;
    for (size_t i = 0; i < m_checks.size(); ++i) {
        const QString line = QStringLiteral("Track %1: %2").arg(i + 1).arg(m_checks[i].text());
        addNotice(line);
        if (!m_checks[i].identical())
            faults << line;
    }
    if (!faults.isEmpty()) {
        end(AudioBurner::BurnFailed, QStringLiteral("The disc is not what was written. %1.")
                                         .arg(faults.join(QStringLiteral("; "))));
        return;
    }
    m_status.percent = 100;
    m_status.trackPhase = 3;
    m_status.state = closesDisc() ? 3 : 2;
    end(AudioBurner::BurnSucceeded,
        QStringLiteral("Burn complete; verified: every track is identical."), true);
}

bool BurnRun::closesDisc() const {
    // A simulation writes nothing, so there is no disc to close, as on a drive's test write.
    return !m_settings.keepOpen && !m_settings.simulate;
}

std::vector<BurnRun::TrackReport> BurnRun::report() const {
    std::vector<TrackReport> reports;
    const std::vector<TrackPlace> where = places();
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const PlannedTrack& t = m_tracks[i];
        TrackReport r;
        r.source = t.source;
        r.frames = m_reader && m_reader->atEnd() ? m_reader->delivered()[i] - t.info.pregapFrames
                                                 : t.info.frames;
        r.padded = streamFrames(t.info, r.frames) - t.info.pregapFrames - r.frames;
        r.sectors = where[i].sectors;
        if (m_wrote)
            r.crc32 = m_reader->record().crc32(where[i].firstSector, where[i].sectors);
        if (i < m_checks.size())
            r.check = m_checks[i];
        reports.push_back(r);
    }
    return reports;
}

void BurnRun::end(qint32 code, const QString& text, bool reportDone) {
    // Over before anything is raised: a handler may run the event loop.
    m_timer.stop();
    m_stage = Stage::Over;
    m_over = true;
    if (reportDone)
        Q_EMIT progressed();
    Q_EMIT finished(code, text);
}

} // namespace burning
