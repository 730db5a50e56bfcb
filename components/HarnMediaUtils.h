#pragma once

#include <QString>

// Duration and size of MP3, WMA and wave files for the conversion list. Each Read...Info call
// reads one file; the matching Duration (seconds) and SizeMB (bytes / 1024 / 1024) properties
// then describe it. A file that cannot be read raises Error naming the file and the reason.
class HarnMediaUtils {
public:
    virtual ~HarnMediaUtils() = default;
    virtual void ReadWmaInfo(const QString& path) = 0;
    virtual float WmaDuration() const = 0;
    virtual float WmaSizeMB() const = 0;
    virtual void ReadMp3Info(const QString& path) = 0;
    virtual float Mp3Duration() const = 0;
    virtual float Mp3SizeMB() const = 0;
    virtual void ReadWavInfo(const QString& path) = 0;
    virtual float WavDuration() const = 0;
    virtual float WavSizeMB() const = 0;
};
