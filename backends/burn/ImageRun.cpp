#include "backends/burn/ImageRun.h"

#include "backends/burn/CueSheet.h"
#include "components/Error.h"

#include <exception>

namespace burning {

ImageRun::ImageRun(std::unique_ptr<ImageSink> sink, const QString& folder,
                   std::vector<PlannedTrack> plannedTracks, const DiscInfo& disc,
                   const BurnSettings& settings,
                   std::function<void(const QString& baseName)> written)
    : BurnRun(std::move(plannedTracks), disc, settings), m_sink(std::move(sink)), m_folder(folder),
      m_onWritten(std::move(written)) {}

ImageRun::~ImageRun() {
    if (m_thread.joinable()) {
        stopWriting();
        cancelFeeds();
        m_thread.join();
    }
}

QString ImageRun::writeMode() const {
    return QStringLiteral("a CUE/BIN image, tracks without gaps between them");
}

QString ImageRun::cuePath() const {
    return m_baseName.isEmpty() ? QString() : m_folder + u'/' + m_baseName + QStringLiteral(".cue");
}

void ImageRun::beginWriting() {
    m_thread = std::thread([this] { write(); });
}

BurnRun::Sample ImageRun::sample() {
    Sample s;
    s.ended = m_done.load();
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
    if (m_thread.joinable())
        m_thread.join();
    m_sink.reset();
    if (m_done.load() && m_error.isEmpty() && m_onWritten)
        m_onWritten(m_baseName);
    return m_error;
}

std::optional<cdio::Drive> ImageRun::readBackDrive() const {
    if (m_baseName.isEmpty())
        return std::nullopt;
    return cdio::DriveTable::recorderDrive(cuePath());
}

void ImageRun::write() noexcept {
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
            m_error = QStringLiteral("The burn was stopped.");
        } else {
            m_phase.store(Finishing);
            if (m_sink) {
                const std::vector<TrackPlace> where = places();
                std::vector<TrackInfo> infos;
                for (const PlannedTrack& t : tracks())
                    infos.push_back(t.info);
                m_baseName = m_sink->commit([&](const QString& binName) {
                    return cueSheet(binName, infos, where, disc());
                });
            }
        }
    } catch (const Error& e) {
        m_error = e.message();
    } catch (const std::exception& e) {
        m_error = QString::fromLocal8Bit(e.what());
    } catch (...) {
        m_error = QStringLiteral("The image could not be written.");
    }
    m_done.store(true);
    wake();
}

} // namespace burning
