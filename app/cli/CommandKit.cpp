#include "app/cli/CommandKit.h"

#include "app/cli/TerminalText.h"

#include <QCommandLineParser>

namespace {

QString programAnd(const QString& command) {
    return command.isEmpty() ? QStringLiteral("melvane-cli")
                             : QStringLiteral("melvane-cli ") + command;
}

} // namespace

std::optional<int> wholeNumber(const QString& text, int lowest, int highest) {
    bool number = false;
    const int n = text.toInt(&number);
    if (number && n >= lowest && n <= highest)
        return n;
    return std::nullopt;
}

void print(std::FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

void printError(const QString& command, const QString& message) {
    // What standard output holds so far comes first when both go to one place.
    std::fflush(stdout);
    print(stderr, QStringLiteral("%1: %2\n").arg(programAnd(command), terminalText(message)));
}

int usageError(const QString& command, const QString& message) {
    printError(command, message);
    print(stderr,
          QStringLiteral("Try '%1 --help' for more information.\n").arg(programAnd(command)));
    return kUsageError;
}

QCommandLineOption helpOption() {
    return QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")},
                              QStringLiteral("Show this help."));
}

QString helpText(const QCommandLineParser& parser, const QString& usage, const QString& epilogue) {
    QString text = parser.helpText();
    text.replace(0, text.indexOf(u'\n'), usage);
    return epilogue.isEmpty() ? text : text + u'\n' + epilogue;
}

std::optional<int> parseCommand(QCommandLineParser& parser, const QStringList& arguments,
                                const QString& help) {
    const QString command = arguments.value(0);
    if (!parser.parse(arguments)) {
        // Read as long options, "-dash.wav" is one unknown option: most likely a file's name.
        const QStringList unknown = parser.unknownOptionNames();
        for (const QString& argument : arguments.mid(1)) {
            if (argument == QLatin1String("--"))
                break;
            if (argument.startsWith(u'-') && !argument.startsWith(QLatin1String("--")) &&
                unknown.contains(argument.mid(1)) && argument.contains(u'.'))
                return usageError(command, QStringLiteral("'%1' is not an option; a file whose "
                                                          "name starts with '-' goes after "
                                                          "'--', as in: melvane-cli %2 ... -- %1")
                                               .arg(argument, command));
        }
        return usageError(command, parser.errorText());
    }
    if (!parser.isSet(QStringLiteral("help")))
        return std::nullopt;
    print(stdout, help);
    return 0;
}

std::optional<int> plainCommandHelp(const QStringList& arguments, const QString& usage) {
    for (const QString& argument : arguments.mid(1)) {
        if (argument == QLatin1String("-h") || argument == QLatin1String("--help")) {
            print(stdout, usage);
            return 0;
        }
        if (argument.startsWith(u'-') && argument.size() > 1)
            return usageError(arguments.value(0),
                              QStringLiteral("unknown option '%1'").arg(argument));
    }
    return std::nullopt;
}

std::optional<int> bitrateOption(const QString& text, QString* why) {
    if (const auto kbps = wholeNumber(text, 8, 1000))
        return kbps;
    *why = QStringLiteral("--bitrate '%1' is not a bit rate: give kbit/s as a whole number from 8 "
                          "to 1000, such as 128")
               .arg(text);
    return std::nullopt;
}

std::optional<qint16> speedOption(const QString& text, QString* why) {
    if (const auto speed = wholeNumber(text, 1, 50))
        return qint16(*speed);
    *why = QStringLiteral("--speed '%1' is not a speed from 1 to 50").arg(text);
    return std::nullopt;
}
