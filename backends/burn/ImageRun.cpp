#include "backends/burn/ImageRun.h"

#include "backends/burn/CueSheet.h"
#include "components/Error.h"

#include <algorithm>
#include <exception>

namespace burning {

ImageRun::ImageRun(std::unique_ptr<ImageSink> sink, std::vector<PlannedTrack> plannedTracks,
                   const BurnSettings& settings,
                   std::function<void(const QString& baseName)> written)
    : BurnRun(std::move(plannedTracks), settings), m_sink(std::move(sink)),
      m_onWritten(std::move(written)) {}

ImageRun::~ImageRun() {
    if (m_thread.joinable()) {
        stopWriting();
        cancelFeeds();
        m_thread.join();
    }
}

void ImageRun::beginWriting() {
    m_thread = std::thread([this] { write(); });
}

BurnRun::Sample ImageRun::sample() {
    Sample s;
    s.ended = m_done.load();
    s.track = m_track.load();
    s.written = m_written.load();
    const int phase = m_phase.load();
    s.preparing = phase == Preparing;
    s.closing = phase == Closing;
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

void ImageRun::write() noexcept {
    try {
        QByteArray buffer(kBufferSectors * kAudioSectorBytes, Qt::Uninitialized);
        for (size_t i = 0; i < tracks().size() && !m_stop.load(); ++i)
            writeTrack(i, buffer);
        if (m_stop.load()) {
            m_error = QStringLiteral("The burn was stopped.");
        } else {
            m_phase.store(Finishing);
            if (m_sink)
                m_baseName = m_sink->commit(
                    [this](const QString& binName) { return cueSheet(binName, tracks()); });
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

void ImageRun::writeTrack(size_t index, QByteArray& buffer) {
    const PlannedTrack& track = tracks()[index];
    m_track.store(int(index));
    m_phase.store(Preparing);
    qint64 left = track.info.sectors;
    while (left > 0 && !m_stop.load()) {
        const qint64 bytes = std::min<qint64>(left, kBufferSectors) * kAudioSectorBytes;
        const qint64 got = track.feed->read(buffer.data(), bytes);
        if (m_stop.load())
            return;
        if (got != bytes)
            throw Error(QStringLiteral("%1 ended %2 sectors early.")
                            .arg(track.path)
                            .arg(left - got / kAudioSectorBytes));
        if (m_sink)
            m_sink->writeSectors(buffer.constData(), bytes);
        left -= bytes / kAudioSectorBytes;
        m_written.fetch_add(bytes / kAudioSectorBytes);
        m_phase.store(Writing);
    }
    m_phase.store(Closing);
}

} // namespace burning
