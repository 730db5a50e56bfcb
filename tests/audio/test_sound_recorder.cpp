// The recorder and its player on the test audio server: its 440 Hz sine source recorded to MP3
// and WAVE, paused, played along and back on the null sink, and a device that goes away.
#include "backends/audio/SoundPlayer.h"
#include "backends/audio/SoundRecorder.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/media/MediaTestSupport.h"

#include <QCoreApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kSine = QStringLiteral("melvane_sine");
// The sine source delivers two seconds at a time, the first after up to three.
constexpr int kAudioWait = 15000;

struct Listing {
    QList<QPair<QString, QString>> devices;
    QStringList formats;
    QStringList bitrates;
};

Listing listing(SoundRecorder& recorder, const QString& device) {
    Listing result;
    const auto d = QObject::connect(&recorder, &Record::DeviceListed,
                                    [&](const QString& name, const QString& id) {
                                        result.devices.append({name, id});
                                    });
    const auto f =
        QObject::connect(&recorder, &Record::FormatListed, [&](qint32 index, const QString& name) {
            QCOMPARE(index, result.formats.size());
            result.formats.append(name);
        });
    const auto b = QObject::connect(&recorder, &Record::BitrateListed,
                                    [&](const QString& text) { result.bitrates.append(text); });
    recorder.ListDevices();
    recorder.ListFormats(device);
    recorder.ListBitrates();
    QObject::disconnect(d);
    QObject::disconnect(f);
    QObject::disconnect(b);
    return result;
}

// The index ListFormats gives a format named like "44100 Hz, 16 bit, stereo".
qint32 formatIndex(SoundRecorder& recorder, const QString& device, const QString& name) {
    return qint32(listing(recorder, device).formats.indexOf(name));
}

