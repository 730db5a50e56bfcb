#pragma once

#include <QStringList>

// melvane-cli devices: the capture devices, one per line: id, name and "default" for the
// system's default input, separated by tabs.
int runDevicesCommand(const QStringList& arguments);

// melvane-cli record [--device ID] [--seconds N] [--to mp3|wav] [--bitrate KBPS]
// [--encoder lame|shine] OUT: records from a capture device into OUT, as the recorder window
// does, until N seconds of audio are in or the user interrupts (Ctrl-C), showing the time. The
// file is complete either way. Exit status 0 when it was saved, 1 when the recording could not
// start or failed, 2 for a usage error.
int runRecordCommand(const QStringList& arguments);
