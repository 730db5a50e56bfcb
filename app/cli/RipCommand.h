#pragma once

#include <QList>
#include <QStringList>
#include <optional>

// melvane-cli rip: tracks of a CD (or a CUE/BIN image) to tagged WAV, MP3 and WMA files with full
// paranoia, with a checksum line per track checked against AccurateRip, a log and a cue sheet.
int runRipCommand(const QStringList& arguments);

// "1,3-5" as track numbers, ascending, each once. Nothing, with the reason in why, when the text
// is not such a list (an empty part, a number outside 0 to 99, a range that runs backwards).
std::optional<QList<int>> parseTrackList(const QString& text, QString* why);
