// Reading: the table of contents, disc and track information, sub-channel data and sectors.
#include "Drive.h"

#include "CdText.h"

#include <algorithm>
#include <cstring>

namespace vdrive {
namespace {

// An address as LBA or as 0, M, S, F.
void putAddress(std::vector<uint8_t>& b, size_t at, int lba, bool msf) {
    if (!msf) {
        put32(b, at, lba);
        return;
    }
    b[at] = 0;
    lbaToMsf(lba, b[at + 1], b[at + 2], b[at + 3]);
}

void putMsf(std::vector<uint8_t>& b, size_t at, int lba) {
    lbaToMsf(lba, b[at], b[at + 1], b[at + 2]);
}

uint8_t bcd(int v) {
    return uint8_t(v / 10 << 4 | v % 10);
}

} // namespace

std::vector<const Track*> Drive::closedTracks() const {
    std::vector<const Track*> list;
    for (const Track& t : m_disc.tracks)
        if (t.session <= int(m_disc.sessions.size()))
            list.push_back(&t);
    return list;
}

void Drive::readToc(Command& c) {
    const bool msf = c.u8(1) & 2;
    const int format = c.u8(2) & 0x0f;
    const int number = c.u8(6);
    const size_t allocation = size_t(c.u16(7));
    c.note = "format=" + std::to_string(format) + " track=" + std::to_string(number);
    const std::vector<const Track*> tracks = closedTracks();
    std::vector<uint8_t> data(4, 0);
    if (format == 4) {
        if (!m_disc.recordable())
            return c.fail(5, 0x24, 0);
        data.resize(28, 0);
        data[4] = 0xd2; // indicative writing power, reference speed
        data[5] = 0x40; // unrestricted use
        data[6] = uint8_t(0x80 | (m_disc.erasable() ? 0x40 : 0));
        putMsf(data, 8, m_disc.leadInStart);
        putMsf(data, 12, m_disc.lastLeadOut);
    } else if (format == 5) {
        // CD-Text of the first session's lead-in; only the header when there is none.
        if (!m_disc.sessions.empty())
            data.insert(data.end(), m_disc.cdText.begin(), m_disc.cdText.end());
    } else if (tracks.empty()) {
        return c.fail(5, 0x24, 0); // nothing recorded yet
    } else if (format == 0) {
        const int first = tracks.front()->number;
        const int last = tracks.back()->number;
        if (number > last && number != 0xaa)
            return c.fail(5, 0x24, 0);
        data[2] = uint8_t(first);
        data[3] = uint8_t(last);
        auto entry = [&](int point, uint8_t control, int lba) {
            std::vector<uint8_t> e(8, 0);
            e[1] = uint8_t(0x10 | control);
            e[2] = uint8_t(point);
            putAddress(e, 4, lba, msf);
            data.insert(data.end(), e.begin(), e.end());
        };
        for (const Track* t : tracks)
            if (number != 0xaa && t->number >= number)
                entry(t->number, t->control, t->start);
        entry(0xaa, tracks.back()->control, m_disc.leadOut());
    } else if (format == 1) {
        const Track* first = tracks.front();
        for (const Track* t : tracks)
            if (t->session == int(m_disc.sessions.size())) {
                first = t;
                break;
            }
        data[2] = 1;
        data[3] = uint8_t(m_disc.sessions.size());
        std::vector<uint8_t> e(8, 0);
        e[1] = uint8_t(0x10 | first->control);
        e[2] = uint8_t(first->number);
        putAddress(e, 4, first->start, msf);
        data.insert(data.end(), e.begin(), e.end());
    } else if (format == 2) {
        data[2] = 1;
        data[3] = uint8_t(m_disc.sessions.size());
        for (const Session& s : m_disc.sessions) {
            std::vector<const Track*> own;
            for (const Track* t : tracks)
                if (t->session == s.number)
                    own.push_back(t);
            auto entry = [&](int adr, uint8_t control, int point, int atime, int plba) {
                std::vector<uint8_t> e(11, 0);
                e[0] = uint8_t(s.number);
                e[1] = uint8_t(adr << 4 | control);
                e[3] = uint8_t(point);
                if (atime != INT32_MIN)
                    putMsf(e, 4, atime);
                putMsf(e, 8, plba);
                data.insert(data.end(), e.begin(), e.end());
                return data.size() - 11;
            };
            // A0 and A1 carry the first and last track number in PMIN (PSEC 0: CD-DA/CD-ROM).
            const size_t a0 = entry(1, own.front()->control, 0xa0, INT32_MIN, 0);
            data[a0 + 8] = uint8_t(own.front()->number);
            data[a0 + 9] = data[a0 + 10] = 0;
            const size_t a1 = entry(1, own.back()->control, 0xa1, INT32_MIN, 0);
            data[a1 + 8] = uint8_t(own.back()->number);
            data[a1 + 9] = data[a1 + 10] = 0;
            entry(1, own.back()->control, 0xa2, INT32_MIN, s.leadOut);
            for (const Track* t : own)
                entry(1, t->control, t->number, INT32_MIN, t->start);
            const bool lastSession = s.number == int(m_disc.sessions.size());
            if (m_disc.recordable() && lastSession && m_disc.status == Disc::Status::Appendable) {
                const size_t b0 = entry(5, 0, 0xb0, m_disc.nextSessionStart() - kPregapSectors,
                                        m_disc.lastLeadOut);
                data[b0 + 7] = s.number == 1 ? 2 : 1;
            }
            if (m_disc.recordable() && s.number == 1) {
                const size_t c0 = entry(5, 0, 0xc0, INT32_MIN, m_disc.leadInStart);
                data[c0 + 4] = 0xd2;
            }
        }
    } else {
        return c.fail(5, 0x24, 0);
    }
    put16(data, 0, int(data.size() - 2));
    c.reply(data, allocation);
}

void Drive::readDiscInfo(Command& c) {
    if ((c.u8(1) & 7) != 0)
        return c.fail(5, 0x24, 0);
    const Disc& d = m_disc;
    const int closed = int(d.sessions.size());
    const std::vector<const Track*> tracks = closedTracks();
    const bool openTracks = d.tracks.size() > tracks.size();
    std::vector<uint8_t> data(34, 0);
    put16(data, 0, 32);
    int status = 2;
    int state = 3;
    int sessions = closed;
    int firstInLast = 1;
    int lastInLast = 1;
    if (d.status == Disc::Status::Blank && !openTracks && !d.damaged) {
        status = 0;
        state = 0;
        sessions = 1;
    } else if (d.status != Disc::Status::Complete) {
        status = 1;
        state = openTracks || d.damaged ? 1 : 0;
        sessions = closed + 1;
        firstInLast = tracks.empty() ? 1 : tracks.back()->number + 1;
        lastInLast = d.lastTrackNumber() + 1;
    } else if (!tracks.empty()) {
        lastInLast = tracks.back()->number;
        firstInLast = lastInLast;
        for (const Track* t : tracks)
            if (t->session == closed) {
                firstInLast = t->number;
                break;
            }
    }
    data[2] = uint8_t((d.erasable() ? 0x10 : 0) | state << 2 | status);
    data[3] = 1;
    data[4] = uint8_t(sessions);
    data[5] = uint8_t(firstInLast);
    data[6] = uint8_t(lastInLast);
    data[7] = 0x20; // unrestricted use
    if (status == 2) {
        std::fill(data.begin() + 16, data.begin() + 24, 0xff);
    } else {
        const int leadIn =
            closed == 0 ? d.leadInStart : d.nextSessionStart() - kPregapSectors - kLeadInSectors;
        putAddress(data, 16, leadIn, true);
        putAddress(data, 20, d.lastLeadOut, true);
    }
    c.note = "status=" + std::to_string(status) + " sessions=" + std::to_string(sessions);
    c.reply(data, size_t(c.u16(7)));
}

int Drive::nextWritable(const Disc& d) const {
    if (m_rec.active && m_rec.trackOpen)
        return m_rec.next;
    const Track* last = nullptr;
    for (const Track& t : d.tracks)
        if (t.session > int(d.sessions.size()))
            last = &t;
    if (last)
        return last->end + m_params.pause;
    return d.nextSessionStart();
}

void Drive::readTrackInfo(Command& c) {
    const int type = c.u8(1) & 3;
    const int32_t address = c.s32(2);
    const bool recording = m_rec.active && m_rec.simulated;
    const Disc& d = recording ? m_shadow : m_disc;
    c.note = "type=" + std::to_string(type) + " address=" + std::to_string(address);
    // By track number only; 0xff or the number after the last is the invisible track.
    const Track* track = type == 1 ? d.track(address) : nullptr;
    bool invisible = type == 1 && !track && (address == 0xff || address == d.lastTrackNumber() + 1);
    if (invisible && (d.status == Disc::Status::Complete || !d.recordable()))
        invisible = false;
    if (!track && !invisible)
        return c.fail(5, 0x24, 0);
    std::vector<uint8_t> data(36, 0);
    put16(data, 0, 34);
    if (track) {
        data[2] = uint8_t(track->number);
        data[3] = uint8_t(track->session);
        data[5] = uint8_t(track->control | ((track->control & 2) ? 0x10 : 0));
        data[6] = uint8_t(track->data() ? 0x01 : 0x0f);
        data[7] = 0x02; // last recorded address valid
        put32(data, 8, track->start);
        // The size the table of contents gives: up to the next track's index 1 (its pre-gap
        // included) or the session's lead-out.
        const Track* following = d.track(track->number + 1);
        int end = following && following->session == track->session ? following->start : track->end;
        for (const Session& s : d.sessions)
            if (s.number == track->session)
                end = std::min(end, s.leadOut);
        put32(data, 24, end - track->start);
        put32(data, 28, end - 1);
    } else {
        const int nwa = nextWritable(d);
        data[2] = uint8_t(d.lastTrackNumber() + 1);
        data[3] = uint8_t(d.sessions.size() + 1);
        data[5] = uint8_t(m_params.control | (d.damaged ? 0x20 : 0));
        data[6] = 0x40 | 0x01; // blank, mode 1
        data[7] = d.damaged ? 0 : 1;
        put32(data, 8, nwa);
        put32(data, 12, nwa);
        put32(data, 16, std::max(0, d.lastLeadOut - nwa));
        put32(data, 24, std::max(0, d.lastLeadOut - nwa));
        c.note += " nwa=" + std::to_string(nwa);
    }
    c.reply(data, size_t(c.u16(7)));
}

void Drive::readCapacity(Command& c) {
    std::vector<uint8_t> data(8, 0);
    put32(data, 0, std::max(0, m_disc.leadOut() - 1));
    put32(data, 4, 2048);
    c.reply(data, 8);
}

void Drive::qSubchannel(int lba, uint8_t* q) const {
    std::memset(q, 0, 12);
    const Track* t = m_disc.trackAt(lba);
    if (!t && !m_disc.tracks.empty() && lba < m_disc.tracks.front().start)
        t = &m_disc.tracks.front();
    if (!t)
        t = m_disc.tracks.empty() ? nullptr : &m_disc.tracks.back();
    const int index = t ? m_disc.indexAt(*t, lba) : 1;
    const int relative = t ? (index == 0 ? t->start - lba : lba - t->start) : 0;
    q[0] = uint8_t((t ? t->control : 0) << 4 | 1);
    q[1] = bcd(t ? t->number : 0xaa);
    q[2] = bcd(index);
    uint8_t m, s, f;
    lbaToMsf(relative - kPregapSectors, m, s, f);
    q[3] = bcd(m);
    q[4] = bcd(s);
    q[5] = bcd(f);
    lbaToMsf(lba, m, s, f);
    q[7] = bcd(m);
    q[8] = bcd(s);
    q[9] = bcd(f);
    const uint16_t crc = subchannelCrc(q, 10);
    q[10] = uint8_t(crc >> 8);
    q[11] = uint8_t(crc);
}

void Drive::readSubchannel(Command& c) {
    const bool msf = c.u8(1) & 2;
    const bool subQ = c.u8(2) & 0x40;
    const int format = c.u8(3);
    const int position = m_position;
    std::vector<uint8_t> data(4, 0);
    data[1] = 0x15; // no audio status
    c.note = "format=" + std::to_string(format);
    if (subQ) {
        if (format == 1) {
            uint8_t q[12];
            qSubchannel(position, q);
            const Track* t = m_disc.trackAt(position);
            data.resize(16, 0);
            data[4] = 1;
            data[5] = q[0];
            data[6] = uint8_t(t ? t->number : 1);
            data[7] = uint8_t(t ? m_disc.indexAt(*t, position) : 1);
            putAddress(data, 8, position, msf);
            putAddress(data, 12, t ? position - t->start : position, false);
            if (msf)
                putAddress(data, 12, (t ? position - t->start : position) - kPregapSectors, true);
        } else if (format == 2) {
            data.resize(24, 0);
            data[4] = 2;
            if (m_disc.mcn.size() == 13) {
                data[8] = 0x80;
                std::memcpy(data.data() + 9, m_disc.mcn.data(), 13);
            }
        } else if (format == 3) {
            const Track* t = m_disc.track(c.u8(6));
            if (!t)
                return c.fail(5, 0x24, 0);
            data.resize(24, 0);
            data[4] = 3;
            data[5] = uint8_t(t->control << 4 | 1);
            data[6] = uint8_t(t->number);
            if (t->isrc.size() == 12) {
                data[8] = 0x80;
                std::memcpy(data.data() + 9, t->isrc.data(), 12);
            }
        } else {
            return c.fail(5, 0x24, 0);
        }
    }
    put16(data, 2, int(data.size() - 4));
    c.reply(data, size_t(c.u16(7)));
}

void Drive::sectorWithOffset(int lba, int shiftSamples, uint8_t* out) const {
    // The frame starting shiftSamples before the sector; silence outside the disc's audio.
    const long long from = static_cast<long long>(lba) * kSectorBytes - 4LL * shiftSamples;
    long long sector = from >= 0 ? from / kSectorBytes : (from - kSectorBytes + 1) / kSectorBytes;
    size_t skip = size_t(from - sector * kSectorBytes);
    size_t done = 0;
    uint8_t frame[kSectorBytes];
    while (done < kSectorBytes) {
        const bool inside = sector >= 0 && sector < m_disc.leadOut();
        if (inside)
            m_disc.readSector(int(sector), frame);
        else
            std::memset(frame, 0, kSectorBytes);
        const size_t n = std::min(size_t(kSectorBytes) - skip, size_t(kSectorBytes) - done);
        std::memcpy(out + done, frame + skip, n);
        done += n;
        skip = 0;
        ++sector;
    }
}

} // namespace vdrive
