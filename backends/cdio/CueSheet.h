#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

namespace cdio {

// A CUE sheet read the way CD tools read sheets (keywords in any case, a UTF-8 byte-order mark,
// the data file found in another letter case when its exact name is missing), checked, and
// rewritten into a private copy that libcdio reads as the sheet means it.
//
// libcdio's reader is strict where others are lenient, and lenient where it must not be: it
// refuses lower-case keywords, reads its data from the file with the sheet's own name whatever
// FILE says, takes track numbers out of order, INDEX times going backwards and tracks past the
// end of the data as they come, and writes out of its bounds when the first track is not 1.
// So the sheet is checked here, and the copy numbers its tracks from 1, spells every keyword
// as libcdio knows it, leaves out what libcdio cannot take (comments, unknown keywords, bad
// metadata) and names a link to the data file next to it; lines keep their numbers.
//
// Special files are refused at once, never opened for reading: a named pipe would block.
class CueSheet {
public:
    // Raises Error saying what is wrong, naming the sheet and the line.
    explicit CueSheet(const QString& cuePath);
    ~CueSheet();
    CueSheet(const CueSheet&) = delete;
    CueSheet& operator=(const CueSheet&) = delete;

    // The copy libcdio opens, as a local path.
    QByteArray copyPath() const;
    // The data file the sheet names, as found.
    const QString& dataFile() const { return m_dataFile; }
    // The sheet's number of its first track; the copy's is 1.
    int firstTrack() const { return m_firstTrack; }

    // A message of libcdio's about the copy, made to name the sheet and the data file.
    QString explain(QString message) const;

private:
    struct Copy;
    QString m_cuePath;
    QString m_dataFile;
    int m_firstTrack = 1;
    std::unique_ptr<Copy> m_copy;
};

} // namespace cdio
