// The one place that creates the real backends and hands them to the main window.
#include "app/StartupProbe.h"
#include "backends/audio/AlsaSoundCard.h"
#include "backends/audio/FilterGraph.h"
#include "backends/audio/MixerDevices.h"
#include "backends/audio/SoundPlayer.h"
#include "backends/audio/SoundRecorder.h"
#include "backends/burn/Burner.h"
#include "backends/burn/ImageRecorder.h"
#include "backends/cdio/CdAudioMci.h"
#include "backends/cdio/CdDrives.h"
#include "backends/cdio/CdTools.h"
#include "backends/cdio/CdioLog.h"
#include "backends/cdio/DiscPlayer.h"
#include "backends/cdio/TrackNameLookup.h"
#include "backends/media/Codecs.h"
#include "backends/media/MediaJob.h"
#include "backends/qt/QtBackends.h"
#include "components/Error.h"
#include "core/ProcessEnd.h"
#include "core/ProcessMemory.h"
#include "panelkit/ErrorBoundary.h"
#include "shell/Form1.h"

#include <QIcon>
#include <QMessageBox>
#include <cstdio>
#include <cstdlib>

namespace {

Form1Components realComponents() {
    Form1Components c;
    c.skin = std::make_unique<QssSkin>();
    c.messageBox = std::make_unique<QtMessageBox>();
    c.settings = std::make_unique<QtSettingsStore>();
    c.comd = std::make_unique<FileDialog>();
    c.commonDialog = std::make_unique<FileDialog>();
    c.mEnc = std::make_unique<Mp3Encoder>();
    c.mDec = std::make_unique<Mp3Decoder>();
    c.waEnc = std::make_unique<WmaEncoder>();
    c.waDec = std::make_unique<WmaDecoder>();
    c.wmaFile1 = std::make_unique<WmaFileReader>();
    c.x = std::make_unique<MediaInfo>();
    c.mixer = std::make_unique<MixerDevices>();
    c.record = std::make_unique<SoundRecorder>();
    c.player = std::make_unique<SoundPlayer>();
    c.soundCard = std::make_unique<AlsaSoundCard>();
    c.saveDialog = std::make_unique<FileDialog>();
    // One drive table for the rip panel's three components; the image recorder's last burn
    // becomes one more disc in it, so what was burnt can be played and ripped back.
    auto table = std::make_shared<cdio::DriveTable>();
    // The release a lookup chose gives the rips of its disc their album facts.
    auto chosen = std::make_shared<cdio::ChosenReleases>();
    auto tools = std::make_unique<cdio::CdTools>(table, chosen);
    // The drive's read offset is a setting, read again at each rip.
    tools->setSettings(std::make_shared<QtSettingsStore>());
    c.test = std::move(tools);
    c.lookup = std::make_unique<cdio::TrackNameLookup>(table, chosen);
    c.mci = std::make_unique<cdio::CdAudioMci>(table, std::make_unique<cdio::DiscPlayer>());
    c.drives = std::make_unique<cdio::CdDrives>(table);
    auto burner = burning::makeBurner();
    burner->imageRecorder().setImageWritten(
        [table](const QString& cuePath) { table->setRecorderDisc(cuePath); });
    c.audioBurner1 = std::move(burner);
    c.makeFolderBrowser = [] { return std::make_unique<FolderDialog>(); };
    c.makeFilterGraph = [] { return std::make_unique<FilterGraph>(); };
    c.applicationFolder = QCoreApplication::applicationDirPath();
    return c;
}

bool hasDisplay() {
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
           QGuiApplication::platformName() == QLatin1String("offscreen");
}

int startupFailed(const QString& reason) {
    std::fprintf(stderr, "melvane: cannot start: %s\n", qPrintable(reason));
    if (hasDisplay())
        QMessageBox::critical(nullptr, QStringLiteral("Melvane"),
                              QStringLiteral("Melvane cannot start.\n\n") + reason);
    return EXIT_FAILURE;
}

int run(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Melvane"));
    QCoreApplication::setApplicationName(QStringLiteral("Melvane"));
    // The icon of every window, and the desktop entry that desktops match the windows with.
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/melvane/melvane.svg")));
    QGuiApplication::setDesktopFileName(QStringLiteral("melvane"));

    // libcdio's own log handler ends the process on an error: ours goes in before any call.
    cdio::installLogHandler();
    std::unique_ptr<Form1> form;
    try {
        form = std::make_unique<Form1>(realComponents());
        installStartupProbe(form.get());
        form->Form_Load();
    } catch (const Error& e) {
        return startupFailed(e.message());
    } catch (const std::exception& e) {
        return startupFailed(QString::fromLocal8Bit(e.what()));
    }
    form->show();
    const int code = app.exec();
    form.reset();
    // Jobs cancelled on the way out finish removing their temporary files.
    MediaJob::waitForAll(10000);
    return code;
}

} // namespace

int main(int argc, char** argv) {
    returnLargeBlocksToTheSystem();
    endProcess(run(argc, argv));
}
