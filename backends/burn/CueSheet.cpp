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

QByteArray cueSheet(const QString& binName, const std::vector<PlannedTrack>& tracks) {
    QByteArray sheet = "REM Burnt by Melvane\n";
    const DiscText disc = discTextOf(tracks);
    addText(sheet, "", "TITLE", disc.title);
    addText(sheet, "", "PERFORMER", disc.performer);
    sheet += "FILE " + quoted(binName) + " BINARY\n";
    qint64 start = 0;
    int number = 0;
    for (const PlannedTrack& t : tracks) {
        sheet += QString::asprintf("  TRACK %02d AUDIO\n", ++number).toLatin1();
        addText(sheet, "    ", "TITLE", t.info.title);
        addText(sheet, "    ", "PERFORMER", t.info.performer);
        sheet += "    INDEX 01 " + msf(start) + '\n';
        start += t.info.sectors;
    }
    return sheet;
}

} // namespace burning
