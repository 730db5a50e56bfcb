#include "CueFile.h"

#include "CdText.h"

#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

namespace vdrive {
namespace {

const std::map<std::string, int> kTextKeywords = {
    {"TITLE", 0x80},    {"PERFORMER", 0x81}, {"SONGWRITER", 0x82},
    {"COMPOSER", 0x83}, {"ARRANGER", 0x84},  {"MESSAGE", 0x85},
};

// Words of a line; a quoted word keeps its spaces.
std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> out;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i])))
            ++i;
        if (i >= line.size())
            break;
        std::string w;
        if (line[i] == '"') {
            const size_t end = line.find('"', i + 1);
            w = line.substr(i + 1, end == std::string::npos ? std::string::npos : end - i - 1);
            i = end == std::string::npos ? line.size() : end + 1;
        } else {
            while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i])))
                w += line[i++];
        }
        out.push_back(w);
    }
    return out;
}

bool parseMsf(const std::string& text, int& sectors) {
    int m = 0;
    int s = 0;
    int f = 0;
    char c1 = 0;
    char c2 = 0;
    std::istringstream in(text);
    if (!(in >> m >> c1 >> s >> c2 >> f) || c1 != ':' || c2 != ':' || s > 59 || f > 74 || m < 0)
        return false;
    sectors = (m * 60 + s) * 75 + f;
    return true;
}

std::string msfText(int sectors) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", sectors / 75 / 60, sectors / 75 % 60,
                  sectors % 75);
    return text;
}

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string quoted(const std::string& text) {
    std::string q = "\"";
    for (char c : text)
        q += c == '"' ? '\'' : c;
    return q + "\"";
}

} // namespace

bool loadCue(const std::string& path, MediaKind media, bool appendable, Disc& disc,
             std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    disc = Disc();
    disc.media = media;
    CdTextFields text;
    std::string binPath;
    std::map<int, int> firstTrackOfSession;
    int session = 1;
    Track* current = nullptr;
    bool sawIndex1 = false;
    std::string line;
    int lineNumber = 0;
    auto fail = [&](const std::string& why) {
        error = path + ":" + std::to_string(lineNumber) + ": " + why;
        return false;
    };
    while (std::getline(in, line)) {
        ++lineNumber;
        const std::vector<std::string> w = words(line);
        if (w.empty())
            continue;
        std::string key = w[0];
        for (char& c : key)
            c = char(std::toupper(static_cast<unsigned char>(c)));
        if (key == "REM") {
            if (w.size() == 3 && w[1] == "SESSION") {
                const int n = std::atoi(w[2].c_str());
                if (n != session && n != session + 1)
                    return fail("sessions must follow one another");
                session = n;
            }
        } else if (key == "FILE") {
            if (!binPath.empty())
                return fail("only one FILE is supported");
            if (w.size() < 3 || w[2] != "BINARY")
                return fail("FILE must name a BINARY file");
            binPath = w[1].rfind('/', 0) == 0 ? w[1] : folderOf(path) + "/" + w[1];
        } else if (key == "CATALOG" && w.size() == 2 && w[1].size() == 13) {
            disc.mcn = w[1];
        } else if (key == "TRACK" && w.size() == 3) {
            if (current && !sawIndex1)
                return fail("a track without INDEX 01");
            Track t;
            t.number = std::atoi(w[1].c_str());
            t.pregap = -1;
            if (t.number != int(disc.tracks.size()) + 1 || t.number > 99)
                return fail("track numbers must count up from 1 to 99");
            if (w[2] == "MODE1/2352")
                t.control = uint8_t(Control::Data);
            else if (w[2] != "AUDIO")
                return fail("only AUDIO and MODE1/2352 tracks are supported");
            t.session = session;
            if (!firstTrackOfSession.count(session))
                firstTrackOfSession[session] = t.number;
            disc.tracks.push_back(t);
            current = &disc.tracks.back();
            sawIndex1 = false;
        } else if (key == "INDEX" && w.size() == 3 && current) {
            const int index = std::atoi(w[1].c_str());
            int at = 0;
            if (!parseMsf(w[2], at))
                return fail("bad time " + w[2]);
            if (index == 0) {
                if (sawIndex1)
                    return fail("INDEX 00 after INDEX 01");
                current->pregap = at;
            } else if (index == 1) {
                if (current->pregap > at)
                    return fail("INDEX 00 after INDEX 01");
                current->start = at;
                if (current->pregap < 0)
                    current->pregap = at;
                sawIndex1 = true;
            } else {
                if (!sawIndex1 || at <= current->start)
                    return fail("INDEX " + w[1] + " before INDEX 01");
                current->indexes.push_back(at);
            }
        } else if (key == "ISRC" && w.size() == 2 && current) {
            if (w[1].size() != 12)
                return fail("an ISRC has 12 characters");
            current->isrc = w[1];
        } else if (key == "FLAGS" && current) {
            for (size_t i = 1; i < w.size(); ++i) {
                if (w[i] == "PRE")
                    current->control |= uint8_t(Control::PreEmphasis);
                else if (w[i] == "DCP")
                    current->control |= uint8_t(Control::CopyPermitted);
                else if (w[i] == "4CH")
                    current->control |= uint8_t(Control::FourChannels);
            }
        } else if (kTextKeywords.count(key) && w.size() >= 2) {
            text[kTextKeywords.at(key)][current ? current->number : 0] = w[1];
        } else if (key == "PREGAP" || key == "POSTGAP") {
            return fail(key + " is not supported: store the gap in the file with INDEX 00");
        }
    }
    if (disc.tracks.empty() || !sawIndex1)
        return fail("no tracks");
    disc.file = std::make_shared<SectorFile>(binPath);
    if (!disc.file->ok() || disc.file->sectors() == 0) {
        error = "cannot read the image data " + binPath;
        return false;
    }
    const int end = int(disc.file->sectors());
    for (size_t i = 0; i < disc.tracks.size(); ++i) {
        Track& t = disc.tracks[i];
        const bool last = i + 1 == disc.tracks.size();
        t.end = last ? end : disc.tracks[i + 1].pregap;
        if (t.start >= t.end)
            return fail("track " + std::to_string(t.number) + " is empty or past the data");
    }
    // A session ends where its last track does; the next one's lead-in follows its lead-out.
    for (const auto& [number, first] : firstTrackOfSession) {
        const auto next = firstTrackOfSession.find(number + 1);
        Session s;
        s.number = number;
        if (next == firstTrackOfSession.end()) {
            s.leadOut = end;
        } else {
            const int leadOutLength = number == 1 ? kFirstLeadOutSectors : kLeadOutSectors;
            Track& opening = disc.tracks[size_t(next->second - 1)];
            opening.pregap = opening.start - kPregapSectors;
            s.leadOut = opening.pregap - kLeadInSectors - leadOutLength;
            Track& lastOfSession = disc.tracks[size_t(next->second - 2)];
            if (s.leadOut <= lastOfSession.start)
                return fail("session " + std::to_string(number) +
                            " leaves no room for its lead-out and the next lead-in");
            lastOfSession.end = s.leadOut;
        }
        disc.sessions.push_back(s);
    }
    disc.cdText = buildCdTextPacks(text, disc.firstTrackNumber(), disc.lastTrackNumber());
    disc.status =
        appendable && media != MediaKind::Rom ? Disc::Status::Appendable : Disc::Status::Complete;
    return true;
}

