#include "backends/burn/Burner.h"

#include "backends/burn/BurnLog.h"
#include "backends/burn/BurnMethods.h"
#include "backends/burn/DiscImageSource.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/ImageRecorder.h"
#include "backends/burn/ImageRun.h"
#include "backends/burn/Libburn.h"
#include "backends/burn/LibburnRecorder.h"
#include "backends/burn/MediaTracks.h"
#include "backends/media/OffTheWindow.h"
#include "components/Error.h"

#include <QFileInfo>

#include <algorithm>
#include <limits>

namespace burning {

namespace {

// A CD holds at most 99 tracks.
constexpr int kMostTracks = 99;

qint32 bytes32(qint64 sectors) {
    return qint32(
        std::min<qint64>(sectors * kAudioSectorBytes, std::numeric_limits<qint32>::max()));
}

} // namespace

Burner::Burner(TrackOpener& opener, ImageOutput& images, QObject* parent)
    : AudioBurner(parent), m_opener(opener), m_image(std::make_unique<ImageRecorder>(images)) {
    try {
        m_library = std::make_unique<LibburnLibrary>();
    } catch (const Error&) {
        // Without libburn only the image recorder is listed.
    }
}

Burner::Burner(std::unique_ptr<TrackOpener> opener, std::unique_ptr<ImageOutput> images,
               QObject* parent)
    : Burner(*opener, *images, parent) {
    m_ownedOpener = std::move(opener);
    m_ownedImages = std::move(images);
}

Burner::~Burner() {
    m_run.reset();
}

std::unique_ptr<Burner> makeBurner() {
    return std::make_unique<Burner>(std::make_unique<MediaTrackOpener>(),
                                    std::make_unique<ImageFiles>());
}

Recorder* Burner::current() const {
    const int index = m_current - 1;
    if (index >= 0 && size_t(index) < m_drives.size())
        return m_drives[size_t(index)].get();
    if (size_t(index) == m_drives.size())
        return m_image.get();
    return nullptr;
}

const RecorderFacts& Burner::facts() const {
    static const RecorderFacts none;
    Recorder* r = current();
    return r ? r->facts() : none;
}

const RecorderFacts& Burner::listing() const {
    static const RecorderFacts none;
    Recorder* r = current();
    return r ? r->listing() : none;
}

QList<qint16> Burner::offered() const {
    return offeredSpeeds(facts().writeSpeeds, m_method);
}

void Burner::scan() {
    m_drives.clear();
    if (!m_library)
        return;
    try {
        // libburn's scan asks every drive: seconds when one spins up.
        for (const ScannedDrive& d : offTheWindow([] { return scanDrives(); }))
            m_drives.push_back(std::make_unique<LibburnRecorder>(d));
    } catch (const Error&) {
        // A scan that fails leaves the image recorder alone in the list.
    }
}

qint16 Burner::RecorderCount() {
    // A new scan finds drives plugged in since; not while one of them burns.
    if (!m_run)
        scan();
    return qint16(m_drives.size() + 1);
}

void Burner::setCurrentRecorder(qint16 recorder) {
    if (m_run)
        throw Error(QStringLiteral("The recorder cannot be changed while a burn runs."));
    if (recorder < 1 || size_t(recorder) > m_drives.size() + 1)
        throw IndexError(QStringLiteral("there is no recorder number %1").arg(recorder));
    m_current = recorder;
    m_disc = DiscFacts();
    // The window empties its list on a change of recorder; the compilation goes with it, so
    // that the rows shown and the tracks burnt are always the same.
    m_tracks.clear();
    m_selectedTrack = 0;
}

void Burner::Eject() {
    if (m_run)
        throw Error(QStringLiteral("The disc cannot be ejected while a burn runs."));
    if (Recorder* r = current())
        r->eject();
    m_disc = DiscFacts();
}

void Burner::RefreshDisc() {
    Recorder* r = current();
    if (!r)
        throw Error(QStringLiteral("No recorder is selected."));
    // During the burn the drive is the writer's; at its very end it is free again.
    if (!m_run || m_run->isOver())
        m_disc = r->refreshDisc();
}

qint32 Burner::MediaUsedSize() const {
    return bytes32(m_disc.usedSectors);
}

void Burner::setWriteSpeed(qint16 factor) {
    // A drive that cannot write CDs offers no speed at all, whatever it reports.
    m_writeSpeed = facts().supported ? acceptedSpeed(offered(), factor) : 0;
}

std::optional<qint64> Burner::knownLength(const QString& path) const {
    const auto known = m_lengths.constFind(path);
    const QFileInfo file(path);
    if (known == m_lengths.constEnd() || known->size != file.size() ||
        known->modified != file.lastModified())
        return std::nullopt;
    return known->frames;
}

void Burner::AddTrack(const QString& path) {
    Track track{path, std::nullopt, nullptr, {}};
    try {
        if (isCueSheet(path)) {
            track.image = std::make_shared<DiscImageSource>(path);
            m_tracks.append(track);
            return;
        }
        track.info = m_opener.probe(path);
        if (const std::optional<qint64> frames = knownLength(path)) {
            track.info->frames = *frames;
            track.info->exact = true;
        }
    } catch (const Error& e) {
        track.error = e.message();
    }
    m_tracks.append(track);
}

void Burner::RemoveTrack() {
    if (m_selectedTrack < 1 || m_selectedTrack > m_tracks.size())
        throw IndexError(
            QStringLiteral("there is no track number %1 in the compilation").arg(m_selectedTrack));
    m_tracks.removeAt(m_selectedTrack - 1);
}

void Burner::ClearTracks() {
    m_tracks.clear();
}

qint32 Burner::CompilationSize() const {
    // As the tracks run on, without gaps; a file not yet counted as its header says.
    std::vector<qint64> stream, gaps;
    for (const Track& t : m_tracks) {
        std::vector<TrackInfo> infos;
        if (t.info)
            infos.push_back(*t.info);
        else if (t.image)
            infos = t.image->trackInfos();
        for (const TrackInfo& i : infos) {
            stream.push_back(streamFrames(i, i.frames));
            gaps.push_back(i.pregapFrames);
        }
    }
    return bytes32(programSectors(placeTracks(stream, gaps, Joining::Continuous)));
}

std::vector<PlannedTrack> Burner::planTracks(DiscInfo& disc) {
    if (m_tracks.isEmpty())
        throw Error(QStringLiteral("The compilation is empty. Add the files to burn first."));
    if (m_tracks.size() > kMostTracks)
        throw Error(QStringLiteral("The compilation has %1 tracks; an audio CD holds at most %2.")
                        .arg(m_tracks.size())
                        .arg(kMostTracks));
    for (const Track& t : m_tracks)
        if (!t.info && !t.image)
            throw Error(QStringLiteral("%1 cannot be burnt: %2").arg(t.path, t.error));
    for (const Track& t : m_tracks) {
        if (!t.image)
            continue;
        if (m_tracks.size() > 1)
            throw Error(QStringLiteral("The disc image %1 is burnt as a whole disc, on its own: "
                                       "remove the other entries of the compilation, or burn "
                                       "them on another disc.")
                            .arg(t.path));
        disc = t.image->discInfo();
        return t.image->plan();
    }
    std::vector<PlannedTrack> planned;
    for (const Track& t : m_tracks) {
        PlannedTrack p;
        p.source = t.path;
        p.info = *t.info;
        p.feed = m_opener.open(t.path);
        if (!p.info.exact)
            p.measure = [opener = &m_opener, path = t.path](const std::atomic<bool>& stop) {
                return opener->measure(path, stop);
            };
        planned.push_back(std::move(p));
    }
    disc = discInfoOf(planned);
    return planned;
}

void Burner::StartBurn() {
    if (m_run)
        throw Error(QStringLiteral("A burn is already running."));
    Recorder* recorder = current();
    if (!recorder)
        throw Error(QStringLiteral("No recorder is selected."));
    DiscInfo disc;
    std::vector<PlannedTrack> planned = planTracks(disc);

    m_writeSpeed = acceptedSpeed(offered(), m_writeSpeed);
    BurnSettings settings;
    settings.method = m_method;
    settings.speed = m_writeSpeed;
    settings.simulate = !m_realBurn;
    settings.keepOpen = m_keepOpen;
    settings.verify = m_verify;
    std::unique_ptr<BurnRun> run = recorder->prepareBurn(std::move(planned), disc, settings);
    connect(run.get(), &BurnRun::progressed, this, &Burner::runProgressed);
    connect(run.get(), &BurnRun::finished, this, &Burner::runFinished);
    m_run = std::move(run);
    m_status = m_run->status();
    m_started = QDateTime::currentDateTime();
    m_run->start();
}

void Burner::CancelBurn() {
    if (m_run)
        m_run->cancel();
}

void Burner::passNotices() {
    for (const BurnRun::Notice& n : m_run->takeNotices()) {
        m_notices.append(n);
        Q_EMIT Notice(n.text, n.warning);
    }
}

void Burner::runProgressed() {
    m_status = m_run->status();
    passNotices();
    // The window is idle again from the moment it cancels: no progress may redraw the burn.
    if (!m_run->cancelRequested())
        Q_EMIT Progress(m_status.percent);
}

void Burner::keepLengths() {
    // A disc image's tracks are exact from the start.
    for (const Track& t : m_tracks)
        if (t.image)
            return;
    const std::vector<BurnRun::TrackReport> report = m_run->report();
    for (size_t i = 0; i < report.size() && qsizetype(i) < m_tracks.size(); ++i) {
        const QFileInfo file(report[i].source);
        m_lengths.insert(report[i].source, {file.size(), file.lastModified(), report[i].frames});
        std::optional<TrackInfo>& info = m_tracks[qsizetype(i)].info;
        if (info && m_tracks[qsizetype(i)].path == report[i].source) {
            info->frames = report[i].frames;
            info->exact = true;
        }
    }
}

void Burner::writeLog(qint32 code, const QString& text) {
    BurnLogEntry e;
    Recorder* recorder = current();
    if (recorder) {
        e.recorderName = recorder->name();
        e.recorder =
            (e.recorderName + u' ' + listing().revision + u' ' + recorder->address()).simplified();
    }
    e.method = m_method;
    e.writeMode = m_run->writeMode();
    e.speed = m_writeSpeed;
    e.simulate = !m_realBurn;
    e.keepOpen = m_keepOpen;
    e.verify = m_verify;
    e.started = m_started;
    e.ended = QDateTime::currentDateTime();
    e.outcome = code == BurnSucceeded   ? text
                : code == BurnCancelled ? QStringLiteral("cancelled: %1").arg(text)
                                        : QStringLiteral("failed: %1").arg(text);
    e.tracks = m_run->report();
    e.offset = m_run->verifiedOffset();
    e.notices = m_notices;
    e.recorderMessages = m_run->recorderMessages();
    QString imageBase;
    if (const auto* image = qobject_cast<const ImageRun*>(m_run.get());
        image && !image->cuePath().isEmpty()) {
        e.image = image->cuePath();
        imageBase = e.image.chopped(4);
    }
    m_lastLog = writeBurnLog(e, imageBase);
    if (!m_lastLog.isEmpty())
        Q_EMIT Notice(QStringLiteral("The burn log is %1.").arg(m_lastLog), false);
}

void Burner::runFinished(qint32 code, const QString& text) {
    m_status = m_run->status();
    m_status.state = 0;
    m_status.trackPhase = 0;
    m_status.track = 0;
    m_status.bufferFill = 0;
    passNotices();
    if (code == BurnSucceeded)
        keepLengths();
    writeLog(code, text);
    m_notices.clear();
    // The run is inside its own signal: it goes once that has returned.
    m_run.release()->deleteLater();
    if (code == BurnFailed)
        Q_EMIT Failed(text);
    Q_EMIT BurnFinished(code, text);
}

} // namespace burning
