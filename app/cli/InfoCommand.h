#pragma once

#include "components/HarnMediaUtils.h"

#include <QString>
#include <QStringList>

// One line per file with the columns of the conversion list, separated by tabs:
// path, type ("MP3", "WMA", "WAV" from the name's ending), duration as a clock, size in "mb".
// The type comes from the last three characters in lower case, as the list has it. Control
// characters of a name are shown escaped, so each file keeps to its one line.
// Returns the exit code: 0 when every file was described, 1 when one could not be or the lines
// could not be written (a full disk). openAs, when given, holds the path to read for each file
// where it differs from the name (see ConvertRequest::openAs).
int runInfo(HarnMediaUtils& x, const QStringList& files, const QStringList& openAs = {});

// The line for one file, read from openPath (path when empty); raises Error when the file
// cannot be read or its type not told.
QString infoLine(HarnMediaUtils& x, const QString& path, const QString& openPath = {});
