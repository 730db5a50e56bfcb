// The burn panel on the real engine and virtual CD writers, in this process: burns that fail on
// the way (a write error, the disc taken out, a buffer underrun) or are cancelled as the user
// sees them: one plain message, the panel idle again, and the drive free for what comes next.
// The sound a burn puts on the disc: test_vdrive_burn (melvane-cli, the same engine) and
// test_burn_media.
#include "VirtualDriveTests.h"
#include "tests/burn/BurnPanelOnEngine.h"
#include "tests/media/MediaTestSupport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdlib>
#include <unistd.h>

using namespace burning;

namespace {

// One writer per case, told apart by their product names.
const char* const kDrives = "/dev/sr5:blank-cdr:product=WRITE ERROR,timescale=0,writeerror=300;"
                            "/dev/sr6:blank-cdr:product=TAKEN OUT,timescale=0,remove=300;"
                            "/dev/sr7:blank-cdr:product=NO BUFE,timescale=0,burnproof=0,"
                            "underrun=300;"
                            "/dev/sr8:blank-cdr:product=BUFE,timescale=0,burnproof=1,underrun=300;"
                            "/dev/sr9:blank-cdr:product=SLOW,speeds=4,buffer=256,timescale=0.05";

// In burn mode, with the disc closed at the end, so that a burn that goes well says
// "Burn Complete!".
struct PanelOnDrives : PanelOnEngine {
    PanelOnDrives() {
        panel.enterBurnMode();
        child<SkinCheckBox>(QStringLiteral("FinilizeCDChk"))->setValue(1);
    }
    // Clicks BurnNow! for a burn the engine refuses at once: whether it started nothing.
    bool refused() {
        QSignalSpy finished(&engine, &AudioBurner::BurnFinished);
        button(QStringLiteral("BurnNowBtn"))->click();
        QCoreApplication::processEvents();
        return finished.isEmpty() && engine.State() == 0;
    }
};

// Whether the program has let go of the drive at node: every descriptor it opened on it is
// closed, and the tray is not left locked.
bool released(const QString& node) {
    int open = 0;
    QString tray;
    for (const QByteArray& line :
         fileBytes(qEnvironmentVariable("VIRTUAL_DRIVE_LOG")).split('\n')) {
        const QString text = QString::fromUtf8(line);
        if (!text.contains(" " + node + " "))
            continue;
        if (text.contains(" call open: ") && text.contains("-> fd"))
            ++open;
        else if (text.contains(" call close: "))
            --open;
        else if (text.contains("PREVENT ALLOW MEDIUM REMOVAL: "))
            tray = text.section("REMOVAL: ", 1).section(u' ', 0, 0);
    }
    return open == 0 && tray == "allow";
}

} // namespace

