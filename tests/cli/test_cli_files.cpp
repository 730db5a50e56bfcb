// melvane-cli and the files around it: outputs that exist, special files, names with control
// characters or not in UTF-8, a hang-up under nohup. The built program as a child process, on
// WAV files this test writes through the media core.
#include "backends/media/MediaProbe.h"
#include "tests/media/MediaTestSupport.h"
#include "tests/support/ChildProcess.h"

#include <QTest>
#include <csignal>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

Run run(const QStringList& arguments) {
    return runCli(arguments);
}

// What a path is: "pipe", "device", "file" or "none".
QString kindOf(const QString& path) {
    struct stat st {};
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return QStringLiteral("none");
    if (S_ISFIFO(st.st_mode))
        return QStringLiteral("pipe");
    if (S_ISCHR(st.st_mode))
        return QStringLiteral("device");
    return QStringLiteral("file");
}

} // namespace

class TestCliFiles : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    QString m_tone;   // 3 s
    QString m_second; // 1 s
    QString m_long;   // 120 s

    QString path(const QString& name) const { return m_dir.path(name); }
    QString freshFolder(const QString& name) { return m_dir.fresh(name); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_tone = path(QStringLiteral("tone.wav"));
        m_second = path(QStringLiteral("second.wav"));
        m_long = path(QStringLiteral("long.wav"));
        writeSine(m_tone, OutputCodec::Wav, PcmFormat::cdAudio(), 3.0);
        writeSine(m_second, OutputCodec::Wav, PcmFormat::cdAudio(), 1.0);
        writeSine(m_long, OutputCodec::Wav, PcmFormat::cdAudio(), 120.0);
    }

    // An output that exists is kept unless --overwrite is given; a file of the batch is never
    // written over, --overwrite or not.
    void existingOutputsNeedOverwrite() {
        const QString out = freshFolder(QStringLiteral("existing"));
        const QString older = out + "/tone.mp3";
        writeBytes(older, "older");
        Run r = run({"convert", "--to", "mp3", "--out", out, m_tone});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("  " + m_tone + ": Cannot write " + older +
                                ": a file of that name exists already (--overwrite replaces it)"),
                 qPrintable(r.err));
        QCOMPARE(fileState(older).first,
                 QCryptographicHash::hash("older", QCryptographicHash::Sha1));
        r = run({"convert", "--to", "mp3", "--overwrite", "--out", out, m_tone});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(probeMediaFile(older).codecName, QStringLiteral("mp3"));

        // song.wav would become song.mp3, which is in the batch itself.
        const QString song = out + "/song.wav";
        const QString mine = out + "/song.mp3";
        QVERIFY(QFile::copy(m_second, song));
        writeBytes(mine, "mine");
        r = run({"convert", "--to", "mp3", "--overwrite", "--out", out, song, mine});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("  " + song + ": Cannot write " + mine +
                                ": it is one of the files being converted"),
                 qPrintable(r.err));
        QCOMPARE(fileState(mine).first, QCryptographicHash::hash("mine", QCryptographicHash::Sha1));
        QCOMPARE(folderEntries(out), QStringList({"song.mp3", "song.wav", "tone.mp3"}));
    }

    // Names with control characters reach the terminal escaped: no escape sequence, no
    // carriage return or line feed of theirs, and info keeps one line per file.
    void controlCharactersAreEscaped() {
        const QString out = freshFolder(QStringLiteral("controls"));
        const QString name = QStringLiteral("a\x1b]0;title\x07\r\nb\tc.wav");
        const QString shown = QStringLiteral("a\\x1b]0;title\\x07\\r\\nb\\tc.wav");
        const QString source = freshFolder(QStringLiteral("controls-in")) + u'/' + name;
        QVERIFY(QFile::copy(m_second, source));
        const QString gone = path(QStringLiteral("gone\x1b[31m.wav"));
        Run r = run({"info", source, gone});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.out.count(u'\n'), 1);
        QVERIFY2(r.out.startsWith(path("controls-in/") + shown + "\tWAV\t00:01\t"),
                 qPrintable(r.out));
        QVERIFY2(r.err.contains("gone\\x1b[31m.wav"), qPrintable(r.err));
        r = run({"convert", "--to", "mp3", "--out", out, source, gone});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.out.contains(shown + " -> ") && r.err.contains("gone\\x1b[31m.wav"),
                 qPrintable(r.out + r.err));
        for (const QString& text : {r.out, r.err})
            QVERIFY(!text.contains(u'\x1b') && !text.contains(u'\r') && !text.contains(u'\x07'));
        QCOMPARE(folderEntries(out).size(), 1);
    }

    // A name that is not valid UTF-8 reaches its file by its own bytes, in info and convert
    // alike; it is shown and the output named as Qt decodes it.
    void namesNotInUtf8AreRead() {
        const QString in = freshFolder(QStringLiteral("latin1"));
        const QString out = freshFolder(QStringLiteral("latin1-out"));
        QCOMPARE(::link(QFile::encodeName(m_second).constData(),
                        (QFile::encodeName(in) + "/caf\xe9.wav").constData()),
                 0);
        const Run r = runShell(QStringLiteral("cd \"$1\" && name=$(printf 'caf\\351.wav') && "
                                              "\"$0\" info \"$name\" && "
                                              "\"$0\" convert --to mp3 --out \"$2\" \"$name\""),
                               QStringLiteral(MELVANE_CLI), {in, out});
        QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
        QVERIFY2(r.out.startsWith(QStringLiteral("caf\ufffd.wav\tWAV\t00:01\t")),
                 qPrintable(r.out));
        QCOMPARE(folderEntries(out), QStringList{QStringLiteral("caf\ufffd.mp3")});
    }

    // Under nohup (SIGHUP ignored from the start) a hang-up does not stop the job.
    void anIgnoredHangUpStaysIgnored() {
        const QString out = freshFolder(QStringLiteral("nohup"));
        QProcess process;
        process.start("bash", {"-c", R"(trap '' HUP; exec "$0" "$@")", QStringLiteral(MELVANE_CLI),
                               "convert", "--to", "mp3", "--out", out, m_long});
        QVERIFY(readUntil(process, QStringLiteral("25%")));
        QCOMPARE(::kill(pid_t(process.processId()), SIGHUP), 0);
        const Run r = finish(process);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(folderEntries(out), QStringList{"long.mp3"});
    }

    // A named pipe or a device node where an output would go is refused before anything is
    // written, and stays what it was; the recorder too, which may replace a regular file.
    void specialFilesAreNeverWrittenOver() {
        const QString out = freshFolder(QStringLiteral("special"));
        const QString pipe = out + "/tone.mp3";
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        Run r = run({"convert", "--to", "mp3", "--overwrite", "--out", out, m_tone});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("Cannot write " + pipe + ": it is a named pipe, not a file"),
                 qPrintable(r.err));
        QCOMPARE(kindOf(pipe), QStringLiteral("pipe"));

        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through scripts/test, which starts the test audio server");
        const QString full = out + "/take.mp3"; // what /dev/full is
        QVERIFY2(::mknod(QFile::encodeName(full).constData(), S_IFCHR | 0600, makedev(1, 7)) == 0,
                 "mknod needs root");
        r = run({"record", "--seconds", "1", full});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("Cannot write " + full + ": it is a device, not a file"),
                 qPrintable(r.err));
        QCOMPARE(kindOf(full), QStringLiteral("device"));
        QCOMPARE(folderEntries(out), QStringList({"take.mp3", "tone.mp3"}));
    }
};

QTEST_GUILESS_MAIN(TestCliFiles)
#include "test_cli_files.moc"
