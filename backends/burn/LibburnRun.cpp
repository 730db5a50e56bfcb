#include "backends/burn/LibburnRun.h"

#include "components/Error.h"

#include <libburn/libburn.h>

#include <QThread>

#include <new>

using namespace burn;

namespace burning {

namespace {

// A TAO burn puts a 2-second gap before every track after the first.
constexpr qint64 kTrackGapSectors = 2 * kSectorsPerSecond;

// libburn lists its reasons as "SAO: reason, reason, TAO: reason, ".
QString reasonText(const char* reasons) {
    QString text = QString::fromLocal8Bit(reasons).trimmed();
    while (text.endsWith(u','))
        text.chop(1);
    return text;
}

} // namespace

LibburnRun::LibburnRun(std::unique_ptr<LibburnDrive> drive, const QString& recorderName,
                       std::vector<PlannedTrack> plannedTracks, const BurnSettings& settings,
                       DiscLayout::Mode mode)
    : BurnRun(std::move(plannedTracks), settings), m_drive(std::move(drive)),
      m_recorderName(recorderName), m_plan(methodPlan(settings.method)),
      m_options(nullptr, burn_write_opts_free) {
    m_layout = std::make_unique<DiscLayout>(tracks(), mode);
    m_options.reset(burn_write_opts_new(m_drive->handle()));
    if (!m_options)
        throw std::bad_alloc();
    burn_write_opts_set_simulate(m_options.get(), settings.simulate ? 1 : 0);
    burn_write_opts_set_multi(m_options.get(), settings.keepOpen ? 1 : 0);
    burn_write_opts_set_underrun_proof(m_options.get(), m_plan.burnProof ? 1 : 0);
    burn_write_opts_set_force(m_options.get(), m_plan.force ? 1 : 0);
    chooseWriteType();

    qint64 needed = sectorsBefore(int(tracks().size()));
    if (!m_sessionAtOnce)
        needed += kTrackGapSectors * qint64(tracks().size() - 1);
    checkFits(needed, m_drive->disc().freeSectors, m_recorderName);
}

LibburnRun::~LibburnRun() {
    if (m_writing)
        stopAndWait();
}

void LibburnRun::chooseWriteType() {
    char reasons[BURN_REASONS_LEN] = {};
    burn_write_types type = BURN_WRITE_NONE;
    using W = MethodPlan::WriteType;
    if (m_plan.writeType == W::Automatic) {
        type = burn_write_opts_auto_write_type(m_options.get(), m_layout->disc(), reasons, 2);
    } else {
        const bool sao = m_plan.writeType == W::SessionAtOnce;
        // libburn picks the TAO block size per track; MODE1 is its name for "automatic" here.
        if (burn_write_opts_set_write_type(m_options.get(), sao ? BURN_WRITE_SAO : BURN_WRITE_TAO,
                                           sao ? BURN_BLOCK_SAO : BURN_BLOCK_MODE1))
            type = burn_write_opts_auto_write_type(m_options.get(), m_layout->disc(), reasons, 1);
        else
            qstrncpy(reasons, sao ? "SAO not offered" : "TAO not offered", sizeof reasons);
    }
    if (type == BURN_WRITE_NONE ||
        burn_precheck_write(m_options.get(), m_layout->disc(), reasons, 1) <= 0) {
        LibburnLibrary::takeMessages();
        throw Error(QStringLiteral("%1 cannot burn this compilation with burn method %2: %3")
                        .arg(m_recorderName)
                        .arg(settings().method)
                        .arg(reasonText(reasons)));
    }
    m_sessionAtOnce = type == BURN_WRITE_SAO;
}

void LibburnRun::beginWriting() {
    burn_drive* d = m_drive->handle();
    if (m_plan.waitForDrive)
        burn_drive_set_immed(d, 0);
    if (m_plan.bufferWaiting)
        burn_drive_set_buffer_waiting(d, 1, -1, -1, -1, 75, 95);
    const int speed = speedKiloBytes(settings().speed);
    if (m_plan.exactSpeed && burn_drive_get_drive_role(d) == 1)
        burn_drive_set_speed_exact(d, 0, speed);
    else
        burn_drive_set_speed(d, 0, speed);
    // What libburn says from here on is about this burn.
    LibburnLibrary::takeMessages();
    burn_disc_write(m_options.get(), m_layout->disc());
    m_writing = true;
    m_started = true;
}

BurnRun::Sample LibburnRun::sample() {
    burn_progress p = {};
    const burn_drive_status state = burn_drive_get_status(m_drive->handle(), &p);
    if (m_layout->errors().failed() && !m_stopping)
        stopWriting();
    Sample s;
    s.ended = state == BURN_DRIVE_IDLE;
    s.track = p.track;
    switch (state) {
    case BURN_DRIVE_SPAWNING:
    case BURN_DRIVE_GRABBING:
    case BURN_DRIVE_WRITING_LEADIN:
    case BURN_DRIVE_WRITING_PREGAP:
        s.preparing = true;
        break;
    case BURN_DRIVE_CLOSING_TRACK:
        s.closing = true;
        break;
    case BURN_DRIVE_WRITING_LEADOUT:
    case BURN_DRIVE_CLOSING_SESSION:
        s.finishing = true;
        break;
    case BURN_DRIVE_WRITING:
    case BURN_DRIVE_WRITING_SYNC:
        if (size_t(p.track) < tracks().size())
            s.written = sectorsBefore(p.track) +
                        std::min<qint64>(p.sector, tracks()[size_t(p.track)].info.sectors);
        break;
    default:
        break;
    }
    if (s.ended)
        m_writing = false;
    return s;
}

void LibburnRun::stopWriting() {
    m_stopping = true;
    m_layout->closeSources();
    burn_drive_cancel(m_drive->handle());
    cancelFeeds();
}

QString LibburnRun::finishWriting() {
    QString error;
    if (!m_drive) {
        return error;
    } else if (!m_started) {
        // Ended before the writing began: nothing to report, only the drive to give back.
    } else if (m_layout->errors().failed()) {
        error = m_layout->errors().message();
    } else if (!burn_drive_wrote_well(m_drive->handle())) {
        const QString why = LibburnLibrary::takeMessages();
        error = QStringLiteral("Burning on %1 failed: %2")
                    .arg(m_recorderName,
                         why.isEmpty() ? QStringLiteral("the recorder reported an error") : why);
    }
    LibburnLibrary::takeMessages();
    m_layout.reset();
    m_options.reset();
    m_drive.reset();
    return error;
}

void LibburnRun::stopAndWait() {
    stopWriting();
    // Only when the engine goes away in the middle of a burn (the program is closing).
    while (burn_drive_get_status(m_drive->handle(), nullptr) != BURN_DRIVE_IDLE)
        QThread::msleep(10);
    m_writing = false;
}

qint64 LibburnRun::sectorsBefore(int track) const {
    qint64 sum = 0;
    for (int i = 0; i < track && size_t(i) < tracks().size(); ++i)
        sum += tracks()[size_t(i)].info.sectors;
    return sum;
}

} // namespace burning
