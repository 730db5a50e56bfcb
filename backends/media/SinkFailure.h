#pragma once

// Private to backends/media: how EncodedSink and its parts give up. The half-written file is
// thrown away and the error names it: "Cannot write <path>: <reason>".

#include <QString>

class OutputFile;

struct SinkFailure {
    QString path;
    OutputFile* file = nullptr; // null until the file is created
    bool failed = false;

    [[noreturn]] void raise(const QString& reason);
};
