#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <chrono>

namespace lookup {

class WebRequest;
struct WebReply;

// One track of a release's medium, as MusicBrainz lists it.
struct ReleaseTrack {
    QString title;
    QString artist;      // as credited, joined ("A feat. B")
    QString trackId;     // the release track's MBID
    QString recordingId; // the recording's MBID
};

// A release that holds the disc: the album facts the tags want, and its medium's tracks.
struct Release {
    QString id; // MBID
    QString title;
    QString artist;
    QStringList artistIds;
    QString date; // "1999-05-01", "1999" or empty
    QString country;
    QString barcode;
    QString format; // of the medium: "CD", "Enhanced CD" ...
    int mediumPosition = 1;
    int mediumCount = 1;
    QList<ReleaseTrack> tracks;

    QString year() const { return date.left(4); }
    // "Artist - Album (1999, GB, CD 2 of 3)", for a choice between releases.
    QString description() const;
};

// What a disc ID lookup came to.
struct DiscAnswer {
    enum class Kind { Found, NotFound, Failed };
    Kind kind = Kind::Failed;
    QList<Release> releases; // Found: one or more
    QString problem;         // Failed: why, in words for the user
};

// MELVANE_MUSICBRAINZ_URL, or https://musicbrainz.org/ws/2/; always ending in '/'.
QUrl musicBrainzBase();
// What an answer of the web service to /discid/ID means. A disc that only a CD stub knows
// counts as not found.
DiscAnswer parseDiscAnswer(const WebReply& reply, const QString& discId);

// Looks a disc ID up on the MusicBrainz web service (JSON), on the thread that made it:
// one request a second at most in this process, a bounded time. finished() comes once per
// lookUp(), queued.
class MusicBrainzLookup final : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kTimeout{15000};
    static constexpr std::chrono::milliseconds kSpacing{1000};

    explicit MusicBrainzLookup(QObject* parent = nullptr);

    void lookUp(const QString& discId);
    // Stops a lookup in progress without finished().
    void cancel();
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

Q_SIGNALS:
    void finished(const lookup::DiscAnswer& answer);

private:
    WebRequest* m_request;
    QString m_discId;
    std::chrono::milliseconds m_timeout = kTimeout;
};

} // namespace lookup
