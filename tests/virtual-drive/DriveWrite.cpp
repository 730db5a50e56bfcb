// Recording: session at once from a cue sheet with CD-Text in the lead-in, track at once from
// the next writable address, the drive's buffer and write speed, test writes, closing, blanking
// and the injected write faults.
#include "Drive.h"

#include "CdText.h"
#include "Log.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <thread>
#include <utility>

namespace vdrive {
namespace {

constexpr int kMinimumTrack = 300;
constexpr int kTextBytesPerSector = 96;

struct CueTrack {
    std::map<int, int> indexes;
    uint8_t control = 0;
    int form = -1;
    std::string isrc;
};

} // namespace

void Drive::sendCueSheet(Command& c) {
    if (m_opt.kind == DriveKind::Rom)
        return c.fail(5, 0x20, 0);
    if (!m_disc.recordable() || m_disc.status == Disc::Status::Complete || m_disc.damaged)
        return c.fail(7, 0x27, 0);
    if (m_params.writeType != 2 || (m_rec.active && m_rec.started))
        return c.fail(5, 0x2c, 0);
    const size_t length = std::min(size_t(c.u24(6)), c.length);
    CueSheet cue;
    std::map<int, CueTrack> tracks;
    bool haveLeadIn = false;
    int leadOut = INT32_MIN;
    for (size_t at = 0; at + 8 <= length; at += 8) {
        const uint8_t* e = c.data + at;
        const int adr = e[0] & 0x0f;
        if (adr == 2 && at + 16 <= length) {
            cue.mcn.assign(reinterpret_cast<const char*>(e + 1), 7);
            cue.mcn.append(reinterpret_cast<const char*>(e + 9), 6);
            at += 8;
        } else if (adr == 3 && at + 16 <= length) {
            std::string isrc(reinterpret_cast<const char*>(e + 2), 6);
            isrc.append(reinterpret_cast<const char*>(e + 10), 6);
            tracks[e[1]].isrc = isrc;
            at += 8;
        } else if (adr == 1) {
            const int lba = msfToLba(e[5], e[6], e[7]);
            if (e[1] == 0) {
                cue.leadInForm = e[3];
                haveLeadIn = true;
            } else if (e[1] == 0xaa) {
                leadOut = lba;
            } else if (e[1] >= 1 && e[1] <= 99 && e[2] <= 99) {
                CueTrack& t = tracks[e[1]];
                t.indexes[e[2]] = lba;
                t.control = e[0] >> 4;
                if (e[2] == 1)
                    t.form = e[3];
            } else {
                return c.fail(5, 0x26, 0);
            }
        } else {
            return c.fail(5, 0x26, 0);
        }
    }
    int expectedNumber = m_disc.lastTrackNumber() + 1;
    int previous = INT32_MIN;
    for (auto& [number, t] : tracks) {
        const bool formOk = t.form == 0x00; // audio
        if (number != expectedNumber++ || !t.indexes.count(1) || !formOk)
            return c.fail(5, 0x26, 0);
        for (const auto& [index, lba] : t.indexes) {
            if (lba <= previous)
                return c.fail(5, 0x26, 0);
            previous = lba;
        }
    }
    if (!haveLeadIn || tracks.empty() || leadOut <= previous ||
        tracks.begin()->second.indexes.at(1) != m_disc.nextSessionStart()) {
        return c.fail(5, 0x26, 0);
    }
    if (leadOut > m_disc.lastLeadOut)
        return c.fail(5, 0x63, 0); // more than the disc holds
    for (auto it = tracks.begin(); it != tracks.end(); ++it) {
        Track t;
        t.number = it->first;
        t.session = int(m_disc.sessions.size()) + 1;
        t.pregap = it->second.indexes.begin()->second;
        t.start = it->second.indexes.at(1);
        for (const auto& [index, lba] : it->second.indexes)
            if (index >= 2)
                t.indexes.push_back(lba);
        const auto next = std::next(it);
        t.end = next == tracks.end() ? leadOut : next->second.indexes.begin()->second;
        t.control = it->second.control;
        t.isrc = it->second.isrc;
        cue.tracks.push_back(t);
    }
    cue.firstLba = cue.tracks.front().pregap;
    cue.leadOut = leadOut;
    c.note = "tracks=" + std::to_string(cue.tracks.size()) + " leadout=" + std::to_string(leadOut) +
             ((cue.leadInForm & 0x40) ? " cd-text" : "");
    m_rec = Recording();
    m_rec.cue = cue;
    m_rec.haveCue = true;
    m_rec.sao = true;
    beginRecording(c);
}

void Drive::beginRecording(Command& c) {
    if (m_params.writeType == 2 && !m_rec.haveCue)
        return c.fail(5, 0x2c, 0); // SAO needs its cue sheet first
    m_rec.active = true;
    m_rec.sao = m_params.writeType == 2;
    m_rec.simulated = m_params.testWrite;
    m_rec.started = false;
    if (m_rec.simulated)
        m_shadow = m_disc;
    m_bufferFill = 0;
    m_bufferTime = Clock::now();
}

void Drive::write(Command& c) {
    const int lba = c.s32(2);
    const int count = c.u16(7);
    c.note = "lba=" + std::to_string(lba) + " n=" + std::to_string(count);
    if (m_opt.kind == DriveKind::Rom)
        return c.fail(5, 0x20, 0);
    if (!m_disc.recordable())
        return c.fail(7, 0x27, 0);
    if (m_disc.status == Disc::Status::Complete || (m_disc.damaged && !m_rec.active))
        return c.fail(5, 0x21, 0x02);
    if (!m_rec.active) {
        beginRecording(c);
        if (!c.good)
            return;
    }
    Disc& disc = target();
    int textSectors = 0;
    if (m_rec.sao) {
        const CueSheet& cue = m_rec.cue;
        const bool text = (cue.leadInForm & 0x40) != 0;
        if (!m_rec.started) {
            if (lba != cue.firstLba && !(text && lba == disc.leadInStart))
                return c.fail(5, 0x21, 0x02);
            m_rec.next = lba;
        }
        if (lba != m_rec.next || lba + count > cue.leadOut)
            return c.fail(5, 0x21, 0x02);
        if (lba < cue.firstLba) {
            if (lba + count > cue.firstLba || c.length != size_t(count) * kTextBytesPerSector)
                return c.fail(5, 0x64, 0);
            textSectors = count;
        }
    } else {
        if (!m_rec.trackOpen) {
            const int nwa = nextWritable(disc);
            if (lba != nwa)
                return c.fail(5, 0x21, 0x02);
            Track t;
            t.number = disc.lastTrackNumber() + 1;
            t.session = int(disc.sessions.size()) + 1;
            const bool firstOfSession = disc.tracksInSession(t.session) == 0;
            t.pregap = firstOfSession ? nwa - kPregapSectors : disc.tracks.back().end;
            t.start = nwa;
            t.control = m_params.control & 0x0f;
            t.isrc = m_params.isrc;
            m_rec.track = t;
            m_rec.trackOpen = true;
            m_rec.next = nwa;
        }
        if (lba != m_rec.next)
            return c.fail(5, 0x21, 0x02);
        if (lba + count > disc.lastLeadOut)
            return c.fail(5, 0x63, 0);
    }
    // Bytes per sector of each sector written: audio frames, and R-W symbols in the lead-in.
    auto blockOf = [&](int at) {
        return m_rec.sao && at < m_rec.cue.firstLba ? kTextBytesPerSector : kSectorBytes;
    };
    size_t expected = 0;
    for (int i = 0; i < count; ++i)
        expected += size_t(blockOf(lba + i));
    if (c.length != expected)
        return c.fail(5, 0x64, 0);
    m_rec.started = true;
    fillBuffer(size_t(count) * kSectorBytes);
    size_t at = 0;
    for (int i = 0; i < count; ++i) {
        const int sector = lba + i;
        const int block = blockOf(sector);
        int ascq = -1; // an injected fault, once: 3/0C/09 underrun, 3/0C/00 write error
        if (sector == m_opt.underrunAt && !std::exchange(m_underrunDone, true)) {
            if (m_params.bufe)
                c.note += " underrun-protected=" + std::to_string(sector);
            else
                ascq = 0x09;
        }
        if (ascq < 0 && sector == m_opt.writeErrorAt && !std::exchange(m_writeErrorDone, true))
            ascq = 0x00;
        c.transferred = at;
        if (ascq >= 0) {
            c.failAt(3, 0x0c, uint8_t(ascq), sector);
            return abortRecording(ascq ? "buffer underrun" : "write error");
        }
        if (!takeSector())
            return c.fail(2, 0x3a, 0x02);
        const uint8_t* in = c.data + at;
        if (block == kTextBytesPerSector)
            m_rec.textSymbols.insert(m_rec.textSymbols.end(), in, in + block);
        else
            disc.writeSector(sector, in);
        at += size_t(block);
    }
    c.transferred = at;
    m_rec.next = lba + count;
    m_position = lba + count;
    if (textSectors > 0)
        c.note += " cd-text";
    if (m_rec.simulated)
        c.note += " test";
}

void Drive::synchronizeCache(Command& c) {
    const bool immed = c.u8(1) & 2;
    if (!m_rec.active || !m_rec.started) {
        c.note = "nothing to write";
        return;
    }
    drainBuffer();
    double seconds = m_bufferFill / (rateSectors(m_writeKbps) * kSectorBytes);
    if (m_rec.sao) {
        if (m_rec.next == m_rec.cue.leadOut) {
            seconds += (kLeadInSectors + kFirstLeadOutSectors) / rateSectors(m_writeKbps);
            finishSession();
            c.note = "session closed";
        } else {
            abortRecording("the cue sheet's data was not all sent");
            c.note = "incomplete";
        }
    } else if (m_rec.trackOpen) {
        closeOpenTrack();
        c.note = "track closed";
    }
    m_bufferFill = 0;
    work(seconds, immed, 0x08);
}

void Drive::closeTrackSession(Command& c) {
    const bool immed = c.u8(1) & 1;
    const int function = c.u8(2) & 7;
    c.note = "function=" + std::to_string(function);
    if (m_opt.kind == DriveKind::Rom)
        return c.fail(5, 0x20, 0);
    if (function != 1 && function != 2)
        return c.fail(5, 0x24, 0);
    double seconds = 0;
    if (m_rec.active && m_rec.trackOpen)
        closeOpenTrack();
    if (function == 2 && m_rec.active && !m_rec.sao) {
        const Disc& d = target();
        if (d.tracksInSession(int(d.sessions.size()) + 1) > 0) {
            const int leadOut = d.sessions.empty() ? kFirstLeadOutSectors : kLeadOutSectors;
            seconds = (kLeadInSectors + leadOut) / rateSectors(m_writeKbps);
            finishSession();
            c.note += " session closed";
        }
    }
    work(seconds, immed && seconds > 0, 0x07);
}

void Drive::closeOpenTrack() {
    Disc& d = target();
    Track t = m_rec.track;
    t.end = m_rec.next;
    if (t.end - t.start < kMinimumTrack) {
        // Too short for a track: the drive pads it with silence.
        uint8_t silence[kSectorBytes] = {};
        for (int at = t.end; at < t.start + kMinimumTrack; ++at)
            if (!m_rec.simulated)
                d.writeSector(at, silence);
        t.end = t.start + kMinimumTrack;
        m_rec.next = t.end;
    }
    d.tracks.push_back(t);
    if (!m_rec.simulated)
        d.status = Disc::Status::Appendable;
    m_rec.trackOpen = false;
    Log::instance().line(m_name, "model", "track closed",
                         std::to_string(t.number) + " " + std::to_string(t.start) + "-" +
                             std::to_string(t.end) + (m_rec.simulated ? " (test)" : ""));
}

void Drive::finishSession() {
    Disc& d = target();
    const int session = int(d.sessions.size()) + 1;
    if (m_rec.sao) {
        for (const Track& t : m_rec.cue.tracks)
            d.tracks.push_back(t);
        if (session == 1 && !m_rec.textSymbols.empty())
            d.cdText = packsFromSubchannel(m_rec.textSymbols);
    }
    if (d.mcn.empty())
        d.mcn = m_rec.sao && !m_rec.cue.mcn.empty() ? m_rec.cue.mcn : m_params.mcn;
    Session s;
    s.number = session;
    s.leadOut = d.tracks.back().end;
    d.sessions.push_back(s);
    d.status = m_params.multiSession == 3 ? Disc::Status::Appendable : Disc::Status::Complete;
    const bool simulated = m_rec.simulated;
    m_rec = Recording();
    clearCache();
    if (simulated) {
        Log::instance().line(m_name, "model", "test write ended", "nothing recorded");
        return;
    }
    Log::instance().line(m_name, "model", "session closed",
                         std::to_string(session) + ", disc " +
                             (d.status == Disc::Status::Complete ? "complete" : "appendable"));
    saveWritten();
}

void Drive::abortRecording(const char* why) {
    if (!m_rec.simulated && m_rec.started)
        m_disc.damaged = true;
    Log::instance().line(m_name, "model", "recording aborted", why);
    m_rec = Recording();
    m_bufferFill = 0;
}

void Drive::readBufferCapacity(Command& c) {
    drainBuffer();
    const uint32_t capacity = uint32_t(m_opt.bufferKb) * 1024;
    const uint32_t fill = std::min(capacity, uint32_t(m_bufferFill));
    std::vector<uint8_t> data(12, 0);
    data[1] = 10;
    for (int i = 0; i < 4; ++i) {
        data[4 + size_t(i)] = uint8_t(capacity >> (24 - 8 * i));
        data[8 + size_t(i)] = uint8_t((capacity - fill) >> (24 - 8 * i));
    }
    c.note = "fill=" + std::to_string(fill);
    c.reply(data, size_t(c.u16(7)));
}

void Drive::blank(Command& c) {
    const int type = c.u8(1) & 7;
    const bool immed = c.u8(1) & 0x10;
    c.note = type == 0 ? "full" : "fast";
    if (m_opt.kind == DriveKind::Rom)
        return c.fail(5, 0x20, 0);
    if (m_disc.media != MediaKind::CdRw || m_opt.kind != DriveKind::CdRw)
        return c.fail(5, 0x30, 0x05);
    if (type != 0 && type != 1)
        return c.fail(5, 0x24, 0);
    if (m_rec.active)
        return c.fail(5, 0x2c, 0);
    const int sectors =
        type == 0 ? m_disc.lastLeadOut : kLeadInSectors + kFirstLeadOutSectors + kPregapSectors;
    const double seconds = sectors / rateSectors(m_writeKbps);
    const Disc old = m_disc;
    m_disc = Disc::blank(MediaKind::CdRw, 80);
    m_disc.lastLeadOut = old.lastLeadOut;
    m_disc.leadInStart = old.leadInStart;
    clearCache();
    work(seconds, immed, 0x07);
}

void Drive::drainBuffer() {
    const Clock::time_point now = Clock::now();
    if (m_opt.timescale <= 0) {
        m_bufferFill = 0;
    } else {
        const double seconds = std::chrono::duration<double>(now - m_bufferTime).count();
        const double rate = rateSectors(m_writeKbps) * kSectorBytes / m_opt.timescale;
        m_bufferFill = std::max(0.0, m_bufferFill - seconds * rate);
    }
    m_bufferTime = now;
}

void Drive::fillBuffer(size_t bytes) {
    drainBuffer();
    const double capacity = double(m_opt.bufferKb) * 1024;
    const double want = std::min(double(bytes), capacity);
    if (m_bufferFill + want > capacity && m_opt.timescale > 0) {
        const double rate = rateSectors(m_writeKbps) * kSectorBytes / m_opt.timescale;
        std::this_thread::sleep_for(
            std::chrono::duration<double>((m_bufferFill + want - capacity) / rate));
        drainBuffer();
    }
    m_bufferFill += want;
}

} // namespace vdrive
