// The CD backend's side the rip panel and the command line see, on CUE/BIN images written
// here: the MCI interpreter, the drive roots, melvane-cli's CD commands, and the demo disc.

#include "backends/cdio/CdAudioMci.h"
#include "backends/cdio/CdDrives.h"
#include "backends/cdio/CueSheet.h"
#include "backends/cdio/DiscReader.h"
#include "tests/cdio/CdioDiscs.h"
#include "tests/support/ChildProcess.h"

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

class TestCdioMci : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_d.write(); }
    void mciCommands();
    void driveRoots();
    void commandLine();
    void demoDisc();

private:
    CdioDiscs m_d;
};

// Every command the rip panel sends, as it sends it, and the playback commands: the answer,
// the return code, and what the player is asked to do. A failing command leaves the reply as
// it was ("=").
void TestCdioMci::mciCommands() {
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

// "C:\" and one root per drive, in the table's order, as the Windows calls give them.
void TestCdioMci::driveRoots() {
    CdDrives drives(m_d.table);
    QString buffer(64, u' ');
    QCOMPARE(drives.GetLogicalDriveStrings(buffer), 36);
    QCOMPARE(buffer.left(37),
             QStringLiteral("C:\\%1D:\\%1E:\\%1F:\\%1G:\\%1H:\\%1I:\\%1J:\\%1K:\\%1%1")
                 .arg(QChar(u'\0')));
    QCOMPARE(buffer.size(), 64);
    QString small(10, u' ');
    QCOMPARE(drives.GetLogicalDriveStrings(small), 37);
    QCOMPARE(small, QString(10, u' '));
    QCOMPARE(drives.GetDriveType(QStringLiteral("C:\\")), Drives::Fixed);
    QCOMPARE(drives.GetDriveType(QStringLiteral("d:\\")), Drives::CdRom);
    QCOMPARE(drives.GetDriveType(QStringLiteral("K:\\")), Drives::CdRom);
    QCOMPARE(drives.GetDriveType(QStringLiteral("L:\\")), Drives::NoRootDir);
}

// melvane-cli lists the drives as the panel does and prints a table of contents, by number or
// by path; a refused image fails with its reason.
void TestCdioMci::commandLine() {
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
void TestCdioMci::demoDisc() {
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

QTEST_GUILESS_MAIN(TestCdioMci)
#include "test_cdio_mci.moc"
