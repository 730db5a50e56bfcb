#pragma once

#include "backends/lookup/MusicBrainz.h"

#include <QHash>
#include <QString>

namespace cdio {

// The MusicBrainz releases chosen for discs by their disc ID, shared by the track-name lookup
// and the rips, whose tags take the album facts from here. User-interface thread.
class ChosenReleases {
public:
    void remember(const QString& discId, const lookup::Release& release) {
        m_releases.insert(discId, release);
    }
    const lookup::Release* find(const QString& discId) const {
        const auto it = m_releases.constFind(discId);
        return it == m_releases.constEnd() ? nullptr : &*it;
    }

private:
    QHash<QString, lookup::Release> m_releases;
};

} // namespace cdio
