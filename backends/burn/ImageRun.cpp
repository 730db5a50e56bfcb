#include "backends/burn/ImageRun.h"

#include "backends/burn/CueSheet.h"
#include "backends/media/WorkThreads.h"
#include "components/Error.h"

#include <QtConcurrent/QtConcurrentRun>

#include <exception>

namespace burning {

ImageRun::ImageRun(std::unique_ptr<ImageSink> sink, const QString& folder,
                   std::vector<PlannedTrack> plannedTracks, const DiscInfo& disc,
                   const BurnSettings& settings,
                   std::function<void(const QString& baseName)> written)
    : BurnRun(std::move(plannedTracks), disc, settings), m_sink(std::move(sink)), m_folder(folder),
      m_onWritten(std::move(written)) {
    connect(&m_watcher, &QFutureWatcher<Outcome>::finished, this, [this] { wake(); });
}

ImageRun::~ImageRun() {
    if (m_began && !m_writing.isFinished()) {
        stopWriting();
        cancelFeeds();
        m_writing.waitForFinished();
    }
}

QString ImageRun::writeMode() const {
    return QStringLiteral("a CUE/BIN image, tracks without gaps between them");
}

QString ImageRun::cuePath() const {
    return m_baseName.isEmpty() ? QString() : m_folder + u'/' + m_baseName + QStringLiteral(".cue");
}

void ImageRun::beginWriting() {
    m_writing = QtConcurrent::run(blockingPool(), [this] { return write(); });
    m_began = true;
    m_watcher.setFuture(m_writing);
}

BurnRun::Sample ImageRun::sample() {
    Sample s;
    s.ended = m_began && m_writing.isFinished();
    s.track = reader().currentTrack();
    s.written = m_written.load();
    const int phase = m_phase.load();
    s.preparing = phase == Preparing;
    s.finishing = phase == Finishing;
    return s;
}

void ImageRun::stopWriting() {
    m_stop.store(true);
}

QString ImageRun::finishWriting() {
    if (!m_began) {
        m_sink.reset();
        return {};
    }
    const Outcome outcome = m_writing.result();
    m_sink.reset();
    m_baseName = outcome.baseName;
    if (outcome.error.isEmpty() && m_onWritten)
        m_onWritten(m_baseName);
    return outcome.error;
}

std::optional<cdio::Drive> ImageRun::readBackDrive() const {
    if (m_baseName.isEmpty())
        return std::nullopt;
    return cdio::DriveTable::recorderDrive(cuePath());
}

ImageRun::Outcome ImageRun::write() noexcept {
    Outcome outcome;
    try {
        QByteArray buffer(kBufferSectors * kAudioSectorBytes, Qt::Uninitialized);
        while (!m_stop.load()) {
            const qint64 got = reader().read(buffer.data(), buffer.size());
            if (m_stop.load() || got == 0)
                break;
            m_phase.store(Writing);
            if (m_sink)
                m_sink->writeSectors(buffer.constData(), got);
            m_written.fetch_add(got / kAudioSectorBytes);
        }
        if (m_stop.load()) {
            outcome.error = QStringLiteral("The burn was stopped.");
        } else {
            m_phase.store(Finishing);
            if (m_sink) {
                const std::vector<TrackPlace> where = places();
                std::vector<TrackInfo> infos;
                for (const PlannedTrack& t : tracks())
                    infos.push_back(t.info);
                outcome.baseName = m_sink->commit([&](const QString& binName) {
                    return cueSheet(binName, infos, where, disc());
                });
            }
        }
    } catch (const Error& e) {
        outcome.error = e.message();
    } catch (const std::exception& e) {
        outcome.error = QString::fromLocal8Bit(e.what());
    } catch (...) {
        outcome.error = QStringLiteral("The image could not be written.");
    }
    return outcome;
}

} // namespace burning
