// The codec and media-information components on real FFmpeg, as the convert panel and the
// command-line tool use them: Encode/Decode return at once, Progress arrives queued on the
// component's thread and ends with exactly one 100.

#include "backends/media/Codecs.h"
#include "backends/media/MediaProbe.h"
#include "components/Error.h"
#include "tests/media/MediaTestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <cmath>
#include <csignal>
#include <sys/resource.h>

namespace {

constexpr PcmFormat kStereo44{44100, 2};

QString errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& e) {
        return e.message();
    }
    return {};
}

void writeBytes(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Progress values as a component reported them, checked against the contract: rising, below
// 100 until exactly one final 100.
template <typename Value>
void checkProgress(const QSignalSpy& spy, double step) {
    QVERIFY(spy.count() >= 2);
    double last = -1.0;
    for (int i = 0; i < spy.count(); ++i) {
        const double value = spy.at(i).at(0).value<Value>();
        QVERIFY2(value > last, qPrintable(QStringLiteral("%1 after %2").arg(value).arg(last)));
        if (i + 1 < spy.count()) {
            QVERIFY2(value < 100.0, qPrintable(QString::number(value)));
            // Steps of the stated size, not a flood of equal values.
            QVERIFY(std::abs(value / step - std::round(value / step)) < 1e-6);
        }
        last = value;
    }
    QCOMPARE(spy.last().at(0).value<Value>(), Value(100));
}

// Lowers this process's file size limit for a scope: writes beyond it fail with EFBIG.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_saved);
        rlimit lowered = m_saved;
        lowered.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &lowered);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_saved); }

private:
    rlimit m_saved{};
};

} // namespace

class TestMediaCodecs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void mp3RoundTrip_data();
    void mp3RoundTrip();
    void wmaRoundTrip();
    void refusedAtOnce_data();
    void refusedAtOnce();
    void otherCodecsRefuseAtOnce();
    void failureDuringTheWork();
    void misnamedMp3IsEncodedByContent();
    void cancelStopsCleanly();
    void destroyingWhileWorkingCleansUp();
    void busyEncoderRefusesASecondFile();
    void nextFileStartsFromTheHundredHandler();
    void mediaInfo();
    void wmaFileReader();

private:
    QTemporaryDir m_media; // sources, made once
    QTemporaryDir* m_out = nullptr;
    std::unique_ptr<QTemporaryDir> m_outOwner; // a clean output folder per test
    QString media(const QString& name) const { return m_media.filePath(name); }
    QString out(const QString& name) const { return m_out->filePath(name); }
};

void TestMediaCodecs::initTestCase() {
    QVERIFY(m_media.isValid());
    writeSine(media("tone.wav"), OutputCodec::Wav, kStereo44, 3.0);
    writeSine(media("tone48.wav"), OutputCodec::Wav, {48000, 1}, 3.0);
    writeSine(media("long.wav"), OutputCodec::Wav, kStereo44, 60.0);
    writeSine(media("tone.mp3"), OutputCodec::Mp3Lame, kStereo44, 3.0);
    writeSine(media("tone.wma"), OutputCodec::Wma, kStereo44, 3.0);
    writeBytes(media("empty.wav"), {});
    writeBytes(media("text.wav"), "RIFF? No, just a note.\n");
    writeBytes(media("text.mp3"), "Not an MP3 either.\n");
    QFile whole(media("tone.wav"));
    QVERIFY(whole.open(QIODevice::ReadOnly));
    writeBytes(media("cut.wav"), whole.readAll().left(200000));
    QFile mp3(media("tone.mp3"));
    QVERIFY(mp3.open(QIODevice::ReadOnly));
    writeBytes(media("cut.mp3"), mp3.readAll().left(20000));
    QVERIFY(QFile::copy(media("tone.mp3"), media("really-mp3.wav")));
    writeBytes(media("plain-file"), "x");
}

void TestMediaCodecs::init() {
    m_outOwner = std::make_unique<QTemporaryDir>();
    m_out = m_outOwner.get();
    QVERIFY(m_out->isValid());
}

void TestMediaCodecs::mp3RoundTrip_data() {
    QTest::addColumn<qint16>("encoderSwitch");
    QTest::addColumn<QString>("source");
    QTest::newRow("LAME") << qint16(0) << "tone.wav";
    QTest::newRow("shine") << qint16(1) << "tone.wav";
    QTest::newRow("LAME mono 48k") << qint16(0) << "tone48.wav";
}

