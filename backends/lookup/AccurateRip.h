#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <chrono>
#include <optional>

namespace lookup {

class WebRequest;
struct WebReply;

// The AccurateRip database entry of a disc: one record per pressing (and checksum version)
// that users submitted, each with a confidence and a checksum per track.
struct AccurateRipEntry {
    struct Track {
        int confidence = 0;
        quint32 crc = 0;      // the track's AccurateRip checksum, v1 or v2
        quint32 frame450 = 0; // the checksum of its 450th sector, for offset detection
    };
    struct Pressing {
        int trackCount = 0;
        quint32 id1 = 0;
        quint32 id2 = 0;
        quint32 cddb = 0;
        QList<Track> tracks;
    };
    QList<Pressing> pressings;
};

// The disc a database entry belongs to: its audio tracks and its three IDs.
struct AccurateRipDisc {
    int audioTracks = 0;
    quint32 id1 = 0;
    quint32 id2 = 0;
    quint32 cddb = 0;

    // "a/b/c/dBAR-NNN-ID1-ID2-CDDB.bin", a b c the last three hex digits of ID1, last first.
    QString path() const;
};

// The entry of a .bin file; nothing, with the reason, when the data is not one.
std::optional<AccurateRipEntry> parseAccurateRip(const QByteArray& data, QString* why);

// What the database says of one ripped track.
struct AccurateRipVerdict {
    enum class Kind { Accurate, NotInDatabase, Differs };
    Kind kind = Kind::NotInDatabase;
    int confidence = 0; // Accurate: of the best matching record
    int version = 0;    // Accurate: 1 or 2, the checksum that matched

    // "accurately ripped (confidence 5, v2)", "not in database", "differs".
    QString text() const;
};

// Compares a track's v1 and v2 checksums with every pressing; track counts the disc's audio
// tracks from 1. A track no pressing has a checksum for (or only with confidence 0) is not in
// the database; the best match wins, v2 before v1 at the same confidence.
AccurateRipVerdict verdictFor(const AccurateRipEntry& entry, int track, quint32 v1, quint32 v2);

// The pressings' v1 checksums and confidences of one track, for the offset search.
QList<std::pair<quint32, int>> checksumsOf(const AccurateRipEntry& entry, int track);

// What fetching a disc's entry came to.
struct AccurateRipAnswer {
    enum class Kind { Found, NotFound, Failed };
    Kind kind = Kind::Failed;
    AccurateRipEntry entry;
    QString problem; // Failed: why, in words for the user
};

// MELVANE_ACCURATERIP_URL, or http://www.accuraterip.com/accuraterip/; always ending in '/'.
QUrl accurateRipBase();
AccurateRipAnswer parseAccurateRipReply(const WebReply& reply);

// Fetches a disc's entry, on the thread that made it, in a bounded time. finished() comes once
// per fetch(), queued.
class AccurateRipLookup final : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kTimeout{15000};

    explicit AccurateRipLookup(QObject* parent = nullptr);

    void fetch(const AccurateRipDisc& disc);
    void cancel();
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

Q_SIGNALS:
    void finished(const lookup::AccurateRipAnswer& answer);

private:
    WebRequest* m_request;
    std::chrono::milliseconds m_timeout = kTimeout;
};

} // namespace lookup
