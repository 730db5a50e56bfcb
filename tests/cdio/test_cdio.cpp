// The CD backend on real libcdio and libcdio-paranoia, on CUE/BIN images written here: the drive
// table, tables of contents and disc kinds, refused images, bit-exact paranoia reads with
// offsets, a read interrupted, the checksums; and the side the rip panel and the command line
// see: the MCI interpreter, the drive roots, melvane-cli's CD commands, and the demo disc.

#include "backends/cdio/CdAudioMci.h"
#include "backends/cdio/CdDrives.h"
#include "backends/cdio/Checksums.h"
#include "backends/cdio/CueSheet.h"
#include "backends/cdio/DiscReader.h"
#include "tests/cdio/CdioDiscs.h"
#include "tests/support/ChildProcess.h"

#include <future>

using namespace cdio;

namespace {

// Records what MCI asks of the sound.
class RecordingPlayer final : public CdPlayer {
public:
    explicit RecordingPlayer(QStringList* log) : m_log(log) {}
    void play(const Drive& drive, qint32 first, qint32 end) override {
        *m_log << QStringLiteral("play %1 %2 %3").arg(drive.product).arg(first).arg(end);
        m_state = State::Playing;
        m_position = first;
    }
    void pause() override { record(QStringLiteral("pause"), State::Paused); }
    void resume() override { record(QStringLiteral("resume"), State::Playing); }
    void stop() override { record(QStringLiteral("stop"), State::Stopped); }
    State state() const override { return m_state; }
    qint32 position() const override { return m_position; }

private:
    void record(const QString& call, State state) {
        *m_log << call;
        m_state = state;
    }
    QStringList* m_log;
    State m_state = State::Stopped;
    qint32 m_position = 0;
};

} // namespace

class TestCdio : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_d.write(); }
    void driveTable();
    void discs_data();
    void discs();
    void tableOfContents();
    void offsetCorrection_data();
    void offsetCorrection();
    void discIsInterrupted();
    void checksums();
    void discIds();
    void mciCommands();
    void mciOnAShortImage();
    void driveRoots();
    void commandLine();
    void demoDisc();

private:
    Drive imageDrive(const TestImage& image) const { return DriveTable::imageDrive(image.cue, 0); }

    CdioDiscs m_d;
};

// Images follow each other with addresses no real drive has, and say what they are.
void TestCdio::driveTable() {
    Tools tools(m_d.table);
    QCOMPARE(tools.DriveCount(), 6);
    qint32 index = 1;
    const qint32 address = tools.DriveAddress(index);
    QCOMPARE(address, kImageHost | 1 << 8);
    QCOMPARE(addressText(address), QStringLiteral("255:1:0"));
    QCOMPARE(tools.DriveVendor(address), 7);
    QCOMPARE(tools.InquiryText(), QStringLiteral("Melvane"));
    QCOMPARE(tools.DriveProduct(address), 11);
    QCOMPARE(tools.InquiryText(), QStringLiteral("Image mixed"));
    QVERIFY(tools.DriveRevision(address) > 0);
    index = 6;
    QVERIFY_THROWS_EXCEPTION(IndexError, tools.DriveAddress(index));
    QVERIFY(errorOf([&] { tools.SelectDrive(0x010000); }).contains(QLatin1String("1:0:0")));
    const Drive found = m_d.table->driveFor(m_d.audio.cue);
    QCOMPARE(found.address, kImageHost);
    QCOMPARE(found.name(), QStringLiteral("the image ") + m_d.audio.cue);
}

void TestCdio::discs_data() {
    QTest::addColumn<int>("place");
    QTest::addColumn<int>("tracks");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("audio") << 0 << 3 << 0 << QString();
    QTest::newRow("mixed mode counts as audio") << 1 << 3 << 0 << QString();
    QTest::newRow("mode 1 data") << 2 << 1 << 3 << QString();
    QTest::newRow("mode 2 data") << 3 << 1 << 4 << QString();
    // The other refusals the sheet reader makes: test_cue_sheets.
    QTest::newRow("two FILE lines") << 4 << 0 << 0 << QStringLiteral("names a second data file");
}

