// Writes the demo disc, a CUE/BIN image of short pieces of music synthesised here, so that a
// machine without a CD drive has a disc to show, play and rip. Usage: make-demo-disc FOLDER
// (writes FOLDER/demo-disc.cue and FOLDER/demo-disc.bin).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kRate = 44100;
constexpr int kSectorFrames = 588;
constexpr double kPi = 3.14159265358979323846;

enum class Voice { Pluck, Pad, Bass, Kick, Hat };

struct Note {
    double start;  // seconds
    double length; // seconds
    double pitch;  // semitones from A4; ignored by the drums
    double level;
    double pan; // -1 left .. 1 right
    Voice voice;
};

struct Piece {
    const char* title;
    double tempo;            // beats a minute
    int key;                 // semitones from A4 of the first chord's root
    std::vector<int> chords; // roots in semitones from the key, one a bar of four beats
    std::vector<bool> minor; // the chord's third
    int bars;
    double cut; // seconds taken off the end, so lengths differ and are uneven
    unsigned seed;
};

double frequency(double pitch) {
    return 440.0 * std::pow(2.0, pitch / 12.0);
}

struct Noise {
    uint32_t state;
    double next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return double(state) / 2147483648.0 - 1.0;
    }
};

// One voice's sample t seconds into a note.
double voiceSample(const Note& n, double t, Noise& noise) {
    const double f = frequency(n.pitch);
    switch (n.voice) {
    case Voice::Pluck: {
        double s = 0;
        for (int k = 1; k <= 6; ++k)
            s += std::sin(2 * kPi * f * k * t) * std::exp(-t * (2.5 + 1.5 * k)) / k;
        return s * std::min(1.0, t / 0.004);
    }
    case Voice::Pad: {
        double s = 0;
        for (int k = 1; k <= 5; ++k)
            s += (std::sin(2 * kPi * f * k * t) + std::sin(2 * kPi * f * 1.004 * k * t)) / (2 * k);
        const double attack = std::min(1.0, t / 0.35);
        const double release = std::clamp((n.length - t) / 0.4, 0.0, 1.0);
        return s * attack * release * 0.5;
    }
    case Voice::Bass:
        return (std::sin(2 * kPi * f * t) + 0.3 * std::sin(4 * kPi * f * t)) * std::exp(-t * 3.0) *
               std::min(1.0, t / 0.01);
    case Voice::Kick: {
        const double sweep = 45 + 80 * std::exp(-t * 30);
        return std::sin(2 * kPi * sweep * t) * std::exp(-t * 9);
    }
    case Voice::Hat:
        return noise.next() * std::exp(-t * 45) * 0.5;
    }
    return 0;
}

std::vector<Note> compose(const Piece& p) {
    std::vector<Note> notes;
    const double beat = 60.0 / p.tempo;
    Noise dice{p.seed};
    int melody = 12; // the melody walks over the chord tones, an octave above the root
    for (int bar = 0; bar < p.bars; ++bar) {
        const size_t c = size_t(bar) % p.chords.size();
        const int root = p.key + p.chords[c];
        const int third = p.minor[c] ? 3 : 4;
        const double t0 = bar * 4 * beat;
        for (int tone : {0, third, 7})
            notes.push_back(
                {t0, 4 * beat, double(root + tone), 0.16, tone == third ? 0.4 : -0.3, Voice::Pad});
        notes.push_back({t0, 2 * beat, double(root - 12), 0.45, 0.0, Voice::Bass});
        notes.push_back({t0 + 2 * beat, 2 * beat, double(root - 5), 0.35, 0.0, Voice::Bass});
        for (int b = 0; b < 4; ++b) {
            notes.push_back({t0 + b * beat, beat, 0, b % 2 == 0 ? 0.6 : 0.35, 0.0, Voice::Kick});
            notes.push_back({t0 + (b + 0.5) * beat, beat / 2, 0, 0.18, 0.5, Voice::Hat});
        }
        const int tones[] = {0, third, 7, 12, 12 + third};
        for (int step = 0; step < 8; ++step) {
            if (dice.next() < -0.55)
                continue; // a rest now and then
            melody = std::clamp(melody + int(std::lround(dice.next() * 2)), 0, 4);
            notes.push_back({t0 + step * beat / 2, beat * 0.9, double(root + tones[melody]), 0.3,
                             -0.5 + 0.125 * step, Voice::Pluck});
        }
    }
    return notes;
}

