#include "Disc.h"

#include "Libc.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vdrive {

SectorFile::SectorFile(const std::string& path) {
    const int fd = libc().open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (fd < 0)
        return;
    struct stat st = {};
    if (libc().fstat(fd, &st) == 0 && st.st_size > 0) {
        m_size = size_t(st.st_size) / kSectorBytes * kSectorBytes;
        if (m_size > 0) {
            void* map = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, fd, 0);
            if (map == MAP_FAILED)
                m_size = 1; // not ok(): no data and a size
            else
                m_data = static_cast<const uint8_t*>(map);
        }
    }
    libc().close(fd);
}

SectorFile::~SectorFile() {
    if (m_data)
        munmap(const_cast<uint8_t*>(m_data), m_size);
}

void lbaToMsf(int lba, uint8_t& m, uint8_t& s, uint8_t& f) {
    int t = lba >= -kPregapSectors ? lba + kPregapSectors : lba + 450150;
    if (t < 0)
        t = 0;
    f = uint8_t(t % 75);
    s = uint8_t(t / 75 % 60);
    m = uint8_t(t / 75 / 60);
}

int msfToLba(int m, int s, int f) {
    const int t = (m * 60 + s) * 75 + f;
    return m >= 90 ? t - 450150 : t - kPregapSectors;
}

Disc Disc::blank(MediaKind media, int minutes) {
    Disc d;
    d.media = media;
    d.status = Status::Blank;
    d.lastLeadOut = minutes * 60 * 75 - kPregapSectors - 1;
    // CD-RW media start their lead-in a little later than CD-R.
    d.leadInStart = media == MediaKind::CdRw ? msfToLba(97, 20, 0) : msfToLba(97, 26, 66);
    return d;
}

const Track* Disc::track(int number) const {
    for (const Track& t : tracks)
        if (t.number == number)
            return &t;
    return nullptr;
}

const Track* Disc::trackAt(int lba) const {
    for (const Track& t : tracks)
        if (lba >= t.pregap && lba < t.end)
            return &t;
    return nullptr;
}

int Disc::indexAt(const Track& t, int lba) const {
    if (lba < t.start)
        return 0;
    int index = 1;
    for (int at : t.indexes)
        if (lba >= at)
            ++index;
    return index;
}

int Disc::nextSessionStart() const {
    if (sessions.empty())
        return 0;
    const int leadOutLength = sessions.size() == 1 ? kFirstLeadOutSectors : kLeadOutSectors;
    return leadOut() + leadOutLength + kLeadInSectors + kPregapSectors;
}

int Disc::tracksInSession(int session) const {
    return int(std::count_if(tracks.begin(), tracks.end(),
                             [session](const Track& t) { return t.session == session; }));
}

void Disc::readSector(int lba, uint8_t* out) const {
    if (!m_written.empty() && lba >= m_writtenFrom &&
        size_t(lba - m_writtenFrom) < m_written.size() / kSectorBytes) {
        std::memcpy(out, m_written.data() + size_t(lba - m_writtenFrom) * kSectorBytes,
                    kSectorBytes);
        return;
    }
    if (file && lba >= fileFrom && size_t(lba - fileFrom) < file->sectors()) {
        std::memcpy(out, file->sector(size_t(lba - fileFrom)), kSectorBytes);
        return;
    }
    std::memset(out, 0, kSectorBytes);
}

void Disc::writeSector(int lba, const uint8_t* frame) {
    if (m_written.empty())
        m_writtenFrom = lba;
    if (lba < m_writtenFrom) {
        // Written before what is held (a lead-in's pre-gap): make room at the front.
        const size_t more = size_t(m_writtenFrom - lba) * kSectorBytes;
        m_written.insert(m_written.begin(), more, 0);
        m_writtenFrom = lba;
    }
    const size_t at = size_t(lba - m_writtenFrom) * kSectorBytes;
    if (m_written.size() < at + kSectorBytes)
        m_written.resize(at + kSectorBytes, 0);
    std::memcpy(m_written.data() + at, frame, kSectorBytes);
}

std::vector<uint8_t> Disc::image() const {
    std::vector<uint8_t> bytes(size_t(std::max(0, leadOut())) * kSectorBytes);
    for (int lba = 0; lba < leadOut(); ++lba)
        readSector(lba, bytes.data() + size_t(lba) * kSectorBytes);
    return bytes;
}

} // namespace vdrive
