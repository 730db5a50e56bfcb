// The transcoding core on real FFmpeg: sources, sinks, the transcode loop and the job runner,
// on media synthesised through the core itself.

#include "backends/media/EncodedSink.h"
#include "backends/media/FileSource.h"
#include "backends/media/MediaProbe.h"
#include "backends/media/Transcode.h"
#include "components/Error.h"
#include "tests/media/MediaTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <csignal>
#include <sys/resource.h>
#include <thread>

namespace {

constexpr PcmFormat kStereo44{44100, 2};

// Raises Error after a number of frames, like a CD that stops reading.
class FailingSource final : public PcmSource {
public:
    explicit FailingSource(qint64 failAfter) : m_sine(kStereo44, 10.0), m_failAfter(failAfter) {}
    PcmFormat format() const override { return kStereo44; }
    qint64 expectedFrames() const override { return m_sine.expectedFrames(); }
    qint64 read(qint16* buffer, qint64 maxFrames) override {
        if (m_done >= m_failAfter)
            throw Error(QStringLiteral("Cannot read track 3: the disc stopped answering"));
        const qint64 n = m_sine.read(buffer, std::min(maxFrames, m_failAfter - m_done));
        m_done += n;
        return n;
    }

private:
    SineSource m_sine;
    qint64 m_failAfter;
    qint64 m_done = 0;
};

// Lowers the file size limit of this process for a scope, so writes fail with EFBIG as on a full
// disk (the tests run as root, whom a full tmpfs or permission bits would not stop reliably).
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

QString errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& e) {
        return e.message();
    }
    return {};
}

void writeText(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

void truncateCopy(const QString& from, const QString& to, double keep) {
    QFile in(from);
    QVERIFY(in.open(QIODevice::ReadOnly));
    const QByteArray all = in.readAll();
    writeText(to, all.left(qsizetype(all.size() * keep)));
}

} // namespace

class TestMediaCore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void wavIsBitExact();
    void roundTrip_data();
    void roundTrip();
    void threadsDoNotChangeABit_data();
    void threadsDoNotChangeABit();
    void shineTakesTheNearestRates();
    void convertsToCdAudio();
    void seekStartsAtTheRequestedFrame();
    void sinkWithoutCommitLeavesNoTrace();
    void sinkWriteErrors();
    void badInputs_data();
    void badInputs();
    void misnamedFileIsReadByItsContent();
    void transcodeProgressAndCancel();
    void transcodeRaisesSourceErrors();
    void jobReportsFromItsWorker();

private:
    QTemporaryDir m_dir;
    QString path(const QString& name) const { return m_dir.filePath(name); }
};

