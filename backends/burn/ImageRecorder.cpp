#include "backends/burn/ImageRecorder.h"

#include "backends/burn/ImageRun.h"
#include "components/Error.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStorageInfo>

namespace burning {

namespace {

DiscFacts blankDisc() {
    DiscFacts d;
    d.mediaType = 1;
    d.mediaStatus = 0;
    d.freeSectors = ImageRecorder::kCapacitySectors;
    return d;
}

QString megabytes(qint64 bytes) {
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MB");
}

} // namespace

ImageRecorder::ImageRecorder(ImageOutput& output) : m_output(output), m_disc(blankDisc()) {
    m_facts.vendor = QStringLiteral("Melvane");
    m_facts.product = QStringLiteral("Image Recorder");
    m_facts.revision =
        QStringLiteral("%1.%2").arg(MELVANE_VERSION_MAJOR).arg(MELVANE_VERSION_MINOR);
    m_facts.type = 2;
    m_facts.maxReadSpeed = 48;
    m_facts.writeSpeeds = {4, 8, 10, 16, 24, 32, 40, 48};
    m_facts.bufferBytes = ImageRun::kBufferSectors * kAudioSectorBytes;
    m_facts.burnProof = true;
    m_facts.supported = true;
}

void ImageRecorder::eject() {
    m_disc = blankDisc();
}

QString ImageRecorder::folder() {
    const QString dir = qEnvironmentVariable("MELVANE_IMAGE_DIR");
    return dir.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::MusicLocation) : dir;
}

std::unique_ptr<BurnRun> ImageRecorder::prepareBurn(std::vector<PlannedTrack> tracks,
                                                    const DiscInfo& disc,
                                                    const BurnSettings& settings) {
    if (m_disc.mediaStatus != 0)
        throw Error(QStringLiteral("The disc in the Image Recorder is not blank. Eject it to put "
                                   "in a fresh blank disc."));
    std::vector<qint64> stream, gaps;
    for (const PlannedTrack& t : tracks) {
        stream.push_back(streamFrames(t.info, t.info.frames));
        gaps.push_back(t.info.pregapFrames);
    }
    const qint64 sectors = programSectors(placeTracks(stream, gaps, Joining::Continuous));
    checkFits(sectors, m_disc.freeSectors, QStringLiteral("the Image Recorder"));

    std::unique_ptr<ImageSink> sink;
    QString dir;
    if (!settings.simulate) {
        dir = folder();
        // The music folder is ours to make; a folder the user named must exist.
        if (qEnvironmentVariableIsEmpty("MELVANE_IMAGE_DIR"))
            QDir().mkpath(dir);
        const QFileInfo info(dir);
        if (info.exists() && !info.isDir())
            throw Error(QStringLiteral("The image folder %1 is not a folder.").arg(dir));
        if (!info.isDir())
            throw Error(QStringLiteral("The image folder %1 does not exist.").arg(dir));
        if (!info.isWritable())
            throw Error(QStringLiteral("The image folder %1 cannot be written.").arg(dir));
        const qint64 needed = sectors * kAudioSectorBytes;
        const QStorageInfo storage(dir);
        if (storage.isValid() && storage.bytesAvailable() < needed)
            throw Error(QStringLiteral("The image folder %1 has %2 free, the image needs %3.")
                            .arg(dir, megabytes(storage.bytesAvailable()), megabytes(needed)));
        // The sink numbers the name on when it is taken.
        sink = m_output.create(
            dir, QStringLiteral("Melvane Audio CD ") +
                     QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh.mm.ss")));
    }
    std::function<void(const QString&)> written;
    if (!settings.simulate)
        written = [this, keepOpen = settings.keepOpen, dir](const QString& base) {
            QFileInfo bin(dir + u'/' + base + QStringLiteral(".bin"));
            m_disc.mediaStatus = keepOpen ? 1 : 2;
            m_disc.usedSectors = bin.size() / kAudioSectorBytes;
            m_disc.freeSectors = 0;
            m_lastImage = base;
            if (m_imageWritten)
                m_imageWritten(dir + u'/' + base + QStringLiteral(".cue"));
        };
    return std::make_unique<ImageRun>(std::move(sink), dir, std::move(tracks), disc, settings,
                                      std::move(written));
}

} // namespace burning
