// The codec and media-information components on real FFmpeg, as the convert panel and the
// command-line tool use them: Encode/Decode return at once, Progress arrives queued on the
// component's thread and ends with exactly one 100.

#include "backends/media/Codecs.h"
#include "backends/media/MediaProbe.h"
#include "tests/media/MediaTestSupport.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <cmath>

namespace {

constexpr PcmFormat kStereo44{44100, 2};

// One of the four codec components as every test sees it: start it, and what it reported.
struct Codec {
    std::unique_ptr<QObject> component;
    std::function<void()> start;
    std::unique_ptr<QSignalSpy> progress;
    std::unique_ptr<QSignalSpy> failed;
    bool offThread = false; // a Progress was emitted on another thread than the component's
};

template <class C> std::unique_ptr<Codec> hold(C* c, std::function<void()> start) {
    auto codec = std::make_unique<Codec>(Codec{std::unique_ptr<QObject>(c), std::move(start),
                                               std::make_unique<QSignalSpy>(c, &C::Progress),
                                               std::make_unique<QSignalSpy>(c, &C::Failed)});
    const auto seen = [codec = codec.get(), c] {
        codec->offThread |= QThread::currentThread() != c->thread();
    };
    QObject::connect(c, &C::Progress, c, seen, Qt::DirectConnection);
    return codec;
}

// kind is the component's name: MEnc, WAEnc, MDec or WaDec.
std::unique_ptr<Codec> makeCodec(const QString& kind, const QString& in, const QString& out,
                                 double bitrate = 128e3, qint16 encoderSwitch = 0) {
    if (kind == "WAEnc") {
        auto* c = new WmaEncoder;
        c->setBitrate(bitrate);
        return hold(c, [c, in, out] { c->Encode(in, out); });
    }
    if (kind == "MEnc") {
        auto* c = new Mp3Encoder;
        c->setEncoderSwitch(encoderSwitch);
        c->setBitrate(bitrate);
        c->setInputFile(in);
        c->setOutputFile(out);
        return hold(c, [c] { c->Encode(); });
    }
    const auto decoder = [&](auto* c) {
        c->setInputFile(in);
        c->setOutputFile(out);
        return hold(c, [c] { c->Decode(); });
    };
    return kind == "MDec" ? decoder(new Mp3Decoder) : decoder(new WmaDecoder);
}

// Waits for the 100 and checks the contract: at least two reports, rising in steps of `step`,
// below 100 until the one final 100.
bool awaitHundred(const QSignalSpy& spy, double step) {
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(!spy.isEmpty() && spy.last().at(0).toDouble() == 100.0, 20000);
        QVERIFY(spy.count() >= 2);
        double last = -1.0;
        for (int i = 0; i < spy.count(); ++i) {
            const double value = spy.at(i).at(0).toDouble();
            QVERIFY2(value > last && (value < 100.0 || i + 1 == spy.count()),
                     qPrintable(QStringLiteral("%1 after %2").arg(value).arg(last)));
            QVERIFY(std::abs(value / step - std::round(value / step)) < 1e-6);
            last = value;
        }
    }();
    return !QTest::currentTestFailed();
}

} // namespace

class TestMediaCodecs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void roundTrip_data();
    void roundTrip();
    void refusedAtOnce_data();
    void refusedAtOnce();
    void failureDuringTheWork();
    void busyCancelAndDestroy();
    void nextFileStartsFromTheHundredHandler();
    void mediaInfo();
    void wmaFileReader();

private:
    QTemporaryDir m_media;                // sources, made once
    std::unique_ptr<QTemporaryDir> m_out; // a clean output folder per test
    QString media(const QString& name) const { return m_media.filePath(name); }
    QString out(const QString& name) const { return m_out->filePath(name); }
};

