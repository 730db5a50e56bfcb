#pragma once

#include <QStringList>

// melvane-cli rip --to image: a whole audio CD into a CUE/BIN image, with full paranoia, the
// gaps kept, and the catalogue number, ISRCs, flags and CD-Text in the cue sheet.
int runRipImageCommand(const QStringList& arguments);

// melvane-cli copy: a disc onto a recorder: read into an image, the image compared with the
// disc read again, burnt, and the burnt disc verified.
int runCopyCommand(const QStringList& arguments);
