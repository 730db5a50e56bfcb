#pragma once

#include "backends/burn/Recorder.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace burning {

// The cue sheet of an audio image: one BINARY file holding the tracks back to back, each on
// whole sectors, with the tracks' and the disc's CD-Text (TITLE, PERFORMER), in ISO-8859-1.
//
// Track 1 starts at the beginning of the file, which a reader places at 00:02:00 after the
// disc's 2-second pregap, as on a burnt CD. (A gap stored as INDEX 00 data would move track 1
// to 00:04:00 and make readers report a hidden track; libcdio ignores PREGAP.)
QByteArray cueSheet(const QString& binName, const std::vector<PlannedTrack>& tracks);

} // namespace burning
