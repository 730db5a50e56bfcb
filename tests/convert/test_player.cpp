// The file player of the convert panel on a fake graph: double-click to play, the strip's
// buttons and position, errors reported, the equaliser window and the response it draws.
#include "components/Error.h"
#include "controls/ReportList.h"
#include "convert/EqualizerCurve.h"
#include "convert/EqualizerResponse.h"
#include "convert/EqualizerWindow.h"
#include "convert/FrameFileMode.h"
#include "convert/PlayerStrip.h"
#include "shell/common/ErrorBoundary.h"
#include "shell/common/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTest>

namespace {

struct PlayerFixture {
    CallLog log;
    FakeMEnc mEnc;
    FakeMDec mDec;
    FakeWAEnc waEnc;
    FakeWaDec waDec;
    FakeHarnMediaUtils x;
    FakeCommonDialog comd;
    FakeMainWindow main;
    FakeMessageBox messageBox;
    FakeFilgraphManager graph{&log};
    SharedState state;
    FrameFileMode panel{{mEnc, mDec, waEnc, waDec, x, comd, messageBox, main, state}};
    ReportList* LV = child<ReportList>("LV");
    PlayerStrip* strip = panel.playerStrip();

    PlayerFixture() {
        ErrorBoundary::setMessageBox(&messageBox);
        panel.setFilterGraph(&graph);
        for (const char* path : {"/music/a.mp3", "/music/b.wav"})
            LV->Add(QLatin1String(path));
    }
    ~PlayerFixture() { ErrorBoundary::setMessageBox(nullptr); }

    template <class T = QPushButton> T* child(const QString& name) const {
        T* found = panel.findChild<T*>(name);
        if (!found)
            qFatal("no %s", qPrintable(name));
        return found;
    }
    QString text(const QString& label) const { return child<QLabel>(label)->text(); }
    void doubleClick(qint32 row) {
        LV->setSelected(row, true);
        Q_EMIT LV->DblClick();
    }
    QStringList reports() const {
        QStringList shown;
        for (const QString& call : messageBox.calls)
            shown << call.section(u'(', 1).section(u',', 0, 0);
        return shown;
    }
};

} // namespace

