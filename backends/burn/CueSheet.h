#pragma once

#include "backends/burn/Program.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace burning {

// The cue sheet of an audio image: one BINARY file holding the program, each track at its
// place, with the disc's catalogue number, the tracks' flags (pre-emphasis, copy permitted),
// ISRCs and INDEX 00 gaps, and the CD-Text (TITLE, PERFORMER, SONGWRITER) in ISO-8859-1.
//
// The file begins with track 1, which a reader places at 00:02:00 after the disc's 2-second
// pregap, as on a burnt CD. (A gap stored as INDEX 00 data would move track 1 to 00:04:00 and
// make readers report a hidden track; libcdio ignores PREGAP.) The gap of a later track is
// stored as data before its INDEX 01, which is how libcdio reads gaps.
QByteArray cueSheet(const QString& binName, const std::vector<TrackInfo>& tracks,
                    const std::vector<TrackPlace>& places, const DiscInfo& disc);

} // namespace burning
