#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

namespace burning {

// Where the image recorder's burn goes: the sectors of the .bin file, then its cue sheet.
// Nothing is visible under the final names before commit(); a sink destroyed without a
// successful commit() leaves nothing behind. Used from one thread at a time (the image
// recorder's writer thread), though not the one that created it.
class ImageSink {
public:
    virtual ~ImageSink() = default;
    // Appends whole sectors to the .bin. Raises Error when they cannot be written (the folder
    // went away, the disk is full), naming the file and the reason.
    virtual void writeSectors(const char* data, qint64 bytes) = 0;
    // Makes the .bin and the .cue holding cueText (ISO-8859-1) appear under their final names,
    // never replacing an existing file. Raises Error, and leaves nothing, when it cannot.
    virtual void commit(const QByteArray& cueText) = 0;
};

// Creates sinks for <folder>/<baseName>.bin and <folder>/<baseName>.cue.
class ImageOutput {
public:
    virtual ~ImageOutput() = default;
    // Raises Error when the folder cannot be written.
    virtual std::unique_ptr<ImageSink> create(const QString& folder, const QString& baseName) = 0;
};

} // namespace burning
