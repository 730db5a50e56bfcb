#pragma once

#include <QString>

// The rip panel's texts and file names, without widgets: track numbers, lengths and sizes,
// the drive description's prefix, and the names ripped files get.
namespace RipRules {

// n with at least two digits ("00" and "0#" alike): 1 gives 01, 10 gives 10, 100 gives 100.
QString twoDigits(qint64 n);
// Seconds of an MCI length "mm:ss:ff": minutes from the first two characters, seconds from the
// two before the frames; the frames are dropped. Characters that are not digits count as 0.
qint32 lengthSeconds(const QString& length);
// Megabytes of CD audio for a track of seconds, "00.00" + " MB": 275 gives 46.35 MB.
QString sizeText(qint32 seconds);
// "adapter:target:lun " of a packed drive address.
QString addressPrefix(qint32 address);
// The leading number of a text, 0 when it has none ("128" gives 128, "44100 hz" 44100).
double leadingNumber(const QString& text);

// The destination's default file name in folder. Only the roots c:\, d:\ and e:\ take the
// name directly; any other folder gets a separator first, so "/" gives "//Track.wav".
QString destinationFile(const QString& folder, const QString& extension);
// Numbered names: filename without its last four characters, n as two digits, extension.
QString numberedFile(const QString& filename, qint32 n, const QString& extension);
// The average speed line's figure: seconds of audio per second of ripping, "0.00".
QString speedText(double speed);

} // namespace RipRules
