#pragma once

#include "app/cli/RipBatch.h"
#include "backends/cdio/AccurateRipCheck.h"
#include "backends/cdio/RipRecord.h"

#include <memory>

// What melvane-cli rip does before its first track: the disc's metadata and IDs, the
// MusicBrainz lookup (--lookup) and the choice of release, the AccurateRip entry and, for a
// drive whose offset was not given, the offset search; the tracks' names; and the check that
// the log and cue sheet may be written. Notes go to the terminal as they come.
struct RipPreparation {
    std::shared_ptr<cdio::RipRecord> record;
    std::unique_ptr<cdio::AccurateRipCheck> check; // nullptr with --no-accuraterip
    QString failure;         // why the rip cannot start (exit 1); empty when it can
    bool usageError = false; // failure is a usage error (exit 2)
};

RipPreparation prepareRip(const cdio::Drive& drive, const cdio::Toc& toc, RipRequest& request);

// The log's and the cue sheets' paths of a rip: the log first, then one cue sheet per format
// ("Name.cue", or "Name.wav.cue" ... when there are several).
QStringList ripReportPaths(const cdio::RipRecord& record, const RipRequest& request);