void TestMediaCodecs::mp3RoundTrip() {
    QFETCH(qint16, encoderSwitch);
    QFETCH(QString, source);
    const FileState sourceBefore = fileState(media(source));
    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    QSignalSpy failed(&encoder, &MEnc::Failed);
    QThread* deliveredOn = nullptr;
    connect(&encoder, &MEnc::Progress, this, [&] { deliveredOn = QThread::currentThread(); });
    encoder.setEncoderSwitch(encoderSwitch);
    encoder.setBitrate(192000.0);
    encoder.setInputFile(media(source));
    encoder.setOutputFile(out("tone.mp3"));
    encoder.Encode();
    QVERIFY(progress.isEmpty()); // queued: nothing arrives inside Encode()
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toInt() == 100, 20000);
    QVERIFY(failed.isEmpty());
    checkProgress<qint32>(progress, 1.0);
    QCOMPARE(deliveredOn, QThread::currentThread());
    QCOMPARE(folderEntries(m_out->path()), QStringList{"tone.mp3"});
    QCOMPARE(fileState(media(source)), sourceBefore);
    const MediaFacts facts = probeMediaFile(out("tone.mp3"));
    QCOMPARE(facts.codecName, QStringLiteral("mp3"));
    QCOMPARE(facts.bitRate, 192000);

    Mp3Decoder decoder;
    QSignalSpy decoded(&decoder, &MDec::Progress);
    decoder.setInputFile(out("tone.mp3"));
    decoder.setOutputFile(out("back.wav"));
    decoder.Decode();
    QTRY_VERIFY_WITH_TIMEOUT(!decoded.isEmpty() && decoded.last().at(0).toInt() == 100, 20000);
    checkProgress<qint32>(decoded, 1.0);
    QCOMPARE(folderEntries(m_out->path()), QStringList({"back.wav", "tone.mp3"}));

    const DecodedAudio original = decodeFile(media(source));
    const DecodedAudio back = decodeFile(out("back.wav"));
    QCOMPARE(back.format, original.format);
    QVERIFY(std::abs(back.frames() - original.frames()) <= 1152);
    QVERIFY(std::abs(back.frequency(0) - 440.0) < 2.0);
    QVERIFY(std::abs(20.0 * std::log10(back.rms(0) / original.rms(0))) < 1.5);
}

void TestMediaCodecs::wmaRoundTrip() {
    const FileState sourceBefore = fileState(media("tone.wav"));
    WmaEncoder encoder;
    QSignalSpy progress(&encoder, &WAEnc::Progress);
    QSignalSpy failed(&encoder, &WAEnc::Failed);
    encoder.setBitrate(96000.0);
    encoder.Encode(media("tone.wav"), out("tone.wma"));
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toDouble() == 100.0, 20000);
    QVERIFY(failed.isEmpty());
    checkProgress<double>(progress, 0.1);
    QCOMPARE(fileState(media("tone.wav")), sourceBefore);
    const MediaFacts facts = probeMediaFile(out("tone.wma"));
    QCOMPARE(facts.codecName, QStringLiteral("wmav2"));
    QCOMPARE(facts.bitRate, 96000);

    WmaDecoder decoder;
    QSignalSpy decoded(&decoder, &WaDec::Progress);
    decoder.setInputFile(out("tone.wma"));
    decoder.setOutputFile(out("back.wav"));
    decoder.Decode();
    QTRY_VERIFY_WITH_TIMEOUT(!decoded.isEmpty() && decoded.last().at(0).toDouble() == 100.0, 20000);
    checkProgress<double>(decoded, 0.1);
    QCOMPARE(folderEntries(m_out->path()), QStringList({"back.wav", "tone.wma"}));
    const DecodedAudio back = decodeFile(out("back.wav"));
    QCOMPARE(back.format, kStereo44);
    QVERIFY(std::abs(back.frames() - 132300) <= 2048);
    QVERIFY(std::abs(back.frequency(1) - 660.0) < 2.0);
}

