#pragma once

#include <QString>
#include <QStringList>
#include <cstdio>
#include <optional>

class QCommandLineOption;
class QCommandLineParser;

// What every melvane-cli command shares: how it writes and refuses, its help, and the checks of
// the options several commands take. A command's arguments start with its name as typed.

inline constexpr int kUsageError = 2;

// Writes the text and flushes the stream, so that standard output and standard error keep their
// order on one terminal or in one file.
void print(std::FILE* stream, const QString& text);

// "melvane-cli COMMAND: MESSAGE" on standard error ("melvane-cli: MESSAGE" without a command),
// the message's control characters shown as escapes.
void printError(const QString& command, const QString& message);

// printError, then where the help is; returns kUsageError.
int usageError(const QString& command, const QString& message);

// -h, --help.
QCommandLineOption helpOption();

// Qt's help of the parser with its first line (the path the program was started by) replaced by
// `usage`, and the epilogue after an empty line.
QString helpText(const QCommandLineParser& parser, const QString& usage,
                 const QString& epilogue = {});

// Parses a command's arguments. Returns the exit code when the command should not run: 0 once
// -h or --help printed `help`, kUsageError once a usage error said why. The parser holds
// helpOption().
std::optional<int> parseCommand(QCommandLineParser& parser, const QStringList& arguments,
                                const QString& help);

// For a command without options: prints `usage` and returns 0 for -h/--help, returns
// kUsageError for anything else that starts with '-'; nothing when the command should run.
std::optional<int> plainCommandHelp(const QStringList& arguments, const QString& usage);

// The number `text` is, when it is a whole number from `lowest` to `highest`.
std::optional<int> wholeNumber(const QString& text, int lowest, int highest);

// The values of options several commands take; nothing, with why, when the text is not one.
// --bitrate: kbit/s from 8 to 1000.
std::optional<int> bitrateOption(const QString& text, QString* why);
// --speed: a write speed factor from 1 to 50.
std::optional<qint16> speedOption(const QString& text, QString* why);
