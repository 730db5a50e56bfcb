// melvane-cli's convert command in-process: files side by side on fake codecs, and a signal
// that comes as a real file is put in place.
#include "app/cli/ConvertCommand.h"
#include "backends/media/Codecs.h"
#include "tests/fakes/FakeCodecs.h"
#include "tests/media/MediaTestSupport.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <csignal>

class TestConvertCommand : public QObject {
    Q_OBJECT

private:
    TestFolder m_dir;
    QString m_second; // 1 s

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_second = m_dir.path(QStringLiteral("second.wav"));
        writeSine(m_second, OutputCodec::Wav, PcmFormat::cdAudio(), 1.0);
    }

    // Files side by side, each on codecs of its own: while as many are left as run at once they
    // share the cores and the last one takes them all; a second source of a running file's name
    // waits for it and is refused once that file is written.
    void filesSideBySide() {
        std::vector<ConvertCodecs> codecs(2);
        FakeMEnc* encoders[2];
        for (size_t i = 0; i < codecs.size(); ++i) {
            auto encoder = std::make_unique<FakeMEnc>();
            encoders[i] = encoder.get();
            codecs[i] = {std::move(encoder), std::make_unique<FakeMDec>(),
                         std::make_unique<FakeWAEnc>(), std::make_unique<FakeWaDec>()};
        }
        const QString out = m_dir.fresh(QStringLiteral("side-by-side"));
        ProgressPrinter printer(ProgressPrinter::Style::Lines, stdout, 80);
        ConvertCommand command({ConvertRequest::Target::Mp3,
                                128,
                                0,
                                out,
                                {"a.wav", "b.wav", "other/a.wav", "c.wav"},
                                {}},
                               std::move(codecs), printer);
        QSignalSpy finished(&command, &ConvertCommand::finished);
        const auto started = [&](int i) { return encoders[i]->calls.filter("setInputFile"); };
        const QString share = QString::number(std::max(1, QThread::idealThreadCount() / 2));

        command.start();
        QCOMPARE(started(0), QStringList{"MEnc.setInputFile(a.wav)"});
        QCOMPARE(started(1), QStringList{"MEnc.setInputFile(b.wav)"});
        encoders[1]->raiseProgress(100);
        QCOMPARE(started(1).size(), 1); // other/a.wav waits for a.wav
        encoders[0]->raiseProgress(100);
        QCOMPARE(started(0), QStringList({"MEnc.setInputFile(a.wav)", "MEnc.setInputFile(c.wav)"}));
        QCOMPARE(encoders[0]->calls.filter("setCores"),
                 QStringList({"MEnc.setCores(" + share + ")", "MEnc.setCores(0)"}));
        QCOMPARE(encoders[1]->calls.filter("setCores"),
                 QStringList{"MEnc.setCores(" + share + ")"});
        QVERIFY(finished.isEmpty());
        encoders[0]->raiseProgress(100);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), 1); // other/a.wav: "it was just written"
    }

    // A signal that comes as the file is put in place finds the work done: no "not converted".
    void interruptAsTheFileCompletes() {
        const QString out = m_dir.fresh(QStringLiteral("photo-finish"));
        std::vector<ConvertCodecs> codecs(1);
        codecs[0] = {std::make_unique<Mp3Encoder>(), std::make_unique<Mp3Decoder>(),
                     std::make_unique<WmaEncoder>(), std::make_unique<WmaDecoder>()};
        ProgressPrinter printer(ProgressPrinter::Style::Lines, stdout, 80);
        ConvertCommand command({ConvertRequest::Target::Mp3, 128, 0, out, {m_second}, {}},
                               std::move(codecs), printer);
        QSignalSpy finished(&command, &ConvertCommand::finished);
        command.start();
        for (QDeadlineTimer deadline(10000);
             folderEntries(out).isEmpty() && !deadline.hasExpired();)
            QThread::yieldCurrentThread();
        command.interrupt(SIGINT);
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.at(0).at(0).toInt(), 0);
        QCOMPARE(folderEntries(out), QStringList{"second.mp3"});
    }
};

QTEST_GUILESS_MAIN(TestConvertCommand)
#include "test_convert_command.moc"
