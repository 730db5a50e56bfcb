// The recorder and its player on the test audio server: its 440 Hz sine source recorded to MP3
// and WAVE, paused, played along and back on the null sink, a device that goes away, and
// recordings cut short by a crash and recovered. (A full disk: test_cli_record, through the
// same recorder.)
#include "backends/audio/RecordingRepair.h"
#include "backends/audio/SoundPlayer.h"
#include "backends/audio/SoundRecorder.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"
#include "tests/audio/AudioServer.h"
#include "tests/audio/AudioTestMain.h"
#include "tests/media/MediaTestSupport.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QtEndian>
#include <fcntl.h>
#include <unistd.h>

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

// The length a file's header gives, as a strict player reads it: a WAVE file's data size (and
// its RIFF size must match the file), an MP3 file's frame count in its Xing/Info frame. -1 when
// the header says nothing.
double headerSeconds(const QString& path, int rate) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray bytes = file.readAll();
    if (bytes.startsWith("RIFF")) {
        const qsizetype fmt = bytes.indexOf("fmt ");
        const qsizetype data = bytes.indexOf("data");
        if (fmt < 0 || data < 0 ||
            qFromLittleEndian<quint32>(bytes.constData() + 4) != quint32(bytes.size() - 8))
            return -1;
        return qFromLittleEndian<quint32>(bytes.constData() + data + 4) /
               double(qFromLittleEndian<quint32>(bytes.constData() + fmt + 16));
    }
    qsizetype xing = bytes.indexOf("Xing");
    xing = xing < 0 ? bytes.indexOf("Info") : xing;
    if (xing < 0 || !(qFromBigEndian<quint32>(bytes.constData() + xing + 4) & 1))
        return -1;
    return qFromBigEndian<quint32>(bytes.constData() + xing + 8) * (rate >= 32000 ? 1152 : 576) /
           double(rate);
}

} // namespace

