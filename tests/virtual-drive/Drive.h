#pragma once

// The model of one MMC CD writer: it takes SCSI command blocks and answers with data, GOOD or
// CHECK CONDITION and sense data, the way a drive on a SCSI or ATAPI bus does. VirtualDrive.h
// lists what it models. Commands run one at a time; a command that takes time (spin-up, a read
// at the drive's speed, a write waiting for buffer space) holds the drive for that time.

#include "Disc.h"
#include "Options.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace vdrive {

struct Sense {
    uint8_t key = 0;
    uint8_t asc = 0;
    uint8_t ascq = 0;
    bool hasInfo = false;
    int32_t info = 0;
    int progress = -1; // 0..65535 for an operation in progress
    // Fixed-format sense data (18 bytes).
    void write(uint8_t* out) const;
};

// One command as the drive receives it, and its outcome.
struct Command {
    const uint8_t* cdb = nullptr;
    int cdbLength = 0;
    uint8_t* data = nullptr; // the transfer buffer, length bytes
    size_t length = 0;
    bool toDevice = false;

    bool good = true;
    Sense sense;
    size_t transferred = 0;
    std::string note; // what the log says about it

    int u8(int i) const { return i < cdbLength ? cdb[i] : 0; }
    int u16(int i) const { return u8(i) << 8 | u8(i + 1); }
    int u24(int i) const { return u8(i) << 16 | u16(i + 1); }
    int32_t s32(int i) const { return int32_t(uint32_t(u16(i)) << 16 | uint32_t(u16(i + 2))); }
    void fail(uint8_t key, uint8_t asc, uint8_t ascq);
    // A failure about one sector, which the sense data's INFORMATION names.
    void failAt(uint8_t key, uint8_t asc, uint8_t ascq, int lba);
    // Sends reply to the program, cut to the allocation length and the buffer.
    void reply(const std::vector<uint8_t>& bytes, size_t allocation);
};

// Big-endian fields of the data a command returns.
void put16(std::vector<uint8_t>& b, size_t at, int v);
void put32(std::vector<uint8_t>& b, size_t at, int32_t v);
// A speed in x as kB/s (1x = 176.4 kB/s).
int kbpsOf(int speed);

class Drive {
public:
    enum class Tray { DiscOk, NoDisc, Open, NotReady };

    Drive(const DriveOptions& options, std::string& error);
    Drive(const Drive&) = delete;
    Drive& operator=(const Drive&) = delete;

    const DriveOptions& options() const { return m_opt; }
    const std::string& name() const { return m_name; }

    // Runs one command; via names its issuer in the log.
    void execute(Command& c, const char* via);

    // What the kernel's CD driver knows without asking the drive.
    Tray tray();
    bool hasDisc();
    // Opens and closes of the node, for the kernel's checks on eject and exclusive opens.
    int opens = 0;
    int exclusiveOpens = 0;

private:
    using Clock = std::chrono::steady_clock;

    struct WriteParams {
        int writeType = 1; // 1 TAO, 2 SAO
        bool testWrite = false;
        bool bufe = false;
        int multiSession = 0;
        uint8_t control = 0;
        int blockType = 8;
        int pause = 150;
        std::string mcn;
        std::string isrc;
        std::vector<uint8_t> page; // as last selected, for MODE SENSE
    };

    struct CueSheet {
        int leadInForm = 1;
        std::vector<Track> tracks;
        int firstLba = -kPregapSectors;
        int leadOut = 0;
        std::string mcn;
    };

    struct Recording {
        bool active = false;
        bool simulated = false;
        bool sao = false;
        bool haveCue = false;
        CueSheet cue;
        int next = 0;
        bool started = false;
        std::vector<uint8_t> textSymbols;
        bool trackOpen = false;
        Track track;
    };

    // Drive.cpp: state, timing, faults
    bool ensureReady(Command& c);
    void spinUp();
    void sleepModel(double seconds);
    // Work of that many seconds: with IMMED the drive answers at once and reports itself
    // NOT READY (ascq) until done; without, the command takes that long.
    void work(double seconds, bool immed, uint8_t ascq);
    double rateSectors(int kbps) const;
    void load();
    void unload(bool lose);
    // Counts one sector read or written; false once the disc has been taken out.
    bool takeSector();
    Disc& target() { return m_rec.simulated ? m_shadow : m_disc; }
    void saveWritten();
    bool busy(Command& c);
    void clearCache();

    // DriveInfo.cpp
    void inquiry(Command& c);
    void testUnitReady(Command& c);
    void startStop(Command& c);
    void preventAllow(Command& c);
    void getConfiguration(Command& c);
    void modeSense(Command& c);
    void modeSelect(Command& c);
    std::vector<uint8_t> modePage(int page);
    bool selectWriteParams(const uint8_t* page, int length);
    void getPerformance(Command& c);
    void setCdSpeed(Command& c);
    int profile() const;

    // DriveRead.cpp
    void readToc(Command& c);
    void readDiscInfo(Command& c);
    void readTrackInfo(Command& c);
    void readCapacity(Command& c);
    void readSubchannel(Command& c);
    void qSubchannel(int lba, uint8_t* q) const;
    void sectorWithOffset(int lba, int shiftSamples, uint8_t* out) const;
    std::vector<const Track*> closedTracks() const;

    // DriveSectors.cpp
    void readCd(Command& c);
    bool sectorFails(int lba);
    void remember(int lba, const uint8_t* frame);

    // DriveWrite.cpp
    void sendCueSheet(Command& c);
    void write(Command& c);
    void synchronizeCache(Command& c);
    void closeTrackSession(Command& c);
    void readBufferCapacity(Command& c);
    void blank(Command& c);
    void beginRecording(Command& c);
    void closeOpenTrack();
    void finishSession();
    void abortRecording(const char* why);
    int nextWritable(const Disc& d) const;
    void drainBuffer();
    void fillBuffer(size_t bytes);

    DriveOptions m_opt;
    std::string m_name;
    std::mutex m_mutex;
    const char* m_via = "";

    Disc m_disc;
    Disc m_shadow;
    bool m_discInTray = false;
    bool m_trayOpen = false;
    bool m_locked = false;

    Clock::time_point m_readyAt;
    Clock::time_point m_lastAccess;
    bool m_spinning = false;
    Clock::time_point m_busyFrom;
    Clock::time_point m_busyUntil;
    uint8_t m_busyAscq = 0;

    int m_readKbps = 0;
    int m_writeKbps = 0;

    std::unordered_map<int, std::vector<uint8_t>> m_cache;
    std::deque<int> m_cacheOrder;
    std::map<int, int> m_badReads;
    std::vector<int> m_jitterReads;
    int m_jitterTurn = 0;
    int m_position = 0;
    long long m_transferred = 0;

    WriteParams m_params;
    Recording m_rec;
    double m_bufferFill = 0;
    Clock::time_point m_bufferTime;
    bool m_underrunDone = false;
    bool m_writeErrorDone = false;
};

} // namespace vdrive