// Track count, kind and blank state through the tools; an image libcdio would misread is
// refused, when it is opened, with the reason.
void TestCdio::discs() {
    QFETCH(int, place);
    QFETCH(int, tracks);
    QFETCH(int, type);
    QFETCH(QString, refusal);
    Tools tools(m_d.table);
    const qint32 address = kImageHost | place << 8;
    tools.SelectDrive(address);
    if (!refusal.isEmpty()) {
        QVERIFY2(errorOf([&] { tools.ReadTrackCount(address); }).contains(refusal),
                 qPrintable(errorOf([&] { tools.ReadTrackCount(address); })));
        QVERIFY(errorOf([&] { tools.DiscState(address); }).contains(refusal));
        tools.EjectDrive(address); // an image has no tray: nothing to refuse
        return;
    }
    QCOMPARE(tools.ReadTrackCount(address), tracks);
    tools.ReadDiscInfo(address, 0);
    QCOMPARE(tools.DiscType(), type);
    QCOMPARE(tools.TrackCount(), tracks);
    QCOMPARE(tools.DiscState(address), 0);
    tools.EjectDrive(address);
    if (place == 1) {
        tools.ReadDiscInfo(address, 1);
        QCOMPARE(tools.DiscType(), 3);
        tools.ReadDiscInfo(address, 2);
        QCOMPARE(tools.DiscType(), 0);
        QVERIFY(
            errorOf([&] { tools.ReadDiscInfo(address, 4); }).contains(QLatin1String("no track 4")));
    }
}

// Starts and lengths to the sector: uneven tracks end on the next sector, a gap counts in the
// track before it, and the lead-out follows the last.
void TestCdio::tableOfContents() {
    for (const TestImage* image : {&m_d.audio, &m_d.mixed}) {
        Disc disc(imageDrive(*image));
        const Toc toc = disc.toc();
        QCOMPARE(toc.tracks.size(), image->starts.size());
        for (int i = 0; i < toc.tracks.size(); ++i) {
            QCOMPARE(toc.tracks[i].number, i + 1);
            QCOMPARE(toc.tracks[i].start, image->starts[i]);
            QCOMPARE(toc.tracks[i].sectors, image->sectors[i]);
        }
        QCOMPARE(toc.leadout, qint32(image->disc.size() / 1176));
    }
    QCOMPARE(msfText(275 * 75), QStringLiteral("04:35:00"));
    QCOMPARE(Disc(imageDrive(m_d.mixed)).toc().tracks[0].kind, TocTrack::Kind::Mode1);
}

void TestCdio::offsetCorrection_data() {
    QTest::addColumn<int>("track");
    QTest::addColumn<int>("offset");
    QTest::newRow("first track, early drive: silence before the disc") << 1 << -30;
    QTest::newRow("first track, late drive") << 1 << 667;
    QTest::newRow("middle track takes from the next") << 2 << 6;
    QTest::newRow("last track, late drive: silence after the disc") << 3 << 1200;
    QTest::newRow("last track, early drive") << 3 << -589;
}

void TestCdio::offsetCorrection() {
    QFETCH(int, track);
    QFETCH(int, offset);
    auto reader = DiscReader::track(imageDrive(m_d.audio), track, {true, offset});
    const qint64 first = m_d.audio.starts[track - 1] * 588LL + offset;
    const qint64 end = first + m_d.audio.sectors[track - 1] * 588LL;
    QVERIFY(readSamples(*reader, 4096) == m_d.audio.samples(first, end));
}

