// Identity, capabilities, mode pages, speeds and the tray.
#include "Drive.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vdrive {
namespace {

constexpr int kProfileCdRom = 0x08;
constexpr int kProfileCdR = 0x09;
constexpr int kProfileCdRw = 0x0a;
constexpr int kWritePageLength = 0x32;

std::string padded(const std::string& text, size_t width) {
    std::string s = text.substr(0, width);
    s.resize(width, ' ');
    return s;
}

// A feature descriptor: code, version, persistent and current flags, and its data.
void feature(std::vector<uint8_t>& out, int code, int version, bool current,
             std::vector<uint8_t> data, int start, int rt) {
    if (code < start || (rt == 1 && !current) || (rt == 2 && code != start))
        return;
    out.push_back(uint8_t(code >> 8));
    out.push_back(uint8_t(code));
    out.push_back(uint8_t(version << 2 | (current ? 1 : 0) | (code <= 1 ? 2 : 0)));
    out.push_back(uint8_t(data.size()));
    out.insert(out.end(), data.begin(), data.end());
}

} // namespace

int Drive::profile() const {
    if (m_trayOpen || !m_discInTray)
        return 0;
    if (m_opt.kind == DriveKind::Rom || m_disc.media == MediaKind::Rom)
        return kProfileCdRom;
    if (m_disc.media == MediaKind::CdRw)
        return m_opt.kind == DriveKind::CdRw ? kProfileCdRw : kProfileCdRom;
    return kProfileCdR;
}

void Drive::inquiry(Command& c) {
    if (c.u8(1) & 1)
        return c.fail(5, 0x24, 0); // no vital product data
    std::vector<uint8_t> data(36, 0);
    data[0] = 0x05; // CD/DVD device
    data[1] = 0x80; // removable
    data[3] = 0x32;
    data[4] = 31;
    const std::string ids =
        padded(m_opt.vendor, 8) + padded(m_opt.product, 16) + padded(m_opt.revision, 4);
    std::memcpy(data.data() + 8, ids.data(), 28);
    c.reply(data, size_t(c.u16(3)));
}

void Drive::testUnitReady(Command& c) {
    if (m_trayOpen || !m_discInTray)
        c.fail(2, 0x3a, m_trayOpen ? 2 : 1);
    else if (!busy(c) && Clock::now() < m_readyAt)
        c.fail(2, 0x04, 0x01);
}

void Drive::startStop(Command& c) {
    const bool loadEject = c.u8(4) & 2;
    const bool start = c.u8(4) & 1;
    if (!loadEject) {
        if (start) {
            if (ensureReady(c))
                c.note = "start";
        } else {
            m_spinning = false;
            c.note = "stop";
        }
        return;
    }
    if (start) {
        c.note = "load";
        if (m_trayOpen)
            load();
        return;
    }
    c.note = "eject";
    if (m_locked)
        return c.fail(5, 0x53, 0x02); // medium removal prevented
    if (!m_trayOpen)
        unload(false);
}

void Drive::preventAllow(Command& c) {
    m_locked = (c.u8(4) & 1) != 0;
    c.note = m_locked ? "prevent" : "allow";
}

void Drive::getConfiguration(Command& c) {
    const int rt = c.u8(1) & 3;
    const int start = c.u16(2);
    const int current = profile();
    const bool writer = m_opt.kind != DriveKind::Rom;
    const bool rw = m_opt.kind == DriveKind::CdRw;
    const bool writable = writer && current != kProfileCdRom && current != 0 &&
                          m_disc.status != Disc::Status::Complete;
    const bool readable = current != 0 && m_disc.status != Disc::Status::Blank;
    std::vector<uint8_t> features;

    std::vector<uint8_t> profiles;
    for (int p : {kProfileCdRw, kProfileCdR, kProfileCdRom}) {
        if ((p == kProfileCdRw && !rw) || (p == kProfileCdR && !writer))
            continue;
        profiles.insert(profiles.end(), {0, uint8_t(p), uint8_t(p == current ? 1 : 0), 0});
    }
    feature(features, 0x0000, 0, true, profiles, start, rt);
    feature(features, 0x0001, 2, true, {0, 0, 0, 2, 1, 0, 0, 0}, start, rt); // ATAPI
    feature(features, 0x0002, 1, true, {0x02, 0, 0, 0}, start, rt);
    feature(features, 0x0003, 0, true, {0x29, 0, 0, 0}, start, rt); // tray, eject, lock
    feature(features, 0x0010, 0, readable, {0, 0, 8, 0, 0, 1, 0, 0}, start, rt);
    feature(features, 0x001d, 0, readable, {}, start, rt);
    feature(features, 0x001e, 2, readable, {0x03, 0, 0, 0}, start, rt);
    if (writer) {
        const uint8_t buf = m_opt.burnProof ? 0x40 : 0;
        const uint8_t test = m_opt.testWrite ? 0x04 : 0;
        if (m_opt.tao)
            feature(features, 0x002d, 2, writable,
                    {uint8_t(buf | test | (rw ? 2 : 0)), 0, 0x01, 0x01}, start, rt);
        if (m_opt.sao)
            feature(features, 0x002e, 1, writable,
                    {uint8_t(buf | 0x20 | test | (rw ? 2 : 0)), 0, 0x10, 0x00}, start, rt);
        if (rw)
            feature(features, 0x0037, 0, current == kProfileCdRw, {0, 0x02, 0, 0}, start, rt);
    }
    feature(features, 0x0100, 0, true, {}, start, rt);
    feature(features, 0x0103, 0, true, {0x03, 0, 0x01, 0x00}, start, rt);
    feature(features, 0x0105, 0, true, {0, 0, 0, 0}, start, rt);
    feature(features, 0x0107, 3, true, {uint8_t(writer ? 0x0e : 0x0c), 0, 0, 0}, start, rt);
    char serial[9];
    std::snprintf(serial, sizeof serial, "VD%06d", m_opt.host);
    feature(features, 0x0108, 0, true, std::vector<uint8_t>(serial, serial + 8), start, rt);

    std::vector<uint8_t> data(8, 0);
    put32(data, 0, uint32_t(features.size() + 4));
    put16(data, 6, current);
    data.insert(data.end(), features.begin(), features.end());
    c.note = "rt=" + std::to_string(rt) + " start=" + std::to_string(start);
    c.reply(data, size_t(c.u16(7)));
}

