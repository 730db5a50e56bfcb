#include "backends/cdio/CdTools.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"

#include <algorithm>

namespace cdio {

CdTools::CdTools(std::shared_ptr<DriveTable> drives, QObject* parent)
    : DriveTools(std::move(drives), parent),
      m_runner(
          this, CodecRunner::Resolution::TenthPercent,
          [this](double percent) {
              if (percent == 100.0)
                  setSectors(TotalSectors(), TotalSectors());
              Q_EMIT RipProgress(percent);
          },
          [this](const QString& message) { Q_EMIT Failed(message); }) {
    m_runner.setFramesObserver([this](qint64 done, qint64 expected) {
        const qint64 total = expected / kFramesPerSector;
        const qint64 read = (done + kFramesPerSector - 1) / kFramesPerSector;
        setSectors(qint32(std::min(read, total)), qint32(total));
    });
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

void CdTools::CancelRip() {
    m_runner.cancel();
}

void CdTools::rip(qint32 address, const QString& path, qint32 track, OutputCodec codec) {
    // Everything is checked before the running rip is touched: a refused rip leaves it going.
    const Drive drive = drives().drive(address);
    EncodedSink::Options options;
    options.codec = codec;
    options.overwrite = Overwrite();
    if (codec != OutputCodec::Wav)
        options.bitRate = checkedBitRate(Mp3Bitrate(), path);
    std::unique_ptr<DiscReader> reader = DiscReader::track(drive, track);
    auto sink = std::make_unique<EncodedSink>(path, options, reader->format());
    const qint32 sectors = reader->totalSectors();
    m_runner.cancel();
    m_runner.start(std::move(reader), std::move(sink),
                   QStringLiteral("track %1 of %2").arg(track).arg(drive.name()),
                   drive.image ? kFileStallSeconds : kDriveStallSeconds);
    setSectors(0, sectors);
}

} // namespace cdio
