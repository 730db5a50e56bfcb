#include "backends/burn/CueSheet.h"

namespace burning {

namespace {

// Cue sheets have no escapes: double quotes become single ones, line breaks blanks.
QByteArray quoted(const QString& text) {
    QString clean = text.simplified();
    clean.replace(u'"', u'\'');
    return '"' + clean.toLatin1() + '"';
}

QByteArray msf(qint64 sectors) {
    const qint64 seconds = sectors / kSectorsPerSecond;
    return QString::asprintf("%02lld:%02lld:%02lld", seconds / 60, seconds % 60,
                             sectors % kSectorsPerSecond)
        .toLatin1();
}

void addText(QByteArray& sheet, const char* indent, const char* keyword, const QString& text) {
    if (!text.isEmpty())
        sheet += QByteArray(indent) + keyword + ' ' + quoted(text) + '\n';
}

} // namespace

QByteArray cueSheet(const QString& binName, const std::vector<TrackInfo>& tracks,
                    const std::vector<TrackPlace>& places, const DiscInfo& disc) {
    QByteArray sheet = "REM Written by Melvane\n";
    if (!disc.catalog.isEmpty())
        sheet += "CATALOG " + disc.catalog.toLatin1() + '\n';
    addText(sheet, "", "TITLE", disc.title);
    addText(sheet, "", "PERFORMER", disc.performer);
    addText(sheet, "", "SONGWRITER", disc.songwriter);
    sheet += "FILE " + quoted(binName) + " BINARY\n";
    for (size_t i = 0; i < tracks.size() && i < places.size(); ++i) {
        const TrackInfo& t = tracks[i];
        sheet += QString::asprintf("  TRACK %02d AUDIO\n", int(i) + 1).toLatin1();
        addText(sheet, "    ", "TITLE", t.title);
        addText(sheet, "    ", "PERFORMER", t.performer);
        addText(sheet, "    ", "SONGWRITER", t.songwriter);
        if (t.preEmphasis || t.copyPermitted)
            sheet += QByteArray("    FLAGS") + (t.copyPermitted ? " DCP" : "") +
                     (t.preEmphasis ? " PRE" : "") + '\n';
        if (!t.isrc.isEmpty())
            sheet += "    ISRC " + t.isrc.toLatin1() + '\n';
        if (places[i].index1Sector > places[i].firstSector)
            sheet += "    INDEX 00 " + msf(places[i].firstSector) + '\n';
        sheet += "    INDEX 01 " + msf(places[i].index1Sector) + '\n';
    }
    return sheet;
}

} // namespace burning
