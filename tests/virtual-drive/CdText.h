#pragma once

// CD-Text as the lead-in carries it: 18-byte packs (type, track, sequence, block and character
// position, 12 bytes of text, CRC). Only block 0 in ISO 8859-1 is made and understood, which is
// what burners write for a single language.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vdrive {

constexpr int kPackBytes = 18;

// Text per track (0 is the disc) of one pack type: 0x80 title, 0x81 performer, 0x82 songwriter.
using TextField = std::map<int, std::string>;
using CdTextFields = std::map<int, TextField>;

// Packs for the fields of tracks first..last, with the three size-information packs; empty
// when there is no text at all.
std::vector<uint8_t> buildCdTextPacks(const CdTextFields& fields, int firstTrack, int lastTrack);

// The text of well-formed packs of block 0; packs with a bad CRC are skipped.
CdTextFields parseCdTextPacks(const std::vector<uint8_t>& packs);

// The CRC of sub-channel data: of a pack's first 16 bytes, or of a Q sub-channel's first 10.
uint16_t subchannelCrc(const uint8_t* bytes, int count);

// Packs from raw R-W sub-channel data as written in the lead-in (24 six-bit symbols a pack), in
// sequence order, each pack once.
std::vector<uint8_t> packsFromSubchannel(const std::vector<uint8_t>& symbols);

} // namespace vdrive
