#pragma once

#include <QString>

namespace cdio {

// Why libcdio cannot read a CUE sheet and its data file as they are, in words for the user;
// empty when it can. libcdio reads one data file per sheet, always the one with the sheet's
// own name ending in ".bin", only raw 2352-byte sectors, and ignores PREGAP and POSTGAP, so
// a sheet that needs anything else would give wrong tracks instead of an error.
QString cueSheetProblem(const QString& cuePath);

// The data file libcdio reads for a sheet: its path with ".cue" replaced by ".bin".
QString binPathFor(const QString& cuePath);

} // namespace cdio
