#pragma once

#include <QString>

class SettingsStore;

// The recorder's seven settings, shared by the recorder window and its options dialog. They are
// read from the settings store (application "QuillRecorder", group "Settings", one text value per
// key named as the field) every time the recorder window loads, and never written back: choices
// made in the options dialog last until the window loads again.
struct RecorderSettings {
    qint32 MP3Bitrate = 128; // kbit/s
    QString EncoderDLL =
        QStringLiteral("lame_enc.dll"); // "lame_enc.dll" (LAME) or "bladeenc.dll" (shine)
    QString SaveToPath;                 // the recording's full path
    QString SelectedDevice;             // capture device id; empty for the default input
    qint32 PCMFormat = 15;              // index in the device's list of capture formats
    qint32 OutputFormat = 1;            // 1 = MP3, 0 = WAVE
    qint32 SelectedLine = 1;            // index of the mixer's recording line
};

inline const QString kRecorderApp = QStringLiteral("QuillRecorder");
inline const QString kRecorderSection = QStringLiteral("Settings");

// Every field to its default; the recording goes to <music folder>/Recordings/capture.mp3 (the
// folder is made when a recording starts, not here).
void SetRecorderDefaults(RecorderSettings& settings, SettingsStore& store);

// Overwrites every field with the stored value, or its fallback when the key is missing. The
// numbers are read leniently (the leading number of the text, "192abc" is 192, no digits 0),
// except OutputFormat and SelectedLine, whose text must be a number: otherwise raises Error.
// A missing MP3Bitrate is 128, whatever the field held.
void LoadRecorderSettings(RecorderSettings& settings, SettingsStore& store);

// The time display: minutes, seconds and tenths, "0:00:0", "1:05:3", "10:00:0". Minutes are
// counted from the rounded time and seconds from the exact one, which turns 59.6 into "1:00:6";
// users have always seen it that way. Raises OverflowError past 32-bit minutes.
QString FormatRecordTime(double seconds);

// The number a text starts with, after leading blanks: sign, digits, decimal point, exponent.
// "192abc" gives 192, a text without a leading number 0.
double leadingNumber(const QString& text);
