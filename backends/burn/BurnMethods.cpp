#include "backends/burn/BurnMethods.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace burning {

namespace {

constexpr double kOneSpeedKiloBytes = 176.4;

} // namespace

MethodPlan methodPlan(qint32 method) {
    using W = MethodPlan::WriteType;
    MethodPlan p;
    switch (method) {
    case 1:
        return {W::TrackAtOnce, false, 4};
    case 2:
        return {W::TrackAtOnce, false, 8};
    case 3:
        return {W::SessionAtOnce, false, 8};
    case 4:
        return {W::SessionAtOnce, false, 16};
    case 5:
        return {W::SessionAtOnce, true, 16};
    case 6:
        return {W::SessionAtOnce, true, 24};
    case 7:
        p = {W::SessionAtOnce, true, 24};
        p.exactSpeed = true;
        return p;
    case 8:
        p = {W::TrackAtOnce, false, 0};
        p.waitForDrive = true;
        p.bufferWaiting = true;
        return p;
    case 9:
        p = {W::SessionAtOnce, true, 0};
        p.bufferWaiting = true;
        return p;
    case 10:
    case 11:
        p = {method == 10 ? W::TrackAtOnce : W::SessionAtOnce, true, 0};
        p.force = true;
        return p;
    default:
        return p;
    }
}

QList<qint16> offeredSpeeds(const QList<qint16>& recorderSpeeds, qint32 method) {
    const qint16 cap = methodPlan(method).maxSpeed;
    if (cap == 0 || recorderSpeeds.isEmpty())
        return recorderSpeeds;
    QList<qint16> offered;
    for (qint16 speed : recorderSpeeds)
        if (speed <= cap)
            offered.append(speed);
    if (offered.isEmpty())
        offered.append(*std::min_element(recorderSpeeds.begin(), recorderSpeeds.end()));
    return offered;
}

qint16 acceptedSpeed(const QList<qint16>& offered, qint16 requested) {
    if (offered.isEmpty() || offered.contains(requested))
        return requested;
    qint16 best = *std::min_element(offered.begin(), offered.end());
    for (qint16 speed : offered)
        if (speed < requested && speed > best)
            best = speed;
    return best;
}

qint16 speedFactor(int kiloBytesPerSecond) {
    if (kiloBytesPerSecond <= 0)
        return 0;
    const long factor = std::lround(kiloBytesPerSecond / kOneSpeedKiloBytes);
    return qint16(std::min<long>(factor, std::numeric_limits<qint16>::max()));
}

int speedKiloBytes(qint16 factor) {
    return factor <= 0 ? 0 : int(std::ceil(factor * kOneSpeedKiloBytes - 1e-9));
}

} // namespace burning
