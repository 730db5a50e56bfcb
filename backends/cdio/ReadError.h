#pragma once

// Private to backends/cdio: why a DiscReader could not read a sector, in words for the user.

#include <QString>

namespace cdio {

class Disc;
struct ReadState;
struct Toc;

// Raises Error for a read of sector that failed: stopped, the image or the disc gone, or the
// sectors the drive cannot read (placed in their track by toc). part names what was being
// read ("track 3").
[[noreturn]] void throwReadError(const Disc& disc, const QString& part, const Toc& toc,
                                 const ReadState& state, qint32 sector);

} // namespace cdio