class TestVdrivePanel : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_files; // WAV and MP3, 4.4 and 5.4 s

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        QVERIFY2(qgetenv("VIRTUAL_DRIVE") == kDrives, "the virtual drives are not loaded");
        QVERIFY(QDir().mkpath(m_dir.filePath("saved")));
        qputenv("VIRTUAL_DRIVE_SAVE", m_dir.filePath("saved").toLocal8Bit());
        qputenv("XDG_DATA_HOME", m_dir.filePath("data").toLocal8Bit());
        const QList<std::pair<QString, OutputCodec>> kinds{{"one.wav", OutputCodec::Wav},
                                                           {"two.mp3", OutputCodec::Mp3Lame}};
        for (int i = 0; i < kinds.size(); ++i) {
            const QString path = m_dir.filePath(kinds[i].first);
            SineSource source(PcmFormat::cdAudio(), 4.4 + i, 350.0 + 90 * i);
            writeSource(source, path,
                        {kinds[i].second, 128000, {{"title", QString("Song %1").arg(i + 1)}}});
            m_files << path;
        }
    }

    // Cancel while a track is being written: the panel is idle at once, the burn ends as
    // cancelled without a message, and the drive is let go.
    void cancelWhileWriting() {
        PanelOnDrives f;
        QVERIFY(f.choose("SLOW"));
        // Two minutes of sound: at 4x, 1.5 s of writing on this drive.
        const QString file = m_dir.filePath("long.wav");
        SineSource tone(PcmFormat::cdAudio(), 120.0, 440.0);
        writeSource(tone, file, {OutputCodec::Wav, 0, {}});
        f.add({file});
        QSignalSpy finished(&f.engine, &AudioBurner::BurnFinished);
        QPushButton* button = f.button("BurnNowBtn");
        button->click();
        QTRY_VERIFY_WITH_TIMEOUT(f.engine.State() == 2 && f.engine.WrittenBlocks() > 0, 30000);
        QElapsedTimer clock;
        clock.start();
        button->click();
        f.checkIdle();
        QVERIFY(finished.wait(30000));
        qInfo("cancel to BurnFinished: %lld ms", clock.elapsed());
        QCOMPARE(finished.at(0).at(0).toInt(), int(AudioBurner::BurnCancelled));
        f.checkIdle();
        QCOMPARE(f.shown(), QStringList());
        QTRY_VERIFY(released("sr9"));
    }

    void cleanupTestCase() { QFile::remove(qEnvironmentVariable("VIRTUAL_DRIVE_LOG")); }

    void faults_data() {
        QTest::addColumn<QString>("node");
        QTest::addColumn<QString>("product");
        QTest::addColumn<QString>("message"); // shown once; empty: the burn succeeds
        QTest::addColumn<int>("status");      // MediaStatus afterwards
        QTest::addColumn<QString>("next");    // what the next burn on the drive says
        QTest::addColumn<QString>("sense");   // the recorder's report, in the burn log only
        QTest::newRow("write error")
            << "sr5"
            << "WRITE ERROR"
            << "Burning on VIRTUAL WRITE ERROR failed: the recorder could not write to the disc"
            << 3 << "The disc in VIRTUAL WRITE ERROR cannot be written"
            << "[3 0C 00]";
        QTest::newRow("disc taken out")
            << "sr6"
            << "TAKEN OUT"
            << "Burning on VIRTUAL TAKEN OUT failed: the disc was taken out of the recorder" << 4
            << "There is no disc in VIRTUAL TAKEN OUT."
            << "[2 3A 02]";
        QTest::newRow("underrun without burn proof")
            << "sr7"
            << "NO BUFE"
            << "Burning on VIRTUAL NO BUFE failed: the recorder ran out of data to write (a buffer "
               "underrun)"
            << 3 << "The disc in VIRTUAL NO BUFE cannot be written"
            << "[3 0C 09]";
        QTest::newRow("underrun with burn proof")
            << "sr8"
            << "BUFE" << QString() << 2 << "The disc in VIRTUAL BUFE cannot be written"
            << QString();
    }
    void faults() {
        QFETCH(QString, node);
        QFETCH(QString, product);
        QFETCH(QString, message);
        QFETCH(int, status);
        QFETCH(QString, next);
        QFETCH(QString, sense);
        PanelOnDrives f;
        QVERIFY(f.choose(product));
        f.add(m_files);
        const int ended = f.burn();
        QCOMPARE(ended,
                 int(message.isEmpty() ? AudioBurner::BurnSucceeded : AudioBurner::BurnFailed));
        f.checkIdle();
        const QStringList shown = f.shown();
        QCOMPARE(shown.size(), 1);
        QVERIFY2(message.isEmpty() ? shown[0] == "Burn Complete!" : shown[0].startsWith(message),
                 qPrintable(shown[0]));
        QVERIFY2(!shown[0].contains("CDB") && !shown[0].contains("[3 "), qPrintable(shown[0]));
        const QDir logs(m_dir.filePath("data/melvane/burn-logs"));
        const QString log =
            readText(logs.filePath(logs.entryList({"*.log"}, QDir::Files, QDir::Time).value(0)));
        QVERIFY2(sense.isEmpty() ? !log.contains("The recorder's report:")
                                 : log.contains("The recorder's report:") && log.contains(sense),
                 qPrintable(log));

        // libburn let go of the drive: it opens again at once, and the disc box reads the
        // disc as it was left.
        QTRY_VERIFY(released(node));
        f.engine.RefreshDisc();
        QCOMPARE(f.engine.MediaStatus(), status);
        f.messageBox.shown.clear();
        QVERIFY(f.refused());
        f.checkIdle();
        QVERIFY2(f.shown().size() == 1 && f.shown()[0].startsWith(next),
                 qPrintable(f.shown().join('\n')));
    }
};

// The drives are those of kDrives, loaded before the program starts: without them, the test
// starts itself again with them.
int main(int argc, char** argv) {
    if (qgetenv("VIRTUAL_DRIVE") != kDrives) {
        setenv("VIRTUAL_DRIVE", kDrives, 1);
        const char* temp = getenv("TMPDIR");
        const std::string log = std::string(temp && *temp ? temp : "/tmp") + "/test_vdrive_panel-" +
                                std::to_string(getpid()) + ".log";
        setenv("VIRTUAL_DRIVE_LOG", log.c_str(), 1);
        setenv("LD_PRELOAD", VIRTUAL_DRIVE_LIBRARY, 1);
        // A sanitized test takes a preloaded library that is not the sanitizer's runtime.
        const char* asan = getenv("ASAN_OPTIONS");
        const std::string options =
            std::string("verify_asan_link_order=0") + (asan ? std::string(":") + asan : "");
        setenv("ASAN_OPTIONS", options.c_str(), 1);
        execv("/proc/self/exe", argv);
        return 127;
    }
    QApplication app(argc, argv);
    TestVdrivePanel test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_vdrive_panel.moc"
