// The output-file helper's rules about what is already at a path, its ways of putting a file in
// place where the file system lacks unnamed files, RENAME_NOREPLACE or hard links, and the same
// on a real exFAT file system (FUSE) where this machine can mount one.

#include "backends/media/OutputFile.h"
#include "tests/media/MediaTestSupport.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// What a path is now: "none", "file:<content>", "dangling link", "pipe", "device", "folder".
QString entryAt(const QString& path) {
    struct stat st {};
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return QStringLiteral("none");
    if (S_ISLNK(st.st_mode) && !QFileInfo::exists(path))
        return QStringLiteral("dangling link");
    ::stat(QFile::encodeName(path).constData(), &st);
    if (S_ISFIFO(st.st_mode))
        return QStringLiteral("pipe");
    if (S_ISCHR(st.st_mode))
        return QStringLiteral("device");
    if (S_ISDIR(st.st_mode))
        return QStringLiteral("folder");
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? "file:" + QString::fromLatin1(file.readAll())
                                          : QStringLiteral("unreadable");
}

// Writes content to path through the helper and puts it in place; the error text, if any.
QString place(const QString& path, const OverwriteRule& rule, const QByteArray& content = "new") {
    return errorOf([&] {
        OutputFile file(path, rule);
        file.write(content.constData(), content.size());
        file.commit();
    });
}

// The MELVANE_OUTPUT_FS switch for one scope.
struct ForcedFileSystem {
    explicit ForcedFileSystem(const QByteArray& kind) {
        if (!kind.isEmpty())
            qputenv("MELVANE_OUTPUT_FS", kind);
    }
    ~ForcedFileSystem() { qunsetenv("MELVANE_OUTPUT_FS"); }
};

// Lowers this process's file size limit for a scope: writes beyond it fail with EFBIG as on a
// full disk (root is stopped reliably by neither a full tmpfs nor permission bits).
struct FileSizeLimit {
    rlimit saved{};
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &saved);
        const rlimit lowered{bytes, saved.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lowered);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &saved); }
};

QString runTool(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return {};
    return QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed() + u' ';
}

// A small exFAT file system on a loop device, mounted through FUSE for the scope; why not,
// when this machine cannot (no root, no FUSE, no loop device).
class ExfatMount {
public:
    ExfatMount() {
        const QString image = m_dir.filePath("exfat.img");
        m_mountPoint = m_dir.filePath("mnt");
        QDir().mkpath(m_mountPoint);
        QFile file(image);
        if (::geteuid() != 0 || !QFileInfo::exists("/dev/fuse") ||
            !file.open(QIODevice::WriteOnly) || !file.resize(32 << 20)) {
            m_why = QStringLiteral("mounting needs root and /dev/fuse");
            return;
        }
        file.close();
        if (runTool("mkfs.exfat", {image}).isEmpty()) {
            m_why = QStringLiteral("mkfs.exfat (exfatprogs) failed");
            return;
        }
        m_loop = runTool("losetup", {"--find", "--show", image}).trimmed();
        if (m_loop.isEmpty() || runTool("mount.exfat-fuse", {m_loop, m_mountPoint}).isEmpty()) {
            m_why = QStringLiteral("no loop device, or mount.exfat-fuse (exfat-fuse) failed");
            return;
        }
        m_mounted = true;
    }
    ~ExfatMount() {
        if (m_mounted)
            runTool("umount", {m_mountPoint});
        if (!m_loop.isEmpty())
            runTool("losetup", {"--detach", m_loop});
    }
    bool mounted() const { return m_mounted; }
    QString why() const { return m_why; }
    QString path(const QString& name) const { return m_mountPoint + u'/' + name; }
    QString folder() const { return m_mountPoint; }

private:
    QTemporaryDir m_dir;
    QString m_mountPoint;
    QString m_loop;
    QString m_why;
    bool m_mounted = false;
};

} // namespace

class TestOutputFile : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatIsAlreadyThere_data();
    void whatIsAlreadyThere();
    void completeOrAbsent_data();
    void completeOrAbsent();
    void onExfat();
};

