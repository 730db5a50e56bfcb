#pragma once

#include "backends/cdio/Disc.h"
#include "backends/lookup/AccurateRip.h"

#include <QString>

namespace cdio {

// The identities a disc is known by on the web services, all from its table of contents.
struct DiscIds {
    lookup::AccurateRipDisc accurateRip;
    QString musicBrainz;           // 28 characters; empty when the TOC holds no audio track
    QString musicBrainzSubmission; // where a disc MusicBrainz does not know can be added
    quint32 cddb = 0;              // freedb's ID, from every track

    // "nnn-aaaaaaaa-bbbbbbbb-cccccccc": audio tracks, the two AccurateRip IDs, the freedb ID.
    QString accurateRipText() const;
    QString cddbText() const;
};

// libdiscid makes the MusicBrainz ID from the audio tracks, leaving out data tracks after
// them (an enhanced CD's second session); freedb and AccurateRip count as they always have.
DiscIds discIdsOf(const Toc& toc);

} // namespace cdio
