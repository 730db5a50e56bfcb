#pragma once

// What a fuzz target does with a broken promise: says which, and aborts, as a crash would.

#include <QFile>
#include <QString>
#include <QtGlobal>
#include <cstdio>
#include <cstdlib>

[[noreturn]] inline void broken(const QString& what) {
    std::fprintf(stderr, "broken promise: %s\n", what.toLocal8Bit().constData());
    std::abort();
}

// A Qt warning is text the user did not ask for on standard error (a seek far past the end of
// a file, say): a broken promise too.
inline void refuseWarnings(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg)
        broken(QStringLiteral("Qt warned: ") + message);
}
[[maybe_unused]] inline const bool g_watching = (qInstallMessageHandler(refuseWarnings), true);

inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        broken(QStringLiteral("cannot write %1").arg(path));
}
