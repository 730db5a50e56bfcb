#pragma once

#include <QStringList>

// melvane-cli convert: WAV files to MP3 or WMA, MP3 and WMA files to WAV, a file per core at a
// time, into an output folder, with progress.
int runConvertCommand(const QStringList& arguments);

// melvane-cli info: one line per file with its type, duration and size (see runInfo).
int runInfoCommand(const QStringList& arguments);
