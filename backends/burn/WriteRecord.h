#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <vector>

namespace burning {

// What a burn handed to the writer, kept to verify the disc against and for the burn log,
// without keeping the audio itself (an 80-minute disc is 700 MB): the CRC-32 of every sector,
// the first and the last few sectors as they were (at the disc's edges a read offset reaches
// outside the disc, so those are compared frame by frame), and the first lively sector after
// the head, to find the read offset by.
//
// add() runs on the writer's thread; the rest is read once the writing has ended.
class WriteRecord {
public:
    static constexpr int kEdgeSectors = 6;

    explicit WriteRecord(int sectorBytes = 2352);

    // The next bytes of the program; whole sectors collect across calls.
    void add(const char* data, qint64 bytes);

    int sectorBytes() const { return m_sectorBytes; }
    qint64 sectors() const { return qint64(m_crcs.size()); }
    quint32 sectorCrc(qint64 sector) const { return m_crcs[size_t(sector)]; }
    // The CRC-32 of count sectors from first on, as one stretch of bytes.
    quint32 crc32(qint64 first, qint64 count) const;
    // Sector `sector`'s bytes when it is one of the first or last kEdgeSectors; else empty.
    QByteArray edgeSector(qint64 sector) const;
    // The first sector from kEdgeSectors on whose samples are not all the same, and its bytes;
    // -1 and empty when there is none.
    qint64 probeSector() const { return m_probeSector; }
    const QByteArray& probe() const { return m_probe; }

private:
    void addSector(const char* sector);

    int m_sectorBytes;
    quint32 m_combineOp = 0; // zlib's operator appending one sector to a CRC
    std::vector<quint32> m_crcs;
    QByteArray m_partial;
    QByteArray m_head;
    QByteArray m_tail; // a ring of the last kEdgeSectors sectors
    qint64 m_probeSector = -1;
    QByteArray m_probe;
};

} // namespace burning
