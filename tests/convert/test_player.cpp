// The file player of the convert panel on a fake graph: double-click to play, the strip's
// buttons and position, errors reported, the equaliser window and the response it draws.
#include "components/Error.h"
#include "controls/ReportList.h"
#include "convert/EqualizerCurve.h"
#include "convert/EqualizerResponse.h"
#include "convert/EqualizerWindow.h"
#include "convert/FrameFileMode.h"
#include "convert/PlayerStrip.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QTest>
#include <QVBoxLayout>

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
    ReportErrorsOn reporting{&messageBox};
    FakeFilgraphManager graph{&log};
    SharedState state;
    FrameFileMode panel{{mEnc, mDec, waEnc, waDec, x, comd, messageBox, main, state}};
    ReportList* LV = child<ReportList>("LV");
    PlayerStrip* strip = panel.playerStrip();

    PlayerFixture() {
        panel.setFilterGraph(&graph);
        for (const char* path : {"/music/a.mp3", "/music/b.wav"})
            LV->Add(QLatin1String(path));
    }

    template <class T = QPushButton> T* child(const QString& name) const {
        return namedChild<T>(panel, name);
    }
    QString text(const QString& label) const { return child<QLabel>(label)->text(); }
    void doubleClick(qint32 row) {
        LV->setSelected(row, true);
        Q_EMIT LV->DblClick();
    }
    QStringList reports() const { return messageBox.prompts(); }
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
        // A click beside the handle moves at once, by a tenth of the file (200 s long).
        f.log.clear();
        slider->triggerAction(QAbstractSlider::SliderPageStepAdd);
        QTRY_COMPARE(f.log.calls.size(), 1);
        QVERIFY2(f.log.calls.first().startsWith("FilgraphManager.setCurrentPosition(143.4"),
                 qPrintable(f.log.calls.first()));
        f.log.clear();
        slider->triggerAction(QAbstractSlider::SliderPageStepSub);
        QTRY_COMPARE(f.log.calls.size(), 1);
        QVERIFY2(f.log.calls.first().startsWith("FilgraphManager.setCurrentPosition(123.4"),
                 qPrintable(f.log.calls.first()));
    }

    // Another mode hides the panel and with it every control of the player: what plays stops,
    // and the equaliser closes. A window that is closed or minimised keeps it playing.
    void leavingThePanelStopsPlayback() {
        QWidget window; // outlives the panel, which leaves it when destroyed
        PlayerFixture f;
        f.panel.setParent(&window);
        window.show();
        f.doubleClick(1);
        f.log.clear();
        window.hide();
        window.show();
        QCOMPARE(f.log.calls, QStringList());

        f.child("equalizerButton")->click();
        QVERIFY(f.strip->equalizerWindow()->isVisible());
        f.panel.hide();
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.Stop()"}));
        QCOMPARE(f.child("playButton")->text(), QStringLiteral("Play"));
        QVERIFY(!f.strip->equalizerWindow()->isVisible());

        // Nothing playing, nothing to stop.
        f.log.clear();
        f.panel.show();
        f.panel.hide();
        QCOMPARE(f.log.calls, QStringList());
    }

    // The equaliser window leaves the strip's buttons in view, wherever the window stands.
    void theEqualizerOpensBesideTheStrip_data() {
        QTest::addColumn<QRect>("window");
        QTest::newRow("room above the strip") << QRect(100, 150, 640, 480);
        QTest::newRow("window at the top of the screen") << QRect(0, 0, 640, 300);
    }
    void theEqualizerOpensBesideTheStrip() {
        QFETCH(QRect, window);
        QWidget host;
        PlayerFixture f;
        host.setGeometry(window);
        auto* layout = new QVBoxLayout(&host);
        layout->addWidget(&f.panel);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        f.doubleClick(1);
        f.child("equalizerButton")->click();
        EqualizerWindow* equalizer = f.strip->equalizerWindow();
        QVERIFY(QTest::qWaitForWindowExposed(equalizer));
        const QRect strip(f.strip->mapToGlobal(QPoint(0, 0)), f.strip->size());
        QVERIFY2(!equalizer->frameGeometry().intersects(strip),
                 qPrintable(QStringLiteral("equaliser at %1,%2 %3x%4, strip at %5,%6 %7x%8")
                                .arg(equalizer->frameGeometry().x())
                                .arg(equalizer->frameGeometry().y())
                                .arg(equalizer->width())
                                .arg(equalizer->height())
                                .arg(strip.x())
                                .arg(strip.y())
                                .arg(strip.width())
                                .arg(strip.height())));
        QVERIFY(equalizer->screen()->availableGeometry().contains(equalizer->frameGeometry()));
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

    // One band's curve is what its filter does: test_equalizer, measured on a real file. Bands
    // add up in dB; a band at or above half the sample rate takes no part.
    void theResponseIsTheBandsPeakingFilters() {
        EqualizerResponse::Gains gains{};
        gains[8] = -12; // 4 kHz
        gains[10] = 6;
        QVERIFY(qAbs(EqualizerResponse::at(gains, 16000, 44100) - 6) < 0.2);
        QCOMPARE(EqualizerResponse::at(gains, 10000, 22050),
                 EqualizerResponse::at({{0, 0, 0, 0, 0, 0, 0, 0, -12, 0, 0}}, 10000, 22050));
    }
};

QTEST_MAIN(TestPlayer)
#include "test_player.moc"
