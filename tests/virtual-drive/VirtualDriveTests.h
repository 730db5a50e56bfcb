#pragma once

// What the virtual drive's tests share: a pressed test disc as CUE/BIN, and programs run as
// child processes with the drive loaded.

#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

#include <cmath>

// Three audio tracks of tones with a little noise from a fixed seed (music enough for paranoia
// to tell the byte order): track 2 has a 113-sector INDEX 00 gap and pre-emphasis, track 1 an
// ISRC; the disc has an MCN and CD-Text titles.
struct TestDisc {
    QString cue;
    QByteArray bin;
    QList<int> starts{0, 264, 364};
    int leadOut = 372;

    QByteArray track(int n) const {
        const int end = n < 3 ? starts[n] : leadOut;
        return bin.mid(starts[n - 1] * 2352, (end - starts[n - 1]) * 2352);
    }
};

// Sectors of tones with a little noise from seed (music enough for paranoia to tell the byte
// order); the tones rest over the sectors [quietFrom, quietTo), the noise goes on.
inline QByteArray toneAudio(int sectors, quint32 seed, int quietFrom = 0, int quietTo = 0) {
    QByteArray bytes;
    quint32 state = seed;
    for (int frame = 0; frame < sectors * 588; ++frame) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        const bool quiet = frame >= quietFrom * 588 && frame < quietTo * 588;
        const double tone = quiet ? 0.0 : std::sin(frame * (0.02 + 0.01 * (frame / 100000)));
        for (int channel = 0; channel < 2; ++channel) {
            const qint16 sample = qint16(std::lround(tone * (12000 + 4000 * channel)) +
                                         int(state >> (28 + channel)) - 4);
            bytes.append(char(sample & 0xff)).append(char(quint16(sample) >> 8));
        }
    }
    return bytes;
}

// name.bin holding bin, and name.cue holding sheet, in folder; returns the sheet's path.
inline QString writePressedDisc(const QString& folder, const QString& name, const QByteArray& bin,
                                const QByteArray& sheet) {
    writeBytes(QDir(folder).filePath(name + ".bin"), bin);
    writeBytes(QDir(folder).filePath(name + ".cue"), sheet);
    return QDir(folder).filePath(name + ".cue");
}

inline TestDisc writeTestDisc(const QString& folder) {
    TestDisc disc;
    disc.bin = toneAudio(disc.leadOut, 7, 151, 264);
    disc.cue = writePressedDisc(folder, "pressed", disc.bin,
                                "CATALOG 0123456789012\n"
                                "TITLE \"Pressed Album\"\n"
                                "PERFORMER \"The Band\"\n"
                                "FILE \"pressed.bin\" BINARY\n"
                                "  TRACK 01 AUDIO\n"
                                "    TITLE \"First\"\n"
                                "    ISRC USXYZ2400001\n"
                                "    INDEX 01 00:00:00\n"
                                "  TRACK 02 AUDIO\n"
                                "    TITLE \"Second\"\n"
                                "    FLAGS PRE\n"
                                "    INDEX 00 00:02:01\n"
                                "    INDEX 01 00:03:39\n"
                                "  TRACK 03 AUDIO\n"
                                "    TITLE \"Third\"\n"
                                "    INDEX 01 00:04:64\n");
    return disc;
}

// Runs program with the virtual drives of spec loaded; extra holds more variables (NAME=VALUE).
inline Run runWithDrive(const QString& program, const QStringList& arguments, const QString& spec,
                        const QStringList& extra = {}) {
    // Sanitized programs take a preloaded library that is not the sanitizer's runtime.
    const QString asan = qEnvironmentVariable("ASAN_OPTIONS");
    return runProgram(
        program, arguments,
        QStringList{"LD_PRELOAD=" VIRTUAL_DRIVE_LIBRARY, "VIRTUAL_DRIVE=" + spec,
                    "ASAN_OPTIONS=verify_asan_link_order=0" + (asan.isEmpty() ? "" : ":" + asan)} +
            extra,
        120000);
}

// The samples of a WAV file's data chunk.
inline QByteArray wavData(const QString& path) {
    const QByteArray bytes = fileBytes(path);
    const qsizetype at = bytes.indexOf("data");
    return at < 0 ? QByteArray() : bytes.mid(at + 8);
}