void TestMediaCore::initTestCase() {
    QVERIFY(m_dir.isValid());
    // The bad inputs.
    writeText(path("empty.wav"), {});
    QVERIFY(QDir(m_dir.path()).mkdir("folder.wav"));
    writeText(path("text.wav"), "These are not the samples you are looking for.\n");
    writeSine(path("whole.wav"), OutputCodec::Wav, kStereo44, 3.0);
    convertFile(path("whole.wav"), path("whole.wma"), {OutputCodec::Wma, 128000, {}});
    convertFile(path("whole.wav"), path("whole.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
    truncateCopy(path("whole.wav"), path("cut.wav"), 0.6);
    truncateCopy(path("whole.wma"), path("cut.wma"), 0.6);
    truncateCopy(path("whole.mp3"), path("cut.mp3"), 0.6);
}

void TestMediaCore::wavIsBitExact() {
    writeSine(path("exact.wav"), OutputCodec::Wav, kStereo44, 2.0);
    FileSource file(path("exact.wav"));
    QCOMPARE(file.format(), kStereo44);
    QCOMPARE(file.expectedFrames(), 88200);
    QCOMPARE(file.codecName(), QStringLiteral("pcm_s16le"));

    SineSource reference(kStereo44, 2.0);
    std::vector<qint16> got(5000 * 2);
    std::vector<qint16> want(5000 * 2);
    qint64 total = 0;
    // Odd read sizes cross the decoder's packet boundaries.
    while (const qint64 n = file.read(got.data(), 4999)) {
        QCOMPARE(reference.read(want.data(), n), n);
        QVERIFY(std::equal(got.begin(), got.begin() + n * 2, want.begin()));
        total += n;
    }
    QCOMPARE(total, 88200);

    const MediaFacts facts = probeMediaFile(path("exact.wav"));
    QCOMPARE(facts.formatName, QStringLiteral("wav"));
    QCOMPARE(facts.duration, 2.0);
    QCOMPARE(facts.sizeBytes, QFileInfo(path("exact.wav")).size());
    QCOMPARE(facts.sampleRate, 44100);
    QCOMPARE(facts.channels, 2);
}

void TestMediaCore::roundTrip_data() {
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<QString>("codecName");
    QTest::addColumn<QString>("formatName");
    QTest::addColumn<int>("frameSize");
    const int lame = int(OutputCodec::Mp3Lame);
    const int shine = int(OutputCodec::Mp3Shine);
    const int wma = int(OutputCodec::Wma);
    QTest::newRow("lame 44.1k stereo") << lame << 44100 << 2 << "mp3" << "mp3" << 1152;
    QTest::newRow("lame 48k mono") << lame << 48000 << 1 << "mp3" << "mp3" << 1152;
    QTest::newRow("lame 22.05k stereo") << lame << 22050 << 2 << "mp3" << "mp3" << 576;
    QTest::newRow("shine 44.1k stereo") << shine << 44100 << 2 << "mp3" << "mp3" << 1152;
    QTest::newRow("shine 48k mono") << shine << 48000 << 1 << "mp3" << "mp3" << 1152;
    QTest::newRow("wma 44.1k stereo") << wma << 44100 << 2 << "wmav2" << "asf" << 2048;
    QTest::newRow("wma 48k mono") << wma << 48000 << 1 << "wmav2" << "asf" << 2048;
    QTest::newRow("wma 22.05k stereo") << wma << 22050 << 2 << "wmav2" << "asf" << 1024;
}

// WAV -> codec -> WAV keeps rate, channels, length (to a codec frame), pitch and level, and the
// audio stays where it was: encoder delay and padding are accounted for.
void TestMediaCore::roundTrip() {
    QFETCH(int, codec);
    QFETCH(int, rate);
    QFETCH(int, channels);
    QFETCH(QString, codecName);
    QFETCH(QString, formatName);
    QFETCH(int, frameSize);
    const PcmFormat format{rate, channels};
    const QString wav = path(QStringLiteral("rt-%1-%2-%3.wav").arg(codec).arg(rate).arg(channels));
    const QString encoded = wav + QStringLiteral(".enc");
    const QString back = wav + QStringLiteral(".back.wav");
    // Audible from 0.5 s to 2.5 s of 3 s, so both edges can be found again.
    SineSource sine(format, 3.0, 440.0, 0.5, 0.5, 2.5);
    writeSource(sine, wav, {OutputCodec::Wav, 0, {}});
    convertFile(wav, encoded, {OutputCodec(codec), 128000, {}});
    convertFile(encoded, back, {OutputCodec::Wav, 0, {}});

    const MediaFacts facts = probeMediaFile(encoded);
    QCOMPARE(facts.codecName, codecName);
    QCOMPARE(facts.formatName, formatName);
    QCOMPARE(facts.bitRate, 128000);
    QVERIFY2(std::abs(facts.duration - 3.0) < 0.1, qPrintable(QString::number(facts.duration)));

    const DecodedAudio original = decodeFile(wav);
    const DecodedAudio result = decodeFile(back);
    QCOMPARE(result.format, format);
    QVERIFY2(std::abs(result.frames() - original.frames()) <= frameSize,
             qPrintable(QStringLiteral("%1 frames for %2").arg(result.frames()).arg(original.frames())));
    for (int c = 0; c < channels; ++c) {
        const double wanted = SineSource::channelFrequency(440.0, c);
        QVERIFY2(std::abs(result.frequency(c) - wanted) < wanted * 0.005,
                 qPrintable(QString::number(result.frequency(c))));
        const double db = 20.0 * std::log10(result.rms(c) / original.rms(c));
        QVERIFY2(std::abs(db) < 1.5, qPrintable(QStringLiteral("level off by %1 dB").arg(db)));
        const auto [start, end] = result.edges(c);
        const auto [wantStart, wantEnd] = original.edges(c);
        QVERIFY2(std::abs(start - wantStart) < 64 && std::abs(end - wantEnd) < 64,
                 qPrintable(QStringLiteral("audio at %1..%2, not %3..%4")
                                .arg(start).arg(end).arg(wantStart).arg(wantEnd)));
    }
}

void TestMediaCore::threadsDoNotChangeABit_data() {
    QTest::addColumn<int>("codec");
    QTest::newRow("lame") << int(OutputCodec::Mp3Lame);
    QTest::newRow("shine") << int(OutputCodec::Mp3Shine);
    QTest::newRow("wma") << int(OutputCodec::Wma);
}

// Encoding on threads of its own (for WMA on two at once) must give the very bytes that one
// encoder on the writing thread gives.
void TestMediaCore::threadsDoNotChangeABit() {
    QFETCH(int, codec);
    if (!QFileInfo::exists(path("par.wav"))) {
        SineSource tone(kStereo44, 7.3, 523.0);
        writeSource(tone, path("par.wav"), {OutputCodec::Wav, 0, {}});
    }
    EncodedSink::Options options{OutputCodec(codec), 128000, {}};
    convertFile(path("par.wav"), path("par-threads"), options);
    options.parallel = false;
    convertFile(path("par.wav"), path("par-one"), options);
    const DecodedAudio threads = decodeFile(path("par-threads"));
    const DecodedAudio one = decodeFile(path("par-one"));
    QCOMPARE(threads.frames(), one.frames());
    QVERIFY(threads.samples == one.samples);
    QCOMPARE(fileState(path("par-threads")).sha1, fileState(path("par-one")).sha1);
}

void TestMediaCore::shineTakesTheNearestRates() {
    const QString wav = path("shine-32k.wav");
    writeSine(wav, OutputCodec::Wav, {32000, 1}, 2.0);
    FileSource source(wav);
    {
        EncodedSink sink(path("shine-100k.mp3"), {OutputCodec::Mp3Shine, 100000, {}},
                         source.format());
        QCOMPARE(sink.format(), PcmFormat({32000, 1}));        // what it takes
        QCOMPARE(sink.encodedFormat(), PcmFormat({44100, 1})); // the nearest rate shine encodes
        QCOMPARE(sink.bitRate(), 96000);
        std::atomic<bool> never{false};
        QVERIFY(transcode(source, sink, never));
        sink.commit();
    }
    const DecodedAudio decoded = decodeFile(path("shine-100k.mp3"));
    QCOMPARE(decoded.format.sampleRate, 44100);
    QVERIFY(std::abs(decoded.frames() - 88200) <= 1152);
    QVERIFY(std::abs(decoded.frequency(0) - 440.0) < 2.0);
    QCOMPARE(probeMediaFile(path("shine-100k.mp3")).bitRate, 96000);

    // Halfway between two rates takes the higher one; LAME uses the same table.
    EncodedSink between(path("between.mp3"), {OutputCodec::Mp3Lame, 288000, {}}, kStereo44);
    QCOMPARE(between.bitRate(), 320000);
    // Mono at 320 kbit/s is beyond what this shine writes correctly at 44.1 kHz.
    EncodedSink mono(path("mono.mp3"), {OutputCodec::Mp3Shine, 320000, {}}, {44100, 1});
    QCOMPARE(mono.bitRate(), 256000);
}

void TestMediaCore::convertsToCdAudio() {
    const QString wav = path("mono48.wav");
    writeSine(wav, OutputCodec::Wav, {48000, 1}, 2.0);
    FileSource cd(wav, PcmFormat::cdAudio());
    QCOMPARE(cd.format(), PcmFormat::cdAudio());
    QCOMPARE(cd.expectedFrames(), 88200);
    DecodedAudio audio{cd.format(), {}};
    std::vector<qint16> block(4096 * 2);
    while (const qint64 n = cd.read(block.data(), 4096))
        audio.samples.insert(audio.samples.end(), block.begin(), block.begin() + n * 2);
    QVERIFY(std::abs(audio.frames() - 88200) <= 2);
    QVERIFY(std::abs(audio.frequency(0) - 440.0) < 1.0);
    QVERIFY(std::abs(audio.rms(0) - audio.rms(1)) < 1e-6); // mono spread over both sides
}

void TestMediaCore::seekStartsAtTheRequestedFrame() {
    writeSine(path("seek.wav"), OutputCodec::Wav, kStereo44, 3.0);
    FileSource file(path("seek.wav"));
    std::vector<qint16> got(1000 * 2);
    QCOMPARE(file.read(got.data(), 1000), 1000);
    file.seek(1.5);
    QCOMPARE(file.read(got.data(), 1000), 1000);
    SineSource reference(kStereo44, 3.0);
    std::vector<qint16> skip(66150 * 2);
    reference.read(skip.data(), 66150);
    std::vector<qint16> want(1000 * 2);
    reference.read(want.data(), 1000);
    QVERIFY(got == want);

    // A compressed file lands within a frame, and reading on to the end is not an error.
    convertFile(path("seek.wav"), path("seek.mp3"), {OutputCodec::Mp3Lame, 128000, {}});
    FileSource mp3(path("seek.mp3"));
    mp3.seek(2.0);
    qint64 rest = 0;
    while (const qint64 n = mp3.read(got.data(), 1000))
        rest += n;
    QVERIFY2(std::abs(rest - 44100) <= 1152, qPrintable(QString::number(rest)));
}

void TestMediaCore::sinkWithoutCommitLeavesNoTrace() {
    QTemporaryDir out;
    const QString target = out.filePath("kept.mp3");
    writeText(target, "older file");
    const FileState before = fileState(target);
    {
        EncodedSink sink(target, {OutputCodec::Mp3Lame, 128000, {}}, kStereo44);
        SineSource sine(kStereo44, 1.0);
        std::vector<qint16> block(44100 * 2);
        sine.read(block.data(), 44100);
        sink.write(block.data(), 44100);
        QVERIFY(QFileInfo::exists(sink.temporaryPath()));
        QCOMPARE(QFileInfo(sink.temporaryPath()).absolutePath(), out.path());
    }
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});
    QCOMPARE(fileState(target), before);

    // An encoder that refuses its settings leaves nothing either, and says why.
    const QString message = errorOf([&] {
        EncodedSink sink(out.filePath("low.wma"), {OutputCodec::Wma, 8000, {}}, kStereo44);
    });
    QVERIFY2(message.startsWith("Cannot write " + out.filePath("low.wma") + ": "), qPrintable(message));
    QVERIFY2(message.contains("bitrate too low"), qPrintable(message));
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});

    // Commit replaces the older file only now.
    writeSine(target, OutputCodec::Mp3Lame, kStereo44, 1.0);
    QCOMPARE(probeMediaFile(target).codecName, QStringLiteral("mp3"));
    QCOMPARE(folderEntries(out.path()), QStringList{"kept.mp3"});
}

