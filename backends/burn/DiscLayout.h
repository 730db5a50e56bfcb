#pragma once

#include "backends/burn/ProgramReader.h"

#include <QString>

#include <atomic>
#include <mutex>
#include <vector>

namespace burn {
struct burn_disc;
struct burn_session;
struct burn_source;
} // namespace burn

namespace burning {

// The first error the track sources of one burn met. Written on the writer thread, read on
// the user-interface thread.
class SourceErrors {
public:
    void record(const QString& message);
    bool failed() const { return m_failed.load(); }
    QString message() const;

private:
    mutable std::mutex m_mutex;
    QString m_message;
    std::atomic<bool> m_failed{false};
};

// The disc libburn writes: one session, one track per planned track at its place, each read in
// turn from the program through a source of ours; with the tracks' gaps (INDEX 00 before
// INDEX 01, written in a session-at-once burn), ISRCs, flags and the CD-Text (audio only).
//
// libburn calls a source's read on its writer thread, one sector per call, directly and not
// through a libburn fifo: a fifo's thread is stopped with an asynchronous pthread_cancel when
// the fifo is freed, which must never hit our code while it waits in a feed.
class DiscLayout {
public:
    // Data writes MODE1 tracks of 2048-byte sectors: what libburn's file pseudo-drives take,
    // so that the write machinery can run where no CD recorder exists.
    enum class Mode { Audio, Data };

    // reader is where the sources read from; null for a layout that is only checked, never
    // written. Raises Error when libburn refuses a track.
    DiscLayout(const std::vector<PlannedTrack>& tracks, const std::vector<TrackPlace>& places,
               const DiscInfo& disc, Mode mode, ProgramReader* reader);
    ~DiscLayout();
    DiscLayout(const DiscLayout&) = delete;
    DiscLayout& operator=(const DiscLayout&) = delete;

    burn::burn_disc* disc() const { return m_disc; }
    burn::burn_session* session() const { return m_session; }
    int sectorBytes() const { return m_sectorBytes; }
    // True when the session carries CD-Text.
    bool hasCdText() const { return m_cdText; }
    const SourceErrors& errors() const { return m_errors; }

    // Makes every source end its data at once (a cancel), without reporting an error.
    void closeSources();

private:
    void attachCdText(const std::vector<PlannedTrack>& tracks, const DiscInfo& disc);

    burn::burn_disc* m_disc = nullptr;
    burn::burn_session* m_session = nullptr;
    int m_sectorBytes = 0;
    bool m_cdText = false;
    SourceErrors m_errors;
    std::atomic<bool> m_closed{false};
};

} // namespace burning