void TestMediaCodecs::initTestCase() {
    QVERIFY(m_media.isValid());
    writeSine(media("tone.wav"), OutputCodec::Wav, kStereo44, 3.0);
    writeSine(media("long.wav"), OutputCodec::Wav, kStereo44, 60.0);
    writeSine(media("tone.mp3"), OutputCodec::Mp3Lame, kStereo44, 3.0);
    writeSine(media("tone.wma"), OutputCodec::Wma, kStereo44, 3.0);
    QVERIFY(QFile::copy(media("tone.mp3"), media("really-mp3.wav")));
    writeBytes(media("empty.wav"), {});
    writeBytes(media("text.wav"), "RIFF? No, just a note.\n");
    writeBytes(media("plain-file"), "x");
    QVERIFY(QDir(m_media.path()).mkdir("folder.wav"));
    for (const auto& [type, bytes] : {std::pair("wav", 200000), {"mp3", 20000}, {"wma", 30000}}) {
        QFile whole(media(QStringLiteral("tone.") + type));
        QVERIFY(whole.open(QIODevice::ReadOnly));
        writeBytes(media(QStringLiteral("cut.") + type), whole.readAll().left(bytes));
    }
}

void TestMediaCodecs::init() {
    m_out = std::make_unique<QTemporaryDir>();
    QVERIFY(m_out->isValid());
}

void TestMediaCodecs::roundTrip_data() {
    QTest::addColumn<QString>("encoder");
    QTest::addColumn<qint16>("encoderSwitch");
    QTest::addColumn<QString>("source");
    QTest::addColumn<double>("bitrate");
    QTest::addColumn<qint64>("written");
    QTest::newRow("LAME") << "MEnc" << qint16(0) << "tone.wav" << 192e3 << 192000LL;
    QTest::newRow("shine") << "MEnc" << qint16(1) << "tone.wav" << 192e3 << 192000LL;
    // Files are read by their content: an MP3 named .wav is the MP3 it is.
    QTest::newRow("misnamed MP3") << "MEnc" << qint16(0) << "really-mp3.wav" << 128e3 << 128000LL;
    // Every WMA rate of the convert panel (320 to 32) and of the rip panel (160 to 22); wmav2
    // takes nothing under 24 kbit/s, so 22 gets that.
    for (const int kbps : {320, 256, 192, 160, 128, 96, 80, 64, 48, 40, 36, 32, 22})
        QTest::addRow("WMA %d", kbps) << "WAEnc" << qint16(0) << "tone.wav" << kbps * 1e3
                                      << qint64(std::max(kbps, 24)) * 1000;
}

// Encode with the component, decode back with the matching one: both keep the contract of their
// progress, the source stays untouched, and rate, channels and length come back.
void TestMediaCodecs::roundTrip() {
    QFETCH(QString, encoder);
    QFETCH(qint16, encoderSwitch);
    QFETCH(QString, source);
    QFETCH(double, bitrate);
    QFETCH(qint64, written);
    const bool wma = encoder == "WAEnc";
    const double step = wma ? 0.1 : 1.0;
    const QString in = media(source);
    const QString encoded = out(wma ? "tone.wma" : "tone.mp3");
    const auto before = fileState(in);
    const auto enc = makeCodec(encoder, in, encoded, bitrate, encoderSwitch);
    enc->start();
    QVERIFY(enc->progress->isEmpty()); // queued: nothing arrives inside Encode()
    QVERIFY(awaitHundred(*enc->progress, step));
    QVERIFY(!enc->offThread);
    QVERIFY(enc->failed->isEmpty());
    QCOMPARE(fileState(in), before);
    const MediaFacts facts = probeMediaFile(encoded);
    QCOMPARE(facts.codecName, wma ? "wmav2" : "mp3");
    QCOMPARE(facts.bitRate, written);

    const auto dec = makeCodec(wma ? "WaDec" : "MDec", encoded, out("back.wav"));
    dec->start();
    QVERIFY(awaitHundred(*dec->progress, step));
    QVERIFY(!dec->offThread);
    QCOMPARE(folderEntries(m_out->path()), QStringList({"back.wav", encoded.section('/', -1)}));
    const DecodedAudio original = decodeFile(in);
    const DecodedAudio back = decodeFile(out("back.wav"));
    QCOMPARE(back.format, original.format);
    QCOMPARE_LE(std::abs(back.frames() - original.frames()), wma ? 2048 : 1152);
    QCOMPARE_LT(std::abs(back.frequency(0) - 440.0), 2.0);
}