void TestMediaCore::sinkWriteErrors() {
    QTemporaryDir out;
    SineSource sine(kStereo44, 2.0);
    std::vector<qint16> block(88200 * 2);
    sine.read(block.data(), 88200);

    // A full disk: writes fail with EFBIG beyond the limit.
    QString message;
    {
        EncodedSink sink(out.filePath("full.wav"), {OutputCodec::Wav, 0, {}}, kStereo44);
        FileSizeLimit limit(64 * 1024);
        message = errorOf([&] {
            sink.write(block.data(), 88200);
            sink.commit();
        });
    }
    QCOMPARE(message, "Cannot write " + out.filePath("full.wav") + ": File too large");
    QVERIFY(folderEntries(out.path()).isEmpty());

    // The folder vanishes while the file is written: the rename fails, nothing is left.
    QVERIFY(QDir(out.path()).mkdir("gone"));
    const QString gone = out.filePath("gone/late.mp3");
    message = errorOf([&] {
        EncodedSink sink(gone, {OutputCodec::Mp3Lame, 128000, {}}, kStereo44);
        sink.write(block.data(), 88200);
        QVERIFY(QDir(out.filePath("gone")).removeRecursively());
        sink.commit();
    });
    QCOMPARE(message, "Cannot write " + gone + ": No such file or directory");
    QVERIFY(folderEntries(out.path()).isEmpty());

    // Folders that are not there or not folders are refused before anything is written.
    writeText(out.filePath("plain"), "x");
    message = errorOf([&] { EncodedSink(out.filePath("none/a.wav"), {}, kStereo44); });
    QCOMPARE(message, "Cannot write " + out.filePath("none/a.wav") + ": the folder " +
                          out.filePath("none") + " does not exist");
    message = errorOf([&] { EncodedSink(out.filePath("plain/a.wav"), {}, kStereo44); });
    QCOMPARE(message, "Cannot write " + out.filePath("plain/a.wav") + ": " +
                          out.filePath("plain") + " is not a folder");
    QCOMPARE(folderEntries(out.path()), QStringList{"plain"});
}

