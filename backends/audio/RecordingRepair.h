#pragma once

#include <QString>

// Makes a recording that was cut short (the program killed, the power gone, the disk full) a
// file that players read to its end, in place:
// - MP3: the frames are self-contained, so the file is cut after its last complete frame, and
//   the frame count the encoder leaves empty until the end is filled in;
// - WAVE: the file is cut to whole sample frames and the sizes in its header, written only at
//   the end, are set to what the file holds.
// A recording that was completed normally stays as it is.
//
// fd is open for reading and writing; path names the file in messages. Returns the seconds of
// audio the file holds (0 when none). Raises Error when the file is neither an MP3 nor a WAVE
// recording, or cannot be read or written.
double repairRecording(int fd, const QString& path);
