// Burns that are exact and verified, on the virtual CD writer and on the image recorder, read
// back with cd-paranoia: an MP3 album without gaps, verification with a read offset, track at
// once, unreadable sectors, what a failing recorder says and what a drive that cannot write
// offers.
#include "VirtualDriveTests.h"
#include "tests/media/MediaTestSupport.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kCli = QStringLiteral(MELVANE_CLI);
const QString kBlank = QStringLiteral("/dev/sr7:blank-cdr:timescale=0");

// What ffmpeg decodes a file to, as CD audio.
QByteArray ffmpegDecode(const QString& file) {
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-nostdin", "-loglevel", "error", "-i", file, "-f", "s16le", "-ar",
                            "44100", "-ac", "2", "-"});
    ffmpeg.waitForFinished(60000);
    return ffmpeg.readAllStandardOutput();
}

} // namespace

class TestVdriveBurn : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_album;  // MP3 files with titles, none on whole sectors
    QByteArray m_gapless; // ffmpeg's decode of the album, the files one after another

    QString fresh(const QString& name) const {
        const QString folder = m_dir.filePath(name);
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        return folder;
    }
    // melvane-cli with the drives of spec, images and logs going to folder.
    Ran cli(const QStringList& arguments, const QString& spec, const QString& folder) const {
        return runWithDrive(kCli, arguments, spec,
                            {"MELVANE_IMAGE_DIR=" + folder, "VIRTUAL_DRIVE_SAVE=" + folder,
                             "XDG_DATA_HOME=" + folder + "/data"});
    }
    // cd-paranoia's reading of the whole disc of a CUE sheet, in the virtual drive.
    QByteArray paranoia(const QString& cue) const {
        const QString out = m_dir.filePath("paranoia.raw");
        QFile::remove(out);
        runWithDrive("cd-paranoia", {"-q", "-d", "/dev/sr7", "-r", "1-", out},
                     "/dev/sr7:cue=" + cue + ":media=cdr,timescale=0");
        return fileBytes(out);
    }
    static QString only(const QString& folder, const QString& pattern) {
        const QStringList found = QDir(folder).entryList({pattern}, QDir::Files);
        return found.size() == 1 ? folder + u'/' + found[0] : QString();
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        const double seconds[] = {4.37, 5.81, 6.02};
        for (int i = 0; i < 3; ++i) {
            const QString path = m_dir.filePath(QStringLiteral("%1.mp3").arg(i + 1));
            SineSource tone(PcmFormat::cdAudio(), seconds[i], 300.0 + 110 * i);
            writeSource(tone, path,
                        {OutputCodec::Mp3Lame, 192000, {{"title", QString("Part %1").arg(i + 1)}}});
            m_album << path;
            m_gapless += ffmpegDecode(path);
        }
        QVERIFY(m_gapless.size() > 16 * 44100 * 4);
    }

    // The disc holds the album as ffmpeg decodes it, sample for sample, the files one after
    // another without a gap, then silence to the end of the last sector.
    void anMp3AlbumWithoutGaps_data() {
        QTest::addColumn<QString>("recorder");
        QTest::newRow("virtual writer") << "1";
        QTest::newRow("image recorder") << "image";
    }
    void anMp3AlbumWithoutGaps() {
        QFETCH(QString, recorder);
        const QString folder = fresh("album");
        const Ran burn = cli(QStringList{"burn", "--recorder", recorder} + m_album, kBlank, folder);
        QVERIFY2(burn.exitCode == 0, qPrintable(burn.out + burn.err));
        const QString cue = recorder == "image" ? only(folder, "*.cue") : folder + "/sr7.cue";
        const QByteArray disc = paranoia(cue);
        QVERIFY(disc.startsWith(m_gapless));
        QVERIFY2(disc.size() - m_gapless.size() < 2352,
                 qPrintable(QString::number(disc.size() - m_gapless.size())));
        QCOMPARE(disc.mid(m_gapless.size()).count(char(0)), disc.size() - m_gapless.size());
    }

    // Verified on the writer: the read offset is found and corrected, track at once leaves
    // its pauses out of the comparison (and warns that it drops the CD-Text), a sector that
    // cannot be read makes its track unreadable and fails the burn.
    void verifiedOnTheWriter_data() {
        QTest::addColumn<QString>("drive");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("results"); // per track
        QTest::addColumn<QString>("log");         // a line of the burn log
        const QStringList identical{"identical", "identical", "identical"};
        QTest::newRow("read offset")
            << kBlank + ",offset=30" << QStringList() << 0 << identical << "Offset:     30 samples";
        QTest::newRow("track at once") << kBlank << QStringList{"--method", "1"} << 0 << identical
                                       << "track at once (TAO), 2-second pauses between tracks";
        QTest::newRow("unreadable sector")
            << kBlank + ",bad=400-400" << QStringList() << 1 // track 2 begins at 327
            << QStringList{"identical", "unreadable", "identical"} << "unreadable at 0:00.73";
    }
    void verifiedOnTheWriter() {
        QFETCH(QString, drive);
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QStringList, results);
        QFETCH(QString, log);
        const QString folder = fresh("verified");
        const Ran burn = cli(QStringList{"burn", "--recorder", "1", "--verify"} + options + m_album,
                             drive, folder);
        QVERIFY2(burn.exitCode == exitCode, qPrintable(burn.out + burn.err));
        for (int i = 0; i < 3; ++i)
            QVERIFY2(burn.out.contains(QStringLiteral("Track %1: %2\n").arg(i + 1).arg(results[i])),
                     qPrintable(burn.out));
        if (exitCode != 0)
            QVERIFY2(burn.err.contains("The disc is not what was written. Track 2: unreadable."),
                     qPrintable(burn.err));
        if (options.contains("1"))
            QVERIFY2(burn.err.contains("warning: Burn method 1 writes track at once, which does "
                                       "not write the CD-Text (titles and performers)"),
                     qPrintable(burn.err));
        const QString logFile = only(folder + "/data/melvane/burn-logs", "*.log");
        QVERIFY2(fileBytes(logFile).contains(log.toUtf8()), fileBytes(logFile).constData());
    }

    // A recorder that fails says so in plain words; the SCSI details go to the burn log only.
    void aFailingRecorderInPlainWords() {
        const QString folder = fresh("failing");
        const Ran burn =
            cli({"burn", "--recorder", "1", m_album[0]}, kBlank + ",writeerror=100", folder);
        QCOMPARE(burn.exitCode, 1);
        QVERIFY2(burn.err.contains("Burning on VIRTUAL CD-RW WRITER failed: the recorder could not "
                                   "write to the disc (a write error)"),
                 qPrintable(burn.err));
        QVERIFY2(!burn.err.contains("CDB") && !burn.err.contains("[3 0C 00]"),
                 qPrintable(burn.err));
        const QByteArray log = fileBytes(only(folder + "/data/melvane/burn-logs", "*.log"));
        QVERIFY2(log.contains("[3 0C 00]") && log.contains("The recorder's report:"),
                 log.constData());
    }

    // A drive that reads CDs but cannot write them offers no write speed.
    void aReaderOffersNoWriteSpeed() {
        const QString folder = fresh("reader");
        const Ran list = cli({"recorders"}, "/dev/sr7:none:kind=rom", folder);
        QCOMPARE(list.exitCode, 0);
        QVERIFY2(list.out.contains("CD-ROM reader;") &&
                     list.out.contains("write speeds: none (it cannot write CDs)\n"),
                 qPrintable(list.out));
    }
};

QTEST_GUILESS_MAIN(TestVdriveBurn)
#include "test_vdrive_burn.moc"