void TestMediaCodecs::refusedAtOnce_data() {
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<double>("bitrate");
    // %in, %out and %dir stand for the paths, %whole for the size of the complete file.
    QTest::addColumn<QString>("message");
    QTest::newRow("missing") << "nothing.wav" << "a.mp3" << 128000.0
                             << "Cannot read %in: the file does not exist";
    QTest::newRow("empty") << "empty.wav" << "a.mp3" << 128000.0
                           << "Cannot read %in: the file is empty";
    QTest::newRow("not audio") << "text.wav" << "a.mp3" << 128000.0
                               << "Cannot read %in: it is not an audio file FFmpeg can decode";
    QTest::newRow("truncated") << "cut.wav" << "a.mp3" << 128000.0
                               << "Cannot read %in: the file is truncated (its header announces "
                                  "%whole bytes, but it has only 200000)";
    QTest::newRow("vanished folder") << "tone.wav" << "gone/a.mp3" << 128000.0
                                     << "Cannot write %out: the folder %dir does not exist";
    QTest::newRow("folder is a file") << "tone.wav" << "plain-file/a.mp3" << 128000.0
                                      << "Cannot write %out: %dir is not a folder";
    QTest::newRow("output is input") << "tone.wav" << "tone.wav" << 128000.0
                                     << "Cannot write %out: it is the input file itself";
    QTest::newRow("no bit rate") << "tone.wav" << "a.mp3" << 0.0
                                 << "Cannot write %out: 0 bit/s is not a usable bit rate";
}

// What can be known before the work starts raises from Encode itself; nothing is written,
// nothing is reported afterwards.
void TestMediaCodecs::refusedAtOnce() {
    QFETCH(QString, input);
    QFETCH(QString, output);
    QFETCH(double, bitrate);
    QFETCH(QString, message);
    const QString in = media(input);
    // Outputs beside the media when they name it, else in the clean folder.
    const QString target =
        QFileInfo::exists(media(output.section('/', 0, 0))) ? media(output) : out(output);
    const FileState before = fileState(in);
    const QStringList mediaBefore = folderEntries(m_media.path());

    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    QSignalSpy failed(&encoder, &MEnc::Failed);
    encoder.setBitrate(bitrate);
    encoder.setInputFile(in);
    encoder.setOutputFile(target);
    const QString error = errorOf([&] { encoder.Encode(); });
    message.replace("%in", in).replace("%out", target).replace("%dir", QFileInfo(target).path());
    message.replace("%whole", QString::number(QFileInfo(media("tone.wav")).size()));
    QVERIFY2(error.startsWith(message), qPrintable(error));
    QVERIFY(!progress.wait(50));
    QVERIFY(failed.isEmpty());
    QVERIFY(folderEntries(m_out->path()).isEmpty());
    QCOMPARE(folderEntries(m_media.path()), mediaBefore);
    QCOMPARE(fileState(in), before);
}

void TestMediaCodecs::otherCodecsRefuseAtOnce() {
    Mp3Decoder mp3;
    mp3.setInputFile(media("text.mp3"));
    mp3.setOutputFile(out("a.wav"));
    QVERIFY(errorOf([&] { mp3.Decode(); }).startsWith("Cannot read " + media("text.mp3") + ": it is not"));
    WmaDecoder wma;
    wma.setInputFile(media("nothing.wma"));
    wma.setOutputFile(out("a.wav"));
    QCOMPARE(errorOf([&] { wma.Decode(); }), "Cannot read " + media("nothing.wma") + ": the file does not exist");
    WmaEncoder encoder;
    encoder.setBitrate(16000.0); // below what wmav2 can do
    const QString error = errorOf([&] { encoder.Encode(media("tone.wav"), out("low.wma")); });
    QVERIFY2(error.startsWith("Cannot write " + out("low.wma") + ": the wmav2 encoder refuses"), qPrintable(error));
    QVERIFY(folderEntries(m_out->path()).isEmpty());
}

