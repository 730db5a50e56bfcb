#pragma once

#include <QString>

// Reads the header of a WMA (ASF) file: its tags and stream facts.
class WMAFile {
public:
    virtual ~WMAFile() = default;
    // Raises Error when the file is missing or not a WMA file.
    virtual void Open(const QString& path) = 0;
    virtual QString Title() const = 0;
    virtual QString Author() const = 0;
    virtual QString Album() const = 0;
    virtual double Duration() const = 0; // seconds
    virtual qint32 Bitrate() const = 0;  // bits per second
    virtual qint32 SampleRate() const = 0;
    virtual qint32 Channels() const = 0;
};