void TestMediaCore::badInputs_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("atOpen");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << "missing.wav" << true << "the file does not exist";
    QTest::newRow("empty") << "empty.wav" << true << "the file is empty";
    QTest::newRow("folder") << "folder.wav" << true << "it is a folder, not a file";
    QTest::newRow("text") << "text.wav" << true << "it is not an audio file FFmpeg can decode";
    QTest::newRow("truncated wav") << "cut.wav" << true << "the file is truncated";
    QTest::newRow("truncated wma") << "cut.wma" << true << "the file is truncated";
    QTest::newRow("truncated mp3") << "cut.mp3" << false << "the file is truncated";
}

void TestMediaCore::badInputs() {
    QFETCH(QString, name);
    QFETCH(bool, atOpen);
    QFETCH(QString, reason);
    const QString file = path(name);
    const FileState before = fileState(file);
    std::unique_ptr<FileSource> source;
    const QString openError = errorOf([&] { source = std::make_unique<FileSource>(file); });
    QString message = openError;
    if (source) {
        std::vector<qint16> block(4096 * 2);
        message = errorOf([&] {
            while (source->read(block.data(), 4096) > 0) {
            }
        });
    }
    QCOMPARE(openError.isEmpty(), !atOpen);
    QVERIFY2(message.startsWith("Cannot read " + file + ": " + reason), qPrintable(message));
    QCOMPARE(fileState(file), before);
    // The header alone is no reason to refuse describing the file.
    if (name.startsWith("cut"))
        QVERIFY(probeMediaFile(file).duration > 0);
}

