#pragma once

#include <QString>
#include <QtGlobal>

#include <functional>
#include <memory>

namespace burning {

// Where the image recorder's burn goes: the sectors of the .bin file, then its cue sheet.
// Nothing is visible under the final names before commit(); a sink destroyed without a
// successful commit() leaves nothing behind. Used from one thread at a time (the image
// recorder's writer thread), though not the one that created it.
class ImageSink {
public:
    // The cue sheet's text (ISO-8859-1) for the .bin's file name.
    using CueText = std::function<QByteArray(const QString& binName)>;

    virtual ~ImageSink() = default;
    // Appends whole sectors to the .bin. Raises Error when they cannot be written (the folder
    // went away, the disk is full), naming the file and the reason.
    virtual void writeSectors(const char* data, qint64 bytes) = 0;
    // Makes the .bin and its .cue appear under the first base name of which neither file
    // exists (a symbolic link, even a dangling one, counts): the base name given to create(),
    // else the same followed by " (2)", " (3)" ... Never replaces an existing file, even one
    // that appears meanwhile. Returns the base name used. Raises Error, and leaves nothing,
    // when it cannot.
    virtual QString commit(const CueText& cueText) = 0;
};

// Creates sinks for <folder>/<baseName>.bin and <folder>/<baseName>.cue.
class ImageOutput {
public:
    virtual ~ImageOutput() = default;
    // Raises Error when the folder cannot be written.
    virtual std::unique_ptr<ImageSink> create(const QString& folder, const QString& baseName) = 0;
};

} // namespace burning
