#include "backends/cdio/TrackNameLookup.h"

#include "backends/cdio/DiscIds.h"
#include "backends/cdio/DriveTable.h"
#include "components/Error.h"

namespace cdio {

TrackNameLookup::TrackNameLookup(std::shared_ptr<DriveTable> drives,
                                 std::shared_ptr<ChosenReleases> chosen, QObject* parent)
    : DiscLookup(parent), m_drives(std::move(drives)), m_chosen(std::move(chosen)),
      m_musicBrainz(new lookup::MusicBrainzLookup(this)) {
    connect(m_musicBrainz, &lookup::MusicBrainzLookup::finished, this,
            [this](const lookup::DiscAnswer& answer) {
                m_releases = answer.releases;
                switch (answer.kind) {
                case lookup::DiscAnswer::Kind::Found: {
                    QStringList lines;
                    for (const lookup::Release& release : m_releases)
                        lines << release.description();
                    Q_EMIT LookUpDone(lines);
                    return;
                }
                case lookup::DiscAnswer::Kind::NotFound:
                    Q_EMIT LookUpFailed(
                        QStringLiteral("MusicBrainz does not know this disc (disc ID %1), so the "
                                       "track names stay as they are.\n\nThe disc can be added to "
                                       "MusicBrainz at %2")
                            .arg(m_discId, m_submission));
                    return;
                case lookup::DiscAnswer::Kind::Failed:
                    break;
                }
                Q_EMIT LookUpFailed(answer.problem +
                                    QStringLiteral(".\n\nThe track names stay as they are."));
            });
}

TrackNameLookup::~TrackNameLookup() = default;

void TrackNameLookup::LookUpTrackNames(qint32 address) {
    const Drive drive = m_drives->drive(address);
    m_toc = Disc(drive).toc();
    const DiscIds ids = discIdsOf(m_toc);
    if (ids.musicBrainz.isEmpty())
        throw Error(
            QStringLiteral("The disc in %1 has no audio tracks to look up").arg(drive.name()));
    m_discId = ids.musicBrainz;
    m_submission = ids.musicBrainzSubmission;
    m_releases.clear();
    m_musicBrainz->lookUp(m_discId);
}

QStringList TrackNameLookup::ChooseRelease(qint32 index) {
    if (index < 0 || index >= m_releases.size())
        throw IndexError(QStringLiteral("there is no release number %1 of the disc (there are "
                                        "%2)")
                             .arg(index)
                             .arg(m_releases.size()));
    const lookup::Release& release = m_releases[index];
    m_chosen->remember(m_discId, release);
    QStringList names;
    int next = 0;
    for (const TocTrack& t : m_toc.tracks) {
        const bool named = t.audio() && next < release.tracks.size();
        names << (named ? release.tracks[next++].title : QString());
    }
    return names;
}

void TrackNameLookup::CancelLookUp() {
    m_musicBrainz->cancel();
}

} // namespace cdio