// The current values of a page; empty for a page the drive does not have.
std::vector<uint8_t> Drive::modePage(int page) {
    const bool writer = m_opt.kind != DriveKind::Rom;
    std::vector<uint8_t> p;
    if (page == 0x01) {
        p = {0x01, 0x0a, 0, 0x20, 0, 0, 0, 0, 0, 0, 0, 0}; // read retry count 32
    } else if (page == 0x05 && writer) {
        p.assign(2 + kWritePageLength, 0);
        p[0] = 0x05;
        p[1] = kWritePageLength;
        if (!m_params.page.empty()) {
            std::copy(m_params.page.begin(), m_params.page.end(), p.begin() + 2);
        } else {
            p[2] = 0x01; // TAO
            p[4] = 0x08; // mode 1
            p[15] = 150;
        }
    } else if (page == 0x0e) {
        p = {0x0e, 0x0e, 0x04, 0, 0, 0, 0, 0, 0x01, 0xff, 0x02, 0xff, 0, 0, 0, 0};
    } else if (page == 0x2a) {
        const std::vector<int>& speeds = m_opt.writeSpeeds;
        const int n = writer ? int(speeds.size()) : 0;
        p.assign(32 + size_t(n) * 4, 0);
        p[0] = 0x2a;
        p[1] = uint8_t(p.size() - 2);
        p[2] = 0x07; // reads CD-R, CD-RW, method 2
        if (writer)
            p[3] = uint8_t(0x01 | (m_opt.kind == DriveKind::CdRw ? 0x02 : 0) |
                           (m_opt.testWrite ? 0x04 : 0));
        p[4] = uint8_t(0x71 | (writer && m_opt.burnProof ? 0x80 : 0));
        p[5] = 0x7f; // CD-DA commands, accurate streams, C2 pointers
        p[6] = uint8_t(0x29 | (m_locked ? 0x02 : 0));
        p[7] = 0x03;
        put16(p, 8, kbpsOf(m_opt.readSpeed));
        put16(p, 10, 256);
        put16(p, 12, m_opt.bufferKb);
        put16(p, 14, m_readKbps);
        if (writer) {
            put16(p, 18, kbpsOf(speeds.back()));
            put16(p, 20, m_writeKbps);
            put16(p, 28, m_writeKbps);
        }
        put16(p, 30, n);
        for (int i = 0; i < n; ++i)
            put16(p, 32 + size_t(i) * 4 + 2, kbpsOf(speeds[speeds.size() - 1 - size_t(i)]));
    }
    return p;
}

// MODE SENSE(10) of the current values, without a block descriptor.
void Drive::modeSense(Command& c) {
    const int page = c.u8(2) & 0x3f;
    c.note = "page=" + std::to_string(page) + " pc=" + std::to_string(c.u8(2) >> 6);
    if (c.u8(2) >> 6)
        return c.fail(5, 0x24, 0); // only current values
    std::vector<uint8_t> data(8, 0);
    for (int p : page == 0x3f ? std::vector<int>{0x01, 0x05, 0x0e, 0x2a} : std::vector<int>{page}) {
        const std::vector<uint8_t> one = modePage(p);
        data.insert(data.end(), one.begin(), one.end());
    }
    if (data.size() == 8)
        return c.fail(5, 0x24, 0);
    put16(data, 0, int(data.size() - 2));
    c.reply(data, size_t(c.u16(7)));
}

