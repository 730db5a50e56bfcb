// Asks the CD tools what the window asks of a drive (its track count, the blank test's disc
// state, eject), or with the argument "burn" the burning engine what the burn panel asks (the
// recorders, the disc, eject), on a window's thread, with a 10 ms heartbeat timer, and prints for
// each call its answer, how long it took and the longest the heartbeat had to wait, in
// milliseconds, each after a pause long enough for a drive with idle=1 to stop its disc:
//   <call> <answer> <took> <longest gap>
// Run with the virtual drive loaded; the drive is the first one the table lists.
#include "backends/burn/Burner.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/MediaTracks.h"
#include "backends/cdio/CdTools.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <cstdio>
#include <functional>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const bool burn = argc > 1 && qstrcmp(argv[1], "burn") == 0;
    cdio::CdTools tools(std::make_shared<cdio::DriveTable>());
    burning::Burner engine(std::make_unique<burning::MediaTrackOpener>(),
                           std::make_unique<burning::ImageFiles>());
    qint32 index = 0;
    if (!burn && tools.DriveCount() < 1) {
        std::fprintf(stderr, "no drive\n");
        return 1;
    }
    const qint32 address = burn ? 0 : tools.DriveAddress(index);

    QElapsedTimer clock;
    qint64 last = 0;
    qint64 longest = 0;
    QTimer heartbeat;
    heartbeat.setInterval(10);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        longest = std::max(longest, clock.elapsed() - last);
        last = clock.elapsed();
    });
    const auto measure = [&](const char* name, const std::function<qint32()>& call) {
        // Long enough for a drive with idle=1 to stop its disc: each call spins it up again.
        QEventLoop pause;
        QTimer::singleShot(1500, &pause, &QEventLoop::quit);
        pause.exec();
        clock.restart();
        last = 0;
        longest = 0;
        heartbeat.start();
        QElapsedTimer took;
        took.start();
        const qint32 answer = call();
        const qint64 ms = took.elapsed();
        longest = std::max(longest, clock.elapsed() - last);
        heartbeat.stop();
        std::printf("%s %d %lld %lld\n", name, answer, ms, longest);
        std::fflush(stdout);
    };
    try {
        if (burn) {
            measure("recorders", [&] { return qint32(engine.RecorderCount()); });
            engine.setCurrentRecorder(1);
            measure("disc", [&] {
                engine.RefreshDisc();
                return qint32(engine.MediaUsedSize());
            });
            measure("eject", [&] {
                engine.Eject();
                return 0;
            });
            return 0;
        }
        measure("tracks", [&] { return tools.ReadTrackCount(address); });
        measure("state", [&] { return tools.DiscState(address); });
        measure("eject", [&] {
            tools.EjectDrive(address);
            return 0;
        });
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