std::vector<int16_t> render(const Piece& p) {
    const double seconds = p.bars * 4 * 60.0 / p.tempo - p.cut;
    const size_t frames = size_t(seconds * kRate);
    std::vector<double> left(frames), right(frames);
    Noise noise{p.seed * 7 + 1};
    for (const Note& n : compose(p)) {
        const size_t first = size_t(n.start * kRate);
        const double tail = n.voice == Voice::Pad ? 0.0 : 1.0; // let plucks and drums ring
        const size_t last = std::min(frames, size_t((n.start + n.length + tail) * kRate));
        for (size_t i = first; i < last; ++i) {
            const double s = voiceSample(n, double(i - first) / kRate, noise) * n.level;
            left[i] += s * std::sqrt((1 - n.pan) / 2);
            right[i] += s * std::sqrt((1 + n.pan) / 2);
        }
    }
    double peak = 1e-9;
    for (size_t i = 0; i < frames; ++i)
        peak = std::max({peak, std::abs(left[i]), std::abs(right[i])});
    std::vector<int16_t> pcm(frames * 2);
    const double fade = 0.05 * kRate;
    for (size_t i = 0; i < frames; ++i) {
        const double edge = std::min({1.0, double(i) / fade, double(frames - i) / fade});
        const double gain = 0.7 / peak * edge * 32767;
        pcm[2 * i] = int16_t(std::lround(std::tanh(left[i] / peak) / std::tanh(1.0) * gain));
        pcm[2 * i + 1] = int16_t(std::lround(std::tanh(right[i] / peak) / std::tanh(1.0) * gain));
    }
    return pcm;
}

std::string msf(size_t sectors) {
    char text[32];
    std::snprintf(text, sizeof text, "%02zu:%02zu:%02zu", sectors / 75 / 60, sectors / 75 % 60,
                  sectors % 75);
    return text;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: make-demo-disc FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    const std::vector<Piece> pieces = {
        {"Morning Light", 104, -9, {0, 5, 7, 5}, {false, false, false, false}, 6, 0.31, 11},
        {"Blue Hour", 84, -7, {0, 8, 3, 10}, {true, false, false, false}, 4, 0.77, 23},
        {"Little Machine", 126, -4, {0, 0, 5, 7}, {false, false, false, false}, 8, 1.13, 37},
        {"Night Walk", 96, -12, {0, 10, 8, 7}, {true, false, false, false}, 5, 0.49, 41},
    };
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const std::filesystem::path bin = folder / "demo-disc.bin";
    const std::filesystem::path cue = folder / "demo-disc.cue";
    std::ofstream data(bin.string() + ".part", std::ios::binary | std::ios::trunc);
    std::string sheet = "REM Made by Melvane's build: music synthesised for the demo\n"
                        "PERFORMER \"Melvane\"\nTITLE \"Melvane Demo Disc\"\n"
                        "FILE \"demo-disc.bin\" BINARY\n";
    size_t sector = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        std::vector<int16_t> pcm = render(pieces[i]);
        // A track fills whole sectors: the last one is completed with silence.
        pcm.resize((pcm.size() / 2 + kSectorFrames - 1) / kSectorFrames * kSectorFrames * 2);
        std::vector<unsigned char> bytes(pcm.size() * 2);
        for (size_t s = 0; s < pcm.size(); ++s) {
            bytes[2 * s] = uint8_t(uint16_t(pcm[s]) & 0xff);
            bytes[2 * s + 1] = uint8_t(uint16_t(pcm[s]) >> 8);
        }
        data.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        char track[160];
        std::snprintf(track, sizeof track,
                      "  TRACK %02zu AUDIO\n    TITLE \"%s\"\n    PERFORMER \"Melvane\"\n"
                      "    INDEX 01 %s\n",
                      i + 1, pieces[i].title, msf(sector).c_str());
        sheet += track;
        sector += pcm.size() / 2 / kSectorFrames;
    }
    data.close();
    std::ofstream(cue.string() + ".part", std::ios::trunc) << sheet;
    if (!data || std::filesystem::file_size(cue.string() + ".part", error) != sheet.size()) {
        std::fprintf(stderr, "make-demo-disc: cannot write the demo disc into %s\n", argv[1]);
        return 1;
    }
    std::filesystem::rename(bin.string() + ".part", bin);
    std::filesystem::rename(cue.string() + ".part", cue);
    return 0;
}