class TestSoundRecorder : public QObject {
    Q_OBJECT
    TestFolder m_dir;

private Q_SLOTS:
    void initTestCase() {
        // The index of running recordings goes into the user's data folder: a private one.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir.path(QStringLiteral("data"))));
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
        // A device that is not there: test_cli_record::recordsAsAsked, through this recorder.
        QTest::newRow("encoder") << "a.mp3"
                                 << "" << 1 << "lame.dll" << 15 << "lame.dll";
        QTest::newRow("output format") << "a.mp3"
                                       << "" << 2 << "lame_enc.dll" << 15 << "2";
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
        const QString path = m_dir.path(QStringLiteral("%1/Recordings/take.%2")
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
        // Only the file: its crash-proof name went with the end.
        QCOMPARE(folderEntries(QFileInfo(path).path()), QStringList{QFileInfo(path).fileName()});

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
    // WAVE goes under a .wav name whatever name was given; FileName tells.
    void pauseAndResume() {
        const QString folder = m_dir.fresh(QStringLiteral("paused"));
        SoundRecorder recorder;
        recorder.setFileName(folder + QStringLiteral("/take.mp3"));
        recorder.setOutputFormat(0);
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
        QVERIFY(!recorder.IsRecording());
        QVERIFY(stopped.wait(10000));
        QCOMPARE(recorder.FileName(), folder + QStringLiteral("/take.wav"));
        QCOMPARE(folderEntries(folder), QStringList{QStringLiteral("take.wav")});
        const MediaFacts facts = probeMediaFile(recorder.FileName());
        QCOMPARE(facts.codecName, QStringLiteral("pcm_s16le"));
        QVERIFY2(std::abs(facts.duration - recorder.RecordedTime() / 1000.0) < 0.1,
                 qPrintable(QString::number(facts.duration)));
    }

    // A recorder that goes away while recording (the program closing) saves the file first.
    void savedAtShutdown() {
        const QString path = m_dir.path(QStringLiteral("shutdown.mp3"));
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
        const QString path = m_dir.path(QStringLiteral("along.wav"));
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
        QVERIFY_THROWS_EXCEPTION(Error, player.Play(m_dir.path(QStringLiteral("none.mp3"))));
    }

    // A source unloaded mid-recording ends the recording; what was captured is kept.
    void deviceGoesAway() {
        const QString source = QStringLiteral("melvane_removable");
        const QString module =
            pactl({"load-module", "module-sine-source", "source_name=" + source, "frequency=440"})
                .trimmed();
        QVERIFY(!module.isEmpty());
        const QString path = m_dir.path(QStringLiteral("lost.mp3"));
        SoundRecorder recorder;
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        QSignalSpy failed(&recorder, &Record::Failed);
        QTRY_VERIFY_WITH_TIMEOUT(!listing(recorder, source).formats.isEmpty(), 5000);
        recorder.setFileName(path);
        recorder.setDevice(source);
        recorder.StartRecording();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 2000, kAudioWait);
        pactl({"unload-module", module});
        QVERIFY(stopped.wait(10000));
        QVERIFY(!recorder.IsRecording());
        QCOMPARE(failed.size(), 1);
        QVERIFY2(failed[0][0].toString().contains(QLatin1String("is no longer there")) &&
                     failed[0][0].toString().contains(path),
                 qPrintable(failed[0][0].toString()));
        QVERIFY(probeMediaFile(path).duration >= 1.9);
        QVERIFY(std::abs(decodeFile(path).frequency(0) - 440.0) < 5.0);
    }

    void repairsAFileCutShort_data() {
        QTest::addColumn<int>("codec");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("mp3 44.1 kHz stereo") << int(OutputCodec::Mp3Lame) << 44100 << 2;
        QTest::newRow("mp3 22.05 kHz mono") << int(OutputCodec::Mp3Lame) << 22050 << 1;
        QTest::newRow("mp3 8 kHz mono") << int(OutputCodec::Mp3Lame) << 8000 << 1;
        QTest::newRow("mp3 shine 48 kHz") << int(OutputCodec::Mp3Shine) << 48000 << 2;
        QTest::newRow("wav 16 bit") << int(OutputCodec::Wav) << 44100 << 2;
        QTest::newRow("wav 8 bit mono") << int(OutputCodec::Wav8) << 11025 << 1;
    }

    // What a crash leaves: three seconds as far as they were flushed, the last write cut
    // short. Repaired, the file plays all but its last frames and says how long it is; a
    // second repair changes nothing.
    void repairsAFileCutShort() {
        QFETCH(int, codec);
        QFETCH(int, rate);
        QFETCH(int, channels);
        const PcmFormat format{rate, channels};
        const QString folder = m_dir.path(QStringLiteral("repair"));
        QVERIFY(QDir().mkpath(folder));
        const QString crashed =
            folder + u'/' + QString::fromLatin1(QTest::currentDataTag()) + ".recording";
        {
            // As the recorder writes: one encoder, each frame out as soon as it is made.
            EncodedSink::Options options{OutputCodec(codec), 64000, {}};
            options.cores = 1;
            EncodedSink sink(folder + QStringLiteral("/never.out"), options, format);
            SineSource sine(format, 3.0);
            std::vector<qint16> buffer(size_t(4096 * channels));
            while (const qint64 n = sine.read(buffer.data(), 4096))
                sink.write(buffer.data(), n);
            sink.flush();
            QVERIFY(QFile::copy("/proc/self/fd/" + QString::number(sink.fd()), crashed));
        }
        QFile file(crashed);
        QVERIFY(file.resize(file.size() - 101));
        const auto repair = [&] {
            const int fd = ::open(QFile::encodeName(crashed).constData(), O_RDWR);
            const double seconds = repairRecording(fd, crashed);
            ::close(fd);
            return seconds;
        };
        const double seconds = repair();
        QVERIFY2(seconds > 2.6 && seconds <= 3.0, qPrintable(QString::number(seconds)));
        const MediaFacts facts = probeMediaFile(crashed);
        QVERIFY2(std::abs(facts.duration - seconds) < 0.05,
                 qPrintable(
                     QStringLiteral("%1 s said, %2 s repaired").arg(facts.duration).arg(seconds)));
        QCOMPARE(headerSeconds(crashed, rate), seconds);
        const DecodedAudio audio = decodeFile(crashed);
        QVERIFY(std::abs(double(audio.frames()) / rate - seconds) < 0.1);
        QVERIFY2(std::abs(audio.frequency(0) - 440.0) < 5.0,
                 qPrintable(QString::number(audio.frequency(0))));
        const QByteArray repaired = fileState(crashed).first;
        QCOMPARE(repair(), seconds);
        QCOMPARE(fileState(crashed).first, repaired);
        QVERIFY(folderEntries(folder).filter(QStringLiteral("never")).isEmpty());
    }

    // While it runs, a recording is on the disk under a visible name, flushed every second and
    // locked: the running one is no interrupted recording, a copy of it (what a crash leaves)
    // is. Recovered, the copy plays to within a second of the time recorded; a name that is
    // taken gets a number; one without audio goes; nothing else is taken for one.
    void recoversWhatACrashLeaves() {
        const QString folder = m_dir.fresh(QStringLiteral("crash"));
        const QString other = m_dir.fresh(QStringLiteral("crashed"));
        const QString path = folder + QStringLiteral("/take.mp3");
        const QString growing = path + QStringLiteral(".recording");
        SoundRecorder recorder;
        recorder.setFileName(path);
        recorder.setDevice(kSine);
        QSignalSpy stopped(&recorder, &Record::RecordingStopped);
        recorder.StartRecording();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.RecordedTime() >= 3000, kAudioWait);
        const double recorded = recorder.RecordedTime() / 1000.0;
        // 128 kbit/s: all but the last second is in the file soon.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(growing).size() >= (recorded - 1.0) * 16000, 5000);
        QCOMPARE(recorder.InterruptedRecordings(folder), QStringList());
        QVERIFY(errorOf([&] {
                    recorder.RecoverRecording(growing);
                }).contains(QLatin1String("still being recorded")));
        const QString copy = other + QStringLiteral("/take.mp3.recording");
        QVERIFY(QFile::copy(growing, copy));
        recorder.StopRecording();
        QVERIFY(stopped.wait(10000));
        QVERIFY(!QFile::exists(growing));

        writeBytes(other + QStringLiteral("/take.mp3"), "taken");
        const QString empty = other + QStringLiteral("/empty.wav.recording");
        writeBytes(empty, QByteArray("RIFF\xff\xff\xff\xffWAVEfmt \x10\0\0\0\1\0\2\0"
                                     "\x44\xac\0\0\x10\xb1\2\0\4\0\x10\0data\xff\xff\xff\xff",
                                     44));
        const QStringList found = recorder.InterruptedRecordings(other);
        QCOMPARE(QSet<QString>(found.begin(), found.end()), QSet<QString>({copy, empty}));
        const QString kept = recorder.RecoverRecording(copy);
        QCOMPARE(kept, other + QStringLiteral("/take (2).mp3"));
        const double duration = probeMediaFile(kept).duration;
        QVERIFY2(duration >= recorded - 1.1,
                 qPrintable(QStringLiteral("%1 s of %2 s kept").arg(duration).arg(recorded)));
        QVERIFY(std::abs(decodeFile(kept).frequency(0) - 440.0) < 5.0);
        QCOMPARE(recorder.RecoverRecording(empty), QString());
        QCOMPARE(recorder.InterruptedRecordings(other), QStringList());
        QCOMPARE(folderEntries(other), QStringList({"take (2).mp3", "take.mp3"}));
        QVERIFY(errorOf([&] {
                    recorder.RecoverRecording(kept);
                }).contains(QLatin1String("does not end in")));
    }
};

MELVANE_AUDIO_TEST_MAIN(TestSoundRecorder, QCoreApplication)
#include "test_sound_recorder.moc"