// clang-format off
void TestMediaCodecs::refusedAtOnce_data() {
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");
    QTest::addColumn<double>("bitrate");
    // %in, %out and %dir stand for the paths, %whole for the size of the complete file. (A
    // missing file, a pipe, a device: test_cli::failedFilesAreNamedAndOthersConverted.)
    QTest::addColumn<QString>("message");
    QTest::newRow("empty") << "MEnc" << "empty.wav" << "a.mp3" << 128e3
        << "Cannot read %in: the file is empty";
    QTest::newRow("folder") << "MEnc" << "folder.wav" << "a.mp3" << 128e3
        << "Cannot read %in: it is a folder, not a file";
    QTest::newRow("not audio") << "MDec" << "text.wav" << "a.wav" << 0.0
        << "Cannot read %in: it is not an audio file FFmpeg can decode";
    QTest::newRow("truncated wav") << "MEnc" << "cut.wav" << "a.mp3" << 128e3
        << "Cannot read %in: the file is truncated (its header announces %whole bytes, "
           "but it has only 200000)";
    QTest::newRow("truncated wma") << "WaDec" << "cut.wma" << "a.wav" << 0.0
        << "Cannot read %in: the file is truncated";
    QTest::newRow("vanished folder") << "MEnc" << "tone.wav" << "gone/a.mp3" << 128e3
        << "Cannot write %out: the folder %dir does not exist";
    QTest::newRow("folder is a file") << "WAEnc" << "tone.wav" << "plain-file/a.wma" << 128e3
        << "Cannot write %out: %dir is not a folder";
    QTest::newRow("output is input") << "MEnc" << "tone.wav" << "tone.wav" << 128e3
        << "Cannot write %out: it is the input file itself";
    QTest::newRow("no bit rate") << "MEnc" << "tone.wav" << "a.mp3" << 0.0
        << "Cannot write %out: 0 bit/s is not a usable bit rate";
}
// clang-format on

// What can be known before the work starts raises from Encode/Decode itself; nothing is
// written, nothing touched, nothing reported afterwards.
void TestMediaCodecs::refusedAtOnce() {
    QFETCH(QString, codec);
    QFETCH(QString, input);
    QFETCH(QString, output);
    QFETCH(double, bitrate);
    QFETCH(QString, message);
    const QString in = media(input);
    // Outputs beside the media when they name it, else in the clean folder.
    const QString target =
        QFileInfo::exists(media(output.section('/', 0, 0))) ? media(output) : out(output);
    const auto before = fileState(in);
    const QStringList mediaBefore = folderEntries(m_media.path());
    const auto refusing = makeCodec(codec, in, target, bitrate);
    const QString error = errorOf(refusing->start);
    message.replace("%in", in).replace("%out", target).replace("%dir", QFileInfo(target).path());
    message.replace("%whole", QString::number(QFileInfo(media("tone.wav")).size()));
    QVERIFY2(error.startsWith(message), qPrintable(error));
    QVERIFY(!refusing->progress->wait(50));
    QVERIFY(refusing->failed->isEmpty());
    QVERIFY(folderEntries(m_out->path()).isEmpty());
    QCOMPARE(folderEntries(m_media.path()), mediaBefore);
    QCOMPARE(fileState(in), before);
}

// A failure found while working: reported through Failed, never a 100, no file left behind,
// the source untouched; the same component works again afterwards.
void TestMediaCodecs::failureDuringTheWork() {
    const auto cutBefore = fileState(media("cut.mp3"));
    Mp3Decoder decoder;
    QSignalSpy progress(&decoder, &MDec::Progress);
    QSignalSpy failed(&decoder, &MDec::Failed);
    decoder.setInputFile(media("cut.mp3")); // its header looks fine; the end is missing
    decoder.setOutputFile(out("cut.wav"));
    decoder.Decode();
    QVERIFY(failed.wait(10000));
    QVERIFY(failed.at(0).at(0).toString().startsWith("Cannot read " + media("cut.mp3") +
                                                     ": the file is truncated"));
    QVERIFY(!progress.contains(QVariantList{100}));
    QCOMPARE(fileState(media("cut.mp3")), cutBefore);
    QVERIFY(folderEntries(m_out->path()).isEmpty());

    progress.clear();
    decoder.setInputFile(media("tone.mp3"));
    decoder.Decode();
    QVERIFY(awaitHundred(progress, 1.0));
    QCOMPARE(folderEntries(m_out->path()), QStringList{"cut.wav"});
}

