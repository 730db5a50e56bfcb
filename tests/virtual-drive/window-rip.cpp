// Rips one track of the first drive as the window does, through the CD tools with the settings
// of a folder, then ends the job so that its log is written, and prints every note the window
// would show. Run with the virtual drive loaded:
//   window-rip <settings folder> <WAV path> <track>
// Exit 0 once the log is written, 1 when the rip is refused or fails.
#include "backends/cdio/CdTools.h"
#include "backends/qt/QtSettingsStore.h"
#include "components/Error.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: window-rip SETTINGS WAV TRACK\n");
        return 2;
    }
    cdio::CdTools tools(std::make_shared<cdio::DriveTable>());
    tools.setSettings(std::make_shared<QtSettingsStore>(QString::fromLocal8Bit(argv[1])));
    QEventLoop loop;
    bool reported = false; // the log is written, or said not to be
    QObject::connect(&tools, &HarnTools::RipProgress, [&](double percent) {
        if (percent == 100.0)
            loop.exit(0);
    });
    QObject::connect(&tools, &HarnTools::Failed, [&](const QString& message) {
        std::fprintf(stderr, "failed: %s\n", qPrintable(message));
        loop.exit(1);
    });
    QObject::connect(&tools, &HarnTools::RipNote, [&](const QString& note) {
        std::printf("%s\n", qPrintable(note));
        std::fflush(stdout);
        if (note.startsWith(QLatin1String("Log written")) ||
            note.startsWith(QLatin1String("No log written"))) {
            reported = true;
            loop.exit(0);
        }
    });
    // Far longer than the rip of a few seconds of sound on a drive without delays.
    QTimer::singleShot(60000, &loop, [&] { loop.exit(3); });
    try {
        if (tools.DriveCount() < 1)
            throw Error(QStringLiteral("no drive"));
        qint32 first = 0;
        tools.RipTrackToWav(tools.DriveAddress(first), QString::fromLocal8Bit(argv[2]),
                            QString::fromLocal8Bit(argv[3]).toInt(), 0);
        if (loop.exec() != 0)
            return 1;
        // The log comes at once when the AccurateRip answer is in, else once it comes.
        tools.EndRipJob();
        return reported || loop.exec() == 0 ? 0 : 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "refused: %s\n", e.what());
        return 1;
    }
}