void TestOutputFile::whatIsAlreadyThere_data() {
    QTest::addColumn<QString>("there"); // what the test puts at the path
    QTest::addColumn<bool>("replace");
    QTest::addColumn<QString>("error"); // after "Cannot write <path>: "; empty: written
    QTest::addColumn<QString>("after");
    const QString exists = QStringLiteral("a file of that name exists already");
    const QString kept = QStringLiteral("file:older");
    QTest::newRow("nothing") << "none" << false << ""
                             << "file:new";
    QTest::newRow("a file, kept") << "file" << false << exists << kept;
    QTest::newRow("a file, replaced") << "file" << true << ""
                                      << "file:new";
    QTest::newRow("a dangling link, kept") << "dangling link" << false << exists << "dangling link";
    QTest::newRow("a dangling link, replaced") << "dangling link" << true << ""
                                               << "file:new";
    QTest::newRow("a named pipe") << "pipe" << true << "it is a named pipe, not a file"
                                  << "pipe";
    QTest::newRow("a device node") << "device" << true << "it is a device, not a file"
                                   << "device";
    QTest::newRow("a link to a device")
        << "link to /dev/null" << true << "it is a device, not a file"
        << "device";
    QTest::newRow("a folder") << "folder" << true << "it is a folder"
                              << "folder";
    const QString source =
        QStringLiteral("it is one of the files being converted, which are never written over");
    QTest::newRow("a source") << "source" << true << source << kept;
    QTest::newRow("a hard link of a source") << "hard link of a source" << true << source << kept;
}

// Before anything is written: special files and the job's sources are never written over,
// another file only with the rule's consent; what was there stays as it was, and nothing else
// is left in the folder.
void TestOutputFile::whatIsAlreadyThere() {
    QFETCH(QString, there);
    QFETCH(bool, replace);
    QFETCH(QString, error);
    QFETCH(QString, after);
    QTemporaryDir dir;
    const QString target = dir.filePath("out.mp3");
    const QString source = dir.filePath("in.wav");
    writeBytes(source, "older");
    const QByteArray native = QFile::encodeName(target);
    if (there == "file")
        writeBytes(target, "older");
    else if (there == "dangling link")
        QVERIFY(QFile::link(dir.filePath("gone"), target));
    else if (there == "pipe")
        QCOMPARE(::mkfifo(native.constData(), 0600), 0);
    else if (there == "device")
        QVERIFY2(::mknod(native.constData(), S_IFCHR | 0600, makedev(1, 3)) == 0,
                 "mknod needs root");
    else if (there == "link to /dev/null")
        QVERIFY(QFile::link("/dev/null", target));
    else if (there == "folder")
        QVERIFY(QDir(dir.path()).mkdir("out.mp3"));
    else if (there == "source")
        QVERIFY(QFile::rename(source, target));
    else if (there == "hard link of a source")
        QCOMPARE(::link(QFile::encodeName(source).constData(), native.constData()), 0);
    const QStringList before = folderEntries(dir.path());

    const QString sourceName = there == "source" ? target : source;
    const QString message = place(target, {replace, {sourceName}});
    QCOMPARE(message, error.isEmpty() ? QString() : "Cannot write " + target + ": " + error);
    QCOMPARE(entryAt(target), after);
    QCOMPARE(folderEntries(dir.path()),
             before.contains("out.mp3") ? before : (before + QStringList{"out.mp3"}));
    // The rule's refusal of an existing file has a type of its own, for the question it asks.
    if (error.startsWith("a file of"))
        QVERIFY_THROWS_EXCEPTION(OutputExistsError, OutputFile(target, {}));
}

void TestOutputFile::completeOrAbsent_data() {
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<OutputFile::Temporary>("temporary");
    QTest::newRow("unnamed temporary") << QByteArray() << OutputFile::Temporary::Unnamed;
    QTest::newRow("named temporary") << QByteArray() << OutputFile::Temporary::Named;
    QTest::newRow("no unnamed files, no RENAME_NOREPLACE")
        << QByteArray("links") << OutputFile::Temporary::Unnamed;
    QTest::newRow("no hard links either (exFAT)")
        << QByteArray("nolinks") << OutputFile::Temporary::Unnamed;
}

