// The virtual drive loaded into real programs: libcdio's cd-info and cd-paranoia read a pressed
// disc, and libburn (burn-audio) writes audio discs that read back through libcdio.
#include "VirtualDriveTests.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QString kInfo = QStringLiteral("cd-info");
const QString kParanoia = QStringLiteral("cd-paranoia");
const QString kBurn = QStringLiteral(BURN_AUDIO);

QByteArray noise(int bytes, quint32 seed) {
    QByteArray data(bytes, 0);
    for (char& byte : data) {
        seed = seed * 1103515245u + 12345u;
        byte = char(seed >> 16);
    }
    return data;
}

} // namespace

class TestVirtualDrive : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    TestDisc m_disc;
    QByteArray m_one; // raw audio for the burns: 5.3 s and 4 s
    QByteArray m_two;

    QByteArray paranoia(const QString& spec, const QStringList& options = {}) {
        const QString out = m_dir.path("paranoia.raw");
        QFile::remove(out);
        const Run r = runWithDrive(
            kParanoia, options + QStringList{"-q", "-d", "/dev/sr7", "-r", "1-", out}, spec);
        if (r.exitCode != 0)
            qWarning("%s", qPrintable(r.err));
        return fileBytes(out);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_disc = writeTestDisc(m_dir.path());
        m_one = noise(2352 * 400 + 1000, 1);
        m_two = noise(2352 * 300, 2);
        QFile one(m_dir.path("one.raw"));
        QFile two(m_dir.path("two.raw"));
        QVERIFY(one.open(QIODevice::WriteOnly) && one.write(m_one) == m_one.size());
        QVERIFY(two.open(QIODevice::WriteOnly) && two.write(m_two) == m_two.size());
    }

    void cdInfoReadsAPressedDisc() {
        const QString log = m_dir.path("info.log");
        const Run r = runWithDrive(kInfo, {"--no-header", "--no-cddb", "/dev/sr7"},
                                   "/dev/sr7:cue=" + m_disc.cue, {"VIRTUAL_DRIVE_LOG=" + log});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains("Vendor                      : VIRTUAL"), qPrintable(r.out));
        const QStringList rows{"  1: 00:02:00  000000 audio  false  no    2        no",
                               "  2: 00:05:39  000264 audio  false  no    2        yes",
                               "  3: 00:06:64  000364 audio  false  no    2        no",
                               "170: 00:06:72  000372 leadout"};
        for (const QString& row : rows)
            QVERIFY2(r.out.contains(row), qPrintable(row + "\n" + r.out));
        QVERIFY(r.out.contains("Media Catalog Number (MCN): 0123456789012"));
        QVERIFY(r.out.contains("TRACK  1 ISRC: USXYZ2400001"));
        QVERIFY(r.out.contains(QRegularExpression("CD-TEXT for Disc:\\s+TITLE: Pressed Album")));
        QVERIFY(r.out.contains(QRegularExpression("CD-TEXT for Track  2:\\s+TITLE: Second")));
        // The log names every ioctl and command, ready to be counted.
        QProcess count;
        count.start(QStringLiteral(COUNT_LOG), {log});
        QVERIFY(count.waitForFinished(30000));
        const QString counts = QString::fromLocal8Bit(count.readAllStandardOutput());
        for (const char* line : {"ioctl CDROMREADTOCHDR", "ioctl CDROM_GET_MCN",
                                 "SEND_PACKET INQUIRY", "kernel READ TOC/PMA/ATIP", "call open"})
            QVERIFY2(counts.contains(
                         QRegularExpression("\\d+ " + QRegularExpression::escape(line) + "\\n")),
                     qPrintable(QString(line) + "\n" + counts));
    }

    void paranoiaReadsBitExact_data() {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QStringList>("arguments");
        // Plain reads: libburnWritesDiscsThatReadBack; failing sectors and jitter: melvane-cli
        // through paranoia in test_vdrive_cli::ripsBitExact.
        QTest::newRow("read offset, corrected") << "offset=30" << QStringList{"-O", "30"};
        QTest::newRow("slow, spinning up") << "read=8,spinup=0.4,cache=0" << QStringList();
    }
    void paranoiaReadsBitExact() {
        QFETCH(QString, options);
        QFETCH(QStringList, arguments);
        const QByteArray read = paranoia("/dev/sr7:cue=" + m_disc.cue + ":" + options, arguments);
        QCOMPARE(read.size(), m_disc.bin.size());
        // With the offset corrected the disc's last samples lie in the lead-out, which the drive
        // does not read: paranoia gives silence for them.
        const int unreadable = arguments.isEmpty() ? 0 : 4 * arguments.last().toInt();
        QVERIFY(read.chopped(unreadable) == m_disc.bin.chopped(unreadable));
        QCOMPARE(read.right(unreadable), QByteArray(unreadable, 0));
    }

    void libburnWritesDiscsThatReadBack_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("second"); // where track 2 starts
        QTest::addColumn<QString>("after");
        QTest::newRow("SAO with CD-Text") << QStringList{"--cd-text"} << 401 << "full";
        QTest::newRow("TAO") << QStringList{"--tao", "--cd-text"} << 551 << "full";
        QTest::newRow("SAO, kept open") << QStringList{"--keep-open"} << 401 << "appendable";
    }
    void libburnWritesDiscsThatReadBack() {
        QFETCH(QStringList, options);
        QFETCH(int, second);
        QFETCH(QString, after);
        const QString saved = m_dir.fresh("saved");
        const Run burn = runWithDrive(kBurn,
                                      QStringList{"/dev/sr7"} + options +
                                          QStringList{m_dir.path("one.raw"), m_dir.path("two.raw")},
                                      "/dev/sr7:blank-cdr:speeds=4/16,buffer=1024,timescale=0.02",
                                      {"VIRTUAL_DRIVE_SAVE=" + saved});
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        QVERIFY(burn.out.contains("before: blank\n"));
        QVERIFY2(burn.out.contains("after: " + after + "\n"), qPrintable(burn.out));
        const QByteArray bin = fileBytes(saved + "/sr7.bin");
        QCOMPARE(bin.size(), (second + 300) * 2352);
        QVERIFY(bin.left(m_one.size()) == m_one);
        QVERIFY(bin.mid(second * 2352) == m_two);

        const QString spec = "/dev/sr7:cue=" + saved + "/sr7.cue:media=cdr";
        const Run info = runWithDrive(kInfo, {"--no-header", "--no-cddb", "/dev/sr7"}, spec);
        QVERIFY(info.out.contains(QString::asprintf(
            "  2: %s  %06d audio",
            qPrintable(QString::asprintf("00:%02d:%02d", (second + 150) / 75, (second + 150) % 75)),
            second)));
        const bool text = options.contains("--cd-text") && !options.contains("--tao");
        QCOMPARE(info.out.contains(QRegularExpression("CD-TEXT for Track  2:\\s+TITLE: Track 2")),
                 text);
        QCOMPARE(info.out.contains("TRACK  2 ISRC: XYABC2400101"), options.contains("--cd-text"));
        QVERIFY(paranoia(spec) == bin);
    }

    void aTestWriteLeavesTheDiscBlank_data() {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("SAO") << QStringList{"--simulate"};
        QTest::newRow("TAO") << QStringList{"--simulate", "--tao"};
    }
    void aTestWriteLeavesTheDiscBlank() {
        QFETCH(QStringList, options);
        const QString saved = m_dir.fresh("simulated");
        const Run burn = runWithDrive(
            kBurn, QStringList{"/dev/sr7"} + options + QStringList{m_dir.path("one.raw")},
            "/dev/sr7:blank-cdr:timescale=0", {"VIRTUAL_DRIVE_SAVE=" + saved});
        QCOMPARE(burn.exitCode, 0);
        QVERIFY2(burn.out.contains("wrote well: yes\nafter: blank\n"), qPrintable(burn.out));
        QVERIFY(QDir(saved).isEmpty());
    }

    void faultsWhileBurning_data() {
        QTest::addColumn<QString>("faults");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("message"); // empty: the burn goes well
        QTest::addColumn<QString>("after");
        QTest::newRow("write error") << "writeerror=300" << QStringList() << "[3 0C 00]"
                                     << "other"; // damaged: libburn finds it unsuitable
        QTest::newRow("disc taken out") << "remove=300" << QStringList{"--tao"} << "[2 3A 02]"
                                        << "empty";
        QTest::newRow("underrun without BUFE")
            << "underrun=300" << QStringList{"--no-bufe"} << "[3 0C 09]"
            << "other";
        QTest::newRow("underrun with BUFE") << "underrun=300" << QStringList() << ""
                                            << "full";
    }
    void faultsWhileBurning() {
        QFETCH(QString, faults);
        QFETCH(QStringList, options);
        QFETCH(QString, message);
        QFETCH(QString, after);
        const Run burn = runWithDrive(
            kBurn, QStringList{"/dev/sr7"} + options + QStringList{m_dir.path("one.raw")},
            "/dev/sr7:blank-cdr:timescale=0," + faults);
        QCOMPARE(burn.exitCode, message.isEmpty() ? 0 : 1);
        QVERIFY2(burn.out.contains(message), qPrintable(burn.out));
        QVERIFY2(burn.out.contains("after: " + after + "\n"), qPrintable(burn.out));
    }
};

QTEST_GUILESS_MAIN(TestVirtualDrive)
#include "test_virtual_drive.moc"
