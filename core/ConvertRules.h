#pragma once

#include <QString>

class HarnMediaUtils;

// The rules of conversion shared by the convert panel and melvane-cli: the type of a file, how
// its information is read, and how its output is named. No widgets here.
namespace ConvertRules {

enum class FileType { Unknown, Wma, Mp3, Wav };

// The type told by the last three characters of the path in lower case: "wma", "mp3" or "wav"
// (SONG.MP3 is an MP3 file). Anything else is Unknown.
FileType typeOf(const QString& path);
// "WMA", "MP3" or "WAV"; empty for Unknown.
QString typeText(FileType type);

// The operations of HarnMediaUtils that describe one type of file, in the order they are
// called: read the file, then its duration, then its size.
struct InfoOperations {
    void (HarnMediaUtils::*read)(const QString& path);
    float (HarnMediaUtils::*duration)() const;
    float (HarnMediaUtils::*sizeMB)() const;
};
// Raises Error for Unknown, which has no operations.
InfoOperations infoOperations(FileType type);

// The size as the lists show it: "1.50 mb".
QString sizeText(float megabytes);

// What follows the last "/" of a path.
QString fileNameOf(const QString& path);
// The convert panel names its outputs after at most the first 50 characters of the source's
// file name. Characters are code points: a surrogate pair is never split.
QString cutName(const QString& name);
// The name without its last three characters (the old ending), followed by the new ending:
// "song.wav" gives "song.mp3"; the dot and the rest of the name stay.
QString outputName(const QString& name, const QString& extension);

} // namespace ConvertRules
