#pragma once

#include "backends/media/PcmFormat.h"
#include "backends/media/PcmSource.h"

#include <QString>
#include <atomic>
#include <memory>

// The PCM of a running recording, kept aside so that its file can be played before it is
// complete (the file itself appears only when the recording ends). The PCM goes to an unnamed
// temporary file, which disappears with the last user.
//
// One thread appends (the recording's job), any thread reads what was appended before it asked.
class RecordingSpool {
public:
    // Raises Error when no temporary file can be made.
    explicit RecordingSpool(PcmFormat format);
    RecordingSpool(const RecordingSpool&) = delete;
    RecordingSpool& operator=(const RecordingSpool&) = delete;
    ~RecordingSpool();

    PcmFormat format() const { return m_format; }
    // Keeps frames; after a failure (a full disk) the spool keeps what it had, without raising:
    // playing along is worth less than the recording itself.
    void append(const qint16* samples, qint64 frames) noexcept;
    qint64 frames() const { return m_frames; }

    // The first `frames` frames as a source, with seeking; it keeps the spool alive.
    static std::unique_ptr<PcmSource> source(std::shared_ptr<RecordingSpool> spool, qint64 frames);

    // The spool of the recording running into path, if one is; recordings publish theirs while
    // they run. Called on the user-interface thread.
    static void publish(const QString& path, std::shared_ptr<RecordingSpool> spool);
    static void withdraw(const QString& path);
    static std::shared_ptr<RecordingSpool> find(const QString& path);

private:
    friend class SpoolSource;
    qint64 readAt(qint16* samples, qint64 frame, qint64 frames) const;

    const PcmFormat m_format;
    int m_fd = -1;
    std::atomic<qint64> m_frames{0};
    bool m_broken = false;
};
