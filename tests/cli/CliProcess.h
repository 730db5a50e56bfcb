#pragma once

// melvane-cli run as a child process, the way the command-line tests run it.

#include <QProcess>
#include <QString>

struct Run {
    int exitCode = -1; // -1 when the program crashed or did not end in time (a minute)
    QString out;
    QString err;
};

inline Run finish(QProcess& process, int msecs = 60000) {
    Run result;
    if (!process.waitForFinished(msecs)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    result.err = QString::fromLocal8Bit(process.readAllStandardError());
    return result;
}
