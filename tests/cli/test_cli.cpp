// melvane-cli as a user runs it: the built program as a child process, on WAV files this test
// writes through the media core.
#include "backends/media/Codecs.h"
#include "backends/media/MediaProbe.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace {

Run run(const QStringList& arguments) {
    return runCli(arguments);
}

// A shell line, with the program as $0 and the arguments as $1 ...
Run shell(const QString& line, const QStringList& arguments = {}) {
    return runShell(line, QStringLiteral(MELVANE_CLI), arguments);
}

// The size column of the list: bytes / 1024 / 1024 with two decimals and " mb".
QString sizeText(const QString& path) {
    return QString::number(double(float(double(QFileInfo(path).size()) / 1024.0 / 1024.0)), 'f',
                           2) +
           QStringLiteral(" mb");
}

} // namespace

class TestCli : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    QString m_tone;   // 3 s
    QString m_second; // 1 s
    QString m_long;   // 120 s
    QString m_wma;    // 3 s

    QString path(const QString& name) const { return m_dir.path(name); }
    QString freshFolder(const QString& name) { return m_dir.fresh(name); }

    // Starts program with arguments and waits until a quarter of the conversion is done.
    static bool startLong(QProcess& process, const QStringList& arguments,
                          const QString& program = QStringLiteral(MELVANE_CLI)) {
        process.start(program, arguments);
        return readUntil(process, QStringLiteral("25%"));
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_tone = path(QStringLiteral("tone.wav"));
        m_second = path(QStringLiteral("second.wav"));
        m_long = path(QStringLiteral("long.wav"));
        writeSine(m_tone, OutputCodec::Wav, PcmFormat::cdAudio(), 3.0);
        writeSine(m_second, OutputCodec::Wav, PcmFormat::cdAudio(), 1.0);
        writeSine(m_long, OutputCodec::Wav, PcmFormat::cdAudio(), 120.0);
        m_wma = path(QStringLiteral("tone.wma"));
        writeSine(m_wma, OutputCodec::Wma, PcmFormat::cdAudio(), 3.0);
        freshFolder(QStringLiteral("usage"));
        writeBytes(path("a-file"), "x");
    }

    void roundTrip_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<qint64>("bitRate");
        // The encoder delay an MP3's Info frame names tells the encoders apart: LAME's 576
        // samples, shine's 527.
        QTest::addColumn<int>("mp3Delay");
        QTest::newRow("mp3 lame 96")
            << "mp3" << QStringList{"--bitrate", "96"} << "mp3" << qint64(96000) << 576;
        QTest::newRow("mp3 shine")
            << "mp3" << QStringList{"--encoder", "shine"} << "mp3" << qint64(128000) << 527;
        QTest::newRow("wma 128") << "wma" << QStringList{} << "wmav2" << qint64(128000) << -1;
        // Below what wmav2 takes: the lowest rate it does.
        QTest::newRow("wma 22") << "wma" << QStringList{"--bitrate", "22"} << "wmav2"
                                << qint64(24000) << -1;
    }

    // WAV to the target and back to WAV, with the names, codecs and info lines a user sees.
    void roundTrip() {
        QFETCH(QString, target);
        QFETCH(QStringList, options);
        QFETCH(QString, codec);
        QFETCH(qint64, bitRate);
        QFETCH(int, mp3Delay);

        const QString encoded = freshFolder(QStringLiteral("encoded"));
        Run r = run(QStringList{"convert", "--to", target, "--out", encoded} + options +
                    QStringList{m_tone, m_second});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
        QCOMPARE(folderEntries(encoded), QStringList({"second." + target, "tone." + target}));
        const QString toneOut = encoded + "/tone." + target;
        // Piped output gets plain progress lines and one done line per file.
        QVERIFY2(r.out.contains(m_tone + " -> " + toneOut + ": 50%\n"), qPrintable(r.out));
        QVERIFY2(r.out.contains("[1/2] " + m_tone + " -> " + toneOut + ": done"),
                 qPrintable(r.out));
        QVERIFY(r.out.contains("[2/2] " + m_second + " -> " + encoded + "/second." + target +
                               ": done"));

        const MediaFacts facts = probeMediaFile(toneOut);
        QCOMPARE(facts.codecName, codec);
        QCOMPARE(facts.bitRate, bitRate);
        QCOMPARE(std::pair(facts.sampleRate, facts.channels), std::pair(44100, 2));
        if (mp3Delay >= 0) {
            mp3check::Facts mp3;
            mp3check::Pcm decoded;
            const QString why =
                mp3check::check(toneOut, decodeFile(m_tone).frames(), 2, mp3, decoded);
            QVERIFY2(why.isEmpty(), qPrintable(why));
            QCOMPARE(mp3.delay, mp3Delay);
        }

        const QString decoded = freshFolder(QStringLiteral("decoded"));
        r = run({"convert", "--to", "wav", "--out", decoded, toneOut});
        QCOMPARE(r.exitCode, 0);
        const QString back = decoded + "/tone.wav";
        QCOMPARE(probeMediaFile(back).codecName, QStringLiteral("pcm_s16le"));

        r = run({"info", m_tone, toneOut, back});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out.split(u'\n'),
                 QStringList({m_tone + "\tWAV\t00:03\t0.50 mb",
                              toneOut + "\t" + target.toUpper() + "\t00:03\t" + sizeText(toneOut),
                              back + "\tWAV\t00:03\t" + sizeText(back), ""}));
    }

    // A file that fails is named with its reason at the end, at once even for a named pipe or
    // a device; the others are still converted and the failed ones leave nothing behind. Outputs
    // keep the whole file name (the panel's 50-character cut is not the command line's), and a
    // second source of the same name does not replace what the run has just written.
    void failedFilesAreNamedAndOthersConverted() {
        const QString out = freshFolder(QStringLiteral("mixed"));
        const QString longSource = path(QString(57, u'n') + QStringLiteral(".wav"));
        QVERIFY(QFile::copy(m_second, longSource));
        const QString twin = freshFolder(QStringLiteral("other")) + "/tone.wav";
        QVERIFY(QFile::copy(m_second, twin));
        const QString missing = path(QStringLiteral("missing.wav"));
        const QString notWav = path(QStringLiteral("tone.mp3"));
        const QString garbage = path(QStringLiteral("garbage.wav"));
        const QString pipe = path(QStringLiteral("pipe.wav"));
        const QString zero = path(QStringLiteral("zero.wav"));
        writeBytes(garbage, QByteArray(5000, 'x'));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(QFile::link("/dev/zero", zero));

        const Run r = run({"convert", "--to", "mp3", "--out", out, m_tone, missing, notWav, garbage,
                           pipe, zero, longSource, twin, m_second});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(folderEntries(out),
                 QStringList({QString(57, u'n') + ".mp3", "second.mp3", "tone.mp3"}));
        QVERIFY2(r.err.contains("6 of 9 file(s) failed"), qPrintable(r.err));
        // The first tone.mp3 is the three-second one, not the twin's one second.
        QVERIFY(probeMediaFile(out + "/tone.mp3").duration > 2.5);
        for (const auto& [file, reason] : {std::pair(missing, "does not exist"),
                                           {notWav, "only WAV files"},
                                           {garbage, "not an audio file"},
                                           {pipe, "named pipe"},
                                           {zero, "device"}})
            QVERIFY2(r.err.contains("  " + file + ": ") && r.err.contains(reason),
                     qPrintable(r.err));
        QVERIFY(!r.err.contains("  " + m_tone + ": "));
        QVERIFY2(r.err.contains("  " + twin + ": ") && r.err.contains(m_tone), qPrintable(r.err));
        QVERIFY(r.out.contains(missing + " -> " + out + "/missing.mp3: failed"));

        // Decoding wants MP3 or WMA; the type is the name's ending in lower case.
        const QString upper = path(QStringLiteral("TONE.MP3"));
        QVERIFY(QFile::copy(out + "/tone.mp3", upper));
        const QString decoded = freshFolder(QStringLiteral("mixed-decoded"));
        const Run d = run({"convert", "--to", "wav", "--out", decoded, upper, m_tone});
        QCOMPARE(d.exitCode, 1);
        QVERIFY2(d.err.contains(m_tone) && d.err.contains("only MP3 and WMA"), qPrintable(d.err));
        QVERIFY2(!d.err.contains(upper), qPrintable(d.err));
        QCOMPARE(folderEntries(decoded), QStringList{"TONE.wav"});
    }

    // A name that is not UTF-8 is still the file it names, for convert and for info, beside
    // names that are.
    void namesThatAreNotUtf8() {
        const QString out = freshFolder(QStringLiteral("latin1"));
        const Run r = shell(R"sh(f="$3/$(printf 'caf\351.wav')"; cp "$1" "$f" &&
            "$0" convert --to mp3 --out "$2" "$f" "$1" && "$0" info "$f"
            status=$?; rm -f "$f"; exit $status)sh",
                            {m_second, out, freshFolder(QStringLiteral("latin1-source"))});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(folderEntries(out),
                 QStringList({QString::fromUtf8("caf\uFFFD.mp3"), "second.mp3"}));
        QVERIFY2(r.out.endsWith(QString::fromUtf8("caf\uFFFD.wav\tWAV\t00:01\t") +
                                sizeText(m_second) + "\n"),
                 qPrintable(r.out));
    }

    void usageErrors_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* name, const QStringList& arguments, const QString& says) {
            QTest::newRow(name) << arguments << says;
        };
        const QString out = path(QStringLiteral("usage"));
        const QString take = path(QStringLiteral("usage/take.mp3"));
        const QStringList mp3{"convert", "--to", "mp3"};
        row("no command", {}, "convert");
        row("unknown command", {"frobnicate", "a.wav"}, "frobnicate");
        row("no target", {"convert", "--out", out, "a.wav"}, "--to");
        row("unknown target", {"convert", "--to", "flac", "--out", out, "a.wav"}, "flac");
        row("upper-case target", {"convert", "--to", "MP3", "--out", out, "a.wav"}, "MP3");
        row("no output folder", mp3 + QStringList{"a.wav"}, "--out");
        row("missing output folder", mp3 + QStringList{"--out", "/nonexistent/folder", "a.wav"},
            "the output folder /nonexistent/folder does not exist");
        row("output folder is a file", mp3 + QStringList{"--out", path("a-file"), "a.wav"},
            "--out names " + path("a-file") + ", which is not a folder");
        row("empty output folder", mp3 + QStringList{"--out", "", "a.wav"}, "--out is empty");
        row("no files", mp3 + QStringList{"--out", out}, "no files");
        row("bad bit rate", mp3 + QStringList{"--bitrate", "fast", "--out", out, "a.wav"}, "fast");
        row("zero bit rate", {"convert", "--to", "wma", "--bitrate", "0", "--out", out, "a.wav"},
            "--bitrate");
        row("no files at once", mp3 + QStringList{"--jobs", "0", "--out", out, "a.wav"},
            "--jobs takes a number of files from 1 to 16, not '0'");
        row("unknown encoder", mp3 + QStringList{"--encoder", "blade", "--out", out, "a.wav"},
            "blade");
        row("file name like an option", mp3 + QStringList{"--out", out, "-dash.wav"},
            "'-dash.wav' is not an option; a file whose name starts with '-' goes after '--'");
        row("info without files", {"info"}, "no files");
        row("mixer line", {"mixer", "--line", "9"}, "--line '9'");
        row("mixer volume", {"mixer", "--volume", "loud"}, "loud");
        row("mixer mute", {"mixer", "--mute", "yes"}, "yes");
        row("play without file", {"play"}, "no file to play");
        row("play gain", {"play", "--eq", "0,0,99", "a.wav"}, "'99'");
        row("record without a file", {"record"}, "no output file");
        row("record to flac", {"record", "--to", "flac", take}, "flac");
        row("record bit rate", {"record", "--bitrate", "400", take}, "--bitrate '400'");
        for (const char* length : {"-1", "nan", "inf", "-inf", "1e30", "NaN"})
            QTest::addRow("record length %s", length)
                << QStringList{"record", "--seconds", length, take}
                << QStringLiteral("--seconds '%1' is not a length").arg(length);
        row("record format against the ending", {"record", "--to", "wav", take},
            "--to wav does not fit the name");
        row("devices with arguments", {"devices", "x"}, "no arguments");
        // The limits of the options several commands share.
        row("bit rate above the top", mp3 + QStringList{"--bitrate", "1001", "--out", out, "a.wav"},
            "--bitrate '1001'");
        row("rip offset past the largest",
            {"rip", "--to", "wav", "--offset", "-100001", "--out", out, "x.cue"},
            "--offset '-100001' is not a read offset");
        const QStringList burn{"burn", "--recorder", "image", "--image-dir", out};
        row("burn without files", burn, "no files to burn");
        row("burn speed 0", burn + QStringList{"--speed", "0", "a.wav"},
            "--speed '0' is not a speed from 1 to 50");
        row("burn method", burn + QStringList{"--method", "twelve", "a.wav"},
            "--method 'twelve' is not a burn method from 0 to 11");
        row("burn recorder", {"burn", "--recorder", "99", "a.wav"},
            "--recorder '99' is not a recorder");
        row("missing image folder", {"burn", "--image-dir", "/no/such", "a.wav"},
            "the image folder /no/such does not exist");
        row("image folder is a file", {"burn", "--image-dir", path("a-file"), "a.wav"},
            "the image folder " + path("a-file") + " is not a folder");
        row("copy speed 51", {"copy", "--speed", "51", "--recorder", "1", "1"}, "--speed '51'");
    }

    // Usage errors exit 2 with the reason on standard error, before any file is touched.
    void usageErrors() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const Run r = run(arguments);
        QCOMPARE(r.exitCode, 2);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QCOMPARE(r.out, QString());
        QVERIFY(folderEntries(path(QStringLiteral("usage"))).isEmpty());
    }

    // The mixer and the player on the test audio server: a line set and read back; a file
    // played to its end through a cut band, and one stopped by Ctrl-C.
    void mixerAndPlayer() {
        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through scripts/test, which starts the test audio server");
        Run r = run({"mixer", "--volume", "37", "--mute", "on"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Master Volume: 37%\nMaster Mute: on\n"));
        r = run({"mixer", "--mute", "off"});
        QCOMPARE(r.out, QStringLiteral("Master Volume: 37%\nMaster Mute: off\n"));
        r = run({"mixer", "--line", "5"}); // a sound server's mixer has line 0 alone
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("no line 5"), qPrintable(r.err));

        r = run({"play", "--eq", "0,0,0,0,0,0,0,0,-12", m_tone});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.startsWith("00:0") && r.out.endsWith("00:03 / 00:03\n"), qPrintable(r.out));
        QProcess playing;
        playing.start(QStringLiteral(MELVANE_CLI), {"play", m_long});
        QVERIFY(playing.waitForReadyRead(10000)); // the first position line
        ::kill(pid_t(playing.processId()), SIGINT);
        r = finish(playing);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.err, QString());
    }

    // Every command shows its help under its own name, and refuses an option it does not know
    // saying where the help is.
    void everyCommandsHelpAndRefusal_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("usage");
        for (const char* name : {"convert", "info", "drives", "toc", "rip", "mixer", "play",
                                 "devices", "record", "recorders", "burn", "copy"})
            QTest::newRow(name) << QStringList{name}
                                << QStringLiteral("Usage: melvane-cli ") + name;
        QTest::newRow("rip --to image") << QStringList{"rip", "--to", "image"}
                                        << QStringLiteral("Usage: melvane-cli rip --to image");
    }
    void everyCommandsHelpAndRefusal() {
        QFETCH(QStringList, command);
        QFETCH(QString, usage);
        Run r = run(command + QStringList{"--help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.startsWith(usage) && !r.out.contains(QStringLiteral(MELVANE_CLI)),
                 qPrintable(r.out));
        QCOMPARE(r.err, QString());
        r = run(command + QStringList{"--bogus"});
        QCOMPARE(r.exitCode, 2);
        QCOMPARE(r.out, QString());
        const QString name = QStringLiteral("melvane-cli ") + command.first();
        QVERIFY2(r.err.startsWith(name + QStringLiteral(": ")) && r.err.contains("bogus") &&
                     r.err.endsWith(
                         QStringLiteral("\nTry '%1 --help' for more information.\n").arg(name)) &&
                     r.err.count(u'\n') == 2,
                 qPrintable(r.err));
    }

    // "help COMMAND" is "COMMAND --help"; what convert says of long names
    // (failedFilesAreNamedAndOthersConverted shows it). (The tool's own help: cli_man_page.)
    void help() {
        const Run r = run({"convert", "--help"});
        QVERIFY2(r.out.contains("whole file name") && !r.out.contains("50 characters"),
                 qPrintable(r.out));
        QCOMPARE(run({"help", "info"}).out, run({"info", "-h"}).out);
    }

    // An unreadable file is reported on standard error and the others still described; a list
    // that cannot be written is an error too.
    void infoReportsWhatFails() {
        const QString missing = path(QStringLiteral("gone.mp3"));
        const QString upper = path(QStringLiteral("LOUD.WAV"));
        const QString unknown = path(QStringLiteral("notes.ogg"));
        QVERIFY(QFile::copy(m_second, upper));
        Run r = run({"info", missing, m_second, upper, unknown});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.out, m_second + "\tWAV\t00:01\t" + sizeText(m_second) + "\n" + upper +
                            "\tWAV\t00:01\t" + sizeText(m_second) + "\n");
        QVERIFY2(r.err.contains(missing) && r.err.contains("does not exist"), qPrintable(r.err));
        QVERIFY2(r.err.contains(unknown) && r.err.contains("type"), qPrintable(r.err));

        r = shell(R"("$0" info "$1" >/dev/full)", {m_second});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("cannot write the file list: No space left on device"),
                 qPrintable(r.err));
    }

    // A reader that stops listening (`| head -c 1`) does not stop the batch half-way.
    void closedOutputDoesNotStopTheBatch() {
        const QString out = freshFolder(QStringLiteral("closed"));
        const Run r = shell(R"("$0" "$@" | head -c 1 >/dev/null; exit "${PIPESTATUS[0]}")",
                            {"convert", "--to", "mp3", "--out", out, m_tone, m_second});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(folderEntries(out), QStringList({"second.mp3", "tone.mp3"}));
    }

    void signalsLeaveNothing_data() {
        QTest::addColumn<int>("signal");
        QTest::addColumn<int>("jobs");
        QTest::newRow("TERM") << SIGTERM << 2;
        QTest::newRow("QUIT") << SIGQUIT << 2;
        QTest::newRow("USR1") << SIGUSR1 << 2;
        QTest::newRow("ALRM") << SIGALRM << 2;
        QTest::newRow("KILL") << SIGKILL << 2;
        QTest::newRow("TERM, one at a time") << SIGTERM << 1;
    }

    // Stopped from the shell, even without a chance to clean up, a running file leaves no
    // output, complete or partial. Side by side, the short file after the long one is done
    // first and stays, whole; one at a time, it never starts.
    void signalsLeaveNothing() {
        QFETCH(int, signal);
        QFETCH(int, jobs);
        const QString out = freshFolder(QStringLiteral("interrupted"));
        const QString toneOut = out + "/tone.mp3";
        QProcess process;
        QVERIFY(startLong(process, {"convert", "--to", "mp3", "--jobs", QString::number(jobs),
                                    "--out", out, m_long, m_tone}));
        if (jobs > 1)
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(toneOut), 10000);
        ::kill(pid_t(process.processId()), signal);
        const Run r = finish(process);
        if (jobs == 1) {
            QCOMPARE(folderEntries(out), QStringList());
        } else {
            QCOMPARE(folderEntries(out), QStringList{"tone.mp3"});
            QCOMPARE(decodeFile(toneOut).frames(), decodeFile(m_tone).frames());
        }
        if (signal == SIGKILL)
            return;
        QCOMPARE(r.exitCode, 128 + signal);
        const QString longLine = "[1/2] " + m_long + " -> " + out + "/long.mp3: interrupted\n";
        if (jobs == 1) {
            QVERIFY2(r.err.contains("interrupted; 2 of 2"), qPrintable(r.err));
            QVERIFY2(r.out.endsWith(longLine), qPrintable(r.out));
        } else {
            QVERIFY2(r.err.contains("interrupted; 1 of 2"), qPrintable(r.err));
            // Reported in the order given, though the second was done first.
            QVERIFY2(r.out.contains(longLine + "[2/2] " + m_tone + " -> " + toneOut + ": done"),
                     qPrintable(r.out));
        }
    }

    // A full disk, a file size limit, a folder made read-only half-way: the file fails with
    // the reason and leaves nothing.
    void writeFailuresLeaveNothing() {
        const QString out = freshFolder(QStringLiteral("limited"));
        Run r = shell(R"(ulimit -f 200; exec "$0" "$@")",
                      {"convert", "--to", "wav", "--out", out, m_wma});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("File too large"), qPrintable(r.err));
        QVERIFY(folderEntries(out).isEmpty());

        // Root writes into read-only folders: run as nobody then.
        const QString locked = freshFolder(QStringLiteral("locked"));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::Permissions(0x7777)));
        QVERIFY(QFile::setPermissions(m_dir.path(), QFileDevice::Permissions(0x7755)));
        const QStringList convert{"convert", "--to", "mp3", "--out", locked, m_long};
        QProcess process;
        if (::geteuid() == 0)
            QVERIFY(startLong(process,
                              QStringList{"--reuid=65534", "--regid=65534", "--clear-groups",
                                          QStringLiteral(MELVANE_CLI)} +
                                  convert,
                              "setpriv"));
        else
            QVERIFY(startLong(process, convert));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::ExeOwner |
                                                  QFileDevice::ReadOther | QFileDevice::ExeOther));
        r = finish(process);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("Permission denied"), qPrintable(r.err));
        QVERIFY(folderEntries(locked).isEmpty());
        QVERIFY(QFile::setPermissions(locked, QFileDevice::Permissions(0x7700)));
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "test_cli.moc"
