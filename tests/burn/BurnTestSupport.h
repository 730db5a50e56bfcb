#pragma once

// Feeds, a file opener and an image output for the burn tests: synthetic track data with a
// pattern that tells every byte's track and position, optionally slow or failing.

#include "backends/burn/ImageSink.h"
#include "backends/burn/Program.h"
#include "components/Error.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QSaveFile>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace test {

// The byte at offset of track number track (1-based).
inline char patternByte(int track, qint64 offset) {
    return char((offset * 13 + offset / 2352 + track * 101) % 251);
}

inline QByteArray pattern(int track, qint64 bytes) {
    QByteArray data(bytes, Qt::Uninitialized);
    for (qint64 i = 0; i < bytes; ++i)
        data[i] = patternByte(track, i);
    return data;
}

// A track of frames frames (exact: its feed delivers that many).
inline burning::TrackInfo info(qint64 frames, const QString& title, const QString& performer,
                               const QString& album = {}) {
    burning::TrackInfo i;
    i.frames = frames;
    i.exact = true;
    i.title = title;
    i.performer = performer;
    i.album = album;
    return i;
}

struct FeedScript {
    int track = 1;
    qint64 bytes = 0;
    qint64 failAt = -1;                   // raise once a read would pass this offset
    qint64 stallAt = -1;                  // from this offset on, wait until cancelled
    std::chrono::microseconds perRead{0}; // how long each read waits (interruptibly)
};

// A decoder stand-in: blocks for perRead on each read, as a feed whose decoder is behind, or
// for good from stallAt on, as a decoder that hangs.
class PatternFeed final : public burning::TrackFeed {
public:
    explicit PatternFeed(const FeedScript& script) : m_script(script) {}

    void start() override {}
    qint64 read(char* buffer, qint64 bytes) override {
        std::unique_lock lock(m_mutex);
        m_cancelled.wait_for(lock, m_script.perRead, [this] { return m_cancel; });
        if (m_script.stallAt >= 0 && m_offset >= m_script.stallAt)
            m_cancelled.wait(lock, [this] { return m_cancel; });
        if (m_cancel)
            return 0;
        if (m_script.failAt >= 0 && m_offset + bytes > m_script.failAt)
            throw Error(
                QStringLiteral("Cannot decode track %1: the data is damaged.").arg(m_script.track));
        const qint64 n = std::min(bytes, m_script.bytes - m_offset);
        for (qint64 i = 0; i < n; ++i)
            buffer[i] = patternByte(m_script.track, m_offset + i);
        m_offset += n;
        return n;
    }
    void cancel() override {
        std::lock_guard lock(m_mutex);
        m_cancel = true;
        m_cancelled.notify_all();
    }
    int fill() const override { return 100; }

private:
    FeedScript m_script;
    mutable std::mutex m_mutex;
    std::condition_variable m_cancelled;
    qint64 m_offset = 0;
    bool m_cancel = false;
};

// Files by name: what probe tells of each, and how its feed behaves. Unknown names fail.
class ScriptedOpener final : public burning::TrackOpener {
public:
    struct File {
        burning::TrackInfo info;
        qint64 failAtSector = -1;
        std::chrono::microseconds perRead{0};
        qint64 stallAtSector = -1;
    };
    QMap<QString, File> files;
    QStringList measured; // the files measure() was asked about

    burning::TrackInfo probe(const QString& path) override {
        if (!files.contains(path))
            throw Error(QStringLiteral("%1 is not an audio file.").arg(path));
        return files[path].info;
    }
    qint64 measure(const QString& path, const std::atomic<bool>&) override {
        std::lock_guard lock(m_mutex);
        measured << path;
        return files[path].info.frames;
    }
    std::unique_ptr<burning::TrackFeed> open(const QString& path) override {
        const File& f = files[path];
        FeedScript s;
        s.track = int(std::distance(files.begin(), files.find(path))) + 1;
        s.bytes = f.info.frames * burning::kFrameBytes;
        s.failAt = f.failAtSector < 0 ? -1 : f.failAtSector * burning::kAudioSectorBytes;
        s.perRead = f.perRead;
        s.stallAt = f.stallAtSector < 0 ? -1 : f.stallAtSector * burning::kAudioSectorBytes;
        return std::make_unique<PatternFeed>(s);
    }

private:
    std::mutex m_mutex;
};

// The image files through QSaveFile: written under temporary names, renamed on commit. A
// sink can be told to find the disk full after some bytes.
class SaveFileOutput final : public burning::ImageOutput {
public:
    qint64 diskFullAfter = -1;

    std::unique_ptr<burning::ImageSink> create(const QString& folder,
                                               const QString& baseName) override {
        return std::make_unique<Sink>(folder, baseName, diskFullAfter);
    }

private:
    class Sink final : public burning::ImageSink {
    public:
        Sink(const QString& folder, const QString& baseName, qint64 fullAfter)
            : m_baseName(baseName), m_bin(folder + u'/' + baseName + QStringLiteral(".bin")),
              m_cue(folder + u'/' + baseName + QStringLiteral(".cue")), m_fullAfter(fullAfter) {
            if (!m_bin.open(QIODevice::WriteOnly))
                throw Error(m_bin.errorString());
        }
        void writeSectors(const char* data, qint64 bytes) override {
            if (m_fullAfter >= 0 && m_bin.pos() + bytes > m_fullAfter)
                throw Error(QStringLiteral("Cannot write %1: No space left on device")
                                .arg(m_bin.fileName()));
            if (m_bin.write(data, bytes) != bytes)
                throw Error(m_bin.errorString());
        }
        QString commit(const CueText& cueText) override {
            if (QFile::exists(m_bin.fileName()) || QFile::exists(m_cue.fileName()))
                throw Error(QStringLiteral("The image exists already."));
            const QByteArray text = cueText(m_baseName + QStringLiteral(".bin"));
            if (!m_cue.open(QIODevice::WriteOnly) || m_cue.write(text) != text.size() ||
                !m_bin.commit() || !m_cue.commit())
                throw Error(QStringLiteral("Cannot write the image."));
            return m_baseName;
        }

    private:
        QString m_baseName;
        QSaveFile m_bin;
        QSaveFile m_cue;
        qint64 m_fullAfter;
    };
};

} // namespace test
