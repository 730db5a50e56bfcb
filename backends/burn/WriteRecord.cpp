#include "backends/burn/WriteRecord.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace burning {

namespace {

bool lively(const char* sector, int bytes) {
    for (int i = 4; i < bytes; i += 4)
        if (std::memcmp(sector + i, sector, 4) != 0)
            return true;
    return false;
}

} // namespace

WriteRecord::WriteRecord(int sectorBytes)
    : m_sectorBytes(sectorBytes), m_combineOp(quint32(crc32_combine_gen(sectorBytes))),
      m_tail(kEdgeSectors * sectorBytes, '\0') {}

void WriteRecord::add(const char* data, qint64 bytes) {
    if (!m_partial.isEmpty()) {
        const qint64 n = std::min<qint64>(bytes, m_sectorBytes - m_partial.size());
        m_partial.append(data, n);
        data += n;
        bytes -= n;
        if (m_partial.size() < m_sectorBytes)
            return;
        addSector(m_partial.constData());
        m_partial.clear();
    }
    for (; bytes >= m_sectorBytes; data += m_sectorBytes, bytes -= m_sectorBytes)
        addSector(data);
    if (bytes > 0)
        m_partial.append(data, bytes);
}

void WriteRecord::addSector(const char* sector) {
    const qint64 number = sectors();
    m_crcs.push_back(
        quint32(::crc32(0, reinterpret_cast<const Bytef*>(sector), uInt(m_sectorBytes))));
    if (number < kEdgeSectors)
        m_head.append(sector, m_sectorBytes);
    std::memcpy(m_tail.data() + (number % kEdgeSectors) * m_sectorBytes, sector,
                size_t(m_sectorBytes));
    if (m_probeSector < 0 && number >= kEdgeSectors && lively(sector, m_sectorBytes)) {
        m_probeSector = number;
        m_probe = QByteArray(sector, m_sectorBytes);
    }
}

quint32 WriteRecord::crc32(qint64 first, qint64 count) const {
    uLong crc = 0;
    for (qint64 s = first; s < first + count && s < sectors(); ++s)
        crc = crc32_combine_op(crc, m_crcs[size_t(s)], m_combineOp);
    return quint32(crc);
}

QByteArray WriteRecord::edgeSector(qint64 sector) const {
    if (sector < 0 || sector >= sectors())
        return {};
    if (sector < kEdgeSectors)
        return m_head.mid(sector * m_sectorBytes, m_sectorBytes);
    if (sector >= sectors() - kEdgeSectors)
        return m_tail.mid((sector % kEdgeSectors) * m_sectorBytes, m_sectorBytes);
    return {};
}

} // namespace burning
