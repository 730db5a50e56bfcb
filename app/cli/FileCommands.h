#pragma once

#include <QStringList>

// melvane-cli convert: WAV files to MP3 or WMA, MP3 and WMA files to WAV, one after another
// into an output folder, with progress.
int runConvertCommand(const QStringList& arguments);

// melvane-cli info: one line per file with its type, duration and size (see runInfo).
int runInfoCommand(const QStringList& arguments);