void TestMediaCore::misnamedFileIsReadByItsContent() {
    writeSine(path("really-mp3.wav"), OutputCodec::Mp3Lame, kStereo44, 2.0);
    FileSource source(path("really-mp3.wav"));
    QCOMPARE(source.codecName(), QStringLiteral("mp3"));
    const DecodedAudio audio = decodeFile(path("really-mp3.wav"));
    QCOMPARE(audio.frames(), 88200);
}

void TestMediaCore::transcodeProgressAndCancel() {
    QTemporaryDir out;
    SineSource sine(kStereo44, 5.0);
    std::vector<std::pair<qint64, qint64>> seen;
    {
        EncodedSink sink(out.filePath("all.wav"), {}, kStereo44);
        std::atomic<bool> cancel{false};
        QVERIFY(transcode(sine, sink, cancel, [&](qint64 done, qint64 expected) {
            seen.emplace_back(done, expected);
        }));
        sink.commit();
    }
    QVERIFY(seen.size() > 3);
    for (size_t i = 1; i < seen.size(); ++i)
        QVERIFY(seen[i].first > seen[i - 1].first);
    QCOMPARE(seen.back(), std::make_pair(qint64(220500), qint64(220500)));

    SineSource again(kStereo44, 5.0);
    qint64 calls = 0;
    {
        EncodedSink sink(out.filePath("part.wav"), {}, kStereo44);
        std::atomic<bool> cancel{false};
        QVERIFY(!transcode(again, sink, cancel, [&](qint64, qint64) {
            ++calls;
            cancel = true;
        }));
    }
    QCOMPARE(calls, 1);
    QCOMPARE(folderEntries(out.path()), QStringList{"all.wav"});

    // Formats must agree: nothing converts silently in between.
    SineSource mono({44100, 1}, 1.0);
    EncodedSink sink(out.filePath("mismatch.wav"), {}, kStereo44);
    std::atomic<bool> cancel{false};
    QVERIFY(errorOf([&] { transcode(mono, sink, cancel); }).contains("1 channel(s)"));
}