// A read interrupted from another thread ends at once. (An image deleted or cut short while
// it is read: test_rip::failsMidRip.)
void TestCdio::discIsInterrupted() {
    // Far more than the disc holds, so only the interruption ends it.
    auto reader = DiscReader::sectors(imageDrive(m_d.audio), 0, 1 << 30, {});
    std::promise<void> started;
    auto reading = std::async(std::launch::async, [&] {
        std::vector<qint16> buffer(588 * 2);
        return errorOf([&] {
            started.set_value();
            while (reader->read(buffer.data(), 588) == 588) {
            }
        });
    });
    started.get_future().wait();
    reader->interrupt();
    QCOMPARE(reading.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    const QString error = reading.get();
    QVERIFY2(error.startsWith(QLatin1String("Reading sectors 0 to")), qPrintable(error));
}

// CRC-32 and AccurateRip v1/v2 against plain implementations written from their definitions,
// fed in uneven pieces, for a track at every place on the disc.
void TestCdio::checksums() {
    QCOMPARE(referenceCrc32(QByteArray("123456789")), 0xcbf43926u); // the CRC-32 check value
    const std::vector<qint16> pcm = m_d.audio.track(1);
    const qint64 frames = qint64(pcm.size() / 2);
    for (const bool first : {false, true}) {
        for (const bool last : {false, true}) {
            TrackChecksums sums(frames, first, last);
            for (qint64 done = 0; done < frames; done += 1001)
                sums.write(pcm.data() + done * 2, std::min<qint64>(1001, frames - done));
            const auto [v1, v2] = referenceAccurateRip(pcm, first, last);
            QCOMPARE(sums.accurateRipV1(), v1);
            QCOMPARE(sums.accurateRipV2(), v2);
            QCOMPARE(sums.crc32(), referenceCrc32(pcm));
        }
    }
}

// Disc IDs of published tables of contents (LBA offsets, as the AccurateRip database gives
// them): an audio CD, an enhanced CD (audio, then a data track in a second session) and a
// mixed-mode CD (a data track first).
void TestCdio::discIds() {
    auto toc = [](const QList<qint32>& lba, qint32 leadout, const QList<int>& dataTracks) {
        Toc t;
        for (int i = 0; i < lba.size(); ++i)
            t.tracks.append(
                {i + 1,
                 lba[i] - 150,
                 0,
                 dataTracks.contains(i + 1) ? TocTrack::Kind::Mode1 : TocTrack::Kind::Audio,
                 {}});
        t.leadout = leadout - 150;
        return t;
    };
    const QList<qint32> liquid = {150,    12767,  40487,  63225,  93410,
                                  118115, 151865, 184340, 215260, 247455};
    QCOMPARE(accurateRipDiscId(toc(liquid, 270335, {})),
             QStringLiteral("010-00154c2f-00af4fd4-890e120a"));
    QCOMPARE(accurateRipDiscId(toc(liquid + QList<qint32>{281735}, 333801, {11})),
             QStringLiteral("010-00164419-00b9f6e2-9e11600b"));
    const QList<qint32> mortal = {150,    66728,  76502,  85963,  93760,  104048, 116066, 124743,
                                  134206, 142916, 151852, 160720, 169425, 178731, 188459, 196711,
                                  206354, 214845, 223686, 225746, 226384, 232668, 239447, 239931,
                                  244989, 254264, 260066, 261222, 261674};
    QCOMPARE(accurateRipDiscId(toc(mortal, 261976, {1})),
             QStringLiteral("028-00517a54-05a845d2-af0da31d"));
}

// Every command the rip panel sends, as it sends it, and the playback commands: the answer,
// the return code, and what the player is asked to do. A failing command leaves the reply as
// it was ("=").
void TestCdio::mciCommands() {
    struct Row {
        const char* command;
        qint32 code;
        const char* reply;
        const char* player;
    };
    const Row rows[] = {
        {"stop cd1", mcierr::InvalidDeviceName, "=", ""},
        {"close cd1", mcierr::InvalidDeviceName, "=", ""},
        {"stop cd2", mcierr::InvalidDeviceName, "=", ""},
        {"close cd2", mcierr::InvalidDeviceName, "=", ""},
        {"open cdaudio alias cd1", 0, "1", ""},
        {"open cdaudio alias cd1", mcierr::DuplicateAlias, "=", ""},
        {"set cd1 time  format tmsf", 0, "", ""},
        {"status cd1 media present", 0, "true", ""},
        {"status cd1 number of tracks wait", 0, "3", ""},
        {"status cd1 length wait", 0, "00:04:72", ""},
        {"status cd1 length track 1", 0, "00:03:39", ""},
        {"status cd1 length track 3", 0, "00:00:08", ""},
        {"status cd1 length track 4", mcierr::OutOfRange, "=", ""},
        {"status cd1 length track x", mcierr::BadInteger, "=", ""},
        {"status cd1 length track", mcierr::MissingParameter, "=", ""},
        {"status cd1", mcierr::MissingParameter, "=", ""},
        {"status cd1 volume", mcierr::UnrecognizedKeyword, "=", ""},
        {"set cd1 time format frames", mcierr::BadTimeFormat, "=", ""},
        {"eject cd1", mcierr::UnrecognizedCommand, "=", ""},
        {"", mcierr::MissingCommandString, "=", ""},
        {"status", mcierr::MissingDeviceName, "=", ""},
        {"open  E:\\  type cdaudio alias cd2", 0, "2", ""},
        {"set cd2 time  format tmsf", 0, "", ""},
        {"status cd2 media present", 0, "true", ""},
        {"status cd2 length1", mcierr::UnrecognizedKeyword, "=", ""},
        {"status cd2 number of tracks wait", 0, "3", ""},
        {"status cd2 length track 2", 0, "00:01:06", ""},
        {"open  H:\\  type cdaudio alias cd3", 0, "3", ""},
        {"status cd3 media present", 0, "false", ""},
        {"status cd3 number of tracks wait", mcierr::DeviceNotReady, "=", ""},
        {"status cd3 mode", 0, "not ready", ""},
        {"open  Q:\\  type cdaudio alias cd4", mcierr::InvalidDeviceName, "=", ""},
        {"open D: type waveaudio alias cd4", mcierr::InvalidDeviceName, "=", ""},
        {"status cd1 mode", 0, "stopped", ""},
        {"status cd1 position", 0, "01:00:00:00", ""},
        {"play cd1 from 2", 0, "", "play Image audio 264 372"},
        {"status cd1 mode", 0, "playing", ""},
        {"status cd1 position", 0, "02:00:00:00", ""},
        {"status cd1 current track", 0, "2", ""},
        {"pause cd1", 0, "", "pause"},
        {"status cd1 mode", 0, "paused", ""},
        {"play cd1", 0, "", "resume"},
        {"play cd1", 0, "", ""},
        {"stop cd1", 0, "", "stop"},
        {"status cd1 position", 0, "01:00:00:00", ""},
        {"play cd1", 0, "", "play Image audio 0 372"},
        {"play cd1 from 1:0:1:0 to 3", 0, "", "play Image audio 75 364"},
        {"play cd2 from 2 wait", 0, "", "stop|play Image mixed 450 606"},
        {"set cd2 time format msf", 0, "", ""},
        {"status cd2 position", 0, "00:08:00", ""},
        {"play cd2 from 00:02:00 to 00:01:00", mcierr::OutOfRange, "=", ""},
        {"play cd2 from", mcierr::MissingParameter, "=", ""},
        {"close all", 0, "", "stop"},
        {"status cd2 mode", mcierr::InvalidDeviceName, "=", ""},
    };
    QStringList calls;
    CdAudioMci mci(m_d.table, std::make_unique<RecordingPlayer>(&calls));
    for (const Row& row : rows) {
        QString reply = QStringLiteral("=");
        calls.clear();
        const qint32 code = mci.mciSendString(QString::fromLatin1(row.command), reply);
        const QString seen = QStringLiteral("%1 -> %2 \"%3\" [%4]")
                                 .arg(QLatin1String(row.command))
                                 .arg(code)
                                 .arg(reply, calls.join(u'|'));
        const QString wanted = QStringLiteral("%1 -> %2 \"%3\" [%4]")
                                   .arg(QLatin1String(row.command))
                                   .arg(row.code)
                                   .arg(QLatin1String(row.reply), QLatin1String(row.player));
        QCOMPARE(seen, wanted);
    }
}

// An image whose later tracks lie past the end of its data: the window's track list shows what
// lies inside, never a negative length. (Reading or ripping them: test_cue_sheets,
// test_cli_rip::tracksPastTheEndOfTheImage.)
void TestCdio::mciOnAShortImage() {
    const TestImage image = writeShortImage(m_d.dir.path());
    QStringList calls;
    CdAudioMci mci(std::make_shared<DriveTable>(QStringList{image.cue}, false),
                   std::make_unique<RecordingPlayer>(&calls));
    QStringList replies;
    for (const char* command :
         {"open cdaudio alias cd1", "status cd1 number of tracks wait", "status cd1 length wait",
          "status cd1 length track 1", "status cd1 length track 2", "status cd1 length track 3"}) {
        QString reply;
        replies << QStringLiteral("%1 %2").arg(mci.mciSendString(command, reply)).arg(reply);
    }
    QCOMPARE(replies,
             QStringList({"0 1", "0 3", "0 00:06:00", "0 00:04:00", "0 00:02:00", "0 00:00:00"}));
}

// "C:\" and one root per drive, in the table's order, as the Windows calls give them.
void TestCdio::driveRoots() {
    CdDrives drives(m_d.table);
    QString buffer(64, u' ');
    QCOMPARE(drives.GetLogicalDriveStrings(buffer), 28);
    QCOMPARE(buffer.left(29),
             QStringLiteral("C:\\%1D:\\%1E:\\%1F:\\%1G:\\%1H:\\%1I:\\%1%1").arg(QChar(u'\0')));
    QCOMPARE(buffer.size(), 64);
    QString small(10, u' ');
    QCOMPARE(drives.GetLogicalDriveStrings(small), 29);
    QCOMPARE(small, QString(10, u' '));
    QCOMPARE(drives.GetDriveType(QStringLiteral("C:\\")), Drives::Fixed);
    QCOMPARE(drives.GetDriveType(QStringLiteral("d:\\")), Drives::CdRom);
    QCOMPARE(drives.GetDriveType(QStringLiteral("I:\\")), Drives::CdRom);
    QCOMPARE(drives.GetDriveType(QStringLiteral("J:\\")), Drives::NoRootDir);
}

// melvane-cli lists the drives as the panel does and prints a table of contents, by number or
// by path; a refused image fails with its reason.
void TestCdio::commandLine() {
    auto run = [](const QStringList& arguments, const QString& images) {
        const Run r = runCli(arguments, {"MELVANE_CD_IMAGES=" + images});
        return std::make_pair(r.exitCode, r.out + r.err);
    };
    const QString images = m_d.audio.cue + u':' + m_d.cue(QStringLiteral("nobin"));
    const auto [listed, list] = run({QStringLiteral("drives")}, images);
    QCOMPARE(listed, 0);
    const QString line = QStringLiteral("255:0:0 Melvane  Image audio          %1.%2\n")
                             .arg(MELVANE_VERSION_MAJOR)
                             .arg(MELVANE_VERSION_MINOR);
    QVERIFY2(list.contains(line), qPrintable(list));
    const QString number = list.section(line, 0, 0).section(u'\n', -1).trimmed();
    const auto [shown, toc] = run({QStringLiteral("toc"), number}, images);
    QCOMPARE(shown, 0);
    QVERIFY2(
        toc.contains(QLatin1String("    2   00:03:39  00:01:25      100     0.22 MB  audio\n")),
        qPrintable(toc));
    QVERIFY(toc.contains(QLatin1String("Disc length 00:04:72, 3 tracks")));
    QCOMPARE(run({QStringLiteral("toc"), m_d.mixed.cue}, {}).second,
             run({QStringLiteral("toc"), m_d.mixed.cue}, m_d.mixed.cue).second);
    const auto [failed, why] = run({QStringLiteral("toc"), QStringLiteral("2")}, images);
    QCOMPARE(failed, 1);
    QVERIFY2(why.contains(QLatin1String("is missing")), qPrintable(why));
}

// The build's demo disc: at least four audio tracks of different lengths, not silent.
void TestCdio::demoDisc() {
    const Drive drive = DriveTable::imageDrive(QStringLiteral(MELVANE_DEMO_DISC), 0);
    const Toc toc = Disc(drive).toc();
    QVERIFY(toc.tracks.size() >= 4);
    QList<qint32> lengths;
    for (const TocTrack& t : toc.tracks) {
        QVERIFY(t.audio());
        QVERIFY(!lengths.contains(t.sectors));
        lengths.append(t.sectors);
    }
    auto reader = DiscReader::track(drive, 2, {false, 0});
    double energy = 0;
    const std::vector<qint16> pcm = readSamples(*reader, 4096);
    for (const qint16 s : pcm)
        energy += double(s) * s;
    QVERIFY(std::sqrt(energy / double(pcm.size())) > 1000);
}

QTEST_GUILESS_MAIN(TestCdio)
#include "test_cdio.moc"
