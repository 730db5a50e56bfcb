#pragma once

#include "backends/cdio/ChosenReleases.h"
#include "backends/cdio/Disc.h"
#include "components/DiscLookup.h"

#include <memory>

namespace lookup {
class MusicBrainzLookup;
}

namespace cdio {

class DriveTable;

// DiscLookup on the MusicBrainz web service: the disc ID from the drive's table of contents
// (libdiscid), the releases that hold it, and the chosen one remembered for the rips' tags.
class TrackNameLookup final : public DiscLookup {
    Q_OBJECT
public:
    TrackNameLookup(std::shared_ptr<DriveTable> drives, std::shared_ptr<ChosenReleases> chosen,
                    QObject* parent = nullptr);
    ~TrackNameLookup() override;

    void LookUpTrackNames(qint32 address) override;
    QStringList ChooseRelease(qint32 index) override;
    void CancelLookUp() override;

private:
    std::shared_ptr<DriveTable> m_drives;
    std::shared_ptr<ChosenReleases> m_chosen;
    lookup::MusicBrainzLookup* m_musicBrainz;
    Toc m_toc;
    QString m_discId;
    QString m_submission;
    QList<lookup::Release> m_releases;
};

} // namespace cdio