// A long file: a second Encode is refused while it runs; Cancel drops the reports still queued
// and the output, and the next file runs to its single 100. A component destroyed while
// working leaves nothing either.
void TestMediaCodecs::busyCancelAndDestroy() {
    const QString input = media("long.wav");
    Mp3Encoder encoder;
    QSignalSpy progress(&encoder, &MEnc::Progress);
    encoder.setInputFile(input);
    encoder.setOutputFile(out("long.mp3"));
    encoder.Encode();
    encoder.setOutputFile(out("second.mp3"));
    QCOMPARE(errorOf([&] { encoder.Encode(); }),
             "Cannot convert " + input + ": " + input + " is still being converted");
    QTRY_VERIFY_WITH_TIMEOUT(progress.count() >= 3, 10000);
    encoder.Cancel();
    const qsizetype reported = progress.count();
    QVERIFY(MediaJob::waitForAll(5000));
    QCoreApplication::processEvents();
    QCOMPARE(progress.count(), reported);
    QVERIFY(folderEntries(m_out->path()).isEmpty());

    encoder.setInputFile(media("tone.wav"));
    encoder.setOutputFile(out("tone.mp3"));
    encoder.Encode();
    progress.clear();
    QVERIFY(awaitHundred(progress, 1.0));
    QCOMPARE(folderEntries(m_out->path()), QStringList{"tone.mp3"});

    auto wma = std::make_unique<WmaEncoder>();
    QSignalSpy wmaProgress(wma.get(), &WAEnc::Progress);
    wma->Encode(input, out("long.wma"));
    QVERIFY(wmaProgress.wait(10000));
    wma.reset();
    QVERIFY(MediaJob::waitForAll(5000));
    QCOMPARE(folderEntries(m_out->path()), QStringList{"tone.mp3"});
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

// Durations and sizes as melvane-cli info shows them: test_cli::roundTrip.
void TestMediaCodecs::mediaInfo() {
    MediaInfo info;
    info.ReadMp3Info(media("tone.mp3"));
    info.ReadWmaInfo(media("tone.wma"));
    QVERIFY(std::abs(info.WmaDuration() - 3.0f) < 0.1f);
    // A failed read names the file and clears its own pair only.
    QCOMPARE(errorOf([&] { info.ReadWmaInfo(media("text.wav")); }),
             "Cannot read " + media("text.wav") + ": it is not an audio file FFmpeg can decode");
    QCOMPARE(std::pair(info.WmaDuration(), info.WmaSizeMB()), std::pair(0.0f, 0.0f));
    QVERIFY(info.Mp3Duration() > 0.0f);
    info.ReadWmaInfo(media("cut.wma")); // truncated, yet described
    QVERIFY(info.WmaDuration() > 0.0f);
}

void TestMediaCodecs::wmaFileReader() {
    SineSource sine(kStereo44, 2.0);
    const QMap<QString, QString> tags{
        {"title", "Überlied"}, {"artist", "Band"}, {"album", "Light"}};
    writeSource(sine, out("tagged.wma"), {OutputCodec::Wma, 160000, tags});
    WmaFileReader reader;
    reader.Open(out("tagged.wma"));
    QCOMPARE(QStringList({reader.Title(), reader.Author(), reader.Album()}),
             QStringList({"Überlied", "Band", "Light"}));
    QCOMPARE_LT(std::abs(reader.Duration() - 2.0), 0.1);
    QCOMPARE(QList<qint32>({reader.Bitrate(), reader.SampleRate(), reader.Channels()}),
             QList<qint32>({160000, 44100, 2}));

    const QString error = errorOf([&] { reader.Open(media("tone.mp3")); });
    QVERIFY2(error.startsWith("Cannot read " + media("tone.mp3") + ": it is not a WMA file"),
             qPrintable(error));
    QCOMPARE(std::pair(reader.Title(), reader.SampleRate()), std::pair(QString(), 0));
}

QTEST_GUILESS_MAIN(TestMediaCodecs)
#include "test_media_codecs.moc"
