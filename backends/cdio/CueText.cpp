#include "backends/cdio/CueText.h"

#include "components/Error.h"

#include <cctype>

namespace cdio {
namespace {

// libcdio reads lines of up to 4095 bytes and would take a longer one as two.
constexpr int kLongestLine = 4000;
constexpr int kSectorsPerSecond = 75;

// The CD-Text keywords libcdio takes in a sheet (ISRC is a keyword of its own).
const QSet<QByteArray>& cdTextKeywords() {
    static const QSet<QByteArray> keywords = {"TITLE",    "PERFORMER", "SONGWRITER",
                                              "COMPOSER", "MESSAGE",   "ARRANGER",
                                              "UPC_EAN",  "GENRE",     "DISC_ID"};
    return keywords;
}

QString text(const QByteArray& bytes) {
    return QString::fromUtf8(bytes);
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// The words of a line; a quoted name is one word, without its quotes.
QList<QByteArray> wordsOf(const QByteArray& line) {
    QList<QByteArray> words;
    qsizetype i = 0;
    while (i < line.size()) {
        if (isBlank(line[i])) {
            ++i;
            continue;
        }
        qsizetype end = 0;
        if (line[i] == '"') {
            end = line.indexOf('"', i + 1);
            if (end < 0)
                end = line.size();
            words.append(line.mid(i + 1, end - i - 1));
            i = end + 1;
            continue;
        }
        end = i;
        while (end < line.size() && !isBlank(line[end]))
            ++end;
        words.append(line.mid(i, end - i));
        i = end;
    }
    return words;
}

bool allDigits(const QByteArray& word, int most) {
    if (word.isEmpty() || word.size() > most)
        return false;
    for (const char c : word) {
        if (c < '0' || c > '9')
            return false;
    }
    return true;
}

// "mm:ss:ff" as sectors; -1 when it is not such a time.
qint64 sectorsOf(const QByteArray& time) {
    const QList<QByteArray> parts = time.split(':');
    if (parts.size() != 3 || !allDigits(parts[0], 3) || !allDigits(parts[1], 2) ||
        !allDigits(parts[2], 2))
        return -1;
    const int seconds = parts[1].toInt();
    const int frames = parts[2].toInt();
    if (seconds >= 60 || frames >= kSectorsPerSecond)
        return -1;
    return (qint64(parts[0].toInt()) * 60 + seconds) * kSectorsPerSecond + frames;
}

QByteArray timeText(qint64 sectors) {
    const qint64 seconds = sectors / kSectorsPerSecond;
    return QByteArray::number(seconds / 60).rightJustified(2, '0') + ':' +
           QByteArray::number(seconds % 60).rightJustified(2, '0') + ':' +
           QByteArray::number(sectors % kSectorsPerSecond).rightJustified(2, '0');
}

QByteArray twoDigits(int n) {
    return QByteArray::number(n).rightJustified(2, '0');
}

// The words libcdio cuts a quoted value at.
QByteArray plainValue(QByteArray value) {
    value.replace("\"", "").replace("\t", " ");
    return value.trimmed();
}

} // namespace

QList<QByteArray> splitCueLines(const QByteArray& sheet) {
    QList<QByteArray> lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < sheet.size(); ++i) {
        if (sheet[i] != '\n' && sheet[i] != '\r')
            continue;
        lines.append(sheet.mid(start, i - start));
        if (sheet[i] == '\r' && i + 1 < sheet.size() && sheet[i + 1] == '\n')
            ++i;
        start = i + 1;
    }
    if (start < sheet.size())
        lines.append(sheet.mid(start));
    return lines;
}

void CueText::fail(const QString& what) const {
    throw Error(QStringLiteral("Line %1 of the CUE sheet %2 %3").arg(m_line).arg(m_cuePath, what));
}

QByteArray CueText::rewrite(const QByteArray& sheet) {
    QByteArray copy;
    for (const QByteArray& raw : splitCueLines(sheet)) {
        ++m_line;
        if (raw.size() > kLongestLine)
            fail(QStringLiteral("is %1 bytes long, too long for a CUE sheet").arg(raw.size()));
        copy += line(wordsOf(raw)) + '\n';
    }
    if (!m_fileSeen)
        throw Error(QStringLiteral("The CUE sheet %1 names no data file: it has no FILE line")
                        .arg(m_cuePath));
    if (m_tracks == 0)
        throw Error(
            QStringLiteral("The CUE sheet %1 has no tracks: it has no TRACK line").arg(m_cuePath));
    endTrack();
    return copy;
}

QByteArray CueText::line(const QList<QByteArray>& words) {
    if (words.isEmpty())
        return {};
    const QByteArray keyword = words[0].toUpper();
    if (keyword == "FILE")
        return file(words);
    if (keyword == "TRACK")
        return track(words);
    if (keyword == "INDEX")
        return index(words);
    if (keyword == "PREGAP" || keyword == "POSTGAP") {
        const QString where =
            m_tracks == 0 ? QString() : QStringLiteral(" (track %1)").arg(m_number);
        fail(QStringLiteral("asks for a gap with %1%2, which is not stored in the data file and "
                            "would be left out; store the gap in the data file with INDEX 00")
                 .arg(text(keyword), where));
    }
    if (keyword == "CDTEXTFILE") {
        const QByteArray name = words.value(1);
        if (!m_cdTextName.isEmpty() || name.trimmed().isEmpty())
            return {};
        m_cdTextName = name;
        return "CDTEXTFILE \"cdtext.cdt\"";
    }
    return metadata(keyword, words);
}

QByteArray CueText::file(const QList<QByteArray>& words) {
    if (m_fileSeen)
        fail(QStringLiteral("names a second data file; Melvane reads sheets with a single FILE "
                            "line"));
    if (words.size() < 2 || words[1].trimmed().isEmpty())
        fail(QStringLiteral("has FILE without a file name"));
    const QByteArray type = words.value(2).toUpper();
    if (!type.isEmpty() && type != "BINARY")
        fail(QStringLiteral("names a data file of type %1; Melvane reads raw CD sectors, type "
                            "BINARY")
                 .arg(text(words[2])));
    m_fileSeen = true;
    m_dataName = words[1];
    return "FILE \"disc.bin\" BINARY";
}

QByteArray CueText::track(const QList<QByteArray>& words) {
    if (!m_fileSeen)
        fail(QStringLiteral("starts a track before a FILE line names the data file"));
    if (m_tracks > 0)
        endTrack();
    const QByteArray number = words.value(1);
    if (number.isEmpty())
        fail(QStringLiteral("has TRACK without a track number"));
    if (!allDigits(number, 3) || number.toInt() < 1 || number.toInt() > 99)
        fail(QStringLiteral("gives \"%1\" as a track number; tracks are numbered from 1 to 99")
                 .arg(text(number)));
    const int n = number.toInt();
    if (m_tracks > 0 && n != m_number + 1)
        fail(QStringLiteral("starts track %1 after track %2; tracks must be numbered one after "
                            "another")
                 .arg(n)
                 .arg(m_number));
    const QByteArray mode = words.value(2).toUpper();
    if (mode.isEmpty())
        fail(QStringLiteral("gives track %1 no mode (such as AUDIO)").arg(n));
    if (mode != "AUDIO" && mode != "MODE1/2352" && mode != "MODE2/2352")
        fail(QStringLiteral("stores track %1 as %2, which cannot be read as it is; store it as "
                            "AUDIO, MODE1/2352 or MODE2/2352")
                 .arg(n)
                 .arg(text(words[2])));
    if (m_tracks == 0)
        m_firstTrack = n;
    ++m_tracks;
    m_number = n;
    m_lastIndex = -1;
    m_hasStart = false;
    m_isrcSeen = false;
    return "  TRACK " + twoDigits(m_tracks) + ' ' + mode;
}

void CueText::endTrack() const {
    if (!m_hasStart)
        throw Error(QStringLiteral("Track %1 of the CUE sheet %2 has no INDEX 01 line, so it "
                                   "has no start")
                        .arg(m_number)
                        .arg(m_cuePath));
}

QByteArray CueText::index(const QList<QByteArray>& words) {
    if (m_tracks == 0)
        fail(QStringLiteral("has an INDEX before the first TRACK"));
    const QByteArray number = words.value(1);
    if (!allDigits(number, 2))
        fail(QStringLiteral("gives \"%1\" as an index number; indexes are numbered from 00 to 99")
                 .arg(text(number)));
    const int n = number.toInt();
    const qint64 time = sectorsOf(words.value(2));
    if (time < 0)
        fail(QStringLiteral("gives \"%1\" as the time of INDEX %2; a time is minutes, seconds "
                            "and frames (0 to 74) as mm:ss:ff")
                 .arg(text(words.value(2)), text(twoDigits(n))));
    if (n <= m_lastIndex)
        fail(QStringLiteral("has INDEX %1 of track %2 after its INDEX %3; a track's indexes go "
                            "up one after another")
                 .arg(text(twoDigits(n)))
                 .arg(m_number)
                 .arg(text(twoDigits(m_lastIndex))));
    if (time < m_lastTime)
        fail(QStringLiteral("puts INDEX %1 of track %2 at %3, before the INDEX of line %4 at "
                            "%5; times go forward through the data file")
                 .arg(text(twoDigits(n)))
                 .arg(m_number)
                 .arg(text(timeText(time)))
                 .arg(m_lastTimeLine)
                 .arg(text(timeText(m_lastTime))));
    if (n == 1 && time <= m_lastStart)
        fail(QStringLiteral("starts track %1 at %2, where track %3 starts; a track holds at "
                            "least one sector")
                 .arg(m_number)
                 .arg(text(timeText(time)))
                 .arg(m_number - 1));
    m_lastIndex = n;
    m_lastTime = time;
    m_lastTimeLine = m_line;
    if (n == 1) {
        m_hasStart = true;
        m_lastStart = time;
    }
    // libcdio uses indexes 0 and 1 only.
    if (n > 1)
        return {};
    return "    INDEX " + twoDigits(n) + ' ' + timeText(time);
}

// Lines that only describe the disc: taken when libcdio can take them, left out otherwise.
QByteArray CueText::metadata(const QByteArray& keyword, const QList<QByteArray>& words) {
    const QByteArray value = words.value(1);
    if (keyword == "CATALOG") {
        if (m_tracks > 0 || m_catalogSeen || value.size() != 13 || !allDigits(value, 13))
            return {};
        m_catalogSeen = true;
        return "CATALOG " + value;
    }
    if (keyword == "ISRC") {
        if (m_tracks == 0 || m_isrcSeen || value.size() != 12)
            return {};
        for (const char c : value) {
            if (!std::isalnum(static_cast<unsigned char>(c)))
                return {};
        }
        m_isrcSeen = true;
        return "    ISRC " + value;
    }
    if (keyword == "FLAGS") {
        if (m_tracks == 0)
            return {};
        QList<QByteArray> flags;
        for (const QByteArray& word : words.mid(1)) {
            const QByteArray flag = word.toUpper();
            if ((flag == "PRE" || flag == "DCP" || flag == "4CH" || flag == "SCMS") &&
                !flags.contains(flag))
                flags << flag;
        }
        return flags.isEmpty() ? QByteArray() : "    FLAGS " + flags.join(' ');
    }
    if (cdTextKeywords().contains(keyword)) {
        const QByteArray plain = plainValue(value);
        const QByteArray key = keyword + ' ' + QByteArray::number(m_tracks);
        if (plain.isEmpty() || m_cdTextSeen.contains(key))
            return {};
        m_cdTextSeen.insert(key);
        return keyword + " \"" + plain + '"';
    }
    // Comments and words libcdio does not know.
    return {};
}

} // namespace cdio
