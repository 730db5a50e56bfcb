#include "backends/cdio/CdTools.h"

#include "backends/cdio/AccurateRipCheck.h"
#include "backends/cdio/Disc.h"
#include "backends/cdio/RipRecord.h"
#include "backends/cdio/TrackRip.h"
#include "backends/media/OffTheWindow.h"
#include "components/Error.h"
#include "components/SettingsStore.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cstdlib>

namespace cdio {
namespace {

QString trackName(int track) {
    return QStringLiteral("Track%1").arg(track, 2, 10, QChar(u'0'));
}

// The window's read offset: ReadOffset=6 in the "Melvane" settings.
const QString kOffsetKey = QStringLiteral("Melvane");
const QString kOffsetName = QStringLiteral("ReadOffset");

} // namespace

struct CdTools::Running {
    RippedTrack track;
    std::unique_ptr<TrackRip> rip;
};

CdTools::CdTools(std::shared_ptr<DriveTable> drives, std::shared_ptr<ChosenReleases> chosen,
                 QObject* parent)
    : DriveTools(std::move(drives), parent), m_runner(
                                                 this, CodecRunner::Resolution::TenthPercent,
                                                 [this](double percent) {
                                                     if (percent == 100.0) {
                                                         setSectors(TotalSectors(), TotalSectors());
                                                         trackDone();
                                                     }
                                                     Q_EMIT RipProgress(percent);
                                                 },
                                                 [this](const QString& message) {
                                                     trackFailed(message);
                                                     Q_EMIT Failed(message);
                                                 }),
      m_chosen(std::move(chosen)), m_check(new AccurateRipCheck(this)) {
    m_runner.setFramesObserver([this](qint64 done, qint64 expected) {
        const qint64 total = expected / kFramesPerSector;
        const qint64 read = (done + kFramesPerSector - 1) / kFramesPerSector;
        setSectors(qint32(std::min(read, total)), qint32(total));
    });
    connect(m_check, &AccurateRipCheck::finished, this, [this] {
        if (!m_job)
            return;
        m_job->accurateRipState = m_check->stateText();
        if (!m_check->problem().isEmpty())
            Q_EMIT RipNote(QStringLiteral("Not verified: ") + m_check->problem());
        noteVerdicts();
        if (m_endPending)
            writeReports();
    });
}

CdTools::~CdTools() = default;

void CdTools::RipTrackToWav(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, OutputCodec::Wav, QStringLiteral("wav"));
}

void CdTools::RipTrackToMp3(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, Mp3Option() == 1 ? OutputCodec::Mp3Shine : OutputCodec::Mp3Lame,
        QStringLiteral("mp3"));
}

void CdTools::RipTrackToWma(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, OutputCodec::Wma, QStringLiteral("wma"));
}

void CdTools::CancelRip() {
    if (m_runner.cancel() && !m_running.empty())
        m_running.pop_back();
}

std::optional<qint32> CdTools::readOffset(const Drive& drive) const {
    if (drive.image || !m_settings)
        return std::nullopt;
    const QString text = m_settings->RegistryValue(kOffsetKey, kOffsetName).trimmed();
    if (text.isEmpty())
        return std::nullopt;
    bool number = false;
    const qint32 offset = text.toInt(&number);
    if (!number || std::abs(offset) > kLargestReadOffset)
        throw Error(QStringLiteral("Cannot rip from %1: the read offset setting %2 is \"%3\", "
                                   "not a number of samples from -%4 to %4, such as 6 or -1164")
                        .arg(drive.name(), kOffsetName, text)
                        .arg(kLargestReadOffset));
    return offset;
}

// What is read from the drive here runs off the window's thread: a disc may need seconds.
RipRecord& CdTools::jobFor(const Drive& drive, std::optional<qint32> offset) {
    Disc disc(drive);
    const Toc toc = offTheWindow([&] { return disc.toc(); });
    const bool sameDisc =
        m_job && m_job->drive.device == drive.device && m_job->toc.leadout == toc.leadout &&
        m_job->toc.tracks.size() == toc.tracks.size() && m_job->offset == offset.value_or(0);
    if (m_job && !sameDisc)
        EndRipJob();
    if (!m_job || m_endPending) {
        // A job still waiting for the database to write its log is finished without it.
        if (m_endPending)
            writeReports();
        m_job = std::make_unique<RipRecord>();
        m_job->drive = drive;
        m_job->toc = toc;
        m_job->started = QDateTime::currentDateTime();
        m_job->offset = offset.value_or(0);
        m_job->offsetSource = drive.image ? QStringLiteral("an image has none")
                              : offset    ? QStringLiteral("from the setting ") + kOffsetName
                                          : QStringLiteral("not corrected");
        // ISRCs are read track by track as they are ripped: a drive needs a while for each.
        m_job->metadata = offTheWindow([&] { return readDiscMetadata(disc, false); });
        m_job->ids = discIdsOf(toc);
        m_job->hiddenSectors = HiddenTrackSectors();
        m_verdictsNoted = 0;
        m_check->fetch(m_job->ids);
        m_job->accurateRipState = m_check->stateText();
    }
    if (!m_job->metadata.fromLookup()) {
        if (const lookup::Release* release = m_chosen->find(m_job->ids.musicBrainz)) {
            applyRelease(m_job->metadata, *release, toc);
            m_job->metadata.musicBrainzDiscId = m_job->ids.musicBrainz;
        }
    }
    return *m_job;
}

