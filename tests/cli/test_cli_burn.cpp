// melvane-cli recorders and burn as a user runs them: the built program as a child process,
// burning files this test writes to the image recorder.
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"

#include <QTest>
#include <csignal>
#include <unistd.h>

namespace {

// The program with arguments, after a shell line (such as "ulimit -f 100;") and through a
// launcher (such as setpriv) when given.
Run run(const QStringList& arguments, const QString& prefix = {}, const QString& launcher = {}) {
    return runShell(prefix + " exec " + launcher + R"( "$0" "$@")", QStringLiteral(MELVANE_CLI),
                    arguments);
}

} // namespace

class TestCliBurn : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    QString m_wav; // 2 s
    QString m_mp3; // 30 s

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_wav = m_dir.path("tone.wav");
        m_mp3 = m_dir.path("long.mp3");
        writeSine(m_wav, OutputCodec::Wav, PcmFormat::cdAudio(), 2.0);
        writeSine(m_mp3, OutputCodec::Mp3Lame, PcmFormat::cdAudio(), 30.0);
        writeBytes(m_dir.path("notes.mp3"), "Buy milk.\n");
    }

    void recordersEndWithTheImageRecorder() {
        const Run r = run({"recorders"});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY2(lines.size() >= 4, qPrintable(r.out));
        QVERIFY2(lines[lines.size() - 4].endsWith("Melvane  Image Recorder  2.0"),
                 qPrintable(r.out));
        QVERIFY(r.out.contains("CD-R writer; reads 48x; buffer 1.005 MB; burn proof: yes"));
        QVERIFY(r.out.contains("disc: CD-ROM or write-once disc, blank, 0.000 MB used"));
        QVERIFY(r.out.endsWith("write speeds: 4x 8x 10x 16x 24x 32x 40x 48x\n"));
    }

    // Two 2-second tracks, each padded to 4 seconds as the notices say, verified after the
    // burn; the image, its cue sheet and the burn log are left in the folder.
    void burnsAnImage() {
        const QString out = m_dir.fresh("images");
        Run r = run({"burn", "--recorder", "image", "--image-dir", out, "--speed", "20", "--verify",
                     m_wav, m_wav});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains("Burning 2 track(s), 1.346 MB, on Melvane Image Recorder at 16x"),
                 qPrintable(r.out));
        QVERIFY(r.out.contains("Track 2 (" + m_wav +
                               ") is 2.00 s long: it is padded with "
                               "silence to 4 s, the shortest track an audio CD allows.\n"));
        QVERIFY(r.out.contains(QRegularExpression("Fill Buffer +track 1/2 +\\[\\.+\\]   0%")));
        QVERIFY(r.out.contains("Track 1: identical\nTrack 2: identical\n"));
        QVERIFY(r.out.contains(QRegularExpression("Finalise Disc +track 2/2 +\\[#+\\] 100%")));
        QVERIFY(r.out.contains("Burn complete; verified: every track is identical."));
        const QStringList files = folderEntries(out);
        QCOMPARE(files.size(), 3);
        QVERIFY(r.out.contains("The burn log is " + out + u'/' + files[2] + ".\n"));
        QVERIFY(r.out.endsWith("Image: " + out + u'/' + files[1] + u'\n'));

        // A test burn goes through it all and writes nothing.
        const QString simulated = m_dir.fresh("simulated");
        r = run({"burn", "--recorder", "image", "--image-dir", simulated, "--simulate", m_wav});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains("The test burn went well."));
        QVERIFY(folderEntries(simulated).isEmpty());
    }

    // Usage errors exit 2, burns that cannot be done or fail exit 1; each says why, and no
    // image is left. In the arguments, OUT stands for a fresh image folder and a name without
    // a slash for a file of the test.
    void refusalsSayWhyAndLeaveNothing_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const QStringList burn{"burn", "--recorder", "image", "--image-dir", "OUT"};
        QTest::newRow("no files") << QStringList{"burn"} << QString() << false << 2
                                  << "no files to burn";
        QTest::newRow("speed") << burn + QStringList{"--speed", "51", "tone.wav"} << QString()
                               << false << 2 << "--speed '51' is not a speed from 1 to 50";
        QTest::newRow("method") << burn + QStringList{"--method", "twelve", "tone.wav"} << QString()
                                << false << 2
                                << "--method 'twelve' is not a burn method from 0 to 11";
        QTest::newRow("recorder") << QStringList{"burn", "--recorder", "99", "tone.wav"}
                                  << QString() << false << 2 << "--recorder '99' is not a recorder";
        QTest::newRow("image folder")
            << QStringList{"burn", "--image-dir", "/no/such", "tone.wav"} << QString() << false << 2
            << "the image folder /no/such does not exist";
        QTest::newRow("image folder is a file")
            << QStringList{"burn", "--image-dir", "tone.wav", "tone.wav"} << QString() << false << 2
            << "the image folder " + m_dir.path("tone.wav") + " is not a folder";
        QTest::newRow("recorders") << QStringList{"recorders", "--all"} << QString() << false << 2
                                   << "unknown option '--all'";
        QTest::newRow("not audio") << burn + QStringList{"notes.mp3"} << QString() << false << 1
                                   << "notes.mp3 cannot be burnt: Cannot read";
        QTest::newRow("folder fills up") << burn + QStringList{"long.mp3"} << "ulimit -f 2000;"
                                         << false << 1 << ".bin: File too large";
        QTest::newRow("folder not writable")
            << burn + QStringList{"tone.wav"} << QString() << true << 1 << "cannot be written";
    }

    void refusalsSayWhyAndLeaveNothing() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, prefix);
        QFETCH(bool, locked);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const QString out = m_dir.fresh("failing");
        for (QString& argument : arguments) {
            if (argument == "OUT")
                argument = out;
            else if (argument.endsWith(".wav") || argument.endsWith(".mp3"))
                argument = m_dir.path(argument);
        }
        QString launcher;
        if (locked) {
            QVERIFY(QFile::setPermissions(m_dir.path(), QFileDevice::Permissions(0x7755)));
            QVERIFY(QFile::setPermissions(out, QFileDevice::Permissions(0x5555)));
            // Root writes anywhere: the burn runs as nobody then.
            if (::geteuid() == 0)
                launcher = "setpriv --reuid=65534 --regid=65534 --clear-groups";
        }
        const Run r = run(arguments, prefix, launcher);
        QFile::setPermissions(out, QFileDevice::Permissions(0x7700));
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QVERIFY(folderEntries(out).isEmpty());
    }

    void anInterruptCancelsTheBurn() {
        const QString out = m_dir.fresh("interrupted");
        QStringList arguments{"burn", "--recorder", "image", "--image-dir", out};
        for (int i = 0; i < 40; ++i)
            arguments << m_mp3;
        QProcess process;
        process.start(QStringLiteral(MELVANE_CLI), arguments);
        QVERIFY(readUntil(process, QStringLiteral("track 1/40")));
        ::kill(pid_t(process.processId()), SIGINT);
        const Run r = finish(process);
        QCOMPARE(r.exitCode, 128 + SIGINT);
        QVERIFY2(r.err.contains("interrupted; the burn was cancelled"), qPrintable(r.err));
        QVERIFY(folderEntries(out).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCliBurn)
#include "test_cli_burn.moc"
