#include "backends/cdio/DriveTools.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/DiscReader.h"
#include "backends/media/OffTheWindow.h"
#include "components/Error.h"

namespace cdio {

DriveTools::DriveTools(std::shared_ptr<DriveTable> drives, QObject* parent)
    : HarnTools(parent), m_drives(std::move(drives)) {}

qint32 DriveTools::DriveCount() {
    m_drives->refresh();
    return m_drives->count();
}

qint32 DriveTools::DriveAddress(qint32& index) {
    if (index < 0 || index >= m_drives->count())
        throw IndexError(QStringLiteral("there is no CD drive number %1 (there are %2)")
                             .arg(index)
                             .arg(m_drives->count()));
    return m_drives->drives()[index].address;
}

qint32 DriveTools::inquiry(qint32 address, QString Drive::*field) {
    m_inquiryText = m_drives->drive(address).*field;
    return qint32(m_inquiryText.size());
}

qint32 DriveTools::DriveVendor(qint32 address) {
    return inquiry(address, &Drive::vendor);
}

qint32 DriveTools::DriveProduct(qint32 address) {
    return inquiry(address, &Drive::product);
}

qint32 DriveTools::DriveRevision(qint32 address) {
    return inquiry(address, &Drive::revision);
}

void DriveTools::SelectDrive(qint32 address) {
    m_drives->drive(address);
}

// A drive may take seconds to spin its disc up: what asks it runs off the window's thread.
qint32 DriveTools::ReadTrackCount(qint32 address) {
    const Drive drive = m_drives->drive(address); // a copy: the table may change meanwhile
    const std::optional<Toc> toc = offTheWindow([&] { return Disc(drive).readToc(); });
    m_trackCount = toc ? qint32(toc->tracks.size()) : 0;
    // The hidden track is read to tell sound from silence: once per disc.
    const QString which =
        toc ? QStringLiteral("%1|%2|%3").arg(drive.device).arg(toc->leadout).arg(m_trackCount)
            : QString();
    if (which != m_hiddenDisc) {
        m_hiddenDisc = which;
        m_hiddenSectors = 0;
        if (toc && !toc->tracks.isEmpty() && toc->tracks.first().start > 0)
            m_hiddenSectors = offTheWindow([&] { return hiddenTrackSectors(drive); });
    }
    return m_trackCount;
}

void DriveTools::ReadDiscInfo(qint32 address, qint32 track) {
    const Drive drive = m_drives->drive(address); // a copy: the table may change meanwhile
    offTheWindow([&] {
        Disc disc(drive);
        const std::optional<Toc> toc = disc.readToc();
        m_trackCount = toc ? qint32(toc->tracks.size()) : 0;
        m_discType = disc.discType(track);
    });
}

void DriveTools::EjectDrive(qint32 address) {
    const Drive drive = m_drives->drive(address); // a copy: the table may change meanwhile
    if (!drive.image)
        offTheWindow([&] { Disc(drive).eject(); });
}

qint32 DriveTools::DiscState(qint32 address) {
    const Drive drive = m_drives->drive(address); // a copy: the table may change meanwhile
    return offTheWindow([&] { return Disc(drive).discState(); });
}

void DriveTools::setSectors(qint32 current, qint32 total) {
    m_currentSector = current;
    m_totalSectors = total;
}

} // namespace cdio
