#include "backends/burn/BurnRun.h"

#include "components/AudioBurner.h"
#include "components/Error.h"

#include <algorithm>
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

} // namespace

BurnRun::BurnRun(std::vector<PlannedTrack> tracks, const BurnSettings& settings)
    : m_tracks(std::move(tracks)), m_settings(settings) {
    qint64 total = 0;
    for (const PlannedTrack& t : m_tracks)
        total += t.info.sectors;
    m_status.totalBlocks = clamp32(total);
    m_timer.setInterval(kPollMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &BurnRun::tick);
}

BurnRun::~BurnRun() = default;

void BurnRun::start() {
    if (m_stage != Stage::Idle)
        return;
    m_stage = Stage::Filling;
    m_status.state = 2;
    m_status.trackPhase = 1;
    m_status.track = 1;
    startFeedsUpTo(0);
    m_filling.start();
    m_timer.start(kFillPollMilliseconds);
}

void BurnRun::cancel() {
    if (m_over || m_cancelRequested || m_status.state == 3)
        return;
    m_cancelRequested = true;
    if (m_stage == Stage::Writing)
        stopWriting();
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

void BurnRun::tick() {
    // Progress handlers yield to the event loop, which may deliver the next tick inside this one.
    if (m_inTick)
        return;
    m_inTick = true;
    if (m_stage == Stage::Filling)
        fillTick();
    else if (m_stage == Stage::Writing)
        writeTick();
    m_inTick = false;
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
    const int track = std::clamp<int>(s.track, 0, int(m_tracks.size()) - 1);
    startFeedsUpTo(track + 1);

    m_status.track = qint16(track + 1);
    m_status.writtenBlocks = std::max(m_status.writtenBlocks, clamp32(s.written));
    m_status.bufferFill = qint16(m_tracks[size_t(track)].feed->fill());
    const bool finalising = s.finishing && closesDisc();
    m_status.state = finalising ? 3 : 2;
    if (finalising)
        m_status.percent = 0;
    else if (m_status.totalBlocks > 0)
        m_status.percent = qint16(qint64(m_status.writtenBlocks) * 100 / m_status.totalBlocks);
    m_status.trackPhase = s.preparing ? 1 : (s.closing || s.finishing) ? 3 : 2;

    if (!s.ended) {
        Q_EMIT progressed();
        return;
    }
    const QString error = finishWriting();
    if (m_cancelRequested && !error.isEmpty()) {
        end(AudioBurner::BurnCancelled, QStringLiteral("The burn was cancelled."));
    } else if (!error.isEmpty()) {
        end(AudioBurner::BurnFailed, error);
    } else {
        m_status.writtenBlocks = m_status.totalBlocks;
        m_status.percent = 100;
        m_status.trackPhase = 3;
        m_status.state = closesDisc() ? 3 : 2;
        end(AudioBurner::BurnSucceeded,
            m_settings.simulate ? QStringLiteral("The test burn went well.")
                                : QStringLiteral("Burn complete."),
            true);
    }
}

bool BurnRun::closesDisc() const {
    // A simulation writes nothing, so there is no disc to close, as on a drive's test write.
    return !m_settings.keepOpen && !m_settings.simulate;
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
