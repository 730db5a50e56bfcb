#include "CdText.h"

#include <algorithm>
#include <cstring>

namespace vdrive {
namespace {

constexpr int kTextBytes = 12;
constexpr uint8_t kSizeInfo = 0x8f;
constexpr uint8_t kEnglish = 0x09;

void finishPack(uint8_t* pack) {
    const uint16_t crc = subchannelCrc(pack, 16);
    pack[16] = uint8_t(crc >> 8);
    pack[17] = uint8_t(crc);
}

} // namespace

uint16_t subchannelCrc(const uint8_t* bytes, int count) {
    uint16_t crc = 0;
    for (int i = 0; i < count; ++i) {
        crc ^= uint16_t(bytes[i]) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x8000 ? uint16_t((crc << 1) ^ 0x1021) : uint16_t(crc << 1);
    }
    return uint16_t(~crc);
}

std::vector<uint8_t> buildCdTextPacks(const CdTextFields& fields, int firstTrack, int lastTrack) {
    std::vector<uint8_t> packs;
    int packCount[16] = {};
    int sequence = 0;
    for (const auto& [type, texts] : fields) {
        bool any = false;
        for (const auto& [track, text] : texts)
            any = any || !text.empty();
        if (!any || type < 0x80 || type > 0x8e)
            continue;
        // The text of every track in turn, each ended by a zero byte, cut into 12-byte packs.
        std::vector<uint8_t> stream;
        std::vector<int> trackOf;
        std::vector<int> positionOf;
        for (int track = 0; track <= lastTrack; ++track) {
            if (track != 0 && track < firstTrack)
                continue;
            const auto it = texts.find(track);
            const std::string text = it == texts.end() ? std::string() : it->second;
            for (size_t i = 0; i <= text.size(); ++i) {
                stream.push_back(i < text.size() ? uint8_t(text[i]) : 0);
                trackOf.push_back(track);
                positionOf.push_back(int(i));
            }
        }
        for (size_t at = 0; at < stream.size(); at += kTextBytes) {
            uint8_t pack[kPackBytes] = {};
            pack[0] = uint8_t(type);
            pack[1] = uint8_t(trackOf[at]);
            pack[2] = uint8_t(sequence++);
            pack[3] = uint8_t(std::min(positionOf[at], 15));
            for (int i = 0; i < kTextBytes && at + size_t(i) < stream.size(); ++i)
                pack[4 + i] = stream[at + size_t(i)];
            finishPack(pack);
            packs.insert(packs.end(), pack, pack + kPackBytes);
            ++packCount[type - 0x80];
        }
    }
    if (packs.empty())
        return packs;
    packCount[kSizeInfo - 0x80] = 3;
    uint8_t info[36] = {};
    info[0] = 0x00; // ISO 8859-1
    info[1] = uint8_t(firstTrack);
    info[2] = uint8_t(lastTrack);
    for (int i = 0; i < 16; ++i)
        info[4 + i] = uint8_t(packCount[i]);
    info[20] = uint8_t(sequence + 2); // the last sequence number of block 0
    info[28] = kEnglish;
    for (int i = 0; i < 3; ++i) {
        uint8_t pack[kPackBytes] = {};
        pack[0] = kSizeInfo;
        pack[1] = uint8_t(i);
        pack[2] = uint8_t(sequence++);
        std::memcpy(pack + 4, info + i * kTextBytes, kTextBytes);
        finishPack(pack);
        packs.insert(packs.end(), pack, pack + kPackBytes);
    }
    return packs;
}

CdTextFields parseCdTextPacks(const std::vector<uint8_t>& packs) {
    std::map<int, std::vector<const uint8_t*>> byType;
    for (size_t at = 0; at + kPackBytes <= packs.size(); at += kPackBytes) {
        const uint8_t* pack = packs.data() + at;
        const uint16_t crc = uint16_t(pack[16] << 8 | pack[17]);
        if (crc != subchannelCrc(pack, 16) || (pack[3] & 0x70) != 0 || (pack[3] & 0x80) != 0)
            continue;
        if (pack[0] >= 0x80 && pack[0] <= 0x86)
            byType[pack[0]].push_back(pack);
    }
    CdTextFields fields;
    for (auto& [type, list] : byType) {
        std::sort(list.begin(), list.end(),
                  [](const uint8_t* a, const uint8_t* b) { return a[2] < b[2]; });
        int track = list.front()[1];
        std::string current;
        std::string previous;
        for (const uint8_t* pack : list) {
            for (int i = 0; i < kTextBytes; ++i) {
                const char c = char(pack[4 + i]);
                if (c != 0) {
                    current += c;
                    continue;
                }
                if (current == "\t")
                    current = previous;
                if (!current.empty())
                    fields[type][track] = current;
                previous = current;
                current.clear();
                ++track;
            }
        }
    }
    return fields;
}

std::vector<uint8_t> packsFromSubchannel(const std::vector<uint8_t>& symbols) {
    // By sequence number, as the lead-in repeats them from any starting point.
    std::map<int, std::vector<uint8_t>> bySequence;
    for (size_t at = 0; at + 24 <= symbols.size(); at += 24) {
        std::vector<uint8_t> pack(kPackBytes);
        for (int i = 0; i < 6; ++i) {
            const uint8_t* s = symbols.data() + at + size_t(i) * 4;
            pack[size_t(i) * 3] = uint8_t((s[0] & 0x3f) << 2 | (s[1] & 0x3f) >> 4);
            pack[size_t(i) * 3 + 1] = uint8_t((s[1] & 0x0f) << 4 | (s[2] & 0x3f) >> 2);
            pack[size_t(i) * 3 + 2] = uint8_t((s[2] & 0x03) << 6 | (s[3] & 0x3f));
        }
        if (uint16_t(pack[16] << 8 | pack[17]) == subchannelCrc(pack.data(), 16) && pack[0] >= 0x80)
            bySequence.emplace(pack[2], pack);
    }
    std::vector<uint8_t> packs;
    for (const auto& [sequence, pack] : bySequence)
        packs.insert(packs.end(), pack.begin(), pack.end());
    return packs;
}

} // namespace vdrive
