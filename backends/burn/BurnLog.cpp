#include "backends/burn/BurnLog.h"

#include "backends/media/OutputFile.h"
#include "components/Error.h"

#include <QDir>
#include <QStandardPaths>

namespace burning {

namespace {

QString seconds(qint64 frames) {
    return QString::number(double(frames) / kFramesPerSecond, 'f', 3);
}

bool writeText(const QString& path, const QByteArray& text) {
    try {
        OutputFile file(path);
        file.write(text.constData(), text.size());
        file.commit();
        return true;
    } catch (const Error&) {
        return false;
    }
}

} // namespace

QString burnLogText(const BurnLogEntry& e) {
    QString text;
    const auto line = [&](const QString& label, const QString& value) {
        text += QStringLiteral("%1 %2\n").arg(label + u':', -11).arg(value);
    };
    text += QStringLiteral("Melvane burn log\n\n");
    line(QStringLiteral("Recorder"), e.recorder);
    line(QStringLiteral("Method"), QStringLiteral("%1, %2").arg(e.method).arg(e.writeMode));
    line(QStringLiteral("Speed"), e.speed > 0 ? QStringLiteral("%1x").arg(e.speed)
                                              : QStringLiteral("the recorder's fastest"));
    QStringList options;
    if (e.simulate)
        options << QStringLiteral("test burn");
    options << (e.keepOpen ? QStringLiteral("disc left open") : QStringLiteral("disc finalised"));
    if (e.verify)
        options << QStringLiteral("verified after burning");
    line(QStringLiteral("Options"), options.join(QStringLiteral(", ")));
    line(QStringLiteral("Started"), e.started.toString(Qt::ISODate));
    line(QStringLiteral("Ended"), e.ended.toString(Qt::ISODate));
    if (!e.image.isEmpty())
        line(QStringLiteral("Image"), e.image);
    if (e.offset)
        line(QStringLiteral("Offset"),
             QStringLiteral("%1 samples (read and write together)").arg(*e.offset));
    line(QStringLiteral("Outcome"), e.outcome);

    text += QStringLiteral("\nTrack  Samples     Seconds   Sectors  CRC32     Verification  "
                           "Source\n");
    int number = 0;
    for (const BurnRun::TrackReport& t : e.tracks) {
        QString check = t.check.text();
        if (t.check.result == TrackCheck::Result::Differs)
            check += QStringLiteral(" (%1 sectors differ)").arg(t.check.differing);
        else if (t.check.result == TrackCheck::Result::Unreadable)
            check += QStringLiteral(" at %1: %2")
                         .arg(playingPosition(std::max<qint64>(0, t.check.sector)), t.check.reason);
        text += QStringLiteral("%1  %2  %3  %4  %5  %6  %7\n")
                    .arg(++number, 5)
                    .arg(t.frames, 10)
                    .arg(seconds(t.frames), 8)
                    .arg(t.sectors, 7)
                    .arg(QStringLiteral("%1").arg(t.crc32, 8, 16, QLatin1Char('0')).toUpper())
                    .arg(check, -12)
                    .arg(t.source);
        if (t.padded > 0)
            text +=
                QStringLiteral("       padded with %1 samples of silence to 4 s\n").arg(t.padded);
    }
    if (!e.notices.isEmpty()) {
        text += QStringLiteral("\nNotices:\n");
        for (const BurnRun::Notice& n : e.notices)
            text +=
                (n.warning ? QStringLiteral("  warning: ") : QStringLiteral("  ")) + n.text + u'\n';
    }
    if (!e.recorderMessages.isEmpty()) {
        text += QStringLiteral("\nThe recorder's report:\n");
        for (const QString& m : e.recorderMessages)
            text += QStringLiteral("  ") + m + u'\n';
    }
    return text;
}

QString writeBurnLog(const BurnLogEntry& entry, const QString& imageBase) {
    const QByteArray text = burnLogText(entry).toUtf8();
    if (!imageBase.isEmpty() && writeText(imageBase + QStringLiteral(".log"), text))
        return imageBase + QStringLiteral(".log");
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (data.isEmpty())
        return {};
    const QString folder = data + QStringLiteral("/melvane/burn-logs");
    if (!QDir().mkpath(folder))
        return {};
    QString name =
        entry.started.toString(QStringLiteral("yyyy-MM-dd hh.mm.ss")) + u' ' + entry.recorderName;
    name.replace(u'/', u'-');
    for (int n = 1; n < 100; ++n) {
        const QString path = folder + u'/' + name +
                             (n > 1 ? QStringLiteral(" (%1)").arg(n) : QString()) +
                             QStringLiteral(".log");
        if (writeText(path, text))
            return path;
    }
    return {};
}

} // namespace burning
