#pragma once

// The disc in a virtual drive: its kind, sessions and tracks as the table of contents and the
// Q sub-channel describe them, its CD-Text packs and its sectors. Sectors are raw 2352-byte
// frames addressed by LBA (0 is the start of track 1 on a single-session disc; the first
// 150 sectors of pre-gap before it read as silence).

#include "Options.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vdrive {

constexpr int kSectorBytes = 2352;
constexpr int kFirstLeadOutSectors = 6750; // 90 seconds
constexpr int kLeadOutSectors = 2250;      // of every later session
constexpr int kLeadInSectors = 4500;
constexpr int kPregapSectors = 150;

enum class Control : uint8_t {
    PreEmphasis = 0x1,
    CopyPermitted = 0x2,
    Data = 0x4,
    FourChannels = 0x8,
};

struct Track {
    int number = 1;
    int session = 1;
    int pregap = 0;           // LBA of index 0 (equal to start without a gap)
    int start = 0;            // LBA of index 1
    std::vector<int> indexes; // LBAs of index 2 and later
    int end = 0;              // one past the last sector
    uint8_t control = 0;
    std::string isrc; // 12 characters, or empty

    bool data() const { return (control & uint8_t(Control::Data)) != 0; }
};

struct Session {
    int number = 1;
    int leadOut = 0; // LBA where the lead-out starts
};

// Read-only sectors of an image file, shared by the drives that load it.
class SectorFile {
public:
    explicit SectorFile(const std::string& path);
    ~SectorFile();
    SectorFile(const SectorFile&) = delete;
    SectorFile& operator=(const SectorFile&) = delete;

    bool ok() const { return m_data != nullptr || m_size == 0; }
    size_t sectors() const { return m_size / kSectorBytes; }
    const uint8_t* sector(size_t n) const { return m_data + n * kSectorBytes; }

private:
    const uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

class Disc {
public:
    enum class Status { Blank, Appendable, Complete };

    MediaKind media = MediaKind::Rom;
    Status status = Status::Complete;
    std::vector<Track> tracks;
    std::vector<Session> sessions; // closed sessions, in order
    std::string mcn;               // 13 digits, or empty
    std::vector<uint8_t> cdText;   // packs of the first session's lead-in
    int leadInStart = -11634;      // ATIP: start of the first lead-in (97:26:66)
    int lastLeadOut = 359849;      // ATIP: last possible start of the lead-out (79:59:74)
    bool damaged = false;          // writing began and was never finished

    // A blank CD-R or CD-RW of the given capacity.
    static Disc blank(MediaKind media, int minutes);

    bool recordable() const { return media != MediaKind::Rom; }
    bool erasable() const { return media == MediaKind::CdRw; }
    int firstTrackNumber() const { return tracks.empty() ? 1 : tracks.front().number; }
    int lastTrackNumber() const { return tracks.empty() ? 0 : tracks.back().number; }
    const Track* track(int number) const;
    // The track holding lba (its pre-gap included), or null.
    const Track* trackAt(int lba) const;
    int indexAt(const Track& track, int lba) const;
    // The lead-out of the last closed session; 0 on a blank disc.
    int leadOut() const { return sessions.empty() ? 0 : sessions.back().leadOut; }
    // Where the program area of the next session starts (its first track's index 1).
    int nextSessionStart() const;
    int tracksInSession(int session) const;

    // One raw frame; silence where nothing was recorded.
    void readSector(int lba, uint8_t* out) const;
    void writeSector(int lba, const uint8_t* frame);
    // Everything recorded from lba 0 up to the last lead-out, as an image file holds it.
    std::vector<uint8_t> image() const;

    // Sectors come from a file first and from what was written after it.
    std::shared_ptr<SectorFile> file;
    int fileFrom = 0; // LBA of the file's first sector

private:
    std::vector<uint8_t> m_written; // frames from m_writtenFrom on
    int m_writtenFrom = 0;
};

// LBA <-> MSF as the Q sub-channel counts: LBA 0 is 00:02:00, negative LBAs are the lead-in
// counted back from 100:00:00 (so -150 is 00:00:00 and -11634 is 97:26:66).
void lbaToMsf(int lba, uint8_t& m, uint8_t& s, uint8_t& f);
int msfToLba(int m, int s, int f);

} // namespace vdrive