QString pactl(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("pactl"), arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace

class TestSoundRecorder : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Records until `milliseconds` of audio are in, then stops and waits for the file.
    void recordFor(SoundRecorder& recorder, double milliseconds) {
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        recorder.StartRecording();
        QVERIFY(recorder.IsRecording());
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= milliseconds, kAudioWait);
        recorder.StopRecording();
        QVERIFY(!recorder.IsRecording());
        QVERIFY(stopped.wait(10000));
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(qEnvironmentVariableIsSet("PULSE_SERVER"),
                 "run through scripts/test, which starts the test audio server");
    }

    // The sine source is listed after the default entry, with its formats and the bit rates.
    void listsTheDevices() {
        SoundRecorder recorder;
        QCOMPARE(recorder.DefaultDevice(), kSine);
        const Listing all = listing(recorder, kSine);
        QCOMPARE(all.devices.value(0),
                 qMakePair(QStringLiteral("Default (Sine source at 440 Hz)"), QString()));
        QVERIFY(all.devices.contains(qMakePair(QStringLiteral("Sine source at 440 Hz"), kSine)));
        QCOMPARE(all.formats.size(), 20);
        QCOMPARE(all.formats.value(15), QStringLiteral("44100 Hz, 16 bit, stereo"));
        QCOMPARE(all.formats.value(0), QStringLiteral("8000 Hz, 8 bit, mono"));
        QCOMPARE(all.bitrates.first(), QStringLiteral("32"));
        QCOMPARE(all.bitrates.last(), QStringLiteral("320"));
        QCOMPARE(all.bitrates.size(), 14);
        QCOMPARE(listing(recorder, QString()).formats, all.formats);
        QVERIFY(listing(recorder, QStringLiteral("no_such_source")).formats.isEmpty());
    }

    void refusesAtOnce_data() {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("device");
        QTest::addColumn<qint32>("output");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<qint32>("pcm");
        QTest::addColumn<QString>("words"); // in the message
        QTest::newRow("encoder") << "a.mp3"
                                 << "" << 1 << "lame.dll" << 15 << "lame.dll";
        QTest::newRow("output format") << "a.mp3"
                                       << "" << 2 << "lame_enc.dll" << 15 << "2";
        QTest::newRow("device") << "a.mp3"
                                << "nowhere" << 1 << "lame_enc.dll" << 15 << "nowhere";
        QTest::newRow("pcm format") << "a.wav" << kSine << 0 << "" << 20 << "20";
        QTest::newRow("folder") << "missing/a.wav"
                                << "" << 0 << "" << 15 << "missing";
        QTest::newRow("no file") << ""
                                 << "" << 0 << "" << 15 << "no output file";
    }

    // Nothing starts and nothing is left: no file, no folder.
    void refusesAtOnce() {
        QFETCH(QString, file);
        QFETCH(QString, device);
        QFETCH(qint32, output);
        QFETCH(QString, encoder);
        QFETCH(qint32, pcm);
        QFETCH(QString, words);
        QTemporaryDir dir;
        SoundRecorder recorder;
        recorder.setFileName(file.isEmpty() ? QString() : dir.filePath(file));
        recorder.setDevice(device);
        recorder.setOutputFormat(output);
        recorder.setEncoderDLL(encoder);
        recorder.setPCMFormat(pcm);
        const QString message = errorOf([&] { recorder.StartRecording(); });
        QVERIFY2(message.contains(words), qPrintable(message));
        QVERIFY(!recorder.IsRecording());
        QVERIFY(folderEntries(dir.path()).isEmpty());
    }

    void recordsTheSine_data() {
        QTest::addColumn<qint32>("output");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("codec");
        QTest::newRow("mp3 lame") << 1 << "lame_enc.dll"
                                  << "44100 Hz, 16 bit, stereo"
                                  << "mp3";
        QTest::newRow("mp3 shine mono 22 kHz") << 1 << "BladeEnc.dll"
                                               << "22050 Hz, 16 bit, mono"
                                               << "mp3";
        QTest::newRow("wav 48 kHz") << 0 << ""
                                    << "48000 Hz, 16 bit, stereo"
                                    << "pcm_s16le";
        QTest::newRow("wav 8 bit") << 0 << ""
                                   << "11025 Hz, 8 bit, mono"
                                   << "pcm_u8";
    }

    // A fresh "Recordings" folder is made; the file appears when RecordingStopped comes, as
    // long as the audio recorded, at 440 Hz.
    void recordsTheSine() {
        QFETCH(qint32, output);
        QFETCH(QString, encoder);
        QFETCH(QString, format);
        QFETCH(QString, codec);
        const QString path =
            m_dir.filePath(QStringLiteral("%1/Recordings/take.%2")
                               .arg(QTest::currentDataTag(), output ? "mp3" : "wav"));
        SoundRecorder recorder;
        recorder.setFileName(path);
        recorder.setDevice(kSine);
        recorder.setOutputFormat(output);
        recorder.setEncoderDLL(encoder);
        recorder.setMP3Bitrate(128);
        recorder.setPCMFormat(formatIndex(recorder, kSine, format));
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        recorder.StartRecording();
        QVERIFY(!QFile::exists(path));
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        recorder.StopRecording();
        QVERIFY(stopped.wait(10000));
        QVERIFY(QFile::exists(path));

        const double seconds = recorder.RecordedTime() / 1000.0;
        const MediaFacts facts = probeMediaFile(path);
        QCOMPARE(facts.codecName, codec);
        QVERIFY2(std::abs(facts.duration - seconds) < 0.1,
                 qPrintable(QStringLiteral("%1 s in the file, %2 s recorded")
                                .arg(facts.duration)
                                .arg(seconds)));
        const DecodedAudio audio = decodeFile(path);
        QVERIFY2(std::abs(audio.frequency(0) - 440.0) < 5.0,
                 qPrintable(QString::number(audio.frequency(0))));
    }

    // Paused time is not recorded: the file is as long as the audio taken before and after.
    void pauseAndResume() {
        const QString path = m_dir.filePath(QStringLiteral("paused.mp3"));
        SoundRecorder recorder;
        recorder.setFileName(path);
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        recorder.StartRecording();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        recorder.PauseRecording();
        QVERIFY(recorder.IsPaused() && recorder.IsRecording());
        const double before = recorder.RecordedTime();
        QTest::qWait(4500); // longer than the source's blocks: some arrive while paused
        QCOMPARE(recorder.RecordedTime(), before);
        recorder.ResumeRecording();
        QVERIFY(!recorder.IsPaused());
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= before + 2000, kAudioWait);
        recorder.StopRecording();
        QVERIFY(stopped.wait(10000));
        const double duration = probeMediaFile(path).duration;
        QVERIFY2(std::abs(duration - recorder.RecordedTime() / 1000.0) < 0.1,
                 qPrintable(QString::number(duration)));
    }

    // A recorder that goes away while recording (the program closing) saves the file first.
    void savedAtShutdown() {
        const QString path = m_dir.filePath(QStringLiteral("shutdown.mp3"));
        {
            SoundRecorder recorder;
            recorder.setFileName(path);
            recorder.StartRecording();
            QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        }
        QVERIFY(probeMediaFile(path).duration >= 1.9);
    }

    // Played while it is being recorded, the file plays what was recorded so far; afterwards
    // the finished file plays to its end. The position moves while playing and holds while
    // paused.
    void playsAlongAndBack() {
        const QString path = m_dir.filePath(QStringLiteral("along.wav"));
        SoundRecorder recorder;
        SoundPlayer player;
        QSignalSpy finished(&player, &Player::PlaybackFinished);
        QSignalSpy failed(&player, &Player::Failed);
        recorder.setFileName(path);
        recorder.setOutputFormat(0);
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        recorder.StartRecording();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        QVERIFY(!QFile::exists(path));
        player.Play(path);
        QCOMPARE(player.PlayerState(), Player::Playing);
        // Under load (sanitizers, tests side by side) the sound server may take seconds to get
        // a stream going; what counts is that the position moves before the part ends.
        QTRY_VERIFY2_WITH_TIMEOUT(player.Position() > 0.5,
                                  qPrintable(QStringLiteral("at %1 s, ended %2 time(s)")
                                                 .arg(player.Position())
                                                 .arg(finished.count())),
                                  kAudioWait);
        player.PausePlayback();
        QCOMPARE(player.PlayerState(), Player::Paused);
        const double held = player.Position();
        QTest::qWait(400);
        QVERIFY(std::abs(player.Position() - held) < 0.05);
        player.ResumePlayback();
        QCOMPARE(player.PlayerState(), Player::Playing);
        QVERIFY(finished.wait(10000)); // the part recorded when Play came, no more
        QCOMPARE(player.PlayerState(), Player::Stopped);
        recorder.StopRecording();
        QVERIFY(stopped.wait(10000));

        player.Play(path);
        QTRY_VERIFY_WITH_TIMEOUT(player.Position() > 0.3, kAudioWait);
        player.StopPlayback();
        QCOMPARE(player.PlayerState(), Player::Stopped);
        QCOMPARE(player.Position(), 0.0);
        QVERIFY(failed.isEmpty());
        QVERIFY_THROWS_EXCEPTION(Error, player.Play(m_dir.filePath(QStringLiteral("none.mp3"))));
    }

    // A source unloaded mid-recording ends the recording; what was captured is kept.
    void deviceGoesAway() {
        const QString source = QStringLiteral("melvane_removable");
        const QString module =
            pactl({QStringLiteral("load-module"), QStringLiteral("module-sine-source"),
                   "source_name=" + source, QStringLiteral("frequency=440")});
        QVERIFY(!module.isEmpty());
        const QString path = m_dir.filePath(QStringLiteral("lost.mp3"));
        SoundRecorder recorder;
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        QSignalSpy failed(&recorder, &Record::Failed);
        QTRY_VERIFY_WITH_TIMEOUT(!listing(recorder, source).formats.isEmpty(), 5000);
        recorder.setFileName(path);
        recorder.setDevice(source);
        recorder.StartRecording();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        pactl({QStringLiteral("unload-module"), module});
        QVERIFY(stopped.wait(10000));
        QVERIFY(!recorder.IsRecording());
        QCOMPARE(failed.size(), 1);
        QVERIFY2(failed[0][0].toString().contains(QLatin1String("is no longer there")) &&
                     failed[0][0].toString().contains(path),
                 qPrintable(failed[0][0].toString()));
        QVERIFY(probeMediaFile(path).duration >= 1.9);
        QVERIFY(std::abs(decodeFile(path).frequency(0) - 440.0) < 5.0);
    }
};

MELVANE_AUDIO_TEST_MAIN(TestSoundRecorder, QCoreApplication)
#include "test_sound_recorder.moc"
