#pragma once

// Programs run as child processes, as a user or a script runs them.

#include <QDeadlineTimer>
#include <QProcess>
#include <QString>
#include <QStringList>

struct Run {
    int exitCode = -1; // -1 when the program crashed or did not end in time
    QString out;
    QString err;
};

// Waits for the process; one that does not end within msecs is killed.
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

// env holds the variables to set, each as NAME=VALUE.
inline void startProgram(QProcess& process, const QString& program, const QStringList& arguments,
                         const QStringList& env = {}) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& pair : env)
        environment.insert(pair.section(u'=', 0, 0), pair.section(u'=', 1));
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
}

inline Run runProgram(const QString& program, const QStringList& arguments,
                      const QStringList& env = {}, int msecs = 60000) {
    QProcess process;
    startProgram(process, program, arguments, env);
    return finish(process, msecs);
}

// A line of bash, with program as $0 and the arguments as $1 ...
inline Run runShell(const QString& line, const QString& program, const QStringList& arguments,
                    const QStringList& env = {}) {
    return runProgram(QStringLiteral("bash"), QStringList{"-c", line, program} + arguments, env);
}

// Reads standard output until it holds text; false when the process ends or msecs pass first.
inline bool readUntil(QProcess& process, const QString& text, int msecs = 30000) {
    const QDeadlineTimer deadline(msecs);
    QString seen;
    while (!seen.contains(text)) {
        if (deadline.hasExpired() || !process.waitForReadyRead(int(deadline.remainingTime())))
            return false;
        seen += QString::fromLocal8Bit(process.readAllStandardOutput());
    }
    return true;
}

#ifdef MELVANE_CLI
inline Run runCli(const QStringList& arguments, const QStringList& env = {}, int msecs = 60000) {
    return runProgram(QStringLiteral(MELVANE_CLI), arguments, env, msecs);
}
#endif
