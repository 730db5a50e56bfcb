#include "Drive.h"

#include "CueFile.h"
#include "Log.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace vdrive {

void put16(std::vector<uint8_t>& b, size_t at, int v) {
    b[at] = uint8_t(v >> 8);
    b[at + 1] = uint8_t(v);
}

void put32(std::vector<uint8_t>& b, size_t at, int32_t v) {
    for (int i = 0; i < 4; ++i)
        b[at + size_t(i)] = uint8_t(uint32_t(v) >> (24 - 8 * i));
}

int kbpsOf(int speed) {
    return int(std::lround(speed * 176.4));
}

void Sense::write(uint8_t* out) const {
    std::memset(out, 0, 18);
    out[0] = 0x70 | (hasInfo ? 0x80 : 0);
    out[2] = key;
    out[3] = uint8_t(uint32_t(info) >> 24);
    out[4] = uint8_t(uint32_t(info) >> 16);
    out[5] = uint8_t(uint32_t(info) >> 8);
    out[6] = uint8_t(info);
    out[7] = 10;
    out[12] = asc;
    out[13] = ascq;
    if (progress >= 0) {
        out[15] = 0x80;
        out[16] = uint8_t(progress >> 8);
        out[17] = uint8_t(progress);
    }
}

void Command::fail(uint8_t key, uint8_t asc, uint8_t ascq) {
    good = false;
    sense.key = key;
    sense.asc = asc;
    sense.ascq = ascq;
}

void Command::failAt(uint8_t key, uint8_t asc, uint8_t ascq, int lba) {
    fail(key, asc, ascq);
    sense.hasInfo = true;
    sense.info = lba;
}

void Command::reply(const std::vector<uint8_t>& bytes, size_t allocation) {
    const size_t n = std::min({bytes.size(), allocation, length});
    if (n > 0 && data)
        std::memcpy(data, bytes.data(), n);
    transferred = n;
}

Drive::Drive(const DriveOptions& options, std::string& error) : m_opt(options) {
    const auto slash = m_opt.node.rfind('/');
    m_name = m_opt.node.substr(slash + 1);
    switch (m_opt.disc) {
    case DiscKind::None:
        break;
    case DiscKind::BlankCdR:
        m_disc = Disc::blank(MediaKind::CdR, m_opt.minutes);
        m_discInTray = true;
        break;
    case DiscKind::BlankCdRw:
        m_disc = Disc::blank(MediaKind::CdRw, m_opt.minutes);
        m_discInTray = true;
        break;
    case DiscKind::Cue:
        if (!loadCue(m_opt.cuePath, m_opt.media, m_opt.appendable, m_disc, error))
            return;
        m_disc.lastLeadOut = std::max(m_disc.lastLeadOut, m_disc.leadOut());
        m_discInTray = true;
        break;
    }
    m_trayOpen = m_opt.trayOpen;
    m_readyAt = m_lastAccess = m_bufferTime = m_busyFrom = m_busyUntil = Clock::now();
    m_readKbps = kbpsOf(m_opt.readSpeed);
    m_writeKbps = kbpsOf(m_opt.writeSpeeds.back());
    m_jitterReads.assign(m_opt.jitter.size(), 0);
}

Drive::Tray Drive::tray() {
    std::lock_guard lock(m_mutex);
    if (m_trayOpen)
        return Tray::Open;
    if (!m_discInTray)
        return Tray::NoDisc;
    return Clock::now() < m_readyAt ? Tray::NotReady : Tray::DiscOk;
}

bool Drive::hasDisc() {
    std::lock_guard lock(m_mutex);
    return m_discInTray && !m_trayOpen;
}

