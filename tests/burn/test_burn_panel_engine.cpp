// The burn panel on the real engine and the image recorder: what the user sees at the end of a
// burn, test burn or not, and what is left in the image folder.
#include "backends/burn/Burner.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/MediaTracks.h"
#include "burn/FrameBurn.h"
#include "controls/SkinCheckBox.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"
#include "tests/media/MediaTestSupport.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace burning;

class TestBurnPanelEngine : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_wav;

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_wav = m_dir.filePath("a.wav");
        writeSine(m_wav, OutputCodec::Wav, PcmFormat::cdAudio(), 2.0);
    }

    // "Burn Complete!" comes only for a burn that closes the disc; a test burn writes nothing
    // and closes nothing, so it ends silently, as does a burn that keeps the disc open.
    void theEndOfABurn_data() {
        QTest::addColumn<bool>("testBurn");
        QTest::addColumn<bool>("finalise");
        QTest::addColumn<bool>("complete"); // "Burn Complete!" shown
        QTest::addColumn<int>("files");     // in the image folder afterwards
        QTest::newRow("test burn, finalise checked") << true << true << false << 0;
        QTest::newRow("test burn, disc kept open") << true << false << false << 0;
        QTest::newRow("real burn, finalised") << false << true << true << 2;
        QTest::newRow("real burn, disc kept open") << false << false << false << 2;
    }
    void theEndOfABurn() {
        QFETCH(bool, testBurn);
        QFETCH(bool, finalise);
        QFETCH(bool, complete);
        QFETCH(int, files);
        QTemporaryDir images;
        qputenv("MELVANE_IMAGE_DIR", images.path().toLocal8Bit());
        Burner engine(std::make_unique<MediaTrackOpener>(), std::make_unique<ImageFiles>());
        CallLog log;
        FakeCommonDialog dialog{&log};
        FakeMessageBox messageBox{&log};
        FakeHarnTools tools{&log};
        FakeSkin skin{&log};
        FakeMainWindow main{&log};
        SharedState state;
        FrameBurn panel({engine, dialog, messageBox, tools, skin, main, state});
        ErrorBoundary::setMessageBox(&messageBox);
        panel.show();
        panel.enterBurnMode();
        // The image recorder is listed last, after any real writer of the machine.
        auto* drives = panel.findChild<QComboBox*>("driveCombo");
        drives->setCurrentIndex(drives->count() - 1);
        Q_EMIT drives->activated(drives->currentIndex());
        QCOMPARE(engine.RecorderProduct(), QStringLiteral("Image Recorder"));
        dialog.answers << m_wav;
        panel.AddBtn_Click();
        panel.findChild<SkinCheckBox*>("TestBurnChk")->setValue(testBurn ? 1 : 0);
        panel.findChild<SkinCheckBox*>("FinilizeCDChk")->setValue(finalise ? 1 : 0);

        QSignalSpy finished(&engine, &AudioBurner::BurnFinished);
        panel.findChild<QPushButton*>("BurnNowBtn")->click();
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.at(0).at(0).toInt(), int(AudioBurner::BurnSucceeded));
        QCOMPARE(state.burnRunning, False16);
        QCOMPARE(panel.findChild<QPushButton*>("BurnNowBtn")->text(), QStringLiteral("BurnNow!"));
        QCOMPARE(panel.findChild<QLabel*>("driveStatusLbl")->text(), QStringLiteral("Idle"));
        QStringList prompts;
        for (const FakeMessageBox::Shown& box : messageBox.shown)
            prompts << box.prompt;
        QCOMPARE(prompts, complete ? QStringList{"Burn Complete!"} : QStringList{});
        QCOMPARE(folderEntries(images.path()).size(), files);
        ErrorBoundary::setMessageBox(nullptr);
    }
};

QTEST_MAIN(TestBurnPanelEngine)
#include "test_burn_panel_engine.moc"
