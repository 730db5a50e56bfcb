#include "backends/lookup/MusicBrainz.h"

#include "backends/lookup/WebRequest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace lookup {
namespace {

QString credited(const QJsonArray& credit, QStringList* ids = nullptr) {
    QString text;
    for (const QJsonValue& part : credit) {
        const QJsonObject o = part.toObject();
        const QJsonObject artist = o.value(QLatin1String("artist")).toObject();
        QString name = o.value(QLatin1String("name")).toString();
        if (name.isEmpty())
            name = artist.value(QLatin1String("name")).toString();
        text += name + o.value(QLatin1String("joinphrase")).toString();
        if (ids && artist.contains(QLatin1String("id")))
            ids->append(artist.value(QLatin1String("id")).toString());
    }
    return text;
}

bool holdsDisc(const QJsonObject& medium, const QString& discId) {
    for (const QJsonValue& disc : medium.value(QLatin1String("discs")).toArray())
        if (disc.toObject().value(QLatin1String("id")).toString() == discId)
            return true;
    return false;
}

Release releaseOf(const QJsonObject& o, const QString& discId) {
    Release r;
    r.id = o.value(QLatin1String("id")).toString();
    r.title = o.value(QLatin1String("title")).toString();
    r.artist = credited(o.value(QLatin1String("artist-credit")).toArray(), &r.artistIds);
    r.date = o.value(QLatin1String("date")).toString();
    r.country = o.value(QLatin1String("country")).toString();
    r.barcode = o.value(QLatin1String("barcode")).toString();
    const QJsonArray media = o.value(QLatin1String("media")).toArray();
    r.mediumCount = qMax(1, int(media.size()));
    // The medium with this disc ID; a release listed without its discs has one medium to take.
    QJsonObject medium;
    for (const QJsonValue& m : media) {
        if (holdsDisc(m.toObject(), discId) || medium.isEmpty())
            medium = m.toObject();
        if (holdsDisc(m.toObject(), discId))
            break;
    }
    r.mediumPosition = medium.value(QLatin1String("position")).toInt(1);
    r.format = medium.value(QLatin1String("format")).toString();
    for (const QJsonValue& t : medium.value(QLatin1String("tracks")).toArray()) {
        const QJsonObject track = t.toObject();
        const QJsonObject recording = track.value(QLatin1String("recording")).toObject();
        ReleaseTrack out;
        out.title = track.value(QLatin1String("title")).toString();
        if (out.title.isEmpty())
            out.title = recording.value(QLatin1String("title")).toString();
        QJsonArray credit = track.value(QLatin1String("artist-credit")).toArray();
        if (credit.isEmpty())
            credit = recording.value(QLatin1String("artist-credit")).toArray();
        out.artist = credit.isEmpty() ? r.artist : credited(credit);
        out.trackId = track.value(QLatin1String("id")).toString();
        out.recordingId = recording.value(QLatin1String("id")).toString();
        r.tracks.append(out);
    }
    return r;
}

DiscAnswer failed(const QString& problem) {
    DiscAnswer answer;
    answer.problem = problem;
    return answer;
}

} // namespace

QString Release::description() const {
    QStringList facts;
    if (!year().isEmpty())
        facts << year();
    if (!country.isEmpty())
        facts << country;
    const QString medium = format.isEmpty() ? QStringLiteral("CD") : format;
    if (mediumCount > 1)
        facts << QStringLiteral("%1 %2 of %3").arg(medium).arg(mediumPosition).arg(mediumCount);
    else if (!format.isEmpty() && format != QLatin1String("CD"))
        facts << format;
    QString text = artist.isEmpty() ? title : artist + QStringLiteral(" - ") + title;
    if (!facts.isEmpty())
        text += QStringLiteral(" (%1)").arg(facts.join(QStringLiteral(", ")));
    return text;
}

QUrl musicBrainzBase() {
    QString base = qEnvironmentVariable("MELVANE_MUSICBRAINZ_URL");
    if (base.isEmpty())
        base = QStringLiteral("https://musicbrainz.org/ws/2/");
    if (!base.endsWith(u'/'))
        base += u'/';
    return QUrl(base);
}

DiscAnswer parseDiscAnswer(const WebReply& reply, const QString& discId) {
    const QString host = musicBrainzBase().host();
    if (!reply.answered())
        return failed(
            QStringLiteral("MusicBrainz (%1) cannot be reached: %2").arg(host, reply.problem));
    if (reply.status == 404) {
        DiscAnswer answer;
        answer.kind = DiscAnswer::Kind::NotFound;
        return answer;
    }
    if (reply.status == 503)
        return failed(QStringLiteral("MusicBrainz (%1) is too busy to answer now (HTTP 503); try "
                                     "again in a while")
                          .arg(host));
    if (reply.status != 200)
        return failed(QStringLiteral("MusicBrainz (%1) refused the lookup (HTTP %2)")
                          .arg(host)
                          .arg(reply.status));
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(reply.body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return failed(QStringLiteral("MusicBrainz (%1) answered with something that is not a "
                                     "disc lookup (%2)")
                          .arg(host, error.error != QJsonParseError::NoError
                                         ? error.errorString()
                                         : QStringLiteral("not a JSON object")));
    const QJsonObject root = document.object();
    DiscAnswer answer;
    answer.kind = DiscAnswer::Kind::NotFound;
    if (!root.contains(QLatin1String("releases")))
        return answer;
    for (const QJsonValue& release : root.value(QLatin1String("releases")).toArray()) {
        if (release.isObject())
            answer.releases.append(releaseOf(release.toObject(), discId));
    }
    if (!answer.releases.isEmpty())
        answer.kind = DiscAnswer::Kind::Found;
    return answer;
}

MusicBrainzLookup::MusicBrainzLookup(QObject* parent)
    : QObject(parent), m_request(new WebRequest(this)) {
    connect(m_request, &WebRequest::done, this,
            [this](const WebReply& reply) { Q_EMIT finished(parseDiscAnswer(reply, m_discId)); });
}

void MusicBrainzLookup::lookUp(const QString& discId) {
    m_discId = discId;
    QUrl url = musicBrainzBase().resolved(QUrl(QStringLiteral("discid/") + discId));
    url.setQuery(QStringLiteral("inc=recordings+artist-credits&fmt=json"));
    m_request->get(url, m_timeout, kSpacing);
}

void MusicBrainzLookup::cancel() {
    m_request->abort();
}

} // namespace lookup
