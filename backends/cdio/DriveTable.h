#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace cdio {

// One CD drive: a physical one, or a CUE/BIN image that stands for a drive.
struct Drive {
    qint32 address = 0; // bits 16-23 host adapter, 8-15 target, 0-7 LUN
    QString device;     // the device node ("/dev/sr0"), or the image's .cue path
    bool image = false;
    QString vendor; // INQUIRY strings, without padding
    QString product;
    QString revision;

    // How messages name the drive: "drive 1:0:0 (/dev/sr0)" or "the image /x/demo.cue".
    QString name() const;
};

// "H:T:L" of a packed address, in decimal: 1:0:0.
QString addressText(qint32 address);

// The one list of CD drives that every CD component shares: the physical drives libcdio finds,
// ordered by address, then one virtual drive per CUE sheet, then the image recorder once it
// holds a burnt disc. Built on the thread that uses it (the user-interface thread); readers
// copy the Drive they need.
class DriveTable {
public:
    static constexpr int kImageHostAdapter = 255;
    // The image recorder's place among the virtual drives; images take the places before it.
    static constexpr int kRecorderPlace = 255;

    // Physical drives and the images of MELVANE_CD_IMAGES (paths separated by ':').
    DriveTable();
    // The given images, after the physical drives when withPhysicalDrives is set.
    explicit DriveTable(const QStringList& images, bool withPhysicalDrives = true);

    // Looks for drives again (a drive plugged in or removed); the images stay the same.
    void refresh();

    // The image recorder's disc: the CUE sheet of its last burn, which replaces the one before
    // as a new disc in the same writer would. The recorder is listed last from then on.
    void setRecorderDisc(const QString& cuePath);
    // The recorder's drive address (255:255:0), whether it holds a disc or not.
    static qint32 recorderAddress();

    const QList<Drive>& drives() const { return m_drives; }
    int count() const { return int(m_drives.size()); }
    // The position of the drive with this address, -1 when there is none.
    int indexOf(qint32 address) const;
    // The drive with this address; raises Error when there is none.
    const Drive& drive(qint32 address) const;

    // A drive for a device node or an image path given by the user, whether listed or not:
    // the listed one when the path names one, otherwise a new entry describing it.
    Drive driveFor(const QString& path) const;

    // The virtual drive for an image, at a place in the image list.
    static Drive imageDrive(const QString& cuePath, int place);
    // The image recorder holding the image of its last burn.
    static Drive recorderDrive(const QString& cuePath);
    static QStringList imagesFromEnvironment();

private:
    QStringList m_images;
    QString m_recorderDisc;
    bool m_withPhysicalDrives = true;
    QList<Drive> m_drives;
};

} // namespace cdio
