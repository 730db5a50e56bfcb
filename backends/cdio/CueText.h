#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>

namespace cdio {

// Lines ended by LF, CR LF or a lone CR.
QList<QByteArray> splitCueLines(const QByteArray& sheet);

// A CUE sheet's text, checked line by line and rewritten into the copy libcdio reads (see
// CueSheet): every keyword spelt as libcdio knows it, the tracks numbered from 1, indexes 00
// and 01 only, the data file named "disc.bin" and a CD-Text file "cdtext.cdt"; what libcdio
// cannot take and what only describes the disc badly becomes an empty line, so lines keep
// their numbers. Raises Error, naming the sheet and the line, at the first thing that would
// make libcdio read something other than what the sheet says. Touches no file.
class CueText {
public:
    explicit CueText(const QString& cuePath) : m_cuePath(cuePath) {}

    // The copy of a sheet without its byte-order mark and with no NUL byte.
    QByteArray rewrite(const QByteArray& sheet);

    // What the sheet names: its data file, and its CD-Text file (empty when none).
    const QByteArray& dataName() const { return m_dataName; }
    const QByteArray& cdTextName() const { return m_cdTextName; }
    // The sheet's number of its first track.
    int firstTrack() const { return m_firstTrack; }

private:
    [[noreturn]] void fail(const QString& what) const;
    QByteArray line(const QList<QByteArray>& words);
    QByteArray file(const QList<QByteArray>& words);
    QByteArray track(const QList<QByteArray>& words);
    QByteArray index(const QList<QByteArray>& words);
    QByteArray metadata(const QByteArray& keyword, const QList<QByteArray>& words);
    void endTrack() const;

    QString m_cuePath;
    int m_line = 0;
    QByteArray m_dataName;
    QByteArray m_cdTextName;
    bool m_fileSeen = false;
    int m_tracks = 0;     // tracks so far
    int m_number = 0;     // the sheet's number of the current track
    int m_firstTrack = 0; // the sheet's number of its first track
    int m_lastIndex = -1; // the current track's last INDEX number
    bool m_hasStart = false;
    qint64 m_lastTime = -1; // the last INDEX time, and the line it was on
    int m_lastTimeLine = 0;
    qint64 m_lastStart = -1; // the last INDEX 01 time
    bool m_catalogSeen = false;
    bool m_isrcSeen = false;
    QSet<QByteArray> m_cdTextSeen;
};

} // namespace cdio
