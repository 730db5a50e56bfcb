#include "backends/cdio/ReadError.h"

#include "backends/cdio/Disc.h"
#include "backends/cdio/ParanoiaHooks.h"
#include "components/Error.h"

#include <QStringList>
#include <algorithm>
#include <cdio/mmc_ll_cmds.h>

namespace cdio {
namespace {

// "00:01:25 into track 2 (sector 250 of the disc)", or a stretch from one sector to another.
QString positionText(const Toc& toc, qint32 from, qint32 to) {
    const QString sectors = from == to ? QStringLiteral("sector %1").arg(from)
                                       : QStringLiteral("sectors %1 to %2").arg(from).arg(to);
    for (const TocTrack& t : toc.tracks) {
        if (from < t.start || from >= t.start + t.sectors)
            continue;
        const QString time =
            from == to ? msfText(from - t.start)
                       : msfText(from - t.start) + QStringLiteral(" to ") + msfText(to - t.start);
        return QStringLiteral("%1 into track %2 (%3 of the disc)")
            .arg(time)
            .arg(t.number)
            .arg(sectors);
    }
    return sectors + QStringLiteral(" of the disc");
}

} // namespace

void throwReadError(const Disc& disc, const QString& part, const Toc& toc, const ReadState& state,
                    qint32 sector) {
    const Drive& drive = disc.drive();
    const QString what = part + QStringLiteral(" of ") + drive.name();
    if (state.interrupted)
        throw Error(QStringLiteral("Reading %1 was stopped").arg(what));
    if (state.gone)
        throw Error(QStringLiteral("The image %1 was deleted or cut short while %2 was being read")
                        .arg(drive.device, part));
    if (drive.image)
        throw Error(QStringLiteral("Sector %1 of %2 cannot be read from its data file %3%4")
                        .arg(sector)
                        .arg(what, disc.dataFile(),
                             state.abandoned ? QStringLiteral(": libcdio-paranoia gave up on it")
                                             : QString()));
    if (mmc_test_unit_ready(disc.handle(), 0) != DRIVER_OP_SUCCESS)
        throw Error(QStringLiteral("The disc was taken out of %1 while %2 was being read")
                        .arg(drive.name(), part));
    QString subject = what;
    subject[0] = subject[0].toUpper();
    if (!state.failed.isEmpty()) {
        QList<qint32> failed = state.failed;
        std::sort(failed.begin(), failed.end());
        QStringList runs;
        for (qsizetype i = 0; i < failed.size();) {
            qsizetype j = i;
            while (j + 1 < failed.size() && failed[j + 1] == failed[j] + 1)
                ++j;
            runs << positionText(toc, failed[i], failed[j]);
            i = j + 1;
        }
        throw Error(QStringLiteral("%1 cannot be read reliably: the drive cannot read %2; the "
                                   "disc may be scratched or dirty")
                        .arg(subject, runs.join(QStringLiteral(", "))));
    }
    if (state.failedRun.second > state.failedRun.first)
        throw Error(QStringLiteral("%1 cannot be read reliably: the drive cannot read some of "
                                   "%2; the disc may be scratched or dirty")
                        .arg(subject,
                             positionText(toc, state.failedRun.first, state.failedRun.second - 1)));
    throw Error(QStringLiteral("%1 cannot be read reliably: its audio at %2 never reads the same "
                               "twice; the disc may be scratched or dirty")
                    .arg(subject, positionText(toc, sector, sector)));
}

} // namespace cdio
