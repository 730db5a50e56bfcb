#pragma once

#include <QStringList>

// What a component that writes a file does when a file is already at its output path. It is
// applied before anything is written, and again when the finished file is put in place:
// - a folder, a device, a named pipe or a socket is never written over;
// - nor is any of sources, the files the running job reads (a conversion's whole list);
// - another file is replaced only when replace is true (the user agreed); otherwise the write
//   is refused with OutputExistsError (components/Error.h).
struct OverwriteRule {
    bool replace = false;
    QStringList sources;
};
