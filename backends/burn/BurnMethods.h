#pragma once

#include <QList>
#include <QtGlobal>

namespace burning {

// The twelve burn methods as write settings; the table is documented with the AudioBurner
// component.
struct MethodPlan {
    enum class WriteType { Automatic, SessionAtOnce, TrackAtOnce };
    WriteType writeType = WriteType::Automatic;
    bool burnProof = true;
    qint16 maxSpeed = 0;        // 0: no cap
    bool exactSpeed = false;    // set the speed with the drive's exact-speed command
    bool waitForDrive = false;  // no immediate returns from long drive commands
    bool bufferWaiting = false; // keep the drive's buffer below full
    bool force = false;         // do not trust the write modes the drive reports
};

MethodPlan methodPlan(qint32 method);

// The speeds a recorder offers under a method: its own speeds up to the method's cap; when
// the cap excludes them all, its slowest one. Empty when the recorder cannot tell.
QList<qint16> offeredSpeeds(const QList<qint16>& recorderSpeeds, qint32 method);

// What WriteSpeed keeps when requested is written: requested when offered, else the next lower
// offered speed, else the lowest offered one. Anything goes when nothing is known.
qint16 acceptedSpeed(const QList<qint16>& offered, qint16 requested);

// Speed conversions: libburn counts kB/s (1000 bytes), a CD factor is 176.4 kB/s.
qint16 speedFactor(int kiloBytesPerSecond);
int speedKiloBytes(qint16 factor);

} // namespace burning
