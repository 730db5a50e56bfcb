#pragma once

// The drives VIRTUAL_DRIVE asks for, parsed. VirtualDrive.h documents the syntax.

#include <cstdint>
#include <string>
#include <vector>

namespace vdrive {

// A range of sectors with a fault, and how many reads of each sector show it (0: every read).
struct FaultRange {
    int first = 0;
    int last = 0;
    int times = 0;
};

enum class DriveKind { CdRw, CdR, Rom };
enum class DiscKind { None, BlankCdR, BlankCdRw, Cue };
enum class MediaKind { Rom, CdR, CdRw };

struct DriveOptions {
    std::string node; // "/dev/sr7"
    DiscKind disc = DiscKind::None;
    std::string cuePath;

    std::string vendor = "VIRTUAL";
    std::string product = "CD-RW WRITER";
    std::string revision = "1.00";
    DriveKind kind = DriveKind::CdRw;
    std::vector<int> writeSpeeds{4, 8, 16, 24, 32, 40, 48}; // in x, ascending
    int readSpeed = 48;                                     // in x
    int bufferKb = 2048;
    bool burnProof = true;
    bool testWrite = true;
    bool sao = true;
    bool tao = true;
    int offset = 0;    // read offset in samples
    double spinup = 0; // seconds
    double idle = 0;   // seconds without media access before the disc stops; 0: never
    double timescale = 1;
    int cacheSectors = 512;
    int host = -1; // SCSI address; -1: chosen from the drive's place in the list
    int channel = 0;
    int target = 0;
    int lun = 0;

    MediaKind media = MediaKind::Rom; // of a cue= disc
    bool appendable = false;          // a cue= disc on CD-R/RW left open for another session
    int minutes = 80;                 // capacity of blank media
    bool trayOpen = false;

    std::vector<FaultRange> bad;
    std::vector<FaultRange> jitter;
    int removeAfter = -1; // sectors read or written before the disc goes; -1: never
    int writeErrorAt = INT32_MIN;
    int underrunAt = INT32_MIN;
};

// Parses one drive ("NODE:DISC[:OPTIONS]"); fills error and returns false when it is not valid.
bool parseDrive(const std::string& text, DriveOptions& drive, std::string& error);

// Parses the whole variable (drives separated by ';'). Drives without a host get 100 + their
// place in the list, so each has an address of its own.
bool parseDrives(const std::string& text, std::vector<DriveOptions>& drives, std::string& error);

} // namespace vdrive
