// melvane-cli as a user runs it: the built program as a child process, on WAV files this test
// writes through the transcoding core.
#include "backends/media/EncodedSink.h"
#include "backends/media/MediaProbe.h"
#include "backends/media/PcmSource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <csignal>

namespace {

// A 440 Hz sine on every channel, at half scale.
class Sine final : public PcmSource {
public:
    Sine(PcmFormat format, double seconds)
        : m_format(format), m_total(std::llround(seconds * format.sampleRate)) {}
    PcmFormat format() const override { return m_format; }
    qint64 expectedFrames() const override { return m_total; }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        const qint64 n = std::min(maxFrames, m_total - m_done);
        for (qint64 i = 0; i < n; ++i) {
            const double t = double(m_done + i) / m_format.sampleRate;
            const auto value = qint16(std::lround(16383.0 * std::sin(2.0 * M_PI * 440.0 * t)));
            for (int c = 0; c < m_format.channels; ++c)
                buffer[i * m_format.channels + c] = value;
        }
        m_done += n;
        return n;
    }

private:
    PcmFormat m_format;
    qint64 m_total;
    qint64 m_done = 0;
};

void writeSineWav(const QString& path, double seconds) {
    Sine sine(PcmFormat::cdAudio(), seconds);
    EncodedSink sink(path, {OutputCodec::Wav, 0, {}}, sine.format());
    std::vector<qint16> buffer(4096 * 2);
    while (const qint64 frames = sine.read(buffer.data(), 4096))
        sink.write(buffer.data(), frames);
    sink.commit();
}

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

