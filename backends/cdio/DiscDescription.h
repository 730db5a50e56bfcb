#pragma once

#include "backends/cdio/DriveTable.h"

#include <QList>
#include <QString>

namespace cdio {

// One track as a copy of the disc needs it.
struct TrackDescription {
    int number = 0;
    qint32 pregapStart = 0; // sector of INDEX 00; the same as start when the track has no gap
    qint32 start = 0;       // sector of INDEX 01
    qint32 end = 0;         // where the next track's gap (or the lead-out) begins
    bool audio = true;
    bool preEmphasis = false;
    bool copyPermitted = false;
    QString isrc;
    QString title;
    QString performer;
    QString songwriter;
};

// Everything of an audio CD a copy reproduces: the tracks with their gaps, flags and ISRCs,
// the catalogue number (MCN) and the CD-Text (block 0).
struct DiscDescription {
    QList<TrackDescription> tracks;
    qint32 leadout = 0;
    QString catalog;
    QString title;
    QString performer;
    QString songwriter;
};

// Reads the disc of a drive or a CUE/BIN image. An image's gaps are its INDEX 00 entries; a
// drive's are found in the Q sub-channel (READ CD), track by track backwards from INDEX 01;
// a drive that cannot report its Q sub-channel gives tracks without gaps. Raises Error naming
// the drive when there is no disc or it cannot be read.
DiscDescription describeDisc(const Drive& drive);

} // namespace cdio
