#pragma once

// CUE/BIN images in and out. Read: one BINARY file of raw 2352-byte frames; TRACK nn AUDIO or
// MODE1/2352; INDEX 00 gaps stored in the file, INDEX 01 and later; CATALOG, ISRC, FLAGS (PRE,
// DCP, 4CH); TITLE, PERFORMER, SONGWRITER, COMPOSER, ARRANGER and MESSAGE as CD-Text; and
// "REM SESSION nn" before the first track of a later session. A sector's LBA is its place in
// the file, as libcdio counts. PREGAP and POSTGAP (gaps not in the file) are refused.
// Written: the same subset, so that libcdio's tools and this reader take the saved disc.

#include "Disc.h"

#include <string>

namespace vdrive {

bool loadCue(const std::string& path, MediaKind media, bool appendable, Disc& disc,
             std::string& error);

// Writes base + ".cue" and base + ".bin" (each first under a temporary name).
bool saveCue(const Disc& disc, const std::string& base, std::string& error);

} // namespace vdrive