// Failures found while working: reported through Failed, never a 100, no file left behind.
void TestMediaCodecs::failureDuringTheWork() {
    const FileState cutBefore = fileState(media("cut.mp3"));
    Mp3Decoder decoder;
    QSignalSpy progress(&decoder, &MDec::Progress);
    QSignalSpy failed(&decoder, &MDec::Failed);
    decoder.setInputFile(media("cut.mp3"));
    decoder.setOutputFile(out("cut.wav"));
    decoder.Decode(); // its header looks fine; the end is missing
    QVERIFY(failed.wait(10000));
    QVERIFY2(failed.at(0).at(0).toString().startsWith("Cannot read " + media("cut.mp3") +
                                                      ": the file is truncated"),
             qPrintable(failed.at(0).at(0).toString()));
    QVERIFY(!progress.contains(QVariantList{100}));
    QVERIFY(folderEntries(m_out->path()).isEmpty());
    QCOMPARE(fileState(media("cut.mp3")), cutBefore);

    // A full disk: the file grows beyond what may be written.
    WmaDecoder wma;
    QSignalSpy wmaProgress(&wma, &WaDec::Progress);
    QSignalSpy wmaFailed(&wma, &WaDec::Failed);
    {
        FileSizeLimit limit(100 * 1024);
        wma.setInputFile(media("tone.wma"));
        wma.setOutputFile(out("full.wav"));
        wma.Decode();
        QVERIFY(wmaFailed.wait(10000));
    }
    QCOMPARE(wmaFailed.at(0).at(0).toString(), "Cannot write " + out("full.wav") + ": File too large");
    for (const QVariantList& args : wmaProgress)
        QVERIFY(args.at(0).toDouble() < 100.0);
    QVERIFY(folderEntries(m_out->path()).isEmpty());

    // The same component works again afterwards.
    wma.setOutputFile(out("fine.wav"));
    wma.Decode();
    QTRY_VERIFY_WITH_TIMEOUT(!wmaProgress.isEmpty() && wmaProgress.last().at(0).toDouble() == 100.0, 20000);
    QCOMPARE(folderEntries(m_out->path()), QStringList{"fine.wav"});
}

// Files are recognised by their content: an MP3 named .wav is read as the MP3 it is.
void TestMediaCodecs::misnamedMp3IsEncodedByContent() {
    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    encoder.setInputFile(media("really-mp3.wav"));
    encoder.setOutputFile(out("again.mp3"));
    encoder.Encode();
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toInt() == 100, 20000);
    QCOMPARE(decodeFile(out("again.mp3")).frames(), 132300);
}

void TestMediaCodecs::cancelStopsCleanly() {
    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    connect(&encoder, &MEnc::Progress, this, [&](qint32 percent) {
        if (percent < 2)
            return;
        // Hold this thread until the worker has written (and so reported) several percent
        // more, so that reports of the job are still queued when it is cancelled.
        const QDir folder(m_out->path());
        const QString part = folder.entryList(QDir::Files | QDir::Hidden).value(0);
        const qint64 start = QFileInfo(folder.filePath(part)).size();
        QElapsedTimer waited;
        waited.start();
        while (!part.isEmpty() && QFileInfo(folder.filePath(part)).size() < start + 100000 &&
               waited.elapsed() < 10000)
            QThread::yieldCurrentThread();
        encoder.Cancel();
    });
    encoder.setInputFile(media("long.wav"));
    encoder.setOutputFile(out("long.mp3"));
    encoder.Encode();
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toInt() >= 2, 20000);
    QVERIFY(folderEntries(m_out->path()).isEmpty()); // the temporary file went with the cancel
    const int count = progress.count();
    QVERIFY(!progress.wait(300)); // nothing more from the cancelled job
    QCOMPARE(progress.count(), count);

    // A new file after a cancel runs to its single 100.
    progress.clear();
    disconnect(&encoder, &MEnc::Progress, this, nullptr);
    encoder.setInputFile(media("tone.wav"));
    encoder.setOutputFile(out("tone.mp3"));
    encoder.Encode();
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toInt() == 100, 20000);
    checkProgress<qint32>(progress, 1.0);
    QCOMPARE(folderEntries(m_out->path()), QStringList{"tone.mp3"});
}

void TestMediaCodecs::destroyingWhileWorkingCleansUp() {
    auto encoder = std::make_unique<WmaEncoder>();
    QSignalSpy progress(encoder.get(), &WAEnc::Progress);
    encoder->Encode(media("long.wav"), out("long.wma"));
    QVERIFY(progress.wait(10000));
    QVERIFY(progress.last().at(0).toDouble() < 100.0);
    encoder.reset();
    QVERIFY(folderEntries(m_out->path()).isEmpty());
    QCoreApplication::processEvents(); // events of the dead job must not reach anyone
}

