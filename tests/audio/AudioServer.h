#pragma once

// The test audio server (scripts/test-audio-server), asked and changed through pactl.

#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

// What pactl prints; a pactl that fails ends the program, as every later check would mislead.
inline QString pactl(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0)
        qFatal("pactl %s failed: %s", qPrintable(arguments.join(u' ')),
               process.readAllStandardError().constData());
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

// A sink's volume from "Volume: front-left: 19650 /  30% / ...": raw, or in percent.
inline int sinkVolume(const QString& sink, bool percent = false) {
    const QString text = pactl({"get-sink-volume", sink});
    const auto match =
        QRegularExpression(percent ? QStringLiteral("/\\s*(\\d+)%") : "front-left: (\\d+)")
            .match(text);
    if (!match.hasMatch())
        qFatal("unexpected pactl answer: %s", qPrintable(text));
    return match.captured(1).toInt();
}

// kind: "sink" or "source".
inline bool isMuted(const QString& kind, const QString& name) {
    return pactl({"get-" + kind + "-mute", name}).contains(QLatin1String("yes"));
}
