#include "backends/audio/RecordingSpool.h"

#include "components/Error.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

QString key(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QHash<QString, std::shared_ptr<RecordingSpool>>& published() {
    static QHash<QString, std::shared_ptr<RecordingSpool>> spools;
    return spools;
}

} // namespace

// Reads the spool from a frame on, up to the length it was made with.
class SpoolSource final : public PcmSource, public Seekable {
public:
    SpoolSource(std::shared_ptr<RecordingSpool> spool, qint64 frames)
        : m_spool(std::move(spool)), m_end(frames) {}

    PcmFormat format() const override { return m_spool->format(); }
    qint64 expectedFrames() const override { return m_end; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        const qint64 n =
            m_spool->readAt(buffer, m_position, std::min(maxFrames, m_end - m_position));
        m_position += n;
        return n;
    }
    Seekable* seekable() override { return this; }
    void seek(qint64 frame) override { m_position = std::clamp<qint64>(frame, 0, m_end); }

private:
    std::shared_ptr<RecordingSpool> m_spool;
    const qint64 m_end;
    qint64 m_position = 0;
};

RecordingSpool::RecordingSpool(PcmFormat format) : m_format(format) {
    const QByteArray folder = QFile::encodeName(QDir::tempPath());
    m_fd = ::open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        // No unnamed files here: a named one, unlinked at once.
        QByteArray name = folder + "/.melvane-spool-XXXXXX";
        m_fd = ::mkostemp(name.data(), O_CLOEXEC);
        if (m_fd >= 0)
            ::unlink(name.constData());
    }
    if (m_fd < 0)
        throw Error(QStringLiteral("Cannot keep the recording for playing along in %1: %2")
                        .arg(QDir::tempPath(), QString::fromLocal8Bit(std::strerror(errno))));
}

RecordingSpool::~RecordingSpool() {
    ::close(m_fd);
}

void RecordingSpool::append(const qint16* samples, qint64 frames) noexcept {
    if (m_broken)
        return;
    const qint64 bytes = frames * m_format.bytesPerFrame();
    const qint64 at = m_frames * m_format.bytesPerFrame();
    const char* data = reinterpret_cast<const char*>(samples);
    for (qint64 done = 0; done < bytes;) {
        const ssize_t n = ::pwrite(m_fd, data + done, size_t(bytes - done), at + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            m_broken = true;
            return;
        }
        done += n;
    }
    m_frames += frames;
}

qint64 RecordingSpool::readAt(qint16* samples, qint64 frame, qint64 frames) const {
    const qint64 bytes = frames * m_format.bytesPerFrame();
    char* data = reinterpret_cast<char*>(samples);
    qint64 done = 0;
    while (done < bytes) {
        const ssize_t n = ::pread(m_fd, data + done, size_t(bytes - done),
                                  frame * m_format.bytesPerFrame() + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw Error(QStringLiteral("Cannot read the recording so far: %1")
                            .arg(QString::fromLocal8Bit(std::strerror(errno))));
        if (n == 0)
            break;
        done += n;
    }
    return done / m_format.bytesPerFrame();
}

std::unique_ptr<PcmSource> RecordingSpool::source(std::shared_ptr<RecordingSpool> spool,
                                                  qint64 frames) {
    return std::make_unique<SpoolSource>(std::move(spool), frames);
}

void RecordingSpool::publish(const QString& path, std::shared_ptr<RecordingSpool> spool) {
    published().insert(key(path), std::move(spool));
}

void RecordingSpool::withdraw(const QString& path) {
    published().remove(key(path));
}

std::shared_ptr<RecordingSpool> RecordingSpool::find(const QString& path) {
    return published().value(key(path));
}
