#pragma once

// CUE/BIN images for the CD tests, written into a folder the test owns. Audio is noise from a
// fixed seed, so every sample is known; a track that does not fill its last sector is
// completed with silence, as a burner does.

#include "tests/support/TestFiles.h"

#include <QList>
#include <QString>
#include <QtEndian>
#include <cstring>
#include <utility>
#include <vector>

// Where the drive table puts the first image: a host no real drive has.
constexpr qint32 kImageHost = 255 << 16;

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

// 450 sectors of audio under a sheet whose track 2 starts at 00:04:00 and runs past the data's
// end at 00:06:00, and whose track 3 starts at 00:20:00, after it.
inline TestImage writeShortImage(const QString& folder) {
    TestImage image =
        writeImage(folder, QStringLiteral("short"), {{QStringLiteral("AUDIO"), 588 * 450}}, 3);
    QFile cue(image.cue);
    cue.open(QIODevice::WriteOnly | QIODevice::Truncate);
    cue.write("FILE \"short.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
              "  TRACK 02 AUDIO\n    INDEX 01 00:04:00\n  TRACK 03 AUDIO\n    INDEX 01 00:20:00\n");
    return image;
}

// The data file of an image written here: the sheet's name ending in .bin.
inline QString binOf(const QString& cue) {
    return cue.left(cue.size() - 4) + QStringLiteral(".bin");
}

// The three-track audio disc and the mixed-mode disc most CD tests read.
inline TestImage writeAudioDisc(const QString& folder) {
    return writeImage(folder, QStringLiteral("audio"),
                      {{QStringLiteral("AUDIO"), 44100 * 2 + 17},
                       {QStringLiteral("AUDIO"), 588 * 100, 113},
                       {QStringLiteral("AUDIO"), 4410 + 1}},
                      1, QStringLiteral("TITLE \"Test\"\n"));
}
inline TestImage writeMixedDisc(const QString& folder) {
    return writeImage(folder, QStringLiteral("mixed"),
                      {{QStringLiteral("MODE1/2352"), 588 * 300},
                       {QStringLiteral("AUDIO"), 588 * 80 + 300, 150},
                       {QStringLiteral("AUDIO"), 588 * 75}},
                      2);
}

// The samples of a WAV file's data chunk; empty when there is none.
inline std::vector<qint16> wavSamples(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    for (qsizetype at = 12; at + 8 <= bytes.size();) {
        const quint32 size = qFromLittleEndian<quint32>(bytes.constData() + at + 4);
        if (bytes.mid(at, 4) == "data") {
            std::vector<qint16> samples(size / 2);
            std::memcpy(samples.data(), bytes.constData() + at + 8, samples.size() * 2);
            return samples;
        }
        at += 8 + size + (size & 1);
    }
    return {};
}

// Checksums written from their definitions, bit by bit, to hold the product's against.
inline quint32 referenceCrc32(const QByteArray& bytes) {
    quint32 crc = 0xffffffff;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 1 ? (crc >> 1) ^ 0xedb88320 : crc >> 1;
    }
    return ~crc;
}
inline quint32 referenceCrc32(const std::vector<qint16>& samples) {
    QByteArray bytes;
    for (const qint16 sample : samples)
        bytes.append(char(quint16(sample) & 0xff)).append(char(quint16(sample) >> 8));
    return referenceCrc32(bytes);
}
// AccurateRip v1 and v2; the first track skips its first 2939 frames, the last its last 2940.
inline std::pair<quint32, quint32> referenceAccurateRip(const std::vector<qint16>& pcm, bool first,
                                                        bool last) {
    const qint64 frames = qint64(pcm.size() / 2);
    quint32 v1 = 0;
    quint32 v2 = 0;
    for (qint64 i = first ? 2939 : 0; i < (last ? frames - 2940 : frames); ++i) {
        const quint64 sample = quint16(pcm[2 * i]) + 65536ull * quint16(pcm[2 * i + 1]);
        const quint64 product = sample * quint64(i + 1);
        v1 += quint32(product);
        v2 += quint32(product) + quint32(product >> 32);
    }
    return {v1, v2};
}
