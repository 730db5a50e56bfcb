#pragma once

#include "backends/media/PcmSource.h"

#include <QIODevice>
#include <memory>
#include <vector>

// Serves a PCM source as a read-only byte stream, so a Qt audio sink can pull from it.
class PcmDevice final : public QIODevice {
    Q_OBJECT
public:
    explicit PcmDevice(std::unique_ptr<PcmSource> source, QObject* parent = nullptr);

    PcmSource& source() { return *m_source; }
    bool isSequential() const override { return true; }
    bool atEnd() const override { return m_ended && m_pending.empty(); }
    qint64 bytesAvailable() const override;
    // Forgets what was read ahead; for a source that has been moved (seek).
    void restart();

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    std::unique_ptr<PcmSource> m_source;
    // Frames are whole; a read that asks for part of a frame keeps the rest here.
    std::vector<char> m_pending;
    std::vector<qint16> m_buffer;
    bool m_ended = false;
};
