#pragma once

#include <QStringList>

// melvane-cli devices: the capture devices, one per line: id, name and "default" for the
// system's default input, separated by tabs.
int runDevicesCommand(const QStringList& arguments);

// melvane-cli record [--device ID] [--seconds N] [--to mp3|wav] [--bitrate KBPS]
// [--encoder lame|shine] [--overwrite] OUT: records from a capture device into OUT (given the
// ending of its format), as the recorder window does, until N seconds of audio are in or the
// user interrupts (Ctrl-C), showing the time. The file is complete either way; an existing OUT
// is replaced only with --overwrite. melvane-cli record --recover [FOLDER...]: makes the
// recordings that a crash interrupted playable files. Exit status 0 when the recording was
// saved (or everything recovered), 1 when it could not start, failed or recorded nothing, 2 for
// a usage error.
int runRecordCommand(const QStringList& arguments);
