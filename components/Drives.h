#pragma once

#include <QString>

// The drive roots, as GetLogicalDriveStringsA and GetDriveTypeA give them: "C:\" is the
// system's disk (type 3), then one root per CD drive, "D:\", "E:\" ... (type 5), in the order
// of HarnTools' drive list, images included.
class Drives {
public:
    virtual ~Drives() = default;

    static constexpr qint32 NoRootDir = 1;
    static constexpr qint32 Fixed = 3;
    static constexpr qint32 CdRom = 5;

    // GetLogicalDriveStringsA: writes every root, each followed by a NUL character, and one more
    // NUL after the last, over the start of buffer, whose length is the buffer's size. Returns
    // how many characters that is without the last NUL. When they do not fit, buffer is left as
    // it was and the return is the size they need, the last NUL included.
    virtual qint32 GetLogicalDriveStrings(QString& buffer) = 0;
    // GetDriveTypeA: CdRom, Fixed, or NoRootDir for a root that does not exist.
    virtual qint32 GetDriveType(const QString& root) = 0;
};
