#pragma once

#include <QList>
#include <QString>

namespace cdio {

// What paranoia did while it read a track, from its callback: the secure-rip report.
struct ParanoiaStats {
    static constexpr int kMostPositions = 50; // of skips and of read errors, each

    qint64 reads = 0;          // reads of the drive (each of several sectors)
    qint64 verifies = 0;       // overlapping reads compared
    qint64 fixups = 0;         // jitter, dropped and duplicated bytes set right
    qint64 scratchRepairs = 0; // scratches detected and repaired
    qint64 skips = 0;          // stretches given up on after every retry: kept as read
    qint64 drifts = 0;         // the drive's position drifted and was corrected
    qint64 readErrors = 0;     // reads the drive reported as failed
    QList<qint32> skipSectors; // where, as disc sectors (LSN), each once, in order
    QList<qint32> errorSectors;

    // Paranoia had to give up somewhere: the audio there may be damaged.
    bool suspicious() const { return skips > 0; }
    // "412 reads, 410 verified, 3 fixups, 0 scratch repairs, 0 skips, 0 drift, 2 read errors".
    QString summary() const;
    // "skipped at sectors 300, 301; read errors at sectors 300, 301" or empty.
    QString positions() const;

    // One call of paranoia's callback: its position in 16-bit words from the disc's start
    // (negative for a read error the drive did not place), and what happened.
    void take(long position, int event);
};

} // namespace cdio
