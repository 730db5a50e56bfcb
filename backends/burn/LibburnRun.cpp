#include "backends/burn/LibburnRun.h"

#include "components/Error.h"

#include <libburn/libburn.h>

#include <QRegularExpression>
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

bool anyTrack(const std::vector<PlannedTrack>& tracks, bool (*has)(const TrackInfo&)) {
    return std::any_of(tracks.begin(), tracks.end(),
                       [has](const PlannedTrack& t) { return has(t.info); });
}

} // namespace

QString burnFailureText(const QString& recorderName, const QString& messages) {
    const QRegularExpressionMatch sense =
        QRegularExpression(QStringLiteral("\\[([0-9A-Fa-f]) ([0-9A-Fa-f]{2}) ([0-9A-Fa-f]{2})\\]"))
            .match(messages);
    QString why = QStringLiteral("the recorder reported an error while writing");
    if (sense.hasMatch()) {
        const int key = sense.captured(1).toInt(nullptr, 16);
        const int asc = sense.captured(2).toInt(nullptr, 16);
        const int ascq = sense.captured(3).toInt(nullptr, 16);
        if (asc == 0x3a)
            why = QStringLiteral("the disc was taken out of the recorder");
        else if (asc == 0x0c && ascq == 0x09)
            why = QStringLiteral("the recorder ran out of data to write (a buffer underrun)");
        else if (asc == 0x0c || key == 3)
            why = QStringLiteral("the recorder could not write to the disc (a write error); the "
                                 "disc may be faulty or of a kind this recorder writes badly");
        else if (key == 4)
            why = QStringLiteral("the recorder reported a fault of its own");
        else if (key == 5)
            why = QStringLiteral("the recorder refused a command of the burn");
        else if (key == 6)
            why = QStringLiteral("the recorder was reset or its disc was changed");
        else if (key == 2)
            why = QStringLiteral("the recorder was not ready");
    }
    return QStringLiteral("Burning on %1 failed: %2. The disc is probably unusable; the burn log "
                          "has the recorder's own report.")
        .arg(recorderName, why);
}

LibburnRun::LibburnRun(std::unique_ptr<LibburnDrive> drive, const QString& recorderName,
                       std::vector<PlannedTrack> plannedTracks, const DiscInfo& disc,
                       const BurnSettings& settings, DiscLayout::Mode mode)
    : BurnRun(std::move(plannedTracks), disc, settings), m_drive(std::move(drive)),
      m_address(m_drive->address()), m_recorderName(recorderName), m_mode(mode),
      m_plan(methodPlan(settings.method)), m_options(nullptr, burn_write_opts_free) {
    // Estimated lengths are good enough for libburn's checks.
    m_layout = std::make_unique<DiscLayout>(tracks(), places(), this->disc(), mode, nullptr);
    m_options.reset(burn_write_opts_new(m_drive->handle()));
    if (!m_options)
        throw std::bad_alloc();
    burn_write_opts_set_simulate(m_options.get(), settings.simulate ? 1 : 0);
    burn_write_opts_set_multi(m_options.get(), settings.keepOpen ? 1 : 0);
    burn_write_opts_set_underrun_proof(m_options.get(), m_plan.burnProof ? 1 : 0);
    burn_write_opts_set_force(m_options.get(), m_plan.force ? 1 : 0);
    if (mode == DiscLayout::Mode::Audio && this->disc().catalog.size() == 13) {
        QByteArray catalog = this->disc().catalog.toLatin1();
        burn_write_opts_set_mediacatalog(m_options.get(),
                                         reinterpret_cast<unsigned char*>(catalog.data()));
        burn_write_opts_set_has_mediacatalog(m_options.get(), 1);
    }
    chooseWriteType();
    checkRoom();
    noteWhatTheRecorderChanges();
}

LibburnRun::~LibburnRun() {
    if (m_writing)
        stopAndWait();
}

QString LibburnRun::writeMode() const {
    return m_sessionAtOnce ? QStringLiteral("session at once (SAO), tracks without gaps")
                           : QStringLiteral("track at once (TAO), 2-second pauses between tracks");
}

int LibburnRun::sectorBytes() const {
    return m_mode == DiscLayout::Mode::Audio ? kAudioSectorBytes : 2048;
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

void LibburnRun::checkRoom() {
    qint64 needed = programSectors(places());
    if (!m_sessionAtOnce && !tracks().empty())
        needed += kTrackGapSectors * qint64(tracks().size() - 1);
    checkFits(needed, m_drive->disc().freeSectors, m_recorderName);
}

void LibburnRun::noteWhatTheRecorderChanges() {
    if (m_mode != DiscLayout::Mode::Audio)
        return;
    // libburn pads a track under 4 seconds to 4 seconds; a file has been padded already.
    int number = 0;
    for (const PlannedTrack& t : tracks()) {
        ++number;
        const qint64 frames = t.info.pregapFrames + t.info.frames;
        if (!t.info.padToShortest && frames < kShortestTrackFrames)
            addNotice(QStringLiteral("Track %1 of the disc image is %2 s long: the recorder "
                                     "pads it with silence to 4 s, the shortest track an audio "
                                     "CD allows, so the copy's tracks after it begin later.")
                          .arg(number)
                          .arg(double(frames) / kFramesPerSecond, 0, 'f', 2),
                      true);
    }
    if (m_sessionAtOnce)
        return;
    QStringList dropped;
    if (m_layout->hasCdText())
        dropped << QStringLiteral("the CD-Text (titles and performers)");
    if (anyTrack(tracks(), [](const TrackInfo& t) { return t.pregapFrames > 0; }))
        dropped << QStringLiteral("the gaps between the tracks of the image");
    if (dropped.isEmpty())
        return;
    addNotice(QStringLiteral("Burn method %1 writes track at once, which does not write %2; "
                             "choose Auto or a method that writes session at once (3 to 7, 9 "
                             "or 11) to keep it.")
                  .arg(settings().method)
                  .arg(dropped.join(QStringLiteral(" and "))),
              true);
}

void LibburnRun::lengthsKnown() {
    checkRoom();
}

void LibburnRun::beginWriting() {
    m_places = places();
    m_layout = std::make_unique<DiscLayout>(tracks(), m_places, disc(), m_mode, &reader());
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
        if (size_t(p.track) < m_places.size())
            s.written = m_places[size_t(p.track)].firstSector +
                        std::min<qint64>(p.sector, m_places[size_t(p.track)].sectors);
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
        if (!why.isEmpty())
            m_messages << why.split(u'\n');
        error = burnFailureText(m_recorderName, why);
    }
    const QString rest = LibburnLibrary::takeMessages();
    if (!rest.isEmpty())
        m_messages << rest.split(u'\n');
    m_layout.reset();
    m_options.reset();
    m_drive.reset();
    return error;
}

std::optional<cdio::Drive> LibburnRun::readBackDrive() const {
    // libburn's file pseudo-drives write no CD to read.
    if (m_address.startsWith("stdio:") || m_mode != DiscLayout::Mode::Audio)
        return std::nullopt;
    cdio::Drive drive;
    drive.device = QString::fromLocal8Bit(m_address);
    drive.vendor = m_recorderName;
    return drive;
}

void LibburnRun::stopAndWait() {
    stopWriting();
    // Only when the engine goes away in the middle of a burn (the program is closing).
    while (burn_drive_get_status(m_drive->handle(), nullptr) != BURN_DRIVE_IDLE)
        QThread::msleep(10);
    m_writing = false;
}

} // namespace burning
