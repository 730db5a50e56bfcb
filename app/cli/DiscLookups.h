#pragma once

#include "backends/cdio/AccurateRipCheck.h"
#include "backends/lookup/MusicBrainz.h"

// The web look-ups of melvane-cli's CD commands, each run to its end (bounded by its
// time-out) with the event loop going.
lookup::DiscAnswer lookUpDisc(const QString& musicBrainzDiscId);
void waitForCheck(cdio::AccurateRipCheck& check);

// What a lookup came to, in lines for the terminal: the releases found, numbered, each with
// its tracks; or why there are none.
QString lookupText(const lookup::DiscAnswer& answer, const QString& discId,
                   const QString& submission);
