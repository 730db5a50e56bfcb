#include "app/cli/DrivesCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/TerminalText.h"
#include "backends/cdio/TrackRip.h"
#include "components/Error.h"

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

int runDrivesCommand(const QStringList& arguments) {
    if (const auto code = plainCommandHelp(
            arguments,
            QStringLiteral(
                "Usage: melvane-cli drives\n\n"
                "Lists the CD drives as the rip panel does, numbered from 1: address\n"
                "(host adapter:target:LUN), vendor, product, revision. The CUE/BIN images named\n"
                "in MELVANE_CD_IMAGES (paths separated by ':') follow the physical drives.\n")))
        return *code;
    if (arguments.size() > 1) {
        printError(QStringLiteral("drives"), QStringLiteral("it takes no arguments"));
        return kUsageError;
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

std::optional<qint32> offsetOption(const QString& text, QString* why) {
    if (const auto samples = wholeNumber(text, -cdio::kLargestReadOffset, cdio::kLargestReadOffset))
        return samples;
    *why = QStringLiteral("--offset '%1' is not a read offset: give samples as a whole number "
                          "from -%2 to %2, such as 6 or -1164")
               .arg(text)
               .arg(cdio::kLargestReadOffset);
    return std::nullopt;
}
