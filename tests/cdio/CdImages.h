#pragma once

// CUE/BIN images for the CD tests, written into a folder the test owns. Audio is noise from a
// fixed seed, so every sample is known; a track that does not fill its last sector is
// completed with silence, as a burner does.

#include <QDir>
#include <QFile>
#include <QList>
#include <QString>
#include <vector>

struct TrackSpec {
    QString mode = QStringLiteral("AUDIO"); // or MODE1/2352, MODE2/2352 ...
    qint64 frames = 0;                      // samples of each channel; data tracks fill sectors
    int gapSectors = 0;                     // an INDEX 00 gap stored before the track
};

struct TestImage {
    QString cue;
    QList<qint32> starts;     // sector of each track's INDEX 01
    QList<qint32> sectors;    // each track's length, the next track's gap included
    std::vector<qint16> disc; // the whole data file as samples
    qint32 audioFirst = 0;    // the audio area, in sectors: first, and one past the last
    qint32 audioEnd = 0;

    // Samples of frames first up to end (absolute frame numbers); silence outside the audio.
    std::vector<qint16> samples(qint64 first, qint64 end) const {
        std::vector<qint16> out;
        for (qint64 f = first; f < end; ++f)
            for (int c = 0; c < 2; ++c)
                out.push_back(f >= audioFirst * 588LL && f < audioEnd * 588LL
                                  ? disc[size_t(f * 2 + c)]
                                  : qint16(0));
        return out;
    }
    std::vector<qint16> track(int n) const {
        return samples(starts[n - 1] * 588LL, (starts[n - 1] + sectors[n - 1]) * 588LL);
    }
};

inline TestImage writeImage(const QString& folder, const QString& name,
                            const QList<TrackSpec>& tracks, quint32 seed = 1,
                            const QString& extraLines = {}) {
    TestImage image;
    image.cue = QDir(folder).filePath(name + QStringLiteral(".cue"));
    QString sheet = QStringLiteral("FILE \"%1.bin\" BINARY\n").arg(name) + extraLines;
    auto msf = [](qint64 s) {
        return QStringLiteral("%1:%2:%3")
            .arg(s / 75 / 60, 2, 10, QChar(u'0'))
            .arg(s / 75 % 60, 2, 10, QChar(u'0'))
            .arg(s % 75, 2, 10, QChar(u'0'));
    };
    quint32 state = seed;
    bool audioSeen = false;
    for (int i = 0; i < tracks.size(); ++i) {
        const TrackSpec& t = tracks[i];
        sheet += QStringLiteral("  TRACK %1 %2\n").arg(i + 1, 2, 10, QChar(u'0')).arg(t.mode);
        const bool audio = t.mode == QLatin1String("AUDIO");
        if (t.gapSectors > 0) {
            sheet += QStringLiteral("    INDEX 00 %1\n").arg(msf(qint64(image.disc.size()) / 1176));
            for (qint64 s = 0; s < t.gapSectors * 1176LL; ++s)
                image.disc.push_back(qint16(s % 7 - 3)); // a quiet gap, not silence
        }
        const qint32 start = qint32(image.disc.size() / 1176);
        sheet += QStringLiteral("    INDEX 01 %1\n").arg(msf(start));
        image.starts.append(start);
        if (audio && !audioSeen)
            image.audioFirst = start;
        audioSeen = audioSeen || audio;
        for (qint64 s = 0; s < t.frames * 2; ++s) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            image.disc.push_back(qint16(state >> 16));
        }
        image.disc.resize((image.disc.size() + 1175) / 1176 * 1176, 0);
        if (audio)
            image.audioEnd = qint32(image.disc.size() / 1176);
    }
    for (int i = 0; i < image.starts.size(); ++i)
        image.sectors.append(
            (i + 1 < image.starts.size() ? image.starts[i + 1] : qint32(image.disc.size() / 1176)) -
            image.starts[i]);
    QFile bin(QDir(folder).filePath(name + QStringLiteral(".bin")));
    bin.open(QIODevice::WriteOnly);
    bin.write(reinterpret_cast<const char*>(image.disc.data()), qint64(image.disc.size()) * 2);
    QFile cue(image.cue);
    cue.open(QIODevice::WriteOnly);
    cue.write(sheet.toUtf8());
    return image;
}
