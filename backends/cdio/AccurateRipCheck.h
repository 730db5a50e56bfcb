#pragma once

#include "backends/cdio/DiscIds.h"
#include "backends/lookup/AccurateRip.h"

#include <QObject>
#include <optional>

namespace cdio {

// The AccurateRip side of a rip: the disc's database entry, fetched once per disc, and the
// verdict on each track as its checksums come. On the thread that made it.
class AccurateRipCheck final : public QObject {
    Q_OBJECT
public:
    explicit AccurateRipCheck(QObject* parent = nullptr);

    // Fetches the entry of this disc, unless it is the disc fetched for last.
    void fetch(const DiscIds& ids);
    // Stops fetching; the check counts as done, with nothing learnt.
    void cancel();
    bool done() const { return m_state != State::Fetching; }
    // The entry, once it came.
    const lookup::AccurateRipEntry* entry() const;
    // What a track's checksums get: nothing while fetching, when the database could not be
    // reached or for track 0; "not in database" when the disc is not in it. index counts the
    // disc's audio tracks from 1.
    std::optional<lookup::AccurateRipVerdict> verdict(int index, quint32 v1, quint32 v2) const;
    // For the log: "3 records for this disc", "not in the database", "could not be reached: ..."
    QString stateText() const;
    // Why the database could not be asked, for a note to the user; empty otherwise.
    QString problem() const { return m_state == State::Failed ? m_answer.problem : QString(); }

Q_SIGNALS:
    void finished();

private:
    enum class State { Idle, Fetching, Found, NotFound, Failed };
    lookup::AccurateRipLookup* m_lookup;
    QString m_disc; // the disc fetched for last
    State m_state = State::Idle;
    lookup::AccurateRipAnswer m_answer;
};

// Looks for the drive's read offset: the first audio tracks (up to three) are read with five
// sectors more on either side, and the offset from -2940 to +2940 samples that makes a
// track's AccurateRip v1 checksum match the database is the drive's. Nothing when none
// matches. how says which track matched and with what confidence. Blocks while it reads;
// raises Error when the disc cannot be read.
std::optional<qint32> findReadOffset(const Drive& drive, const Toc& toc,
                                     const lookup::AccurateRipEntry& entry, QString* how);

} // namespace cdio
