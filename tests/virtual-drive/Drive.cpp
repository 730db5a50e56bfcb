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
namespace {

const char* opcodeName(int op) {
    switch (op) {
    case 0x00:
        return "TEST UNIT READY";
    case 0x03:
        return "REQUEST SENSE";
    case 0x12:
        return "INQUIRY";
    case 0x15:
        return "MODE SELECT(6)";
    case 0x1a:
        return "MODE SENSE(6)";
    case 0x1b:
        return "START STOP UNIT";
    case 0x1e:
        return "PREVENT ALLOW MEDIUM REMOVAL";
    case 0x23:
        return "READ FORMAT CAPACITIES";
    case 0x25:
        return "READ CAPACITY";
    case 0x28:
        return "READ(10)";
    case 0x2a:
        return "WRITE(10)";
    case 0x2b:
        return "SEEK(10)";
    case 0x35:
        return "SYNCHRONIZE CACHE";
    case 0x42:
        return "READ SUB-CHANNEL";
    case 0x43:
        return "READ TOC/PMA/ATIP";
    case 0x45:
        return "PLAY AUDIO(10)";
    case 0x46:
        return "GET CONFIGURATION";
    case 0x47:
        return "PLAY AUDIO MSF";
    case 0x4a:
        return "GET EVENT STATUS NOTIFICATION";
    case 0x4b:
        return "PAUSE/RESUME";
    case 0x4e:
        return "STOP PLAY/SCAN";
    case 0x51:
        return "READ DISC INFORMATION";
    case 0x52:
        return "READ TRACK INFORMATION";
    case 0x54:
        return "SEND OPC INFORMATION";
    case 0x55:
        return "MODE SELECT(10)";
    case 0x5a:
        return "MODE SENSE(10)";
    case 0x5b:
        return "CLOSE TRACK/SESSION";
    case 0x5c:
        return "READ BUFFER CAPACITY";
    case 0x5d:
        return "SEND CUE SHEET";
    case 0xa1:
        return "BLANK";
    case 0xa5:
        return "PLAY AUDIO(12)";
    case 0xa8:
        return "READ(12)";
    case 0xaa:
        return "WRITE(12)";
    case 0xac:
        return "GET PERFORMANCE";
    case 0xad:
        return "READ DISC STRUCTURE";
    case 0xb6:
        return "SET STREAMING";
    case 0xb9:
        return "READ CD MSF";
    case 0xbb:
        return "SET CD SPEED";
    case 0xbd:
        return "MECHANISM STATUS";
    case 0xbe:
        return "READ CD";
    default:
        return nullptr;
    }
}

int kbps(int speed) {
    return int(std::lround(speed * 176.4));
}

// Commands a drive answers without a disc and while it is busy writing or blanking.
bool worksWithoutMedia(int op) {
    switch (op) {
    case 0x00:
    case 0x03:
    case 0x12:
    case 0x15:
    case 0x1a:
    case 0x1b:
    case 0x1e:
    case 0x46:
    case 0x4a:
    case 0x55:
    case 0x5a:
    case 0x5c:
    case 0xac:
    case 0xbb:
    case 0xbd:
        return true;
    default:
        return false;
    }
}

} // namespace

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
    m_readKbps = kbps(m_opt.readSpeed);
    m_writeKbps = kbps(m_opt.writeSpeeds.back());
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

bool Drive::takeMediaChanged() {
    std::lock_guard lock(m_mutex);
    const bool changed = m_mediaChanged;
    m_mediaChanged = false;
    return changed;
}

void Drive::execute(Command& c, const char* via) {
    std::lock_guard lock(m_mutex);
    m_via = via;
    run(c);
    if (!Log::instance().enabled())
        return;
    const char* name = opcodeName(c.u8(0));
    char text[64];
    std::snprintf(text, sizeof text, "OPCODE 0x%02X", c.u8(0));
    std::string details = c.note;
    if (c.good) {
        details += details.empty() ? "-> GOOD" : " -> GOOD";
    } else {
        char outcome[40];
        std::snprintf(outcome, sizeof outcome, "-> CHECK %X/%02X/%02X", c.sense.key, c.sense.asc,
                      c.sense.ascq);
        details += (details.empty() ? "" : " ") + std::string(outcome);
    }
    Log::instance().line(m_name, via, name ? name : text, details);
}

