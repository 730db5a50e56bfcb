#include "app/cli/DrivesCommand.h"

#include "app/cli/TerminalText.h"
#include "components/Error.h"

#include <cstdio>

namespace {

void print(std::FILE* stream, const QString& text) {
    std::fputs(text.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

} // namespace

QString driveDescription(const cdio::Drive& drive) {
    // An image's product is its sheet's name, which may hold anything.
    return QStringLiteral("%1 %2 %3 %4")
        .arg(cdio::addressText(drive.address), terminalText(drive.vendor).leftJustified(8),
             terminalText(drive.product).leftJustified(20), terminalText(drive.revision));
}

cdio::Drive driveFromArgument(const QString& argument) {
    const cdio::DriveTable table;
    bool number = false;
    const int n = argument.toInt(&number);
    if (!number)
        return table.driveFor(argument);
    if (n < 1 || n > table.count())
        throw Error(QStringLiteral("There is no drive number %1; 'melvane-cli drives' lists %2")
                        .arg(n)
                        .arg(table.count()));
    return table.drives()[n - 1];
}

std::optional<int> cdCommandHelp(const QStringList& arguments, const QString& usage) {
    for (const QString& argument : arguments.mid(1)) {
        if (argument == QLatin1String("-h") || argument == QLatin1String("--help")) {
            print(stdout, usage);
            return 0;
        }
        if (argument.startsWith(u'-') && argument.size() > 1) {
            print(stderr, QStringLiteral("melvane-cli %1: unknown option '%2'\nTry 'melvane-cli "
                                         "%1 --help' for more information.\n")
                              .arg(arguments[0], argument));
            return 2;
        }
    }
    return std::nullopt;
}

int runDrivesCommand(const QStringList& arguments) {
    if (const auto code = cdCommandHelp(
            arguments,
            QStringLiteral(
                "Usage: melvane-cli drives\n\n"
                "Lists the CD drives as the rip panel does, numbered from 1: address\n"
                "(host adapter:target:LUN), vendor, product, revision. The CUE/BIN images named\n"
                "in MELVANE_CD_IMAGES (paths separated by ':') follow the physical drives.\n")))
        return *code;
    if (arguments.size() > 1) {
        print(stderr, QStringLiteral("melvane-cli drives: it takes no arguments\n"));
        return 2;
    }
    const cdio::DriveTable table;
    if (table.count() == 0) {
        print(stdout, QStringLiteral("No CD drives (set MELVANE_CD_IMAGES to use CUE/BIN "
                                     "images as drives)\n"));
        return 0;
    }
    QString text;
    for (int i = 0; i < table.count(); ++i)
        text += QStringLiteral("%1  %2\n").arg(i + 1).arg(driveDescription(table.drives()[i]));
    print(stdout, text);
    return 0;
}