void CdTools::rip(qint32 address, const QString& path, qint32 track, OutputCodec codec,
                  const QString& format) {
    // Everything is checked before the running rip is touched: a refused rip leaves it going.
    const Drive drive = drives().drive(address);
    EncodedSink::Options options;
    options.codec = codec;
    options.overwrite = Overwrite();
    options.overwrite.sources += ripSources(drive);
    if (codec != OutputCodec::Wav)
        options.bitRate = checkedBitRate(Mp3Bitrate(), path);
    const std::optional<qint32> offset = readOffset(drive);
    auto running = std::make_unique<Running>();
    running->rip =
        offTheWindow([&] { return std::make_unique<TrackRip>(drive, track, offset.value_or(0)); });
    RipRecord& job = jobFor(drive, offset);
    if (track > 0 && !job.metadata.tracks.value(track).isrc.size()) {
        Disc disc(drive);
        job.metadata.tracks[track].isrc = offTheWindow([&] { return readTrackIsrc(disc, track); });
    }
    const QString title = trackTitle().isEmpty() ? trackName(track) : trackTitle();
    options.tags = trackTags(job.metadata, track, job.audioTrackCount(), title, format);
    running->rip->addFile(path, options);
    std::unique_ptr<PcmSink> sink = running->rip->takeSink(job.toc);
    std::unique_ptr<PcmSource> source = running->rip->takeSource();
    const QString what = running->rip->sourceName();
    const int stallSeconds = running->rip->stallSeconds();
    const qint32 sectors = running->rip->totalSectors();
    if (m_runner.cancel() && !m_running.empty())
        m_running.pop_back();
    running->track.number = track;
    running->track.title = title;
    running->track.files = {QFileInfo(path).absoluteFilePath()};
    m_running.push_back(std::move(running));
    if (!job.formats.contains(format))
        job.formats << format;
    if (codec != OutputCodec::Wav)
        job.bitrateKbps = int(options.bitRate / 1000);
    m_runner.start(std::move(source), std::move(sink), what, stallSeconds);
    setSectors(0, sectors);
}

void CdTools::trackDone() {
    if (m_running.empty())
        return;
    const std::unique_ptr<Running> done = std::move(m_running.front());
    m_running.pop_front();
    if (!m_job)
        return;
    RippedTrack track = done->track;
    done->rip->fillIn(track);
    m_job->tracks.append(track);
    if (track.suspicious())
        Q_EMIT RipNote(QStringLiteral("%1 suspicious: %2")
                           .arg(trackName(track.number), track.paranoia.positions()));
    noteVerdicts();
}

void CdTools::trackFailed(const QString& message) {
    if (m_running.empty())
        return;
    const std::unique_ptr<Running> failed = std::move(m_running.front());
    m_running.pop_front();
    if (!m_job)
        return;
    RippedTrack track = failed->track;
    track.outcome = RippedTrack::Outcome::Failed;
    track.failure = message;
    track.files.clear();
    track.paranoia = failed->rip->paranoia();
    m_job->tracks.append(track);
}

// Each ripped track's AccurateRip result, once the entry is in, in the order ripped.
void CdTools::noteVerdicts() {
    if (!m_job || !m_check->done())
        return;
    for (; m_verdictsNoted < m_job->tracks.size(); ++m_verdictsNoted) {
        RippedTrack& track = m_job->tracks[m_verdictsNoted];
        if (!track.ripped())
            continue;
        track.verdict = m_check->verdict(m_job->accurateRipIndex(track.number), track.accurateRipV1,
                                         track.accurateRipV2);
        if (track.verdict)
            Q_EMIT RipNote(trackName(track.number) + u' ' + track.verdict->text());
    }
}

void CdTools::EndRipJob() {
    if (!m_job)
        return;
    if (!m_check->done()) {
        m_endPending = true;
        return;
    }
    writeReports();
}

void CdTools::writeReports() {
    m_endPending = false;
    const std::unique_ptr<RipRecord> job = std::move(m_job);
    if (!RipLog() || !job || job->tracks.isEmpty())
        return;
    // Beside the first track's file; never over a file there, so a second log gets a number.
    QString folder;
    for (const RippedTrack& track : job->tracks)
        if (folder.isEmpty() && !track.files.isEmpty())
            folder = QFileInfo(track.files.first()).absolutePath();
    if (folder.isEmpty())
        return;
    const QString name = ripReportName(*job);
    try {
        for (int n = 1;; ++n) {
            const QString stem =
                QDir(folder).filePath(n == 1 ? name : QStringLiteral("%1 (%2)").arg(name).arg(n));
            QStringList cues;
            for (const QString& format : job->formats)
                cues << stem + (job->formats.size() == 1 ? QString() : u'.' + format) +
                            QStringLiteral(".cue");
            const QString log = stem + QStringLiteral(".log");
            const bool taken = QFileInfo::exists(log) ||
                               std::any_of(cues.begin(), cues.end(),
                                           [](const QString& p) { return QFileInfo::exists(p); });
            if (taken && n < 100)
                continue;
            writeFile(log, ripLogText(*job).toUtf8(), false);
            for (int i = 0; i < cues.size(); ++i)
                writeFile(cues[i], cueSheetBytes(ripCueSheet(*job, job->formats[i], folder)),
                          false);
            Q_EMIT RipNote(QStringLiteral("Log written: ") + log);
            for (const QString& cue : cues)
                Q_EMIT RipNote(QStringLiteral("Cue sheet written: ") + cue);
            return;
        }
    } catch (const Error& e) {
        Q_EMIT RipNote(QStringLiteral("No log written: ") + e.message());
    }
}

} // namespace cdio
