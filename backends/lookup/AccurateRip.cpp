#include "backends/lookup/AccurateRip.h"

#include "backends/lookup/WebRequest.h"

#include <QtEndian>

namespace lookup {
namespace {

constexpr int kHeaderBytes = 13; // track count, ID1, ID2, CDDB ID
constexpr int kTrackBytes = 9;   // confidence, checksum, frame 450 checksum

QString hex8(quint32 value) {
    return QStringLiteral("%1").arg(value, 8, 16, QChar(u'0'));
}

quint32 word(const QByteArray& data, qsizetype at) {
    return qFromLittleEndian<quint32>(data.constData() + at);
}

} // namespace

QString AccurateRipDisc::path() const {
    const QString digits = hex8(id1);
    return QStringLiteral("%1/%2/%3/dBAR-%4-%5-%6-%7.bin")
        .arg(digits.at(7))
        .arg(digits.at(6))
        .arg(digits.at(5))
        .arg(audioTracks, 3, 10, QChar(u'0'))
        .arg(digits, hex8(id2), hex8(cddb));
}

std::optional<AccurateRipEntry> parseAccurateRip(const QByteArray& data, QString* why) {
    AccurateRipEntry entry;
    qsizetype at = 0;
    while (at < data.size()) {
        if (data.size() - at < kHeaderBytes) {
            *why = QStringLiteral("it ends inside a record's header (byte %1 of %2)")
                       .arg(at)
                       .arg(data.size());
            return std::nullopt;
        }
        AccurateRipEntry::Pressing pressing;
        pressing.trackCount = quint8(data[at]);
        pressing.id1 = word(data, at + 1);
        pressing.id2 = word(data, at + 5);
        pressing.cddb = word(data, at + 9);
        at += kHeaderBytes;
        if (pressing.trackCount == 0 || pressing.trackCount > 99) {
            *why = QStringLiteral("a record claims %1 tracks").arg(pressing.trackCount);
            return std::nullopt;
        }
        if (data.size() - at < qsizetype(pressing.trackCount) * kTrackBytes) {
            *why = QStringLiteral("a record of %1 tracks is cut short").arg(pressing.trackCount);
            return std::nullopt;
        }
        for (int t = 0; t < pressing.trackCount; ++t) {
            AccurateRipEntry::Track track;
            track.confidence = quint8(data[at]);
            track.crc = word(data, at + 1);
            track.frame450 = word(data, at + 5);
            pressing.tracks.append(track);
            at += kTrackBytes;
        }
        entry.pressings.append(pressing);
    }
    if (entry.pressings.isEmpty()) {
        *why = QStringLiteral("it is empty");
        return std::nullopt;
    }
    return entry;
}

QString AccurateRipVerdict::text() const {
    switch (kind) {
    case Kind::Accurate:
        return QStringLiteral("accurately ripped (confidence %1, v%2)")
            .arg(confidence)
            .arg(version);
    case Kind::NotInDatabase:
        return QStringLiteral("not in database");
    case Kind::Differs:
        break;
    }
    return QStringLiteral("differs");
}

AccurateRipVerdict verdictFor(const AccurateRipEntry& entry, int track, quint32 v1, quint32 v2) {
    AccurateRipVerdict verdict;
    bool known = false;
    for (const AccurateRipEntry::Pressing& pressing : entry.pressings) {
        if (track < 1 || track > pressing.tracks.size())
            continue;
        const AccurateRipEntry::Track& t = pressing.tracks[track - 1];
        if (t.confidence == 0)
            continue;
        known = true;
        for (const auto& [sum, version] : {std::pair(v2, 2), std::pair(v1, 1)}) {
            if (t.crc != sum)
                continue;
            const bool better = verdict.kind != AccurateRipVerdict::Kind::Accurate ||
                                t.confidence > verdict.confidence ||
                                (t.confidence == verdict.confidence && version > verdict.version);
            if (better)
                verdict = {AccurateRipVerdict::Kind::Accurate, t.confidence, version};
        }
    }
    if (verdict.kind != AccurateRipVerdict::Kind::Accurate && known)
        verdict.kind = AccurateRipVerdict::Kind::Differs;
    return verdict;
}

QList<std::pair<quint32, int>> checksumsOf(const AccurateRipEntry& entry, int track) {
    QList<std::pair<quint32, int>> sums;
    for (const AccurateRipEntry::Pressing& pressing : entry.pressings)
        if (track >= 1 && track <= pressing.tracks.size() &&
            pressing.tracks[track - 1].confidence > 0)
            sums.append({pressing.tracks[track - 1].crc, pressing.tracks[track - 1].confidence});
    return sums;
}

QUrl accurateRipBase() {
    QString base = qEnvironmentVariable("MELVANE_ACCURATERIP_URL");
    if (base.isEmpty())
        base = QStringLiteral("http://www.accuraterip.com/accuraterip/");
    if (!base.endsWith(u'/'))
        base += u'/';
    return QUrl(base);
}

AccurateRipAnswer parseAccurateRipReply(const WebReply& reply) {
    AccurateRipAnswer answer;
    const QString host = accurateRipBase().host();
    if (!reply.answered()) {
        answer.problem = QStringLiteral("the AccurateRip database (%1) cannot be reached: %2")
                             .arg(host, reply.problem);
        return answer;
    }
    if (reply.status == 404) {
        answer.kind = AccurateRipAnswer::Kind::NotFound;
        return answer;
    }
    if (reply.status != 200) {
        answer.problem =
            QStringLiteral("the AccurateRip database (%1) refused the request (HTTP %2)")
                .arg(host)
                .arg(reply.status);
        return answer;
    }
    QString why;
    const std::optional<AccurateRipEntry> entry = parseAccurateRip(reply.body, &why);
    if (!entry) {
        answer.problem =
            QStringLiteral("the AccurateRip database (%1) sent an entry that cannot be read: %2")
                .arg(host, why);
        return answer;
    }
    answer.kind = AccurateRipAnswer::Kind::Found;
    answer.entry = *entry;
    return answer;
}

AccurateRipLookup::AccurateRipLookup(QObject* parent)
    : QObject(parent), m_request(new WebRequest(this)) {
    connect(m_request, &WebRequest::done, this,
            [this](const WebReply& reply) { Q_EMIT finished(parseAccurateRipReply(reply)); });
}

void AccurateRipLookup::fetch(const AccurateRipDisc& disc) {
    m_request->get(accurateRipBase().resolved(QUrl(disc.path())), m_timeout);
}

void AccurateRipLookup::cancel() {
    m_request->abort();
}

} // namespace lookup