QStringList entries(const QString& folder) {
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
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
    QTemporaryDir m_dir;
    QString m_tone;   // 3 s
    QString m_second; // 1 s

    QString path(const QString& name) const { return m_dir.filePath(name); }

    QString freshFolder(const QString& name) const {
        const QString folder = path(name);
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        return folder;
    }

    static Run run(const QStringList& arguments) {
        QProcess process;
        process.start(QStringLiteral(MELVANE_CLI), arguments);
        Run result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = QString::fromLocal8Bit(process.readAllStandardOutput());
        result.err = QString::fromLocal8Bit(process.readAllStandardError());
        return result;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_tone = path(QStringLiteral("tone.wav"));
        m_second = path(QStringLiteral("second.wav"));
        writeSineWav(m_tone, 3.0);
        writeSineWav(m_second, 1.0);
        freshFolder(QStringLiteral("usage"));
    }

    void roundTrip_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<qint64>("bitRate");
        QTest::addColumn<bool>("lameTag");
        QTest::newRow("mp3 lame 96")
            << "mp3" << QStringList{"--bitrate", "96"} << "mp3" << qint64(96000) << true;
        QTest::newRow("mp3 shine")
            << "mp3" << QStringList{"--encoder", "shine"} << "mp3" << qint64(128000) << false;
        QTest::newRow("wma 128") << "wma" << QStringList{} << "wmav2" << qint64(128000) << false;
    }

    // WAV to the target and back to WAV, with the names, codecs and info lines a user sees.
    void roundTrip() {
        QFETCH(QString, target);
        QFETCH(QStringList, options);
        QFETCH(QString, codec);
        QFETCH(qint64, bitRate);
        QFETCH(bool, lameTag);

        const QString encoded = freshFolder(QStringLiteral("encoded"));
        Run r = run(QStringList{"convert", "--to", target, "--out", encoded} + options +
                    QStringList{m_tone, m_second});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
        QCOMPARE(entries(encoded), QStringList({"second." + target, "tone." + target}));
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
        QCOMPARE(facts.sampleRate, 44100);
        QCOMPARE(facts.channels, 2);
        QFile file(toneOut);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll().contains("LAME"), lameTag);
        file.close();

        const QString decoded = freshFolder(QStringLiteral("decoded"));
        r = run({"convert", "--to", "wav", "--out", decoded, toneOut});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(entries(decoded), QStringList{"tone.wav"});
        const QString back = decoded + "/tone.wav";
        QCOMPARE(probeMediaFile(back).codecName, QStringLiteral("pcm_s16le"));

        const QString TYPE = target.toUpper();
        r = run({"info", m_tone, toneOut, back});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out.split(u'\n'),
                 QStringList({m_tone + "\tWAV\t00:03\t0.50 mb",
                              toneOut + "\t" + TYPE + "\t00:03\t" + sizeText(toneOut),
                              back + "\tWAV\t00:03\t" + sizeText(back), ""}));
    }

    // A file that fails is named with its reason at the end; the others are still converted
    // and the failed ones leave nothing behind.
    void failedFilesAreNamedAndOthersConverted() {
        const QString out = freshFolder(QStringLiteral("mixed"));
        const QString missing = path(QStringLiteral("missing.wav"));
        const QString notWav = path(QStringLiteral("tone.mp3"));
        const QString garbage = path(QStringLiteral("garbage.wav"));
        QFile g(garbage);
        QVERIFY(g.open(QIODevice::WriteOnly));
        g.write(QByteArray(5000, 'x'));
        g.close();

        const Run r = run(
            {"convert", "--to", "mp3", "--out", out, m_tone, missing, notWav, garbage, m_second});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(entries(out), QStringList({"second.mp3", "tone.mp3"}));
        QVERIFY2(r.err.contains("3 of 5 file(s) failed"), qPrintable(r.err));
        QVERIFY2(r.err.contains("  " + missing + ": ") && r.err.contains("does not exist"),
                 qPrintable(r.err));
        QVERIFY2(r.err.contains("  " + notWav + ": ") && r.err.contains("only WAV files"),
                 qPrintable(r.err));
        QVERIFY(r.err.contains("  " + garbage + ": "));
        QVERIFY(!r.err.contains("  " + m_tone + ": "));
        QVERIFY(r.out.contains(missing + " -> " + out + "/missing.mp3: failed"));

        // Decoding wants MP3 or WMA; the type is the name's ending, compared in lower case.
        const QString upper = path(QStringLiteral("TONE.MP3"));
        QVERIFY(QFile::copy(out + "/tone.mp3", upper));
        const QString decoded = freshFolder(QStringLiteral("mixed-decoded"));
        const Run d = run({"convert", "--to", "wav", "--out", decoded, upper, m_tone});
        QCOMPARE(d.exitCode, 1);
        QVERIFY2(d.err.contains(upper) && d.err.contains(m_tone) &&
                     d.err.contains("only MP3 and WMA"),
                 qPrintable(d.err));
        QCOMPARE(entries(decoded), QStringList());
    }

    // Outputs keep the whole file name (the panel's 50-character cut is not the command
    // line's), and a second source of the same name does not replace what the run has just
    // written.
    void outputNames() {
        const QString longName = QString(57, u'n') + QStringLiteral(".wav"); // 61 characters
        const QString longSource = path(longName);
        QVERIFY(QFile::copy(m_second, longSource));
        const QString other = freshFolder(QStringLiteral("other"));
        const QString twin = other + "/tone.wav";
        QVERIFY(QFile::copy(m_second, twin));

        const QString out = freshFolder(QStringLiteral("names"));
        const Run r = run({"convert", "--to", "wma", "--out", out, longSource, m_tone, twin});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(entries(out), QStringList({QString(57, u'n') + ".wma", "tone.wma"}));
        QVERIFY2(r.err.contains("  " + twin + ": ") && r.err.contains(m_tone), qPrintable(r.err));
        // The first tone.wma is the three-second one, not the twin's one second.
        QVERIFY(probeMediaFile(out + "/tone.wma").duration > 2.5);
    }

    void usageErrors_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("mentions");
        const QString out = path(QStringLiteral("usage"));
        QTest::newRow("no command") << QStringList{} << "convert";
        QTest::newRow("unknown command") << QStringList{"play", "a.wav"} << "play";
        QTest::newRow("no target") << QStringList{"convert", "--out", out, "a.wav"} << "--to";
        QTest::newRow("unknown target")
            << QStringList{"convert", "--to", "flac", "--out", out, "a.wav"} << "flac";
        QTest::newRow("upper-case target")
            << QStringList{"convert", "--to", "MP3", "--out", out, "a.wav"} << "MP3";
        QTest::newRow("no output folder")
            << QStringList{"convert", "--to", "mp3", "a.wav"} << "--out";
        QTest::newRow("missing output folder")
            << QStringList{"convert", "--to", "mp3", "--out", "/nonexistent/folder", "a.wav"}
            << "/nonexistent/folder";
        QTest::newRow("no files") << QStringList{"convert", "--to", "mp3", "--out", out}
                                  << "no files";
        QTest::newRow("bad bit rate")
            << QStringList{"convert", "--to", "mp3", "--bitrate", "fast", "--out", out, "a.wav"}
            << "fast";
        QTest::newRow("zero bit rate")
            << QStringList{"convert", "--to", "wma", "--bitrate", "0", "--out", out, "a.wav"}
            << "--bitrate";
        QTest::newRow("unknown encoder")
            << QStringList{"convert", "--to", "mp3", "--encoder", "blade", "--out", out, "a.wav"}
            << "blade";
        QTest::newRow("unknown option")
            << QStringList{"convert", "--to", "mp3", "--speed", "--out", out, "a.wav"} << "speed";
        QTest::newRow("info without files") << QStringList{"info"} << "no files";
        QTest::newRow("info unknown option") << QStringList{"info", "--long", "a.wav"} << "long";
    }

    // Usage errors exit 2 with the reason on standard error, before any file is touched.
    void usageErrors() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, mentions);
        const Run r = run(arguments);
        QCOMPARE(r.exitCode, 2);
        QVERIFY2(r.err.contains(mentions), qPrintable(r.err));
        QCOMPARE(r.out, QString());
        QCOMPARE(entries(path(QStringLiteral("usage"))), QStringList());
    }

    void help() {
        Run r = run({"--help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains("convert") && r.out.contains("info"));
        QVERIFY(r.out.startsWith("Usage: melvane-cli"));

        r = run({"convert", "--help"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.startsWith("Usage: melvane-cli convert"), qPrintable(r.out));
        for (const char* option : {"--to", "--bitrate", "--encoder", "--out"})
            QVERIFY2(r.out.contains(QLatin1String(option)), option);
        QCOMPARE(r.err, QString());

        r = run({"info", "-h"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.startsWith("Usage: melvane-cli info"));
        QCOMPARE(run({"help", "info"}).out, r.out);
    }

    // An unreadable file is reported on standard error; the others are still described.
    void infoReportsUnreadableFiles() {
        const QString missing = path(QStringLiteral("gone.mp3"));
        const QString upper = path(QStringLiteral("LOUD.WAV"));
        QVERIFY(QFile::copy(m_second, upper));
        const Run r = run({"info", missing, m_second, upper});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.out, m_second + "\tWAV\t00:01\t" + sizeText(m_second) + "\n");
        QVERIFY2(r.err.contains(missing) && r.err.contains("does not exist"), qPrintable(r.err));
        QVERIFY2(r.err.contains(upper) && r.err.contains("type"), qPrintable(r.err));
    }

    // A reader that stops listening (`| head -c 1`) does not stop the batch half-way.
    void closedOutputDoesNotStopTheBatch() {
        const QString out = freshFolder(QStringLiteral("closed"));
        QProcess shell;
        shell.start(QStringLiteral("bash"),
                    {"-c", R"("$0" "$@" | head -c 1 >/dev/null; exit "${PIPESTATUS[0]}")",
                     QStringLiteral(MELVANE_CLI), "convert", "--to", "mp3", "--out", out, m_tone,
                     m_second});
        QVERIFY(shell.waitForFinished(30000));
        QCOMPARE(shell.exitCode(), 0);
        QCOMPARE(entries(out), QStringList({"second.mp3", "tone.mp3"}));
    }

    // Stopped from the shell, the running file's temporary output goes and no later file starts.
    void interruptLeavesNoPartialFile() {
        const QString longSource = path(QStringLiteral("long.wav"));
        writeSineWav(longSource, 120.0);
        const QString out = freshFolder(QStringLiteral("interrupted"));
        QProcess process;
        process.start(QStringLiteral(MELVANE_CLI),
                      {"convert", "--to", "mp3", "--out", out, longSource, m_tone});
        QVERIFY(process.waitForStarted());
        QString seen;
        const auto reachedQuarter = [&] {
            seen += QString::fromLocal8Bit(process.readAllStandardOutput());
            return seen.contains("25%");
        };
        QTRY_VERIFY_WITH_TIMEOUT(reachedQuarter(), 30000);
        QVERIFY2(!seen.contains("done"), qPrintable(seen));
        // The job is running, so its temporary file is there now.
        QCOMPARE(entries(out).size(), 1);
        ::kill(pid_t(process.processId()), SIGTERM);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + SIGTERM);
        QCOMPARE(entries(out), QStringList());
        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        QVERIFY2(err.contains("interrupted; 2 of 2"), qPrintable(err));
        QFile::remove(longSource);
    }
};

QTEST_GUILESS_MAIN(TestCli)
#include "test_cli.moc"
