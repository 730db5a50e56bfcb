#include "backends/cdio/CdTools.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "backends/media/CodecRunner.h"
#include "backends/media/MediaJob.h"

namespace cdio {
namespace {

// Tenths of a percent: the panel shows the bar moving even on a long track.
constexpr int kProgressSteps = 1000;

} // namespace

CdTools::CdTools(std::shared_ptr<DriveTable> drives, QObject* parent)
    : DriveTools(std::move(drives), parent) {}

CdTools::~CdTools() {
    dropRunningRip();
}

void CdTools::RipTrackToWav(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, OutputCodec::Wav);
}

void CdTools::RipTrackToMp3(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, Mp3Option() == 1 ? OutputCodec::Mp3Shine : OutputCodec::Mp3Lame);
}

void CdTools::RipTrackToWma(qint32 address, const QString& path, qint32 track, qint32) {
    rip(address, path, track, OutputCodec::Wma);
}

void CdTools::rip(qint32 address, const QString& path, qint32 track, OutputCodec codec) {
    // Everything that can be checked is, before the running rip is touched: a refused rip
    // leaves it going.
    const Drive drive = drives().drive(address);
    EncodedSink::Options options;
    options.codec = codec;
    if (codec != OutputCodec::Wav)
        options.bitRate = checkedBitRate(Mp3Bitrate(), path);
    std::unique_ptr<DiscReader> reader = DiscReader::track(drive, track);
    auto sink = std::make_unique<EncodedSink>(path, options, reader->format());

    dropRunningRip();
    setSectors(0, reader->totalSectors());
    m_job = new MediaJob(this);
    connect(m_job, &MediaJob::progress, this, &CdTools::onProgress);
    connect(m_job, &MediaJob::finished, this, &CdTools::onFinished);
    connect(m_job, &MediaJob::failed, this, &CdTools::onFailed);
    MediaJob::Options jobOptions;
    jobOptions.progressSteps = kProgressSteps;
    m_job->start(std::move(reader), std::move(sink), jobOptions);
}

void CdTools::dropRunningRip() {
    if (!m_job)
        return;
    // A rip that has already put its file in place keeps it; either way it says no more.
    m_job->cancel();
    m_job->disconnect(this);
    // Later: this may run inside one of the job's own signals (the panel starts the next track
    // from the 100 of the last one).
    m_job->deleteLater();
    m_job = nullptr;
}

void CdTools::onProgress(int step, qint64 framesDone) {
    const qint32 read = qint32((framesDone + kFramesPerSector - 1) / kFramesPerSector);
    setSectors(std::min(read, TotalSectors()), TotalSectors());
    Q_EMIT RipProgress(step * 100.0 / kProgressSteps);
}

void CdTools::onFinished() {
    m_job->deleteLater();
    m_job = nullptr;
    setSectors(TotalSectors(), TotalSectors());
    Q_EMIT RipProgress(100.0);
}

void CdTools::onFailed(const QString& message) {
    m_job->deleteLater();
    m_job = nullptr;
    Q_EMIT Failed(message);
}

} // namespace cdio
