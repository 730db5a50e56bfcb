#pragma once

#include "backends/burn/Recorder.h"

#include <QByteArray>
#include <QList>
#include <QString>

// libburn declares its C interface inside this namespace when compiled as C++.
namespace burn {
struct burn_drive;
struct burn_drive_info;
} // namespace burn

namespace burning {

// Keeps libburn initialised while any instance lives. libburn reports its complaints to a
// queue that takeMessages() empties; it prints nothing itself.
class LibburnLibrary {
public:
    LibburnLibrary(); // raises Error when libburn cannot start
    ~LibburnLibrary();
    LibburnLibrary(const LibburnLibrary&) = delete;
    LibburnLibrary& operator=(const LibburnLibrary&) = delete;

    // libburn's messages of severity SORRY and worse since the last call, one per line.
    static QString takeMessages();
};

// A drive as the system scan lists it, before it is opened.
struct ScannedDrive {
    QByteArray address; // "/dev/sr0"
    QString vendor;
    QString product;
    QString revision;
    qint32 bufferBytes = 0;
    bool writesCd = false;
};

// Every optical drive libburn finds; none is left open. Raises Error when the scan fails.
QList<ScannedDrive> scanDrives();

// Value codes from what libburn reports (MMC profile numbers, burn_disc_status values).
qint32 recorderTypeFor(const QList<int>& profiles, bool writesCdr, bool writesCdrw);
qint32 mediaTypeFor(int profile, bool discPresent);
qint32 mediaStatusFor(int discStatus);

// One drive opened for use ("grabbed"), released when destroyed. Also takes libburn's
// "stdio:/path" pseudo-drives, which write a file.
class LibburnDrive {
public:
    explicit LibburnDrive(const QByteArray& address); // raises Error naming the drive
    ~LibburnDrive();
    LibburnDrive(const LibburnDrive&) = delete;
    LibburnDrive& operator=(const LibburnDrive&) = delete;

    burn::burn_drive* handle() const { return m_drive; }
    const QByteArray& address() const { return m_address; }
    // Opens the tray when the drive is released.
    void ejectOnRelease() { m_eject = true; }

    RecorderFacts facts() const;
    DiscFacts disc() const;

private:
    QByteArray m_address;
    burn::burn_drive_info* m_infos = nullptr;
    burn::burn_drive* m_drive = nullptr;
    bool m_eject = false;
};

} // namespace burning
