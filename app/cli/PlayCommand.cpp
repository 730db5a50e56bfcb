#include "app/cli/PlayCommand.h"

#include "app/cli/CommandKit.h"
#include "app/cli/Interrupts.h"
#include "backends/audio/FilterGraph.h"
#include "components/Error.h"
#include "core/CommonHelpers.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTimer>
#include <unistd.h>

namespace {

const char* const kUsage =
    "Usage: melvane-cli play [--eq G0,G1,...,G10] FILE\n"
    "\n"
    "Plays an MP3, WMA or WAV file on the default audio output through the file player and its\n"
    "equaliser, and shows the position. Ctrl-C stops it.\n"
    "\n"
    "Options:\n"
    "  --eq G0,...,G10   the gains of the eleven equaliser bands in dB (-12 to 12), at 16,\n"
    "                    31.5, 63, 125, 250, 500 Hz, 1, 2, 4, 8 and 16 kHz; fewer values\n"
    "                    leave the bands after them at 0\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit status: 0 when played to the end or stopped, 1 when the file cannot be played, 2 for\n"
    "a usage error.\n";

int usage(const QString& message) {
    return usageError(QStringLiteral("play"), message);
}

QString clock(double seconds) {
    return ConvertSeconds(float(std::max(seconds, 0.0)), true, true, true);
}

} // namespace

int runPlayCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    const QCommandLineOption eq(QStringLiteral("eq"), {}, QStringLiteral("GAINS"));
    parser.addOptions({helpOption(), eq});
    if (const auto code = parseCommand(parser, arguments, QString::fromUtf8(kUsage)))
        return *code;
    const QStringList files = parser.positionalArguments();
    if (files.size() != 1)
        return usage(files.isEmpty() ? QStringLiteral("no file to play")
                                     : QStringLiteral("one file at a time"));
    std::array<double, FilgraphManager::EqBandCount> gains{};
    if (parser.isSet(eq)) {
        const QStringList values = parser.value(eq).split(u',');
        if (values.size() > FilgraphManager::EqBandCount)
            return usage(QStringLiteral("--eq takes at most 11 gains"));
        for (int band = 0; band < values.size(); ++band) {
            bool ok = false;
            gains[size_t(band)] = values[band].trimmed().toDouble(&ok);
            if (!ok || gains[size_t(band)] < -12 || gains[size_t(band)] > 12)
                return usage(
                    QStringLiteral("--eq: '%1' is not a gain from -12 to 12 dB").arg(values[band]));
        }
    }

    FilterGraph graph;
    Interrupts interrupts;
    const bool terminal = ::isatty(STDOUT_FILENO);
    QTimer clockTimer;
    int status = 0;
    try {
        graph.RenderFile(files.first());
        for (int band = 0; band < FilgraphManager::EqBandCount; ++band)
            graph.setBandGain(band, gains[size_t(band)]);
        graph.Run();
    } catch (const Error& e) {
        printError(QStringLiteral("play"), e.message());
        return 1;
    }
    // The position, redrawn in place on a terminal, a line every second otherwise.
    QString shown;
    auto showPosition = [&](double position, bool last) {
        const QString text = clock(position) + " / " + clock(graph.Duration());
        if (terminal)
            print(stdout, u'\r' + text + (last ? QStringLiteral("\n") : QString()));
        else if (text != shown || last)
            print(stdout, text + u'\n');
        shown = text;
    };
    clockTimer.setInterval(terminal ? 250 : 1000);
    QObject::connect(&clockTimer, &QTimer::timeout,
                     [&] { showPosition(graph.CurrentPosition(), false); });
    clockTimer.start();
    QObject::connect(&graph, &FilgraphManager::Complete, [&] {
        showPosition(graph.Duration(), true);
        QCoreApplication::exit(0);
    });
    QObject::connect(&graph, &FilgraphManager::Failed, [&](const QString& message) {
        if (terminal)
            print(stdout, QStringLiteral("\n"));
        printError(QStringLiteral("play"), message);
        status = 1;
        QCoreApplication::exit(1);
    });
    QObject::connect(&interrupts, &Interrupts::interrupted, [&] {
        showPosition(graph.CurrentPosition(), true);
        graph.Stop();
        QCoreApplication::exit(0);
    });
    const int code = QCoreApplication::exec();
    return status != 0 ? status : code;
}
