#pragma once

// Answers of the web services, built as their documentation describes them: MusicBrainz's JSON
// for /ws/2/discid/ID?inc=recordings+artist-credits, and AccurateRip's dBAR records.

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QtEndian>

struct TestRelease {
    QString id;
    QString title;
    QString artist;
    QString date;
    QString country;
    QStringList tracks;
    int media = 1; // the disc is on the last medium
};

inline QJsonArray artistCredit(const QString& name, const QString& id) {
    return QJsonArray{
        QJsonObject{{"name", name},
                    {"joinphrase", ""},
                    {"artist", QJsonObject{{"id", id}, {"name", name}, {"sort-name", name}}}}};
}

inline QByteArray musicBrainzDiscAnswer(const QString& discId, const QList<TestRelease>& releases) {
    QJsonArray list;
    for (const TestRelease& r : releases) {
        QJsonArray media;
        for (int m = 1; m <= r.media; ++m) {
            const bool ours = m == r.media;
            QJsonArray tracks;
            for (int t = 0; t < r.tracks.size(); ++t) {
                const QString title = ours ? r.tracks[t] : QStringLiteral("Other %1").arg(t + 1);
                tracks.append(QJsonObject{
                    {"id", QStringLiteral("track-%1-%2-%3").arg(r.id).arg(m).arg(t + 1)},
                    {"number", QString::number(t + 1)},
                    {"position", t + 1},
                    {"title", title},
                    {"length", 180000},
                    {"artist-credit", artistCredit(r.artist, "artist-" + r.id)},
                    {"recording",
                     QJsonObject{{"id", QStringLiteral("recording-%1-%2").arg(r.id).arg(t + 1)},
                                 {"title", title},
                                 {"length", 180000}}}});
            }
            QJsonArray discs;
            if (ours)
                discs.append(QJsonObject{{"id", discId}, {"sectors", 123456}});
            media.append(QJsonObject{{"position", m},
                                     {"format", "CD"},
                                     {"track-count", tracks.size()},
                                     {"discs", discs},
                                     {"tracks", tracks}});
        }
        list.append(QJsonObject{{"id", r.id},
                                {"title", r.title},
                                {"status", "Official"},
                                {"date", r.date},
                                {"country", r.country},
                                {"barcode", "5012345678900"},
                                {"artist-credit", artistCredit(r.artist, "artist-" + r.id)},
                                {"media", media}});
    }
    const QJsonObject root{{"id", discId}, {"offset-count", 12}, {"releases", list}};
    return QJsonDocument(root).toJson();
}

struct TestPressing {
    quint32 id1 = 0;
    quint32 id2 = 0;
    quint32 cddb = 0;
    QList<std::pair<int, quint32>> tracks; // confidence, checksum
};

inline QByteArray accurateRipEntry(const QList<TestPressing>& pressings) {
    QByteArray data;
    auto word = [&](quint32 value) {
        char bytes[4];
        qToLittleEndian(value, bytes);
        data.append(bytes, 4);
    };
    for (const TestPressing& p : pressings) {
        data.append(char(p.tracks.size()));
        word(p.id1);
        word(p.id2);
        word(p.cddb);
        for (const auto& [confidence, sum] : p.tracks) {
            data.append(char(confidence));
            word(sum);
            word(0); // the frame-450 checksum, not used here
        }
    }
    return data;
}