void TestMediaCore::transcodeRaisesSourceErrors() {
    QTemporaryDir out;
    FailingSource failing(100000);
    QString message;
    {
        EncodedSink sink(out.filePath("cd.mp3"), {OutputCodec::Mp3Lame, 128000, {}}, kStereo44);
        std::atomic<bool> cancel{false};
        message = errorOf([&] { transcode(failing, sink, cancel); });
    }
    QCOMPARE(message, QStringLiteral("Cannot read track 3: the disc stopped answering"));
    QVERIFY(folderEntries(out.path()).isEmpty());
}

void TestMediaCore::jobReportsFromItsWorker() {
    QTemporaryDir out;
    const QString target = out.filePath("job.mp3");
    std::atomic<bool> finished{false};
    std::thread::id handlerThread;
    QStringList seenAtFinish;
    {
        TranscodeJob job;
        TranscodeJob::Handlers handlers;
        handlers.finished = [&] {
            handlerThread = std::this_thread::get_id();
            seenAtFinish = folderEntries(out.path());
            finished = true;
        };
        job.start(std::make_unique<SineSource>(kStereo44, 2.0),
                  std::make_unique<EncodedSink>(target, EncodedSink::Options{OutputCodec::Mp3Lame, 128000, {}},
                                                kStereo44),
                  handlers);
        job.wait();
    }
    QVERIFY(finished);
    QVERIFY(handlerThread != std::this_thread::get_id());
    QCOMPARE(seenAtFinish, QStringList{"job.mp3"}); // in place, temporary gone, before the news

    // A failure is reported after the temporary file is gone.
    QString failure;
    QStringList seenAtFailure{"not called"};
    {
        TranscodeJob job;
        TranscodeJob::Handlers handlers;
        handlers.failed = [&](const QString& message) {
            failure = message;
            seenAtFailure = folderEntries(out.path());
        };
        job.start(std::make_unique<FailingSource>(50000),
                  std::make_unique<EncodedSink>(out.filePath("bad.wav"), EncodedSink::Options{},
                                                kStereo44),
                  handlers);
        job.wait();
    }
    QCOMPARE(failure, QStringLiteral("Cannot read track 3: the disc stopped answering"));
    QCOMPARE(seenAtFailure, QStringList{"job.mp3"});

    // A cancelled job says nothing and leaves nothing.
    bool spoke = false;
    {
        TranscodeJob job;
        TranscodeJob::Handlers handlers;
        handlers.finished = [&] { spoke = true; };
        handlers.failed = [&](const QString&) { spoke = true; };
        job.start(std::make_unique<SineSource>(kStereo44, 600.0),
                  std::make_unique<EncodedSink>(out.filePath("long.mp3"),
                                                EncodedSink::Options{OutputCodec::Mp3Lame, 128000, {}},
                                                kStereo44),
                  handlers);
        QVERIFY(job.isRunning());
        job.cancel();
        QVERIFY(!job.isRunning());
    }
    QVERIFY(!spoke);
    QCOMPARE(folderEntries(out.path()), QStringList{"job.mp3"});
}

QTEST_GUILESS_MAIN(TestMediaCore)
#include "test_media_core.moc"
