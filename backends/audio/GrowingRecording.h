#pragma once

#include <QString>
#include <QStringList>

// What keeps a recording through a crash, a kill or a power cut.
//
// The recording's file is written unnamed until it is complete (see OutputFile). While it is
// being written it gets a second, visible name beside its own, "take.mp3.recording" (or
// "take (2).mp3.recording" when that is taken), and the recorder flushes it to the disk every
// second. A recording that ends well loses the visible name; after a crash the visible file is
// left with what was recorded. The recording process holds a lock on it, so another process
// can tell a running recording from an interrupted one, and notes it in an index in the user's
// data folder (melvane/recordings), so that it is found wherever it was recorded.
class GrowingRecording {
public:
    // Gives the open file fd, which will become `path`, its visible name, locked. Without hard
    // links on the file system the recording has no visible name (name() is empty); it is still
    // recorded, only not kept through a crash.
    GrowingRecording(int fd, const QString& path);
    GrowingRecording(const GrowingRecording&) = delete;
    GrowingRecording& operator=(const GrowingRecording&) = delete;
    // Lets go of the lock; the visible name stays unless remove() or keepAs() took it.
    ~GrowingRecording();

    QString name() const { return m_name; }

    // Puts the visible name on the disk, once: a power cut keeps it then. Slow on a busy disk,
    // so it is done where the recording is written, not where it starts.
    void syncName();

    // The recording was saved under its own name, or held nothing: the visible name goes.
    void remove() noexcept;
    // The recording failed after it had audio (a full disk): what the visible file holds is
    // made playable and put under `path`, replacing a file there. Returns the seconds kept.
    // Raises Error; the visible file then stays, for a later recovery.
    double keepAs(const QString& path);

    // The visible files of recordings that no process writes any more: those in the index,
    // wherever they are, and those in `folder`. Oldest first.
    static QStringList interrupted(const QString& folder);
    // Makes one playable under the name it was recorded for (its own name without
    // ".recording"), or "<name> (2).<ending>" and so on when that is taken; nothing is
    // replaced. Returns that name, or an empty one when it held no audio (it is removed then).
    // Raises Error.
    static QString recover(const QString& path);

private:
    QString m_name;
    QString m_index; // its entry in the index
    int m_lock = -1;
    bool m_nameSynced = false;
};
