// melvane-cli burn as a user runs it: the built program as a child process, burning files this
// test writes to the image recorder. (The recorder list: test_vdrive_cli.)
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

    // Burns that cannot be done or fail exit 1, say why, and leave no image. (Usage errors:
    // test_cli::usageErrors.)
    void failuresSayWhyAndLeaveNothing_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("prefix"); // a shell line before the program
        QTest::addColumn<bool>("locked");    // the image folder read-only
        QTest::addColumn<QString>("message");
        QTest::newRow("not audio")
            << "notes.mp3" << QString() << false << "notes.mp3 cannot be burnt: Cannot read";
        QTest::newRow("folder fills up") << "long.mp3"
                                         << "ulimit -f 2000;" << false << ".bin: File too large";
        QTest::newRow("folder not writable")
            << "tone.wav" << QString() << true << "cannot be written";
    }
    void failuresSayWhyAndLeaveNothing() {
        QFETCH(QString, file);
        QFETCH(QString, prefix);
        QFETCH(bool, locked);
        QFETCH(QString, message);
        const QString out = m_dir.fresh("failing");
        QString launcher;
        if (locked) {
            QVERIFY(QFile::setPermissions(m_dir.path(), QFileDevice::Permissions(0x7755)));
            QVERIFY(QFile::setPermissions(out, QFileDevice::Permissions(0x5555)));
            // Root writes anywhere: the burn runs as nobody then.
            if (::geteuid() == 0)
                launcher = "setpriv --reuid=65534 --regid=65534 --clear-groups";
        }
        const Run r = run({"burn", "--recorder", "image", "--image-dir", out, m_dir.path(file)},
                          prefix, launcher);
        QFile::setPermissions(out, QFileDevice::Permissions(0x7700));
        QCOMPARE(r.exitCode, 1);
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
