#include "core/CommonHelpers.h"

#include "components/Checked.h"
#include "components/Error.h"

#include <cmath>

namespace {

ConvertSeconds_::Results lastResults;

// Forces a value through a 32-bit float in memory, so no step keeps wider precision.
float single(float value) {
    volatile float stored = value;
    return stored;
}

void requireFinite(float value, const char* unit) {
    if (!std::isfinite(value))
        throw FloatError(
            QStringLiteral("%1 %2 in a duration").arg(QString::number(value), QLatin1String(unit)));
}

// The "00" pattern: at least two digits, the sign in front.
QString twoDigits(qint32 value) {
    const qint64 wide = value;
    const QString digits = QString::number(wide < 0 ? -wide : wide).rightJustified(2, u'0');
    return wide < 0 ? u'-' + digits : digits;
}

// A two-character fixed-width field: longer texts are cut, shorter ones filled with blanks.
QString fixedWidth2(const QString& text) {
    return text.left(2).leftJustified(2, u' ');
}

QString plural(const QString& word, qint32 value) {
    return value == 1 ? word : word + u's';
}

QString clockPadded(qint32 h, qint32 m, qint32 s) {
    QString text;
    if (h != 0)
        text += twoDigits(h) + u':';
    return text + twoDigits(m) + u':' + twoDigits(s);
}

// Under one minute this starts with a colon (":05"); that is how the lists have always shown it.
QString clockUnpadded(qint32 h, qint32 m, qint32 s) {
    QString text;
    if (h != 0)
        text += QString::number(h);
    if (m != 0)
        text += h != 0 ? u':' + twoDigits(m) : QString::number(m);
    else if (h != 0)
        text += QStringLiteral(":00");
    return text + u':' + twoDigits(s);
}

// The short units keep their trailing blank after hours and minutes, also at the end of the text.
QString words(qint32 h, qint32 m, qint32 s, bool longUnits) {
    QString text;
    if (h != 0) {
        text += QString::number(h);
        if (m != 0 || s != 0)
            text += longUnits ? QStringLiteral(" hr ") : QStringLiteral(" h ");
        else
            text += plural(QStringLiteral(" hour"), h);
    }
    if (m != 0) {
        text += QString::number(m);
        if (s != 0 || h != 0)
            text += longUnits ? QStringLiteral(" min ") : QStringLiteral(" m ");
        else
            text += plural(QStringLiteral(" minute"), m);
    }
    if (s != 0) {
        text += QString::number(s);
        if (m != 0 || h != 0)
            text += longUnits ? QStringLiteral(" sec") : QStringLiteral(" s");
        else
            text += plural(QStringLiteral(" second"), s);
    }
    return text.isEmpty() ? QStringLiteral("0 seconds") : text;
}

QString longText(qint32 h, qint32 m, qint32 s) {
    QString text;
    if (h != 0)
        text += QString::number(h) + plural(QStringLiteral(" hour"), h) + u' ';
    if (m != 0)
        text += QString::number(m) + plural(QStringLiteral(" minute"), m) + u' ';
    if (s != 0)
        text += QString::number(s) + plural(QStringLiteral(" second"), s);
    return text.isEmpty() ? QStringLiteral("0 seconds") : text;
}

// 1-based position of the next backslash at or after the 1-based position from; 0 when none.
qint64 nextBackslash(const QString& text, qint64 from) {
    return text.indexOf(u'\\', from - 1) + 1;
}

// Positions are 16-bit, as the count is: a text this long cannot be taken apart.
qint16 position16(qint64 position) {
    return checked::narrow<qint16>(position);
}

QString trimBlanks(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text.at(first) == u' ')
        ++first;
    while (last > first && text.at(last - 1) == u' ')
        --last;
    return text.mid(first, last - first);
}

bool holdsString(const QVariant& value) {
    return value.typeId() == QMetaType::QString;
}

} // namespace

namespace ConvertSeconds_ {

const Results& last() {
    return lastResults;
}

} // namespace ConvertSeconds_

QString ConvertSeconds(float seconds, bool digital, bool padFields, bool longUnits) {
    const float hoursF = single(single(seconds / 60.0f) / 60.0f);
    requireFinite(hoursF, "hours");
    qint32 h = checked::floor32(hoursF);

    const float minutesF = single(single(hoursF - static_cast<float>(h)) * 60.0f);
    requireFinite(minutesF, "minutes");
    qint32 m = checked::floor32(minutesF);
    // Only a tiny negative duration gets here: its fraction of an hour rounds up to a whole one.
    if (m == 60) {
        m = 0;
        h = checked::add32(h, 1);
    }

    // The seconds are taken from the minutes as corrected just above.
    const float secondsF = single(single(minutesF - static_cast<float>(m)) * 60.0f);
    requireFinite(secondsF, "seconds");
    qint32 s = checked::roundEven32(secondsF);
    if (s == 60) {
        s = 0;
        m = checked::add32(m, 1);
        if (m == 60) {
            m = 0;
            h = checked::add32(h, 1);
        }
    }

    lastResults.hours = fixedWidth2(twoDigits(h));
    lastResults.minutes = fixedWidth2(twoDigits(m));
    lastResults.seconds = fixedWidth2(twoDigits(s));
    lastResults.longText = longText(h, m, s);

    if (!digital)
        return words(h, m, s, longUnits);
    return padFields ? clockPadded(h, m, s) : clockUnpadded(h, m, s);
}

qint16 CountCSString(const QVariant& value) {
    if (!holdsString(value))
        return 0;
    const QString text = value.toString();
    if (text.isEmpty())
        return 0;
    qint16 count = 1;
    qint16 position = 1;
    for (qint64 hit = nextBackslash(text, position); hit != 0;
         hit = nextBackslash(text, position)) {
        count = checked::add16(count, 1);
        position = position16(hit + 1);
    }
    return count;
}

QVariant GetCSString(const QVariant& value, qint16 index) {
    const qint16 count = CountCSString(value);
    if (index < 1 || index > count)
        return {};
    const QString text = value.toString();

    qint16 start = 1;
    for (int i = 2; i <= index; ++i)
        start = position16(nextBackslash(text, start) + 1);

    // A text that starts with a backslash ends its first field at position 0, which counts as
    // "no end": field 1 is then the whole text.
    qint16 end = position16(nextBackslash(text, start) - 1);
    if (end < 1)
        end = position16(text.size());

    return trimBlanks(text.mid(start - 1, end - start + 1));
}
