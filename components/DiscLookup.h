#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

// Track names from the MusicBrainz web service for the disc in a drive, found by its disc ID.
// A lookup runs in the background: LookUpTrackNames returns at once (after reading the table
// of contents) and ends with LookUpDone or LookUpFailed, queued on the thread that asked.
class DiscLookup : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Starts looking the disc in the drive up; one at a time, a new one replaces the last.
    // Raises Error when the drive cannot be read.
    virtual void LookUpTrackNames(qint32 address) = 0;
    // The names of one of the releases LookUpDone listed (from 0), one per track of the disc
    // in order, empty for a track the release does not name (a data track). The release's
    // album facts (album, artist, year, identifiers) are kept for the tags of the disc's rips.
    virtual QStringList ChooseRelease(qint32 index) = 0;
    // Stops a lookup in progress; nothing more comes of it.
    virtual void CancelLookUp() = 0;

Q_SIGNALS:
    // The releases that hold the disc, one line each ("Artist - Album (1999, GB)").
    void LookUpDone(const QStringList& releases);
    // Why there are no names: the service cannot be reached, does not answer in time, answers
    // with something else, or does not know the disc. In plain words for a message box.
    void LookUpFailed(const QString& message);
};
