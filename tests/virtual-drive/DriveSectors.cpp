// Sector reads (READ CD) with the drive's speed, cache, read offset and injected faults.
#include "Drive.h"

#include "Log.h"

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

void Drive::readCd(Command& c) {
    const int lba = c.s32(2);
    const int count = c.u24(6);
    const int expected = (c.u8(1) >> 2) & 7;
    const int main = c.u8(9);
    const int c2 = (main >> 1) & 3;
    const int sub = c.u8(10) & 7;
    c.note = "lba=" + std::to_string(lba) + " n=" + std::to_string(count);
    if (c2 == 3 || (sub != 0 && sub != 1 && sub != 2 && sub != 4) || count < 0)
        return c.fail(5, 0x24, 0);
    if (count == 0)
        return;
    const int end = m_disc.leadOut();
    if (lba < 0 || lba + count > end)
        return c.failAt(5, 0x21, 0, lba < 0 ? lba : std::max(lba, end));
    // Every sector of the request must be of the kind asked for, and none may lie between two
    // sessions (their lead-out and lead-in hold no user data).
    for (int i = 0; i < count; ++i) {
        const Track* t = m_disc.trackAt(lba + i);
        if (!t && lba + i >= 0 && lba + i < end)
            return c.failAt(5, 0x21, 0, lba + i);
        const bool data = t && t->data();
        if ((expected == 1 && data) || (expected >= 2 && !data))
            return c.failAt(5, 0x64, 0, lba + i);
    }
    const size_t c2Size = c2 == 0 ? 0 : c2 == 1 ? kC2Bytes : kC2Bytes + 2;
    const size_t subSize = sub == 0 ? 0 : sub == 2 ? 16 : 96;

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
    for (int i = 0; i < count; ++i) {
        const int at = lba + i;
        const Track* t = m_disc.trackAt(at);
        const bool data = t && t->data();
        size_t mainSize = 0;
        if (!data) {
            mainSize = (main & 0xf8) ? kSectorBytes : 0;
        } else {
            const int header = (main >> 5) & 3;
            mainSize = ((main & 0x80) ? 12 : 0) + (header & 1 ? 4 : 0) +
                       ((main & 0x10) ? 2048 : 0) + ((main & 0x08) ? 288 : 0);
        }
        const size_t size = mainSize + c2Size + subSize;
        if (c.transferred + size > c.length)
            break;
        const auto cached = jittered || data ? m_cache.end() : m_cache.find(at);
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
            if (bad && c2 == 0) {
                sleepModel(fromMedium / rateSectors(m_readKbps));
                c.failAt(3, 0x11, 0x05, at);
                c.note += " bad=" + std::to_string(at);
                return;
            }
            if (data)
                m_disc.readSector(at, frame);
            else
                sectorWithOffset(at, shift, frame);
            if (!bad && !jittered && !data)
                remember(at, frame);
        }
        uint8_t* out = c.data + c.transferred;
        if (!data) {
            std::memcpy(out, frame, mainSize);
        } else {
            // Sync, header, user data and EDC/ECC in their places in the raw frame.
            size_t o = 0;
            if (main & 0x80) {
                std::memcpy(out + o, frame, 12);
                o += 12;
            }
            if ((main >> 5) & 1) {
                std::memcpy(out + o, frame + 12, 4);
                o += 4;
            }
            if (main & 0x10) {
                std::memcpy(out + o, frame + 16, 2048);
                o += 2048;
            }
            if (main & 0x08)
                std::memcpy(out + o, frame + 2064, 288);
        }
        if (c2Size) {
            uint8_t* pointers = out + mainSize;
            std::memset(pointers, 0, c2Size);
            if (bad) {
                // The drive's best guess: a run of damaged samples, flagged byte by byte.
                const size_t first = size_t(at % 17) * 64;
                for (size_t b = first; b < first + 512 && b < mainSize; ++b) {
                    out[b] ^= 0x5a;
                    pointers[b / 8] |= uint8_t(0x80 >> (b % 8));
                }
                if (c2 == 2)
                    pointers[kC2Bytes] = 0xff;
                c.note += " c2=" + std::to_string(at);
            }
        }
        if (subSize) {
            uint8_t q[12];
            qSubchannel(at, q);
            uint8_t* s = out + mainSize + c2Size;
            if (subSize == 16) {
                std::memcpy(s, q, 12);
                std::memset(s + 12, 0, 4);
            } else {
                // Raw P-W: one bit of each channel per byte; P marks pauses, Q as above.
                std::memset(s, 0, 96);
                const bool pause = t && at < t->start;
                for (int bit = 0; bit < 96; ++bit)
                    s[bit] =
                        uint8_t((pause ? 0x80 : 0) | (q[bit / 8] & (0x80 >> (bit % 8)) ? 0x40 : 0));
                if (sub == 4)
                    for (int bit = 0; bit < 96; ++bit)
                        s[bit] &= 0x3f;
            }
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
            const Track* t = m_disc.trackAt(at);
            if ((t && t->data()) || m_cache.count(at))
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
