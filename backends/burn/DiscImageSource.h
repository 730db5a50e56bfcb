#pragma once

#include "backends/burn/Program.h"
#include "backends/cdio/DiscDescription.h"

#include <QString>

#include <vector>

namespace burning {

// A CUE sheet with its BIN, added to the compilation as a whole disc: its tracks as they stand,
// each with its INDEX 00 gap, flags and ISRC, the disc's catalogue number and the CD-Text.
// libcdio reads the sheet (one FILE, raw 2352-byte sectors); the feeds read the BIN itself,
// the bytes libcdio would deliver.
class DiscImageSource {
public:
    // Raises Error when the sheet cannot be read as it is, holds a data track or its data file
    // ends before a track of the sheet.
    explicit DiscImageSource(const QString& cuePath);

    const QString& cuePath() const { return m_cue; }
    const cdio::DiscDescription& description() const { return m_disc; }
    // The data file the sheet names, as found.
    const QString& dataFile() const { return m_bin; }
    // From the first track's gap to the lead-out.
    qint64 sectors() const;
    DiscInfo discInfo() const;
    // The tracks, each with a feed of its sectors (gap included). Cheap: nothing is read yet.
    std::vector<PlannedTrack> plan() const;
    // What each track is, without feeds (for a cue sheet of the disc).
    std::vector<TrackInfo> trackInfos() const;

private:
    QString m_cue;
    QString m_bin;
    cdio::DiscDescription m_disc;
};

// A CUE sheet by its name: "cue" in the last three characters, as file types go.
bool isCueSheet(const QString& path);

} // namespace burning