bool saveCue(const Disc& disc, const std::string& base, std::string& error) {
    const std::vector<uint8_t> bytes = disc.image();
    const CdTextFields text = parseCdTextPacks(disc.cdText);
    std::ostringstream cue;
    if (disc.mcn.size() == 13)
        cue << "CATALOG " << disc.mcn << "\n";
    auto textLines = [&](int track, const char* indent) {
        for (const auto& [keyword, type] : kTextKeywords) {
            const auto field = text.find(type);
            if (field == text.end())
                continue;
            const auto value = field->second.find(track);
            if (value != field->second.end())
                cue << indent << keyword << " " << quoted(value->second) << "\n";
        }
    };
    textLines(0, "");
    cue << "FILE " << quoted(baseName(base) + ".bin") << " BINARY\n";
    int session = 1;
    for (const Track& t : disc.tracks) {
        if (t.session != session) {
            session = t.session;
            cue << "REM SESSION " << (session < 10 ? "0" : "") << session << "\n";
        }
        cue << "  TRACK " << (t.number < 10 ? "0" : "") << t.number
            << (t.data() ? " MODE1/2352\n" : " AUDIO\n");
        std::string flags;
        if (t.control & uint8_t(Control::CopyPermitted))
            flags += " DCP";
        if (t.control & uint8_t(Control::FourChannels))
            flags += " 4CH";
        if (t.control & uint8_t(Control::PreEmphasis))
            flags += " PRE";
        if (!flags.empty())
            cue << "    FLAGS" << flags << "\n";
        if (t.isrc.size() == 12)
            cue << "    ISRC " << t.isrc << "\n";
        textLines(t.number, "    ");
        // A session's first track has its pre-gap after the lead-in, not in the file's data.
        const bool opensSession = &t == &disc.tracks.front() || (&t - 1)->session != t.session;
        if (t.pregap < t.start && t.pregap >= 0 && !opensSession)
            cue << "    INDEX 00 " << msfText(t.pregap) << "\n";
        cue << "    INDEX 01 " << msfText(t.start) << "\n";
        for (size_t i = 0; i < t.indexes.size(); ++i)
            cue << "    INDEX " << (i + 2 < 10 ? "0" : "") << i + 2 << " " << msfText(t.indexes[i])
                << "\n";
    }
    const std::string files[2][2] = {{base + ".bin", base + ".bin.part"},
                                     {base + ".cue", base + ".cue.part"}};
    const std::string contents[2] = {std::string(bytes.begin(), bytes.end()), cue.str()};
    for (int i = 0; i < 2; ++i) {
        std::ofstream out(files[i][1], std::ios::binary | std::ios::trunc);
        out.write(contents[i].data(), std::streamsize(contents[i].size()));
        out.close();
        if (!out || std::rename(files[i][1].c_str(), files[i][0].c_str()) != 0) {
            std::remove(files[i][1].c_str());
            error = "cannot write " + files[i][0];
            return false;
        }
    }
    return true;
}

} // namespace vdrive