void Drive::run(Command& c) {
    const int op = c.u8(0);
    if (!worksWithoutMedia(op) && !ensureReady(c))
        return;
    switch (op) {
    case 0x00:
        testUnitReady(c);
        break;
    case 0x03:
        requestSense(c);
        break;
    case 0x12:
        inquiry(c);
        break;
    case 0x15:
    case 0x55:
        modeSelect(c);
        break;
    case 0x1a:
    case 0x5a:
        modeSense(c);
        break;
    case 0x1b:
        startStop(c);
        break;
    case 0x1e:
        preventAllow(c);
        break;
    case 0x25:
        readCapacity(c);
        break;
    case 0x28:
    case 0xa8:
        read10(c);
        break;
    case 0x2a:
        write(c, c.s32(2), c.u16(7));
        break;
    case 0xaa:
        write(c, c.s32(2), c.s32(6));
        break;
    case 0x2b:
        m_position = c.s32(2);
        break;
    case 0x35:
        synchronizeCache(c);
        break;
    case 0x42:
        readSubchannel(c);
        break;
    case 0x43:
        readToc(c);
        break;
    case 0x45:
        playAudio(c, c.s32(2), c.s32(2) + c.u16(7));
        break;
    case 0xa5:
        playAudio(c, c.s32(2), c.s32(2) + c.s32(6));
        break;
    case 0x47:
        playAudio(c, msfToLba(c.u8(3), c.u8(4), c.u8(5)), msfToLba(c.u8(6), c.u8(7), c.u8(8)));
        break;
    case 0x46:
        getConfiguration(c);
        break;
    case 0x4a:
        getEventStatus(c);
        break;
    case 0x4b:
        pauseResume(c);
        break;
    case 0x4e:
        stopPlay(c);
        break;
    case 0x51:
        readDiscInfo(c);
        break;
    case 0x52:
        readTrackInfo(c);
        break;
    case 0x54:
        if (m_opt.kind == DriveKind::Rom || !m_disc.recordable())
            c.fail(5, 0x20, 0);
        break;
    case 0x5b:
        closeTrackSession(c);
        break;
    case 0x5c:
        readBufferCapacity(c);
        break;
    case 0x5d:
        sendCueSheet(c);
        break;
    case 0xa1:
        blank(c);
        break;
    case 0xac:
        getPerformance(c);
        break;
    case 0xb9: {
        const int from = msfToLba(c.u8(3), c.u8(4), c.u8(5));
        readCd(c, from, msfToLba(c.u8(6), c.u8(7), c.u8(8)) - from);
        break;
    }
    case 0xbb:
        setCdSpeed(c);
        break;
    case 0xbd:
        mechanismStatus(c);
        break;
    case 0xbe:
        readCd(c, c.s32(2), c.u24(6));
        break;
    default:
        c.fail(5, 0x20, 0);
        break;
    }
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
    if (!m_discInTray)
        return;
    m_readyAt = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double>(m_opt.spinup * m_opt.timescale));
    m_spinning = true;
    m_mediaChanged = true;
    m_mediaEvent = 2;
}

void Drive::unload(bool lose) {
    if (m_rec.active)
        abortRecording(lose ? "the disc was removed" : "the tray was opened");
    m_trayOpen = true;
    m_discInTray = m_discInTray && !lose;
    if (lose)
        m_disc = Disc();
    m_spinning = false;
    m_playing = false;
    m_cache.clear();
    m_cacheOrder.clear();
    m_mediaChanged = true;
    m_mediaEvent = 3;
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
