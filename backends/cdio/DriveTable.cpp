#include "backends/cdio/DriveTable.h"

#include "backends/cdio/CdioLog.h"
#include "components/Error.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cdio/cdio.h>

namespace cdio {
namespace {

constexpr int kUnknownHostAdapter = 254;

// The SCSI address the kernel gives the drive: /sys/class/block/sr0/device links to a folder
// named "H:C:T:L". Returns -1 when there is none.
qint32 scsiAddress(const QString& device) {
    const QString node = QFileInfo(device).fileName();
    const QString link =
        QFileInfo(QStringLiteral("/sys/class/block/%1/device").arg(node)).canonicalFilePath();
    const QStringList parts = QFileInfo(link).fileName().split(u':');
    if (parts.size() != 4)
        return -1;
    bool ok[3] = {};
    const int host = parts[0].toInt(&ok[0]);
    const int target = parts[2].toInt(&ok[1]);
    const int lun = parts[3].toInt(&ok[2]);
    if (!ok[0] || !ok[1] || !ok[2])
        return -1;
    return (host & 0xff) << 16 | (target & 0xff) << 8 | (lun & 0xff);
}

void readInquiry(Drive& drive) {
    CdIo_t* cd = cdio_open(drive.device.toLocal8Bit().constData(), DRIVER_DEVICE);
    if (!cd)
        return;
    cdio_hwinfo_t info{};
    if (cdio_get_hwinfo(cd, &info)) {
        drive.vendor = QString::fromLatin1(info.psz_vendor).trimmed();
        drive.product = QString::fromLatin1(info.psz_model).trimmed();
        drive.revision = QString::fromLatin1(info.psz_revision).trimmed();
    }
    cdio_destroy(cd);
}

QList<Drive> physicalDrives() {
    installLogHandler();
    QList<Drive> found;
    char** devices = cdio_get_devices(DRIVER_DEVICE);
    QStringList seen;
    for (char** d = devices; d && *d; ++d) {
        const QString path = QString::fromLocal8Bit(*d);
        // /dev/cdrom and /dev/sr0 are often the same drive.
        const QString real = QFileInfo(path).canonicalFilePath();
        if (real.isEmpty() || seen.contains(real))
            continue;
        seen.append(real);
        Drive drive;
        drive.device = real;
        drive.address = scsiAddress(real);
        readInquiry(drive);
        found.append(drive);
    }
    cdio_free_device_list(devices);
    // By address; drives the kernel gives none (-1) come last and get one of their own.
    std::sort(found.begin(), found.end(), [](const Drive& a, const Drive& b) {
        return quint32(a.address) < quint32(b.address);
    });
    int unknown = 0;
    for (Drive& drive : found)
        if (drive.address < 0)
            drive.address = kUnknownHostAdapter << 16 | (unknown++ & 0xff) << 8;
    return found;
}

} // namespace

QString Drive::name() const {
    if (image)
        return QStringLiteral("the image %1").arg(device);
    return QStringLiteral("drive %1 (%2)").arg(addressText(address), device);
}

QString addressText(qint32 address) {
    return QStringLiteral("%1:%2:%3")
        .arg((address >> 16) & 0xff)
        .arg((address >> 8) & 0xff)
        .arg(address & 0xff);
}

DriveTable::DriveTable() : DriveTable(imagesFromEnvironment(), true) {}

DriveTable::DriveTable(const QStringList& images, bool withPhysicalDrives)
    : m_images(images), m_withPhysicalDrives(withPhysicalDrives) {
    installLogHandler();
    refresh();
}

void DriveTable::refresh() {
    m_drives = m_withPhysicalDrives ? physicalDrives() : QList<Drive>();
    for (int i = 0; i < m_images.size() && i < kRecorderPlace; ++i)
        m_drives.append(imageDrive(m_images[i], i));
    if (!m_recorderDisc.isEmpty())
        m_drives.append(recorderDrive(m_recorderDisc));
}

void DriveTable::setRecorderDisc(const QString& cuePath) {
    m_recorderDisc = cuePath;
    const int listed = indexOf(recorderAddress());
    if (listed >= 0)
        m_drives[listed] = recorderDrive(cuePath);
    else
        m_drives.append(recorderDrive(cuePath));
}

qint32 DriveTable::recorderAddress() {
    return kImageHostAdapter << 16 | kRecorderPlace << 8;
}

int DriveTable::indexOf(qint32 address) const {
    for (int i = 0; i < m_drives.size(); ++i)
        if (m_drives[i].address == address)
            return i;
    return -1;
}

const Drive& DriveTable::drive(qint32 address) const {
    const int i = indexOf(address);
    if (i < 0)
        throw Error(QStringLiteral("There is no CD drive at address %1").arg(addressText(address)));
    return m_drives[i];
}

Drive DriveTable::driveFor(const QString& path) const {
    const QString real = QFileInfo(path).canonicalFilePath();
    for (const Drive& drive : m_drives)
        if (!real.isEmpty() && QFileInfo(drive.device).canonicalFilePath() == real)
            return drive;
    if (path.endsWith(QLatin1String(".cue"), Qt::CaseInsensitive))
        return imageDrive(path, 0);
    Drive drive;
    drive.device = path;
    drive.address = kUnknownHostAdapter << 16;
    readInquiry(drive);
    return drive;
}

Drive DriveTable::imageDrive(const QString& cuePath, int place) {
    Drive drive;
    drive.image = true;
    drive.device = QFileInfo(cuePath).absoluteFilePath();
    drive.address = kImageHostAdapter << 16 | (place & 0xff) << 8;
    drive.vendor = QStringLiteral("Melvane");
    drive.product = QStringLiteral("Image ") + QFileInfo(cuePath).completeBaseName();
    drive.revision = QStringLiteral("%1.%2").arg(MELVANE_VERSION_MAJOR).arg(MELVANE_VERSION_MINOR);
    return drive;
}

Drive DriveTable::recorderDrive(const QString& cuePath) {
    Drive drive = imageDrive(cuePath, kRecorderPlace);
    drive.product = QStringLiteral("Image Recorder");
    return drive;
}

QStringList DriveTable::imagesFromEnvironment() {
    const QString list = qEnvironmentVariable("MELVANE_CD_IMAGES");
    return list.split(u':', Qt::SkipEmptyParts);
}

} // namespace cdio
