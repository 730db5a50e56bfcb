// melvane-cli record as a user runs it, a child process on the test audio server: files it does
// not replace unasked, the name it writes, an interrupt before any audio, a kill and the recovery
// after it, and a full disk. Its usage errors: test_cli::usageErrors.
#include "backends/media/MediaProbe.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"

#include <QTest>
#include <QThread>
#include <csignal>

class TestCliRecord : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;

    // The index of running recordings goes into a private data folder.
    QStringList env() const { return {"XDG_DATA_HOME=" + m_dir.path(QStringLiteral("data"))}; }
    void start(QProcess& process, const QStringList& arguments) const {
        startProgram(process, QStringLiteral(MELVANE_CLI), arguments, env());
    }
    Run run(const QStringList& arguments) const { return runCli(arguments, env()); }

    // Polls often: what comes next must follow the file's appearance closely.
    static bool waitFor(const std::function<bool()>& condition, int msecs) {
        const QDeadlineTimer deadline(msecs);
        while (!condition()) {
            if (deadline.hasExpired())
                return false;
            QThread::msleep(5);
        }
        return true;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through scripts/test, which starts the test audio server");
        QVERIFY(m_dir.isValid());
    }

    // devices lists the test server's sine source as the default. A recording is exactly the
    // length asked for, in a folder made for it, under the ending of its format; an existing
    // file is replaced only with --overwrite, and is left as it was otherwise.
    void recordsAsAsked() {
        Run r = run({"devices"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains("melvane_sine\tSine source at 440 Hz\tdefault\n"),
                 qPrintable(r.out));
        const QString folder = m_dir.fresh(QStringLiteral("named")) + "/Recordings";
        r = run({"record", "--seconds", "1", "--to", "wav", folder + "/take"});
        QCOMPARE(r.exitCode, 0);
        const QString wav = folder + QStringLiteral("/take.wav");
        QVERIFY2(r.out.contains("Recorded 0:01:0 into " + wav), qPrintable(r.out + r.err));
        QCOMPARE(folderEntries(folder), QStringList{QStringLiteral("take.wav")});
        QCOMPARE(probeMediaFile(wav).codecName, QStringLiteral("pcm_s16le"));

        const auto before = fileState(wav);
        r = run({"record", "--seconds", "1", wav});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(wav + " exists already; give --overwrite"), qPrintable(r.err));
        QCOMPARE(fileState(wav), before);
        r = run({"record", "--seconds", "2", "--overwrite", wav});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(std::abs(probeMediaFile(wav).duration - 2.0) < 0.06);
        QVERIFY(std::abs(decodeFile(wav).frequency(0) - 440.0) < 5.0);
        QCOMPARE(folderEntries(folder), QStringList{QStringLiteral("take.wav")});

        r = run({"record", "--device", "nowhere", folder + "/x.mp3"});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("\"nowhere\" is not there"), qPrintable(r.err));
    }

    // Ctrl-C before any audio came: no file (no empty WAVE, no undecodable MP3), and it says
    // so; the exit status tells that nothing was saved. Once audio came, Ctrl-C keeps it.
    void interrupted_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("bytes"); // in the file when the interrupt comes
        QTest::newRow("before any audio, wav") << "take.wav" << qint64(0);
        QTest::newRow("before any audio, mp3") << "take.mp3" << qint64(0);
        QTest::newRow("after 2 s, wav") << "take.wav" << qint64(2 * 176400);
    }
    void interrupted() {
        QFETCH(QString, name);
        QFETCH(qint64, bytes);
        const QString folder = m_dir.fresh(QStringLiteral("interrupted"));
        const QString out = folder + u'/' + name;
        QProcess process;
        start(process, {"record", out});
        // The recording has started when its file is there; the sine source's first audio
        // takes a second or more.
        QVERIFY(waitFor(
            [&] {
                return QFile::exists(out + ".recording") &&
                       QFileInfo(out + ".recording").size() >= bytes;
            },
            15000));
        ::kill(pid_t(process.processId()), SIGINT);
        const Run r = finish(process);
        if (bytes > 0) {
            QCOMPARE(r.exitCode, 0);
            QCOMPARE(folderEntries(folder), QStringList{name});
            QVERIFY(probeMediaFile(out).duration >= 1.9);
            return;
        }
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("Nothing was recorded into " + out) &&
                     r.err.contains("no file was made"),
                 qPrintable(r.err));
        QVERIFY(!r.out.contains(QLatin1String("Recorded")));
        QCOMPARE(folderEntries(folder), QStringList());
    }

    // Killed mid-recording, the recording is left as a visible file with all but its last
    // second; the next recording there says so, and record --recover makes it a playable file
    // under its own name, found through the index wherever it was.
    void keepsWhatAKillLeaves() {
        const QString folder = m_dir.fresh(QStringLiteral("killed"));
        const QString out = folder + QStringLiteral("/take.mp3");
        const QString growing = out + QStringLiteral(".recording");
        QProcess process;
        start(process, {"record", out});
        // Three seconds at 128 kbit/s on the disk.
        QVERIFY(waitFor([&] { return QFileInfo(growing).size() >= 3 * 16000; }, 30000));
        const double onDisk = double(QFileInfo(growing).size()) / 16000.0;
        ::kill(pid_t(process.processId()), SIGKILL);
        process.waitForFinished(10000);
        QCOMPARE(folderEntries(folder), QStringList{QStringLiteral("take.mp3.recording")});

        Run r = run({"record", "--seconds", "1", folder + "/next.mp3"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.contains("an interrupted recording is waiting: " + growing),
                 qPrintable(r.err));
        r = run({"record", "--recover"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, "Recovered " + growing + " into " + out + "\n");
        const double duration = probeMediaFile(out).duration;
        QVERIFY2(duration >= onDisk - 1.0,
                 qPrintable(QStringLiteral("%1 s of %2 s on the disk").arg(duration).arg(onDisk)));
        QVERIFY(std::abs(decodeFile(out).frequency(0) - 440.0) < 5.0);
        QCOMPARE(folderEntries(folder), QStringList({"next.mp3", "take.mp3"}));
        r = run({"record", "--recover", folder});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("No interrupted recordings\n"));
    }

    // A disk that fills up (here the file size limit) ends the recording and keeps what was
    // written, all but the last second, as a playable file; nothing else is left.
    void fullDiskKeepsWhatWasRecorded() {
        const QString folder = m_dir.fresh(QStringLiteral("full"));
        const QString out = folder + QStringLiteral("/take.mp3");
        const Run r = runShell(R"(ulimit -f 60; exec "$0" "$@")", QStringLiteral(MELVANE_CLI),
                               {"record", "--seconds", "30", out}, env());
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("File too large") && r.err.contains("is kept in " + out),
                 qPrintable(r.err));
        QCOMPARE(folderEntries(folder), QStringList{QStringLiteral("take.mp3")});
        // 60 KiB at 128 kbit/s hold 3.84 s.
        const double duration = probeMediaFile(out).duration;
        QVERIFY2(duration > 2.8 && duration < 3.9, qPrintable(QString::number(duration)));
        QVERIFY(std::abs(decodeFile(out).frequency(0) - 440.0) < 5.0);
    }
};

QTEST_GUILESS_MAIN(TestCliRecord)
#include "test_cli_record.moc"
