#include "core/RecorderSettings.h"

#include "components/Checked.h"
#include "components/Error.h"
#include "components/SettingsStore.h"

#include <QRegularExpression>

void SetRecorderDefaults(RecorderSettings& settings, SettingsStore& store) {
    settings = RecorderSettings();
    settings.SaveToPath = store.MusicFolder() + QStringLiteral("/Recordings/capture.mp3");
}

double leadingNumber(const QString& text) {
    static const QRegularExpression number(
        QStringLiteral("^\\s*([+-]?(\\d+\\.?\\d*|\\.\\d+)([eE][+-]?\\d+)?)"));
    const QRegularExpressionMatch match = number.match(text);
    return match.hasMatch() ? match.captured(1).toDouble() : 0.0;
}

namespace {

QString stored(SettingsStore& store, const QString& key, const QString& fallback) {
    return store.GetSetting(kRecorderApp, kRecorderSection, key, fallback);
}

qint32 lenientInteger(const QString& text) {
    return checked::roundEven32(leadingNumber(text));
}

qint32 strictInteger(const QString& key, const QString& text) {
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok)
        throw Error(QStringLiteral("The recorder setting %1 holds \"%2\", which is not a number. "
                                   "Correct or remove it in the recorder's settings.")
                        .arg(key, text));
    return checked::roundEven32(value);
}

} // namespace

void LoadRecorderSettings(RecorderSettings& s, SettingsStore& store) {
    s.MP3Bitrate =
        lenientInteger(stored(store, QStringLiteral("MP3Bitrate"), QStringLiteral("128")));
    s.EncoderDLL = stored(store, QStringLiteral("EncoderDLL"), s.EncoderDLL);
    s.SaveToPath = stored(store, QStringLiteral("SaveToPath"), s.SaveToPath);
    s.SelectedDevice = stored(store, QStringLiteral("SelectedDevice"), s.SelectedDevice);
    s.PCMFormat =
        lenientInteger(stored(store, QStringLiteral("PCMFormat"), QString::number(s.PCMFormat)));
    s.OutputFormat =
        strictInteger(QStringLiteral("OutputFormat"), stored(store, QStringLiteral("OutputFormat"),
                                                             QString::number(s.OutputFormat)));
    s.SelectedLine =
        strictInteger(QStringLiteral("SelectedLine"), stored(store, QStringLiteral("SelectedLine"),
                                                             QString::number(s.SelectedLine)));
}

QString FormatRecordTime(double t) {
    const qint32 minutes = checked::roundEven32(t) / 60;
    const double rest = t - 60.0 * minutes;
    qint32 seconds = checked::roundEven32(rest);
    if (seconds > rest)
        --seconds;
    qint32 tenths = checked::roundEven32((t - (60.0 * minutes + seconds)) * 10.0);
    if (tenths >= 10)
        tenths = 0;
    if (seconds < 0)
        seconds = 0;
    const QString secondsText = seconds == 0   ? QStringLiteral("00")
                                : seconds < 10 ? QStringLiteral("0") + QString::number(seconds)
                                               : QString::number(seconds);
    return QStringLiteral("%1:%2:%3").arg(minutes).arg(secondsText).arg(tenths);
}