void Drive::execute(Command& c, const char* via) {
    // The commands the drive knows: name, whether they work without a disc (and while the drive
    // is busy writing or blanking), and what runs them. Any other gets ILLEGAL REQUEST.
    struct Opcode {
        uint8_t code;
        const char* name;
        bool withoutMedia;
        void (Drive::*run)(Command&);
    };
    static const Opcode opcodes[] = {
        {0x00, "TEST UNIT READY", true, &Drive::testUnitReady},
        {0x12, "INQUIRY", true, &Drive::inquiry},
        {0x1b, "START STOP UNIT", true, &Drive::startStop},
        {0x1e, "PREVENT ALLOW MEDIUM REMOVAL", true, &Drive::preventAllow},
        {0x25, "READ CAPACITY", false, &Drive::readCapacity},
        {0x2a, "WRITE(10)", false, &Drive::write},
        {0x35, "SYNCHRONIZE CACHE", false, &Drive::synchronizeCache},
        {0x42, "READ SUB-CHANNEL", false, &Drive::readSubchannel},
        {0x43, "READ TOC/PMA/ATIP", false, &Drive::readToc},
        {0x46, "GET CONFIGURATION", true, &Drive::getConfiguration},
        {0x51, "READ DISC INFORMATION", false, &Drive::readDiscInfo},
        {0x52, "READ TRACK INFORMATION", false, &Drive::readTrackInfo},
        {0x55, "MODE SELECT(10)", true, &Drive::modeSelect},
        {0x5a, "MODE SENSE(10)", true, &Drive::modeSense},
        {0x5b, "CLOSE TRACK/SESSION", false, &Drive::closeTrackSession},
        {0x5c, "READ BUFFER CAPACITY", true, &Drive::readBufferCapacity},
        {0x5d, "SEND CUE SHEET", false, &Drive::sendCueSheet},
        {0xa1, "BLANK", false, &Drive::blank},
        {0xac, "GET PERFORMANCE", true, &Drive::getPerformance},
        {0xbb, "SET CD SPEED", true, &Drive::setCdSpeed},
        {0xbe, "READ CD", false, &Drive::readCd},
    };
    const Opcode* op = nullptr;
    for (const Opcode& o : opcodes)
        if (o.code == c.u8(0))
            op = &o;
    std::lock_guard lock(m_mutex);
    m_via = via;
    if ((op && op->withoutMedia) || ensureReady(c)) {
        if (op)
            (this->*op->run)(c);
        else
            c.fail(5, 0x20, 0);
    }
    if (!Log::instance().enabled())
        return;
    char unknown[16];
    std::snprintf(unknown, sizeof unknown, "OPCODE 0x%02X", c.u8(0));
    char outcome[32] = "-> GOOD";
    if (!c.good)
        std::snprintf(outcome, sizeof outcome, "-> CHECK %X/%02X/%02X", c.sense.key, c.sense.asc,
                      c.sense.ascq);
    Log::instance().line(m_name, via, op ? op->name : unknown,
                         c.note + (c.note.empty() ? "" : " ") + outcome);
}

bool Drive::ensureReady(Command& c) {
    if (m_trayOpen || !m_discInTray) {
        c.fail(2, 0x3a, m_trayOpen ? 2 : 1);
        return false;
    }
    if (busy(c))
        return false;
    const Clock::time_point now = Clock::now();
    if (now < m_readyAt) {
        // The kernel's CD driver waits for a drive that is becoming ready; SG_IO does not.
        if (std::strcmp(m_via, "SG_IO") == 0) {
            c.fail(2, 0x04, 0x01);
            return false;
        }
        std::this_thread::sleep_until(m_readyAt);
        m_spinning = true;
    }
    spinUp();
    return true;
}

bool Drive::busy(Command& c) {
    const Clock::time_point now = Clock::now();
    if (now >= m_busyUntil)
        return false;
    c.fail(2, 0x04, m_busyAscq);
    const double total = std::chrono::duration<double>(m_busyUntil - m_busyFrom).count();
    const double done = std::chrono::duration<double>(now - m_busyFrom).count();
    c.sense.progress = total > 0 ? std::clamp(int(done / total * 65536), 0, 65535) : 0;
    return true;
}

void Drive::spinUp() {
    const Clock::time_point now = Clock::now();
    const double idle = std::chrono::duration<double>(now - m_lastAccess).count();
    if (m_spinning && m_opt.idle > 0 && idle > m_opt.idle * m_opt.timescale)
        m_spinning = false;
    if (!m_spinning) {
        sleepModel(m_opt.spinup);
        m_spinning = true;
    }
    m_lastAccess = Clock::now();
}

void Drive::sleepModel(double seconds) {
    const double real = seconds * m_opt.timescale;
    if (real > 0)
        std::this_thread::sleep_for(std::chrono::duration<double>(real));
}

void Drive::work(double seconds, bool immed, uint8_t ascq) {
    if (!immed || m_opt.timescale <= 0) {
        sleepModel(seconds);
        return;
    }
    m_busyFrom = Clock::now();
    m_busyUntil = m_busyFrom + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double>(seconds * m_opt.timescale));
    m_busyAscq = ascq;
}

double Drive::rateSectors(int kbps) const {
    return kbps * 1000.0 / kSectorBytes;
}

void Drive::load() {
    m_trayOpen = false;
    m_readyAt = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double>(m_opt.spinup * m_opt.timescale));
    m_spinning = true;
}

void Drive::unload(bool lose) {
    if (m_rec.active)
        abortRecording(lose ? "the disc was removed" : "the tray was opened");
    m_trayOpen = true;
    m_discInTray = m_discInTray && !lose;
    if (lose)
        m_disc = Disc();
    m_spinning = false;
    clearCache();
}

void Drive::clearCache() {
    m_cache.clear();
    m_cacheOrder.clear();
}

bool Drive::takeSector() {
    ++m_transferred;
    if (m_opt.removeAfter < 0 || m_transferred <= m_opt.removeAfter)
        return true;
    if (m_discInTray) {
        Log::instance().line(m_name, "model", "fault", "the disc is taken out");
        unload(true);
    }
    return false;
}

void Drive::saveWritten() {
    const char* dir = std::getenv("VIRTUAL_DRIVE_SAVE");
    if (!dir || !*dir || m_disc.sessions.empty())
        return;
    std::string error;
    const std::string base = std::string(dir) + "/" + m_name;
    if (saveCue(m_disc, base, error))
        Log::instance().line(m_name, "model", "saved", base + ".cue");
    else
        Log::instance().line(m_name, "model", "not saved", error);
}

} // namespace vdrive