void TestMediaCodecs::busyEncoderRefusesASecondFile() {
    Mp3Encoder encoder;
    encoder.setInputFile(media("long.wav"));
    encoder.setOutputFile(out("first.mp3"));
    encoder.Encode();
    encoder.setOutputFile(out("second.mp3"));
    QCOMPARE(errorOf([&] { encoder.Encode(); }),
             "Cannot convert " + media("long.wav") + ": " + media("long.wav") +
                 " is still being converted");
    encoder.Cancel();
    QVERIFY(folderEntries(m_out->path()).isEmpty());
}

// The convert job starts the next file from the handler of the 100.
void TestMediaCodecs::nextFileStartsFromTheHundredHandler() {
    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    QStringList queue{"b.mp3", "c.mp3"};
    connect(&encoder, &MEnc::Progress, this, [&](qint32 percent) {
        if (percent == 100 && !queue.isEmpty()) {
            encoder.setOutputFile(out(queue.takeFirst()));
            encoder.Encode();
        }
    });
    encoder.setInputFile(media("tone.wav"));
    encoder.setOutputFile(out("a.mp3"));
    encoder.Encode();
    QTRY_COMPARE_WITH_TIMEOUT(progress.count(QVariantList{100}), 3, 30000);
    QCOMPARE(folderEntries(m_out->path()), QStringList({"a.mp3", "b.mp3", "c.mp3"}));
}

void TestMediaCodecs::mediaInfo() {
    MediaInfo info;
    info.ReadWavInfo(media("tone.wav"));
    QCOMPARE(info.WavDuration(), 3.0f);
    QCOMPARE(info.WavSizeMB(), float(QFileInfo(media("tone.wav")).size() / 1024.0 / 1024.0));
    info.ReadMp3Info(media("tone.mp3"));
    QVERIFY(std::abs(info.Mp3Duration() - 3.0f) < 0.1f);
    QCOMPARE(info.Mp3SizeMB(), float(QFileInfo(media("tone.mp3")).size() / 1024.0 / 1024.0));
    info.ReadWmaInfo(media("tone.wma"));
    QVERIFY(std::abs(info.WmaDuration() - 3.0f) < 0.1f);
    QVERIFY(info.WmaSizeMB() > 0.0f);

    // A failed read names the file and leaves no figures of the previous one.
    QCOMPARE(errorOf([&] { info.ReadWmaInfo(media("text.wav")); }),
             "Cannot read " + media("text.wav") + ": it is not an audio file FFmpeg can decode");
    QCOMPARE(info.WmaDuration(), 0.0f);
    QCOMPARE(info.WmaSizeMB(), 0.0f);
    QCOMPARE(info.Mp3Duration() > 0.0f, true); // the other pairs stay
}

void TestMediaCodecs::wmaFileReader() {
    SineSource sine(kStereo44, 2.0);
    writeSource(sine, out("tagged.wma"),
                {OutputCodec::Wma, 160000, {{"title", "Überlied"}, {"artist", "The Band"},
                                            {"album", "First Light"}}});
    WmaFileReader reader;
    reader.Open(out("tagged.wma"));
    QCOMPARE(reader.Title(), QStringLiteral("Überlied"));
    QCOMPARE(reader.Author(), QStringLiteral("The Band"));
    QCOMPARE(reader.Album(), QStringLiteral("First Light"));
    QVERIFY(std::abs(reader.Duration() - 2.0) < 0.1);
    QCOMPARE(reader.Bitrate(), 160000);
    QCOMPARE(reader.SampleRate(), 44100);
    QCOMPARE(reader.Channels(), 2);

    QVERIFY(errorOf([&] { reader.Open(media("tone.mp3")); })
                .startsWith("Cannot read " + media("tone.mp3") + ": it is not a WMA file"));
    QCOMPARE(reader.Title(), QString());
    QCOMPARE(reader.SampleRate(), 0);
    QCOMPARE(errorOf([&] { reader.Open(media("nothing.wma")); }),
             "Cannot read " + media("nothing.wma") + ": the file does not exist");
}

QTEST_GUILESS_MAIN(TestMediaCodecs)
#include "test_media_codecs.moc"
