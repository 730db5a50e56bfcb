#pragma once

// What every MP3 file the encoder makes must pass: its frames read by a parser of the tests'
// own (not the encoder's), its Info/Xing frame checked against them, and two decoders that
// must take it without a word and give back exactly as many samples as went in.

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace mp3check {

// Interleaved 16-bit audio.
struct Pcm {
    int channels = 2;
    std::vector<qint16> samples;
    qint64 frames() const { return qint64(samples.size()) / channels; }
};

struct Facts {
    int frames = 0; // audio frames, the Info/Xing frame not counted
    int samplesPerFrame = 0;
    int sampleRate = 0;
    int channels = 0;
    bool variable = false; // frames of more than one bit rate
    // From the Info/Xing frame and its LAME extension; -1 when missing.
    QByteArray tag; // "Info" or "Xing"
    qint64 tagFrames = -1;
    qint64 tagBytes = -1;
    int delay = -1;
    int padding = -1;
    qint64 audioBytes = 0; // from the Info/Xing frame to the end of the last frame
};

inline int bits(const uint8_t* p, int& at, int n) {
    int v = 0;
    for (int i = 0; i < n; ++i, ++at)
        v = (v << 1) | ((p[at >> 3] >> (7 - (at & 7))) & 1);
    return v;
}

// Empty when every frame is sound; else what is wrong, naming the frame (0 = first audio frame).
inline QString checkFrames(const QByteArray& file, Facts& facts) {
    static const int rates1[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    static const int rates2[] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    static const int sampleRates[] = {44100, 48000, 32000};
    const auto* b = reinterpret_cast<const uint8_t*>(file.constData());
    const qint64 end = file.size();
    qint64 at = 0;
    if (file.startsWith("ID3") && file.size() >= 10)
        at = 10 + ((b[6] & 0x7f) << 21 | (b[7] & 0x7f) << 14 | (b[8] & 0x7f) << 7 | (b[9] & 0x7f)) +
             ((b[5] & 0x10) ? 10 : 0);
    const qint64 audioStart = at;
    qint64 payloadEnd = 0; // payload bytes of the audio frames so far
    qint64 written = 0;    // where the last main data ended, in the same count
    int firstBitRate = -1;
    int index = -1;
    while (at < end) {
        if (end - at < 4)
            return QStringLiteral("%1 stray bytes at the end").arg(end - at);
        const uint8_t* h = b + at;
        const int version = (h[1] >> 3) & 3, layer = (h[1] >> 1) & 3;
        const int rateIndex = h[2] >> 4, srIndex = (h[2] >> 2) & 3;
        if (h[0] != 0xff || (h[1] & 0xe0) != 0xe0 || version == 1 || layer != 1 || rateIndex == 0 ||
            rateIndex == 15 || srIndex == 3 || (h[3] & 3) == 2)
            return QStringLiteral("no Layer III frame header at byte %1 (frame %2)")
                .arg(at)
                .arg(index + 1);
        const bool mpeg1 = version == 3;
        const int sampleRate = sampleRates[srIndex] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
        const int channels = (h[3] >> 6) == 3 ? 1 : 2;
        const int kbps = (mpeg1 ? rates1 : rates2)[rateIndex];
        const int size = (mpeg1 ? 144000 : 72000) * kbps / sampleRate + ((h[2] >> 1) & 1);
        const bool crc = !(h[1] & 1);
        const int sideInfo = mpeg1 ? (channels == 1 ? 17 : 32) : (channels == 1 ? 9 : 17);
        const int headEnd = 4 + (crc ? 2 : 0) + sideInfo;
        if (at + size > end)
            return QStringLiteral("frame %1 is cut off").arg(index + 1);
        if (index == -1 && facts.tag.isEmpty()) {
            const QByteArray id = file.mid(int(at + 4 + sideInfo), 4);
            if (id == "Info" || id == "Xing") {
                facts.tag = id;
                const uint8_t* x = h + 4 + sideInfo + 4;
                const uint32_t flags = uint32_t(x[0] << 24 | x[1] << 16 | x[2] << 8 | x[3]);
                x += 4;
                auto word = [&x] {
                    const qint64 v = qint64(x[0]) << 24 | x[1] << 16 | x[2] << 8 | x[3];
                    x += 4;
                    return v;
                };
                if (flags & 1)
                    facts.tagFrames = word();
                if (flags & 2)
                    facts.tagBytes = word();
                if (flags & 4) {
                    for (int i = 1; i < 100; ++i)
                        if (x[i] < x[i - 1])
                            return QStringLiteral("the seek table goes back at entry %1").arg(i);
                    x += 100;
                }
                if (flags & 8)
                    x += 4;
                const int delayPadding = x[21] << 16 | x[22] << 8 | x[23];
                facts.delay = delayPadding >> 12;
                facts.padding = delayPadding & 0xfff;
                at += size;
                continue;
            }
        }
        ++index;
        if (index == 0) {
            facts.sampleRate = sampleRate;
            facts.channels = channels;
            facts.samplesPerFrame = mpeg1 ? 1152 : 576;
            firstBitRate = kbps;
        } else if (sampleRate != facts.sampleRate || channels != facts.channels) {
            return QStringLiteral("frame %1 changes the rate or the channels").arg(index);
        }
        facts.variable |= kbps != firstBitRate;

        // Side information: main_data_begin and the length of the main data.
        int bit = 0;
        const uint8_t* side = h + 4 + (crc ? 2 : 0);
        const int mainDataBegin = bits(side, bit, mpeg1 ? 9 : 8);
        bit += mpeg1 ? (channels == 1 ? 5 : 3) + 4 * channels : channels;
        int mainBits = 0;
        for (int gr = 0; gr < (mpeg1 ? 2 : 1); ++gr) {
            for (int ch = 0; ch < channels; ++ch) {
                mainBits += bits(side, bit, 12);
                const int bigValues = bits(side, bit, 9);
                if (bigValues > 288)
                    return QStringLiteral("frame %1 has big_values %2").arg(index).arg(bigValues);
                bit += 8 + (mpeg1 ? 4 : 9);
                const bool windowSwitching = bits(side, bit, 1);
                if (windowSwitching && bits(side, bit, 2) == 0)
                    return QStringLiteral("frame %1 switches to a normal block").arg(index);
                bit += windowSwitching ? 20 : 22;
                bit += mpeg1 ? 3 : 2;
            }
        }
        const qint64 payloadStart = payloadEnd;
        payloadEnd += size - headEnd;
        const qint64 available = payloadStart - written;
        if (mainDataBegin > available)
            return QStringLiteral("frame %1 reaches %2 bytes back where only %3 are free")
                .arg(index)
                .arg(mainDataBegin)
                .arg(available);
        const qint64 mainEnd = payloadStart - mainDataBegin + (mainBits + 7) / 8;
        if (mainEnd > payloadEnd)
            return QStringLiteral("frame %1's main data runs %2 bytes past its end")
                .arg(index)
                .arg(mainEnd - payloadEnd);
        written = mainEnd;
        at += size;
    }
    facts.frames = index + 1;
    facts.audioBytes = end - audioStart;
    return {};
}

// Runs a tool; its standard output, or a failure naming what it said.
struct Run {
    QByteArray out;
    QString said; // standard error
    bool ok = false;
};

inline Run run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    Run result;
    if (!process.waitForStarted(10000)) {
        result.said = program + QStringLiteral(" cannot be started");
        return result;
    }
    process.closeWriteChannel();
    process.waitForFinished(120000);
    result.out = process.readAllStandardOutput();
    result.said = QString::fromLocal8Bit(process.readAllStandardError()).trimmed();
    result.ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return result;
}

// The file decoded by ffmpeg, 16-bit interleaved; fails on any warning.
inline Pcm ffmpegDecode(const QString& path, int channels, QString& problem) {
    const Run r = run(QStringLiteral("ffmpeg"),
                      {"-nostdin", "-v", "warning", "-i", path, "-f", "s16le", "-"});
    if (!r.ok || !r.said.isEmpty())
        problem = QStringLiteral("ffmpeg: %1").arg(r.said.isEmpty() ? "failed" : r.said);
    Pcm audio{channels, {}};
    audio.samples.resize(size_t(r.out.size()) / 2);
    std::memcpy(audio.samples.data(), r.out.constData(), audio.samples.size() * 2);
    return audio;
}

// The same by mpg123 (gapless, as it is by default); `mpg123 -t` must say nothing but its
// banner and the file's tags.
inline Pcm mpg123Decode(const QString& path, int channels, QString& problem) {
    const Run test = run(QStringLiteral("mpg123"), {"-t", path});
    const QStringList lines = test.said.split('\n');
    for (const QString& line : lines) {
        if (line.contains("warning", Qt::CaseInsensitive) ||
            line.contains("error", Qt::CaseInsensitive) || line.startsWith("Note:") ||
            line.contains("skipped", Qt::CaseInsensitive) ||
            line.contains("illegal", Qt::CaseInsensitive))
            problem = QStringLiteral("mpg123 -t: %1").arg(line.trimmed());
    }
    if (!test.ok)
        problem = QStringLiteral("mpg123 -t failed: %1").arg(test.said.right(200));
    const Run r = run(QStringLiteral("mpg123"), {"-q", "-s", path});
    if (!r.ok && problem.isEmpty())
        problem = QStringLiteral("mpg123 -s failed");
    Pcm audio{channels, {}};
    audio.samples.resize(size_t(r.out.size()) / 2);
    std::memcpy(audio.samples.data(), r.out.constData(), audio.samples.size() * 2);
    return audio;
}

// Signal-to-noise ratio of decoded against source, in dB, over the source's length.
inline double snr(const std::vector<qint16>& source, const std::vector<qint16>& decoded) {
    double signal = 0, noise = 0;
    const size_t n = std::min(source.size(), decoded.size());
    for (size_t i = 0; i < n; ++i) {
        const double s = source[i], e = s - decoded[i];
        signal += s * s;
        noise += e * e;
    }
    return 10.0 * std::log10(std::max(signal, 1.0) / std::max(noise, 1.0));
}

// Everything above for one file made from `samples` frames of `channels` channels: empty when
// it passes. facts and the decoded audio (ffmpeg's) are left for the caller.
inline QString check(const QString& path, qint64 samples, int channels, Facts& facts,
                     Pcm& decoded) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read ") + path;
    const QByteArray bytes = file.readAll();
    if (QString why = checkFrames(bytes, facts); !why.isEmpty())
        return why;
    if (facts.tag.isEmpty())
        return QStringLiteral("no Info/Xing frame");
    if (facts.tag != (facts.variable ? "Xing" : "Info"))
        return QStringLiteral("a %1 frame on a %2 bit rate stream")
            .arg(QString::fromLatin1(facts.tag), facts.variable ? "variable" : "constant");
    if (facts.tagFrames != facts.frames)
        return QStringLiteral("the Info frame counts %1 frames of %2")
            .arg(facts.tagFrames)
            .arg(facts.frames);
    if (facts.tagBytes != facts.audioBytes)
        return QStringLiteral("the Info frame counts %1 bytes of %2")
            .arg(facts.tagBytes)
            .arg(facts.audioBytes);
    if (qint64(facts.delay) + facts.padding + samples !=
        qint64(facts.frames) * facts.samplesPerFrame)
        return QStringLiteral("delay %1 and padding %2 do not fit %3 samples in %4 frames")
            .arg(facts.delay)
            .arg(facts.padding)
            .arg(samples)
            .arg(facts.frames);
    QString problem;
    decoded = ffmpegDecode(path, channels, problem);
    if (!problem.isEmpty())
        return problem;
    if (decoded.frames() != samples)
        return QStringLiteral("ffmpeg decodes %1 samples of %2").arg(decoded.frames()).arg(samples);
    const Pcm other = mpg123Decode(path, channels, problem);
    if (!problem.isEmpty())
        return problem;
    if (other.frames() != samples)
        return QStringLiteral("mpg123 decodes %1 samples of %2").arg(other.frames()).arg(samples);
    return {};
}

// The same, raising std::runtime_error: for the helpers that write test media.
inline void require(const QString& path, qint64 samples, int channels) {
    Facts facts;
    Pcm decoded;
    if (const QString why = check(path, samples, channels, facts, decoded); !why.isEmpty())
        throw std::runtime_error(
            QStringLiteral("%1 fails the MP3 check: %2").arg(path, why).toStdString());
}

} // namespace mp3check