class TestPlayer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void doubleClickPlaysAndTheStripFollows() {
        PlayerFixture f;
        f.doubleClick(2);
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.RenderFile(/music/b.wav)",
                                           "FilgraphManager.Run()"}));
        QCOMPARE(f.text("nowPlaying"), QStringLiteral("b.wav"));
        QCOMPARE(f.text("totalLabel"), QStringLiteral("03:20"));
        QCOMPARE(f.child("playButton")->text(), QStringLiteral("Pause"));

        // The position follows while it plays.
        f.graph.position = 65.3;
        QTRY_COMPARE(f.text("elapsedLabel"), QStringLiteral("01:05"));
        QCOMPARE(f.child<QSlider>("positionSlider")->value(), 653);

        // Play/pause, then stop.
        f.log.clear();
        f.child("playButton")->click();
        QCOMPARE(f.child("playButton")->text(), QStringLiteral("Play"));
        f.child("playButton")->click();
        f.child("stopButton")->click();
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.Pause()", "FilgraphManager.Run()",
                                           "FilgraphManager.Stop()"}));
        QCOMPARE(f.text("elapsedLabel"), QStringLiteral("00:00"));
    }

    void draggingThePositionMovesThereOnRelease() {
        PlayerFixture f;
        f.doubleClick(1);
        auto* slider = f.child<QSlider>("positionSlider");
        f.log.clear();
        slider->setSliderDown(true);
        slider->setSliderPosition(1234);
        f.graph.position = 3; // still playing where it was; the dragged place shows
        QTest::qWait(3 * PlayerStrip::RefreshInterval);
        QCOMPARE(f.text("elapsedLabel"), QStringLiteral("02:03"));
        QCOMPARE(f.log.calls, QStringList());
        slider->setSliderDown(false);
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.setCurrentPosition(123.4)"}));
        QCOMPARE(f.text("elapsedLabel"), QStringLiteral("02:03"));
        // A click beside the handle moves at once.
        f.log.clear();
        slider->triggerAction(QAbstractSlider::SliderPageStepAdd);
        QTRY_COMPARE(f.log.calls.size(), 1);
        QVERIFY(f.log.calls.first().startsWith("FilgraphManager.setCurrentPosition(124.4"));
    }

    void playingNeedsAFileAndErrorsAreReported() {
        PlayerFixture f;
        // Play with nothing opened plays the selected row, else the first.
        f.child("playButton")->click();
        QCOMPARE(f.graph.renderedFile, QStringLiteral("/music/a.mp3"));

        f.graph.renderError = QStringLiteral("Cannot play /music/b.wav: it is not audio.");
        f.doubleClick(2);
        QCOMPARE(f.reports(), QStringList({"Cannot play /music/b.wav: it is not audio."}));
        QCOMPARE(f.text("nowPlaying"), QStringLiteral("No file"));
        QVERIFY(!f.child("stopButton")->isEnabled());

        // A failure during playback is reported too; the strip shows it stopped.
        f.graph.renderError.clear();
        f.doubleClick(1);
        f.graph.state = FilgraphManager::State::Stopped;
        Q_EMIT f.graph.Failed(QStringLiteral("Cannot play /music/a.mp3: the file is damaged."));
        QCOMPARE(f.reports().last(),
                 QStringLiteral("Cannot play /music/a.mp3: the file is damaged."));
        QCOMPARE(f.child("playButton")->text(), QStringLiteral("Play"));

        PlayerFixture empty;
        empty.LV->Clear();
        empty.child("playButton")->click();
        QCOMPARE(empty.reports().size(), 1);
        QVERIFY(empty.graph.renderedFile.isEmpty());

        // Without a graph (before start-up, after shutdown) the strip does nothing.
        empty.panel.setFilterGraph(nullptr);
        QVERIFY(!empty.child("playButton")->isEnabled());
        QVERIFY(!empty.child("equalizerButton")->isEnabled());
    }

    void theEqualizerSetsBandsAndDrawsTheirResponse() {
        PlayerFixture f;
        f.doubleClick(1);
        f.child("equalizerButton")->click();
        EqualizerWindow* window = f.strip->equalizerWindow();
        QVERIFY(window && window->isVisible());
        QCOMPARE(window->windowTitle(), QStringLiteral("Equalizer"));
        auto* curve = window->findChild<EqualizerCurve*>(QStringLiteral("responseCurve"));
        const QImage flat = curve->grab().toImage();

        f.log.clear();
        window->findChild<QSlider*>(QStringLiteral("band3"))->setValue(-6);
        window->findChild<QSlider*>(QStringLiteral("band9"))->setValue(4);
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.setBandGain(3, -6)",
                                           "FilgraphManager.setBandGain(9, 4)"}));
        QCOMPARE(window->findChild<QLabel*>(QStringLiteral("gain3"))->text(), QStringLiteral("-6"));
        QVERIFY(qAbs(curve->levelAt(125) + 6) < 0.05);
        QVERIFY(qAbs(curve->levelAt(8000) - 4) < 0.05);
        QVERIFY(curve->grab().toImage() != flat);

        // Flat sets only the bands that are not flat yet.
        f.log.clear();
        window->findChild<QPushButton*>(QStringLiteral("flatButton"))->click();
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.setBandGain(3, 0)",
                                           "FilgraphManager.setBandGain(9, 0)"}));
        QCOMPARE(curve->levelAt(125), 0.0);

        // A new file starts flat, and the window shows it.
        window->findChild<QSlider*>(QStringLiteral("band5"))->setValue(-12);
        f.doubleClick(2);
        QCOMPARE(window->findChild<QSlider*>(QStringLiteral("band5"))->value(), 0);
    }

    void theResponseIsTheBandsPeakingFilters() {
        EqualizerResponse::Gains gains{};
        gains[8] = -12; // 4 kHz
        // Exactly the gain at the centre, half of it near the band's edge, nothing far away.
        QVERIFY(qAbs(EqualizerResponse::at(gains, 4000, 44100) + 12) < 1e-9);
        const double edge = EqualizerResponse::at(gains, 4000 * std::sqrt(2.0), 44100);
        QVERIFY2(edge < -4 && edge > -8, qPrintable(QString::number(edge)));
        QVERIFY(qAbs(EqualizerResponse::at(gains, 250, 44100)) < 0.1);
        // Bands add up in dB; a band at or above half the sample rate takes no part.
        gains[10] = 6;
        QVERIFY(qAbs(EqualizerResponse::at(gains, 16000, 44100) - 6) < 0.2);
        QCOMPARE(EqualizerResponse::at(gains, 10000, 22050),
                 EqualizerResponse::at({{0, 0, 0, 0, 0, 0, 0, 0, -12, 0, 0}}, 10000, 22050));
    }
};

QTEST_MAIN(TestPlayer)
#include "test_player.moc"