// However the file gets into place, it is complete under its name or absent: nothing is left by
// a discard, a vanished folder or a full disk; an older file is replaced only by the commit, a
// file that took the name while the job ran never; temporaries of dead processes are cleared.
void TestOutputFile::completeOrAbsent() {
    QFETCH(QByteArray, kind);
    QFETCH(OutputFile::Temporary, temporary);
    const ForcedFileSystem forced(kind);
    QTemporaryDir dir;
    const QString target = dir.filePath("take.wav");
    const pid_t gone = ::fork();
    if (gone == 0)
        ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    const QString live = QStringLiteral(".melvane-%1-0000abcd.part").arg(::getpid());
    writeBytes(dir.filePath(QStringLiteral(".melvane-%1-0000abcd.part").arg(gone)), "killed");
    writeBytes(dir.filePath(live), "still being written");

    OutputFile fresh(target, {}, temporary);
    QCOMPARE(fresh.temporaryPath().isEmpty(),
             kind.isEmpty() && temporary == OutputFile::Temporary::Unnamed);
    fresh.write("first", 5);
    QCOMPARE(folderEntries(dir.path()).contains("take.wav"), false);
    fresh.commit();
    QCOMPARE(entryAt(target), QStringLiteral("file:first"));
    QCOMPARE(folderEntries(dir.path()), QStringList({live, "take.wav"}));

    // Discarded, even with consent: the older file stays. Committed: replaced, at the commit.
    const OverwriteRule replace{true, {}};
    OutputFile(target, replace, temporary).write("lost", 4);
    QCOMPARE(entryAt(target), QStringLiteral("file:first"));
    {
        OutputFile file(target, replace, temporary);
        file.write("second", 6);
        file.finish();
        QCOMPARE(entryAt(target), QStringLiteral("file:first"));
        file.commit();
    }
    QCOMPARE(entryAt(target), QStringLiteral("file:second"));

    // Someone else's file arrives while ours is written: theirs stays, ours goes elsewhere.
    const QString late = dir.filePath("late.wav");
    OutputFile racing(late, {}, temporary);
    racing.write("ours", 4);
    writeBytes(late, "theirs");
    QVERIFY_THROWS_EXCEPTION(OutputExistsError, racing.commitAs(late));
    QCOMPARE(entryAt(late), QStringLiteral("file:theirs"));
    racing.commitAs(dir.filePath("late (2).wav"));
    QCOMPARE(entryAt(dir.filePath("late (2).wav")), QStringLiteral("file:ours"));

    QVERIFY(QDir(dir.path()).mkdir("gone"));
    QCOMPARE(errorOf([&] {
                 OutputFile file(dir.filePath("gone/vanished.wav"), {}, temporary);
                 file.write("data", 4);
                 QVERIFY(QDir(dir.filePath("gone")).removeRecursively());
                 file.commit();
             }),
             "Cannot write " + dir.filePath("gone/vanished.wav") + ": No such file or directory");
    // Past the file size limit a write fails (SIGXFSZ must not end the program).
    QCOMPARE(errorOf([&] {
                 FileSizeLimit limit(64 * 1024);
                 OutputFile file(dir.filePath("big.wav"), {}, temporary);
                 const QByteArray block(100 * 1024, 'x');
                 file.write(block.constData(), block.size());
             }),
             "Cannot write " + dir.filePath("big.wav") + ": File too large");
    QCOMPARE(folderEntries(dir.path()),
             QStringList({live, "late (2).wav", "late.wav", "take.wav"}));
}

// A real exFAT (FUSE): no unnamed files, RENAME_NOREPLACE refused with EINVAL, no hard links,
// and ':' or '?' refused in names (as "No such file or directory").
void TestOutputFile::onExfat() {
    const ExfatMount exfat;
    if (!exfat.mounted())
        QSKIP(qPrintable("no exFAT file system to test on: " + exfat.why()));
    QCOMPARE(place(exfat.path("song.mp3"), {}), QString());
    QCOMPARE(entryAt(exfat.path("song.mp3")), QStringLiteral("file:new"));
    QCOMPARE(place(exfat.path("song.mp3"), {}),
             "Cannot write " + exfat.path("song.mp3") + ": a file of that name exists already");
    QCOMPARE(place(exfat.path("SONG.MP3"), {}),
             "Cannot write " + exfat.path("SONG.MP3") + ": a file of that name exists already");
    QCOMPARE(place(exfat.path("song.mp3"), {true, {}}, "again"), QString());
    QCOMPARE(entryAt(exfat.path("song.mp3")), QStringLiteral("file:again"));
    QCOMPARE(place(exfat.path("Live: Why?.mp3"), {}),
             "Cannot write " + exfat.path("Live: Why?.mp3") + ": the file system of " +
                 exfat.folder() + " does not allow ':' or '?' in file names");
    QCOMPARE(folderEntries(exfat.folder()), QStringList({"song.mp3"}));
}

QTEST_GUILESS_MAIN(TestOutputFile)
#include "test_output_file.moc"
