#pragma once

#include <QString>
#include <stdexcept>

// The one error type of the program. A handler that cannot go on throws it; the error boundary
// ends that handler and shows the text to the user, so the text says what failed and why.
class Error : public std::runtime_error {
public:
    explicit Error(const QString& message) : std::runtime_error(message.toStdString()) {}
    QString message() const { return QString::fromStdString(what()); }
};

// Integer arithmetic that left its 16-bit or 32-bit range.
class OverflowError : public Error {
public:
    OverflowError() : Error(QStringLiteral("Overflow")) {}
    explicit OverflowError(const QString& what) : Error(QStringLiteral("Overflow: ") + what) {}
};

// A list was asked for an item that it does not have.
class IndexError : public Error {
public:
    IndexError() : Error(QStringLiteral("Index out of bounds")) {}
    explicit IndexError(const QString& what)
        : Error(QStringLiteral("Index out of bounds: ") + what) {}
};

// An output that would replace an existing file without the user's consent (see OverwriteRule):
// nothing was written. path is the file that exists.
class OutputExistsError : public Error {
public:
    OutputExistsError(const QString& path, const QString& message) : Error(message), m_path(path) {}
    QString path() const { return m_path; }

private:
    QString m_path;
};

// A calculation produced something that is not a finite number.
class FloatError : public Error {
public:
    explicit FloatError(const QString& what)
        : Error(QStringLiteral("Invalid floating point value: ") + what) {}
};
