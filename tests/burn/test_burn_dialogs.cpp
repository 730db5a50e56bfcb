// The burn panel's two dialogs, on a fake engine and a fake main window: the write speeds the
// drive takes and the burn methods.
#include "tests/burn/BurnPanelFixture.h"
#include "tests/qt/ModalHelper.h"

#include <QPaintEvent>
#include <QRadioButton>

namespace {

struct PaintWatch : QObject {
    explicit PaintWatch(std::function<void(const QPaintEvent*)> onPaint)
        : m_onPaint(std::move(onPaint)) {}
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            m_onPaint(static_cast<QPaintEvent*>(event));
        return false;
    }
    std::function<void(const QPaintEvent*)> m_onPaint;
};

} // namespace

class TestBurnDialogs : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void anUnsupportedRecorderAsksForABurnMethod() {
        BurnFixture f;
        f.engine.recorders[0].supported = false;
        f.add({"/m/a.wav"});
        QVERIFY(answerModal<FrmBurnMethod>([&] { f.enter(); },
                                           [](FrmBurnMethod* d) { d->cmdOk_Click(); }));
        QCOMPARE(f.engine.count("ClearTracks"), 1);
        QVERIFY(f.engine.tracks.isEmpty());
    }

    void speedProbe_data() {
        QTest::addColumn<QList<int>>("offered"); // empty: every value reads back
        QTest::addColumn<int>("clampAbove");     // reads this back above it; 0: none
        QTest::addColumn<QList<int>>("enabled");
        QTest::addColumn<int>("chosen");
        QList<int> all, upTo24;
        for (int n = 1; n <= 50; ++n) {
            all << n;
            if (n <= 24)
                upTo24 << n;
        }
        QTest::newRow("takes all") << QList<int>() << 0 << all << 50;
        QTest::newRow("4, 8 and 16") << QList<int>{4, 8, 16} << 0 << QList<int>{4, 8, 16} << 16;
        QTest::newRow("clamps at 24") << QList<int>() << 24 << upTo24 << 24;
        QTest::newRow("takes none") << QList<int>{0} << 0 << QList<int>() << 9;
    }

    void speedProbe() {
        QFETCH(QList<int>, offered);
        QFETCH(int, clampAbove);
        QFETCH(QList<int>, enabled);
        QFETCH(int, chosen);
        BurnFixture f;
        f.enter();
        if (clampAbove)
            f.engine.acceptSpeed = [=](qint16 n) { return qint16(std::min<int>(n, clampAbove)); };
        else if (!offered.isEmpty())
            f.engine.acceptSpeed = [=](qint16 n) { return qint16(offered.contains(n) ? n : 1000); };
        FrmSpeedSelect& dialog = f.panel.frmSpeedSelect();
        dialog.option(9)->setChecked(true);
        f.state.SelectedWriteSpeed = 9;
        f.engine.calls.clear();
        f.button("SelSpeedBtn")->click();
        QVERIFY(dialog.isVisible());
        QCOMPARE(f.engine.count("setWriteSpeed"), 50);
        QCOMPARE(f.engine.calls.first(), QStringLiteral("AudioBurner.setWriteSpeed(1)"));
        QList<int> on;
        for (int n = 1; n <= 50; ++n)
            if (dialog.option(n)->isEnabled())
                on << n;
        QCOMPARE(on, enabled);
        QVERIFY(dialog.option(chosen)->isChecked());
        QCOMPARE(f.state.SelectedWriteSpeed, qint16(chosen));
        const auto detect = dialog.findChild<ProgressBar*>("progressDetect");
        QCOMPARE(detect->Value(), 50.0);
        QVERIFY(detect->isHidden() && dialog.findChild<QLabel*>("lblDetectOptimals")->isHidden());

        // Show All widens the choice only; a speed the drive refused can then be picked.
        dialog.findChild<QPushButton*>("btnAll")->click();
        QVERIFY(dialog.option(50)->isEnabled() && dialog.option(1)->isEnabled());
        QCOMPARE(f.state.SelectedWriteSpeed, qint16(chosen));
        dialog.option(7)->click();
        QCOMPARE(f.state.SelectedWriteSpeed, qint16(7));
        dialog.findChild<QPushButton*>("btnOK")->click();
        QVERIFY(!dialog.isVisible());
        QCOMPARE(f.state.SelectedWriteSpeed, qint16(7));
    }

    void speedDialogLooksAsItAlwaysHas() {
        BurnFixture f;
        f.enter();
        FrmSpeedSelect& dialog = f.panel.frmSpeedSelect();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Select Burn  Speed"));
        QCOMPARE(dialog.findChildren<QRadioButton*>().size(), 50);
        QVERIFY(dialog.findChild<QRadioButton*>("opt7x") &&
                !dialog.findChild<QRadioButton*>("opt7X"));
        QCOMPARE(dialog.option(7)->text(), QStringLiteral("7x"));
        QCOMPARE(dialog.findChild<QRadioButton*>("opt50X")->text(), QStringLiteral("50x"));
        QCOMPARE(f.skin.calls, QStringList({"Skin.LoadSkin(/opt/melvane/melvane.skn)",
                                            "Skin.ApplySkin(frmSpeedSelect)"}));

        // The whole dialog is repainted before the first probe and at every probe from 13x on,
        // at none of the first twelve: their painting waits for the yield.
        QList<qint16> repaintedAt;
        PaintWatch watch([&](const QPaintEvent* e) {
            if (e->rect() == dialog.rect())
                repaintedAt << f.engine.writeSpeed;
        });
        dialog.show();
        QCoreApplication::processEvents();
        dialog.installEventFilter(&watch);
        f.engine.writeSpeed = -1;
        dialog.DetectOptimals();
        QList<qint16> expected{-1};
        for (qint16 n = 13; n <= 50; ++n)
            expected << n;
        QCOMPARE(repaintedAt, expected);
    }

    void burnMethodDialog() {
        BurnFixture f;
        f.enter();
        f.engine.burnMethod = 11;
        f.add({"/m/a.wav", "/m/b.mp3"});
        f.log.clear();
        QVERIFY(answerModal<FrmBurnMethod>([&] { f.button("BurnMethodBtn")->click(); },
                                           [&](FrmBurnMethod* d) {
                                               QCOMPARE(d->windowTitle(),
                                                        QStringLiteral("Burn Method "));
                                               for (int v = 0; v <= 11; ++v)
                                                   QVERIFY(!d->option(v)->isChecked());
                                               d->cmdOk_Click();
                                           }));
        // The compilation goes first, the boxes are filled again last.
        QCOMPARE(f.log.calls.first(), QStringLiteral("AudioBurner.ClearTracks()"));
        QVERIFY(f.log.indexOf("Skin.ApplySkin(frmBurnMethod)") <
                f.log.indexOf("AudioBurner.RefreshDisc()"));
        QVERIFY(f.list()->Count() == 0 && f.engine.tracks.isEmpty());
        QCOMPARE(f.engine.burnMethod, 11);

        // A click reaches the engine at once and fills the drive box again.
        f.log.clear();
        QVERIFY(answerModal<FrmBurnMethod>([&] { f.panel.ChooseBurnMethod(); },
                                           [&](FrmBurnMethod* d) {
                                               d->option(0)->click();
                                               d->findChild<QPushButton*>("cmdOk")->click();
                                           }));
        QCOMPARE(f.engine.burnMethod, 0);
        const qsizetype set = f.log.indexOf("AudioBurner.setBurnMethod(0)");
        QVERIFY(set >= 0);
        // The drive box is filled again at once: read speed, buffer, type.
        QCOMPARE(f.log.calls.mid(set + 1, 3),
                 QStringList({"AudioBurner.MaxReadSpeed()", "AudioBurner.BufferSize()",
                              "AudioBurner.RecorderType()"}));
        QCOMPARE(f.skin.count("LoadSkin"), 1); // loaded once, kept since
    }

    void burnMethodCaptions() {
        BurnFixture f;
        f.engine.burnMethod = 4;
        FrmBurnMethod& dialog = f.panel.frmBurnMethod();
        QVERIFY(dialog.option(4)->isChecked());
        const QStringList captions = {
            "Auto",
            "Burn Method 1 (MMC-1, Speed 1-4x,   CLV, Burn Proof: No )",
            "Burn Method 2 (MMC-1, Speed 1-8x,   CLV, Burn Proof: No )",
            "Burn Method 3 (MMC-2, Speed 1-8x,   CLV, Burn Proof: No )",
            "Burn Method 4 (MMC-2, Speed 1-16x, CLV, Burn Proof: No )",
            "Burn Method 5 (MMC-3, Speed 1-16x, CLV, Burn Proof: Yes)",
            "Burn Method 6 (MMC-3, Speed 1-24x, CAV, Burn Proof: Yes)",
            "Burn Method 7 (MMC-4, Speed 1-24x, CAV, Burn Proof: Yes)",
            "Burn Method 8 (For carefull Timing burn for old model drives )",
            "Burn Method 9 (For carefull Burn-Proofed  High Speed burn )",
            "Burn Method 10 (CyberDrive Models )",
            "Burn Method 11(Plextor Models )"};
        for (int v = 0; v <= 11; ++v)
            QCOMPARE(dialog.option(v)->text(), captions[v]);
        QCOMPARE(dialog.option(0)->objectName(), QStringLiteral("optBurnMethodAuto"));
    }
};

QTEST_MAIN(TestBurnDialogs)
#include "test_burn_dialogs.moc"