// MODE SELECT(10) of the write parameters page.
void Drive::modeSelect(Command& c) {
    const size_t length = std::min(size_t(c.u16(7)), c.length);
    if (length < 8 || !c.data) {
        if (length != 0)
            c.fail(5, 0x1a, 0); // shorter than its header
        return;
    }
    const uint8_t* d = c.data;
    for (size_t at = 8 + size_t(d[6] << 8 | d[7]); at + 2 <= length;) {
        const size_t size = size_t(d[at + 1]) + 2;
        if (at + size > length)
            return c.fail(5, 0x1a, 0);
        c.note += "page=" + std::to_string(d[at] & 0x3f);
        if ((d[at] & 0x3f) != 0x05 || m_opt.kind == DriveKind::Rom ||
            !selectWriteParams(d + at, int(size)))
            return c.fail(5, 0x26, 0);
        char text[64];
        std::snprintf(text, sizeof text, " type=%d test=%d bufe=%d multi=%d block=%d",
                      m_params.writeType, m_params.testWrite, m_params.bufe, m_params.multiSession,
                      m_params.blockType);
        c.note += text;
        at += size;
    }
}

bool Drive::selectWriteParams(const uint8_t* p, int length) {
    if (length < 16)
        return false;
    WriteParams w = m_params;
    w.writeType = p[2] & 0x0f;
    w.testWrite = (p[2] & 0x10) != 0;
    w.bufe = (p[2] & 0x40) != 0 && m_opt.burnProof;
    w.multiSession = p[3] >> 6;
    w.control = p[3] & 0x0f;
    w.blockType = p[4] & 0x0f;
    w.pause = p[14] << 8 | p[15];
    if ((w.writeType == 1 && !m_opt.tao) || (w.writeType == 2 && !m_opt.sao) ||
        (w.writeType != 1 && w.writeType != 2))
        return false;
    if (w.testWrite && !m_opt.testWrite)
        return false;
    if (w.writeType == 1 && w.blockType != 0) // raw audio blocks only
        return false;
    w.mcn.clear();
    w.isrc.clear();
    if (length >= 30 && (p[16] & 0x80))
        w.mcn.assign(reinterpret_cast<const char*>(p + 17), 13);
    if (length >= 46 && (p[32] & 0x80))
        w.isrc.assign(reinterpret_cast<const char*>(p + 33), 12);
    w.page.assign(p + 2, p + std::min(length, 2 + kWritePageLength));
    w.page[0] = uint8_t((p[2] & 0x3f) | (w.bufe ? 0x40 : 0));
    // A new write mode ends a recording that never got further than its parameters.
    if (m_rec.active && !m_rec.started)
        m_rec = Recording();
    m_params = w;
    return true;
}

void Drive::getPerformance(Command& c) {
    const int type = c.u8(10);
    std::vector<uint8_t> data(8, 0);
    const int capacity = m_disc.recordable() ? m_disc.lastLeadOut : std::max(m_disc.leadOut(), 0);
    c.note = "type=" + std::to_string(type);
    if (type == 0x00) {
        const bool writing = c.u8(1) & 0x04;
        const int speed = writing ? m_writeKbps : kbpsOf(m_opt.readSpeed);
        data[4] = writing ? 2 : 0;
        data.resize(24, 0);
        put32(data, 8, 0);
        put32(data, 12, uint32_t(speed));
        put32(data, 16, uint32_t(capacity));
        put32(data, 20, uint32_t(speed));
    } else if (type == 0x03) {
        if (m_opt.kind == DriveKind::Rom)
            return c.fail(5, 0x24, 0);
        const std::vector<int>& speeds = m_opt.writeSpeeds;
        for (auto s = speeds.rbegin(); s != speeds.rend(); ++s) {
            const size_t at = data.size();
            data.resize(at + 16, 0);
            put32(data, at + 4, uint32_t(capacity));
            put32(data, at + 8, uint32_t(kbpsOf(m_opt.readSpeed)));
            put32(data, at + 12, uint32_t(kbpsOf(*s)));
        }
    } else {
        return c.fail(5, 0x24, 0);
    }
    put32(data, 0, uint32_t(data.size() - 4));
    c.reply(data, c.length);
}

void Drive::setCdSpeed(Command& c) {
    const int read = c.u16(2);
    const int write = c.u16(4);
    const int maxRead = kbpsOf(m_opt.readSpeed);
    m_readKbps = read == 0 || read > maxRead ? maxRead : std::max(read, kbpsOf(1));
    if (m_opt.kind != DriveKind::Rom) {
        // The fastest speed of the table that is not above the one asked for.
        int chosen = m_opt.writeSpeeds.front();
        for (int s : m_opt.writeSpeeds)
            if (write == 0 || kbpsOf(s) <= write)
                chosen = s;
        m_writeKbps = kbpsOf(chosen);
        c.note = "read=" + std::to_string(read) + " write=" + std::to_string(write) +
                 " chosen=" + std::to_string(chosen) + "x";
    } else {
        c.note = "read=" + std::to_string(read);
    }
}

} // namespace vdrive
