// Sector reads (READ CD) with the drive's speed, cache, read offset and injected faults.
#include "Drive.h"

#include <algorithm>
#include <cstring>

namespace vdrive {
namespace {

constexpr int kJitterSteps[] = {3, -5, 7, -2, 4, -6};
constexpr int kC2Bytes = 294;
constexpr double kSeekSeconds = 0.01; // to a sector that does not follow the last one read

} // namespace

bool Drive::sectorFails(int lba) {
    for (const FaultRange& r : m_opt.bad) {
        if (lba < r.first || lba > r.last)
            continue;
        int& reads = m_badReads[lba];
        if (r.times == 0 || reads < r.times) {
            ++reads;
            return true;
        }
    }
    return false;
}

void Drive::remember(int lba, const uint8_t* frame) {
    if (m_opt.cacheSectors <= 0 || m_cache.count(lba))
        return;
    m_cache.emplace(lba, std::vector<uint8_t>(frame, frame + kSectorBytes));
    m_cacheOrder.push_back(lba);
    while (int(m_cacheOrder.size()) > m_opt.cacheSectors) {
        m_cache.erase(m_cacheOrder.front());
        m_cacheOrder.pop_front();
    }
}

// READ CD of audio sectors: the frame (or none of it), C2 pointers and the formatted Q
// sub-channel, as asked for. Data sectors are refused: no test disc has a data track.
void Drive::readCd(Command& c) {
    const int lba = c.s32(2);
    const int count = c.u24(6);
    const bool dataAsked = ((c.u8(1) >> 2) & 7) >= 2;
    const int main = c.u8(9);
    const int c2 = (main >> 1) & 3;
    const int sub = c.u8(10) & 7;
    c.note = "lba=" + std::to_string(lba) + " n=" + std::to_string(count);
    if (c2 > 1 || (sub != 0 && sub != 2) || count < 0)
        return c.fail(5, 0x24, 0);
    if (count == 0)
        return;
    const int end = m_disc.leadOut();
    if (lba < 0 || lba + count > end)
        return c.failAt(5, 0x21, 0, lba < 0 ? lba : std::max(lba, end));
    // Every sector must be audio, and none may lie between two sessions (their lead-out and
    // lead-in hold no user data).
    for (int at = lba; at < lba + count; ++at) {
        const Track* t = m_disc.trackAt(at);
        if (!t)
            return c.failAt(5, 0x21, 0, at);
        if (dataAsked || t->data())
            return c.failAt(5, 0x64, 0, at);
    }
    const size_t mainSize = (main & 0xf8) ? kSectorBytes : 0;
    const size_t size = mainSize + (c2 ? kC2Bytes : 0) + (sub ? 16 : 0);

    int shift = m_opt.offset;
    bool jittered = false;
    for (size_t r = 0; r < m_opt.jitter.size(); ++r) {
        const FaultRange& range = m_opt.jitter[r];
        if (lba >= range.first && lba <= range.last &&
            (range.times == 0 || m_jitterReads[r] < range.times)) {
            ++m_jitterReads[r];
            shift += kJitterSteps[m_jitterTurn++ % 6];
            jittered = true;
        }
    }
    if (jittered)
        c.note += " jitter";

    int fromMedium = 0;
    uint8_t frame[kSectorBytes];
    for (int at = lba; at < lba + count && c.transferred + size <= c.length; ++at) {
        const auto cached = jittered ? m_cache.end() : m_cache.find(at);
        bool bad = false;
        if (cached != m_cache.end()) {
            std::memcpy(frame, cached->second.data(), kSectorBytes);
        } else {
            if (!takeSector())
                return c.fail(2, 0x3a, 0x02);
            if (at != m_position + 1)
                sleepModel(kSeekSeconds);
            ++fromMedium;
            bad = sectorFails(at);
            if (bad && !c2) {
                sleepModel(fromMedium / rateSectors(m_readKbps));
                c.note += " bad=" + std::to_string(at);
                return c.failAt(3, 0x11, 0x05, at);
            }
            sectorWithOffset(at, shift, frame);
            if (!bad && !jittered)
                remember(at, frame);
        }
        uint8_t* out = c.data + c.transferred;
        std::memcpy(out, frame, mainSize);
        if (c2) {
            uint8_t* pointers = out + mainSize;
            std::memset(pointers, 0, kC2Bytes);
            if (bad) {
                // The drive's best guess: a run of damaged samples, flagged byte by byte.
                const size_t first = size_t(at % 17) * 64;
                for (size_t b = first; b < first + 512 && b < mainSize; ++b) {
                    out[b] ^= 0x5a;
                    pointers[b / 8] |= uint8_t(0x80 >> (b % 8));
                }
                c.note += " c2=" + std::to_string(at);
            }
        }
        if (sub) {
            uint8_t* q = out + mainSize + (c2 ? kC2Bytes : 0);
            qSubchannel(at, q);
            std::memset(q + 12, 0, 4);
        }
        c.transferred += size;
        m_position = at;
    }
    sleepModel(fromMedium / rateSectors(m_readKbps));
    // Read-ahead into the cache, as the drive goes on reading while the host is busy.
    if (!jittered && m_opt.cacheSectors > 0) {
        const int ahead = std::min(m_opt.cacheSectors / 4, end - (lba + count));
        for (int i = 0; i < ahead; ++i) {
            const int at = lba + count + i;
            if (m_cache.count(at))
                continue;
            bool flaky = false;
            for (const FaultRange& r : m_opt.bad)
                flaky = flaky || (at >= r.first && at <= r.last);
            if (flaky || !takeSector())
                break;
            sectorWithOffset(at, shift, frame);
            remember(at, frame);
        }
    }
}

} // namespace vdrive
