#pragma once

#include <QString>
#include <QVariant>

// Small services shared by the handlers of the main window: the duration formatter, the
// backslash-field helpers and the filter texts of the file-open dialogs.

// A duration in seconds as display text. digital: clock form ("01:02:05"), padFields: every
// clock field two digits wide, longUnits: "hr"/"min"/"sec" instead of "h"/"m"/"s" in the word
// form. Every step is done in single precision on purpose, so the text matches the classic
// program to the last second. Raises FloatError for a value that is not a finite number and
// OverflowError when the hours do not fit in 32 bits.
QString ConvertSeconds(float seconds, bool digital, bool padFields, bool longUnits);

namespace ConvertSeconds_ {

// What the formatter leaves behind after each call, whatever form was asked for.
struct Results {
    QString hours;    // two characters, "00" pattern
    QString minutes;  // two characters, "00" pattern
    QString seconds;  // two characters, "00" pattern
    QString longText; // e.g. "1 hour 2 minutes 5 seconds"
};

const Results& last();

} // namespace ConvertSeconds_

// Number of backslash-separated fields of a text: backslashes plus one; 0 for an empty text or
// a value that is not a string. Raises OverflowError when the count or a position leaves
// 16 bits.
qint16 CountCSString(const QVariant& value);

// Field number index (1-based) of a backslash-separated text, trimmed of blanks; an empty
// QVariant when there is no such field. Raises OverflowError when a position leaves 16 bits.
QVariant GetCSString(const QVariant& value, qint16 index);

// Filters of the file-open dialogs, in the "Description|pattern" form.
inline const QString kWaveFilesFilter = QStringLiteral("Wave Audio Files (*.wav)|*.wav");
inline const QString kCompressedFilesFilter =
    QStringLiteral("All Supported Audio Files (*.mp3,*.wma)|*.mp3; *.wma|"
                   "Mp3 Audio Files (*.mp3)|*.mp3|Wma Audio Files (*.wma)|*.wma");
inline const QString kBurnFilesFilter =
    QStringLiteral("Music Files (*.mp3),(*.wav),(*.wma)|*.mp3; *.wma;*.wav");
