#pragma once

// The disc the metadata tests rip: twelve audio tracks whose CUE sheet carries a catalogue
// number, CD-Text (album, artist, titles, a guest performer), ISRCs and a pre-emphasis flag,
// two INDEX 00 gaps; optionally sound hidden before track 1. And what the tests hold a rip
// against: the disc's AccurateRip address and entry from the published definitions, and the
// rip's cue sheet with its WAV files turned back into one image that libcdio reads.

#include "backends/lookup/AccurateRip.h"
#include "tests/cdio/CdImages.h"
#include "tests/lookup/ServiceAnswers.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

struct MetadataDisc {
    TestImage image;
    QString album = QStringLiteral("Twelve Songs");
    QString artist = QStringLiteral("The Testers");
    QString mcn = QStringLiteral("0724384260910");
    QStringList titles;
    QStringList isrcs; // empty for the tracks without one

    QString title(int n) const { return titles[n - 1]; }
};

inline MetadataDisc writeMetadataDisc(const QString& folder, const QString& name,
                                      bool hiddenTrack = false) {
    MetadataDisc disc;
    QList<TrackSpec> tracks;
    for (int n = 1; n <= 12; ++n) {
        TrackSpec t;
        t.frames = 588 * (75 + 13 * n) + 7 * n; // about 1 to 3 seconds, odd ends
        t.gapSectors = n == 1 ? (hiddenTrack ? 90 : 0) : n == 4 || n == 9 ? 30 + n : 0;
        tracks << t;
        disc.titles << QStringLiteral("Song Number %1").arg(n);
        disc.isrcs << (n % 3 == 0 ? QString()
                                  : QStringLiteral("GBAYE99000%1").arg(n, 2, 10, QChar(u'0')));
    }
    disc.titles[6] = QStringLiteral("Seven, with a Guest");
    disc.titles[9] = QStringLiteral("Caf\u00e9 Ten"); // CD-Text is ISO 8859-1
    disc.image = writeImage(folder, name, tracks, 11,
                            QStringLiteral("CATALOG %1\nTITLE \"%2\"\nPERFORMER \"%3\"\n")
                                .arg(disc.mcn, disc.album, disc.artist));
    // Each track's CD-Text, ISRC and flags go after its TRACK line.
    QFile cue(disc.image.cue);
    cue.open(QIODevice::ReadOnly);
    QString sheet = QString::fromUtf8(cue.readAll());
    cue.close();
    for (int n = 12; n >= 1; --n) {
        const QString line = QStringLiteral("  TRACK %1 AUDIO\n").arg(n, 2, 10, QChar(u'0'));
        QString extra = QStringLiteral("    TITLE \"%1\"\n").arg(disc.title(n));
        if (n == 7)
            extra += QStringLiteral("    PERFORMER \"A Guest\"\n");
        if (!disc.isrcs[n - 1].isEmpty())
            extra += QStringLiteral("    ISRC %1\n").arg(disc.isrcs[n - 1]);
        if (n == 5)
            extra += QStringLiteral("    FLAGS PRE\n");
        sheet.replace(line, line + extra);
    }
    cue.open(QIODevice::WriteOnly | QIODevice::Truncate);
    cue.write(sheet.toLatin1());
    return disc;
}

// The disc's AccurateRip IDs and its entry's address, from the published definitions.
inline lookup::AccurateRipDisc referenceAccurateRipDisc(const TestImage& image) {
    const auto count = quint32(image.starts.size());
    const qint32 leadout = image.starts.last() + image.sectors.last();
    lookup::AccurateRipDisc disc;
    disc.audioTracks = int(count);
    disc.id1 = quint32(leadout);
    disc.id2 = quint32(leadout) * (count + 1);
    int digits = 0;
    for (quint32 i = 0; i < count; ++i) {
        disc.id1 += quint32(image.starts[i]);
        disc.id2 += quint32(qMax(image.starts[i], 1)) * (i + 1);
        for (const QChar c : QString::number((image.starts[i] + 150) / 75))
            digits += c.digitValue();
    }
    disc.cddb = quint32(digits % 255) << 24 |
                quint32((leadout + 150) / 75 - (image.starts[0] + 150) / 75) << 8 | count;
    return disc;
}

