#include "backends/cdio/ParanoiaStats.h"

#include <QStringList>
#include <cdio/paranoia/paranoia.h>

namespace cdio {
namespace {

void note(QList<qint32>& sectors, qint32 sector) {
    if (sectors.size() < ParanoiaStats::kMostPositions && !sectors.contains(sector))
        sectors.append(sector);
}

QString sectorList(const QList<qint32>& sectors, qint64 count) {
    QStringList texts;
    for (const qint32 s : sectors)
        texts << QString::number(s);
    QString text = texts.join(QStringLiteral(", "));
    if (count > sectors.size() && sectors.size() == ParanoiaStats::kMostPositions)
        text += QStringLiteral(" ...");
    return text;
}

} // namespace

QString ParanoiaStats::summary() const {
    return QStringLiteral("%1 reads, %2 verified, %3 fixups, %4 scratch repairs, %5 skips, %6 "
                          "drift, %7 read errors")
        .arg(reads)
        .arg(verifies)
        .arg(fixups)
        .arg(scratchRepairs)
        .arg(skips)
        .arg(drifts)
        .arg(readErrors);
}

QString ParanoiaStats::positions() const {
    QStringList parts;
    if (!skipSectors.isEmpty())
        parts << QStringLiteral("skipped at sectors ") + sectorList(skipSectors, skips);
    if (!errorSectors.isEmpty())
        parts << QStringLiteral("read errors at sectors ") + sectorList(errorSectors, readErrors);
    return parts.join(QStringLiteral("; "));
}

void ParanoiaStats::take(long position, int event) {
    const auto sector = qint32(position / CD_FRAMEWORDS);
    switch (event) {
    case PARANOIA_CB_READ:
        ++reads;
        break;
    case PARANOIA_CB_VERIFY:
        ++verifies;
        break;
    case PARANOIA_CB_FIXUP_EDGE:
    case PARANOIA_CB_FIXUP_ATOM:
    case PARANOIA_CB_FIXUP_DROPPED:
    case PARANOIA_CB_FIXUP_DUPED:
        ++fixups;
        break;
    case PARANOIA_CB_REPAIR:
        ++scratchRepairs;
        break;
    case PARANOIA_CB_SKIP:
        ++skips;
        note(skipSectors, sector);
        break;
    case PARANOIA_CB_DRIFT:
        ++drifts;
        break;
    case PARANOIA_CB_READERR:
        ++readErrors;
        if (position >= 0)
            note(errorSectors, sector);
        break;
    default:
        break;
    }
}

} // namespace cdio