// "NNN-ID1-ID2-CDDB", the disc ID a rip ends with.
inline QString referenceAccurateRipId(const TestImage& image) {
    return referenceAccurateRipDisc(image).path().section(QStringLiteral("dBAR-"), 1).chopped(4);
}

inline QString hex(quint32 value) {
    return QStringLiteral("%1").arg(value, 8, 16, QChar(u'0'));
}

// The tags ffprobe reads from a file's container.
inline QJsonObject tagsOf(const QString& path) {
    QProcess probe;
    probe.start(QStringLiteral("ffprobe"),
                {"-v", "error", "-show_entries", "format_tags", "-of", "json", path});
    probe.waitForFinished(30000);
    const QJsonObject format = QJsonDocument::fromJson(probe.readAllStandardOutput())
                                   .object()
                                   .value(QStringLiteral("format"))
                                   .toObject();
    return format.value(QStringLiteral("tags")).toObject();
}

// An entry with a v1 record (confidence 4) and a v2 record (confidence 9) of every track;
// alter names a track whose records are spoilt.
inline QByteArray referenceAccurateRipEntry(const TestImage& image, int alter = 0) {
    const lookup::AccurateRipDisc disc = referenceAccurateRipDisc(image);
    TestPressing v1{disc.id1, disc.id2, disc.cddb, {}};
    TestPressing v2 = v1;
    const int count = int(image.starts.size());
    for (int n = 1; n <= count; ++n) {
        auto [sum1, sum2] = referenceAccurateRip(image.track(n), n == 1, n == count);
        if (n == alter) {
            sum1 ^= 0x10;
            sum2 ^= 0x10;
        }
        v1.tracks << std::pair(4, sum1);
        v2.tracks << std::pair(9, sum2);
    }
    return accurateRipEntry({v1, v2});
}

// A rip's cue sheet with its WAV files joined into one image: what a burner makes of them.
// The FILE lines become one, each INDEX moves by the length of the files before its own.
inline QString joinRipImage(const QString& ripCue, const QString& folder) {
    QFile in(ripCue);
    in.open(QIODevice::ReadOnly);
    const QStringList lines = QString::fromLatin1(in.readAll()).split(u'\n');
    const QString bin = QDir(folder).filePath(QStringLiteral("joined.bin"));
    QFile data(bin);
    data.open(QIODevice::WriteOnly);
    QString sheet = QStringLiteral("FILE \"joined.bin\" BINARY\n");
    qint64 fileStart = -1; // sectors, of the file being read
    qint64 nextStart = 0;
    static const QRegularExpression index(
        QStringLiteral("^(\\s*INDEX \\d\\d )(\\d\\d):(\\d\\d):(\\d\\d)"));
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("FILE "))) {
            const QString name = line.section(u'"', 1, 1);
            const std::vector<qint16> samples =
                wavSamples(QDir(QFileInfo(ripCue).path()).filePath(name));
            data.write(reinterpret_cast<const char*>(samples.data()), qint64(samples.size()) * 2);
            fileStart = nextStart;
            nextStart += qint64(samples.size()) / 1176;
            continue;
        }
        const QRegularExpressionMatch m = index.match(line);
        if (m.hasMatch()) {
            const qint64 at = fileStart +
                              (m.captured(2).toInt() * 60 + m.captured(3).toInt()) * 75 +
                              m.captured(4).toInt();
            sheet += QStringLiteral("%1%2:%3:%4\n")
                         .arg(m.captured(1))
                         .arg(at / 75 / 60, 2, 10, QChar(u'0'))
                         .arg(at / 75 % 60, 2, 10, QChar(u'0'))
                         .arg(at % 75, 2, 10, QChar(u'0'));
        } else if (!line.isEmpty()) {
            sheet += line + u'\n';
        }
    }
    const QString cue = QDir(folder).filePath(QStringLiteral("joined.cue"));
    QFile out(cue);
    out.open(QIODevice::WriteOnly);
    out.write(sheet.toLatin1());
    return cue;
}
