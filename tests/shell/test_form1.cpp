// The main window's wiring on fakes: start-up order, modes, menus, shutdown, its public
// operations and the error boundary. What the panels do is tested with each panel.
#include "burn/FrameBurn.h"
#include "burn/FrmBurnMethod.h"
#include "burn/FrmSpeedSelect.h"
#include "cd/FrameCDMode.h"
#include "cd/TrackRename.h"
#include "components/Error.h"
#include "controls/ReportList.h"
#include "convert/FrameFileMode.h"
#include "panelkit/ErrorBoundary.h"
#include "recorder/FrmMainA.h"
#include "shell/Form1.h"
#include "tests/fakes/Fakes.h"
#include "volume/VolumeControl.h"

#include <QAbstractScrollArea>
#include <QComboBox>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace {

// A main window built on fakes, with a handle on each fake and one log of every call. The
// volume control's switching is logged too, so the order of shutdown shows.
struct Form1Fixture : QObject {
    CallLog log;
    FakeSkin* skin = nullptr;
    FakeMessageBox* messageBox = nullptr;
    FakeCommonDialog* comd = nullptr;
    FakeFolderBrowse* folderBrowser = nullptr; // made during start-up
    FakeHarnTools* tools = nullptr;
    QStringList folderAnswers{QStringLiteral("/out")};
    std::unique_ptr<Form1> form;

    Form1Fixture() {
        Form1Components c;
        c.skin = own(skin);
        c.messageBox = own(messageBox);
        c.settings = std::make_unique<FakeSettingsStore>(&log);
        c.comd = own(comd);
        c.commonDialog = std::make_unique<FakeCommonDialog>(&log);
        c.mEnc = std::make_unique<FakeMEnc>(&log);
        c.mDec = std::make_unique<FakeMDec>(&log);
        c.waEnc = std::make_unique<FakeWAEnc>(&log);
        c.waDec = std::make_unique<FakeWaDec>(&log);
        c.wmaFile1 = std::make_unique<FakeWMAFile>(&log);
        c.x = std::make_unique<FakeHarnMediaUtils>(&log);
        // Its own log: the volume control polls it while enabled.
        auto mixer = std::make_unique<FakeMixer>();
        mixer->lines[Mixer::DstSpeakers] = {FakeMixer::Value{0, 65535, 32750},
                                            FakeMixer::Value{0, 1, 0}};
        c.mixer = std::move(mixer);
        c.record = std::make_unique<FakeRecord>(&log);
        c.player = std::make_unique<FakePlayer>(&log);
        c.soundCard = std::make_unique<FakeSoundCard>(&log);
        c.saveDialog = std::make_unique<FakeCommonDialog>(&log);
        c.audioBurner1 = std::make_unique<FakeAudioBurner>(&log);
        c.test = own(tools);
        tools->drives = {{0x010000, "PLEXTOR", "DVDR   PX-716A", "1.11"}};
        tools->trackCount = 2;
        c.mci = std::make_unique<FakeMci>(&log);
        c.drives = std::make_unique<FakeDrives>(&log);
        c.lookup = std::make_unique<FakeDiscLookup>(&log);
        c.makeFolderBrowser = [this] {
            log.calls << QStringLiteral("new FolderBrowse");
            auto made = std::make_unique<FakeFolderBrowse>(&log);
            made->answers = folderAnswers;
            folderBrowser = made.get();
            return made;
        };
        c.makeFilterGraph = [this] {
            log.calls << QStringLiteral("new FilgraphManager");
            return std::make_unique<FakeFilgraphManager>(&log);
        };
        c.applicationFolder = QStringLiteral("/opt/melvane");
        form = std::make_unique<Form1>(std::move(c));
        find<VolumeControl>().installEventFilter(this);
    }

    void load() {
        form->Form_Load();
        form->show();
    }

    template <class T = QPushButton> T* child(const QString& name) const {
        return namedChild<T>(*form, name);
    }
    // The one widget of its kind in the window: a panel, the volume control.
    template <class T> T& find() const { return *child<T>(QString()); }

    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::EnabledChange)
            log.calls << QStringLiteral("VolumeControl1.Enabled(%1)")
                             .arg(boolText(find<VolumeControl>().isEnabled()));
        return false;
    }

private:
    template <class Fake> std::unique_ptr<Fake> own(Fake*& handle) {
        auto made = std::make_unique<Fake>(&log);
        handle = made.get();
        return made;
    }
};

// Which panel shows, which of the Mode menu's first three entries is ticked, the flags and the
// volume control.
void checkMode(Form1Fixture& f, Mode mode) {
    QCOMPARE(f.find<FrameFileMode>().isVisible(), mode == Mode::Convert);
    QCOMPARE(f.find<FrameCDMode>().isVisible(), mode == Mode::Rip);
    QCOMPARE(f.find<FrameBurn>().isVisible(), mode == Mode::Burn);
    // Convert mode ticks the rip entry, as it always has.
    const QString ticked = mode == Mode::Burn ? "mnuoptmode3" : "mnuoptmode2";
    for (const QString name : {"mnuoptmode1", "mnuoptmode2", "mnuoptmode3"})
        QVERIFY2(f.child<QAction>(name)->isChecked() == (name == ticked), qPrintable(name));
    const bool burn = mode == Mode::Burn;
    QCOMPARE(f.form->state().burnModeFlag, burn ? True16 : False16);
    QCOMPARE(f.form->state().nonBurnModeFlag, burn ? False16 : True16);
    QCOMPARE(f.form->state().spareModeFlag, False16);
    QCOMPARE(f.find<VolumeControl>().isEnabled(), mode == Mode::Convert);
}

} // namespace

class TestForm1 : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void startUpRunsInOrderAndOpensOnTheRipPanel() {
        Form1Fixture f;
        f.load();
        QCOMPARE(
            f.log.calls.mid(0, 9),
            QStringList({"new FolderBrowse", "Skin.LoadSkin(/opt/melvane/melvane.skn)",
                         "Skin.ApplySkin(Form1)", "new FilgraphManager", "MEnc.setEncoderSwitch(1)",
                         "WAEnc.setBitrate(128000)", "VolumeControl1.Enabled(false)",
                         "SettingsStore.RegistryValue(Melvane, Audio Rip CD Device)",
                         "MessageBox.MsgBox(Analysing May Take A Minute Depending On The Amount "
                         "Of Tracks, 0, 1, Analysing CD Tracks)"}));
        // The rip panel's entry has listed the drive and read its disc.
        QCOMPARE(f.child<QComboBox>("Combo1")->count(), 1);
        QCOMPARE(f.child<ReportList>("ListView1")->Count(), 2);
        QCOMPARE(f.form->windowTitle(), QStringLiteral(" Melvane 2.0"));
        QCOMPARE(f.find<VolumeControl>().DeviceToControl(), 0);
        QCOMPARE(f.find<VolumeControl>().Volume(), 50);
        QCOMPARE(f.form->state().renamedTracks, False16);
        QCOMPARE(f.form->state().newJob, True16);
        checkMode(f, Mode::Rip);

        // An unreadable drive is reported; the window opens on the rip panel all the same.
        Form1Fixture unreadable;
        unreadable.tools->readError = QStringLiteral("Cannot read the image /m/demo.cue: its "
                                                     "data file /m/demo.bin is missing.");
        unreadable.load();
        checkMode(unreadable, Mode::Rip);
        QCOMPARE(unreadable.messageBox->shown.last().prompt, unreadable.tools->readError);

        // Built without the CD side, the window says so instead of using what is not there.
        QVERIFY_THROWS_EXCEPTION(Error, Form1(Form1Components{}));

        Form1Fixture broken;
        broken.skin->loadError = QStringLiteral("Cannot load the skin /opt/melvane/melvane.skn");
        QVERIFY_THROWS_EXCEPTION(Error, broken.form->Form_Load());
        QCOMPARE(broken.log.matching(QStringLiteral("MEnc.")), QStringList());
    }

    void menusHoldThePanelsEntries() {
        Form1Fixture f;
        f.load();
        const auto texts = [](const QList<QAction*>& actions) {
            QStringList result;
            for (QAction* a : actions)
                result << (a->isSeparator() ? QStringLiteral("-") : a->text());
            return result;
        };
        QCOMPARE(texts(f.form->menuBar()->actions()), QStringList({"File", "Options"}));
        // Quit (Ctrl+Q) follows the file menu's own entry.
        QCOMPARE(texts(f.child<QMenu>("mnufile")->actions()),
                 QStringList({"Open File", "-", "Quit"}));
        QCOMPARE(texts(f.child<QMenu>("mnuopt")->actions()),
                 QStringList({"Mode", "-", "Convert Mode Options", "Rip Mode Options",
                              "Burn Mode Options"}));
        QCOMPARE(texts(f.child<QMenu>("mnuoptmode")->actions()),
                 QStringList({"Rip Mode", "Convert  Mode", "Burn Mode", "Record Mode"}));
        // Each panel's entries in its options menu.
        QCOMPARE(f.child<QMenu>("mnuoptfilemode")->actions(),
                 f.find<FrameFileMode>().optionsActions());
        QVERIFY(f.child<QMenu>("mnuoptfilemode")->menuAction()->isEnabled());
        QCOMPARE(f.child<QMenu>("mnuoptcdmode")->actions(), f.find<FrameCDMode>().optionsActions());
        QCOMPARE(texts(f.child<QMenu>("mnuoptcdmode")->actions()),
                 QStringList({"Rip To Wave", "Rip To MP3", "Rip To WMA", "Select All Tracks",
                              "Unselect All Tracks", "Refresh CD", "Clear Status", "Track Names...",
                              "-", "Look Up Track Names", "Write Log And Cue Sheet"}));
        QCOMPARE(texts(f.child<QMenu>("mnuoptburnmode")->actions()),
                 QStringList({"Verify After Burning", "Add Disc Image..."}));
        QVERIFY(f.child<QMenu>("mnuoptburnmode")->menuAction()->isEnabled());
        QCOMPARE(f.child<QMenu>("mnuCDPopUp")->title(), QStringLiteral("CDPopUp"));

        // A right-button release over the track list, then over the convert list, pops the
        // panel's own menu up there.
        for (const auto& [list, name] :
             {std::pair{"ListView1", "mnuCDPopUp"}, {"LV", "mnuPopUp"}}) {
            QTest::mouseRelease(f.child<QAbstractScrollArea>(list)->viewport(), Qt::RightButton);
            QTRY_VERIFY(f.child<QMenu>(name)->isVisible());
            f.child<QMenu>(name)->hide();
            f.form->Command8_Click();
        }

        // File > Open File adds to the conversion list, whatever the mode.
        f.form->Command10_Click();
        f.log.clear();
        f.child<QAction>("mnufile00")->trigger();
        QCOMPARE(f.log.matching(QStringLiteral("CommonDialog.ShowOpen")),
                 QStringList({"CommonDialog.ShowOpen()"}));
    }

    void everyButtonAndMenuEntersItsMode_data() {
        QTest::addColumn<QString>("trigger");
        QTest::addColumn<int>("modeNumber");
        const struct {
            Mode mode;
            const char* triggers[4];
        } table[] = {
            {Mode::Convert, {"Command8", "Command13", "Command21", "mnuoptmode1"}},
            {Mode::Rip, {"Command9", "Command14", "Command20", "mnuoptmode2"}},
            {Mode::Burn, {"Command10", "Command15", "Command19", "mnuoptmode3"}},
            {Mode::Record, {"Command7", "Command11", "Command18", "mnuoptmode4"}},
        };
        for (const auto& row : table)
            for (const char* trigger : row.triggers)
                QTest::newRow(trigger) << QString::fromLatin1(trigger) << int(row.mode);
    }

    void everyButtonAndMenuEntersItsMode() {
        QFETCH(QString, trigger);
        QFETCH(int, modeNumber);
        const Mode mode = Mode(modeNumber);
        Form1Fixture f;
        f.load();
        // Start from another mode, so the switch shows; the buttons of hidden panels still work.
        f.form->Command10_Click();
        if (mode == Mode::Burn)
            f.form->Command9_Click();
        f.form->state().newJob = False16;
        f.log.clear();
        const auto pull = [&] {
            trigger.startsWith("mnu") ? f.child<QAction>(trigger)->trigger()
                                      : f.child(trigger)->click();
        };
        pull();
        if (mode == Mode::Record) {
            FrmMainA* recorder = f.form->recorderWindow();
            QVERIFY(recorder && recorder->isVisible() && recorder->isWindow() &&
                    !recorder->isModal());
            // Loaded on the window's components; what loading does: test_recorder.
            QVERIFY(f.log.calls.contains("Skin.ApplySkin(FrmMainA)"));
            pull(); // the same window again
            QCOMPARE(f.form->recorderWindow(), recorder);
            checkMode(f, Mode::Burn);
            return;
        }
        checkMode(f, mode);
        // Only the rip buttons of the other two panels start a new rip job.
        QCOMPARE(f.form->state().newJob,
                 trigger == "Command14" || trigger == "Command20" ? True16 : False16);
        if (mode == Mode::Convert) // the panel's own preparation follows the common steps
            QCOMPARE(f.log.calls.mid(f.log.calls.size() - 2),
                     QStringList({"FolderBrowse.BrowseForFolder()", "MEnc.setEncoderSwitch(0)"}));
        // Entering a mode again leaves one entry ticked still.
        pull();
        checkMode(f, mode);
    }

    // A panel asks the window about another's drive. The panels' kept dialogs are made once,
    // owned by the window (the track names afresh after an unload), and unloaded first when
    // it closes: the burn method, the write speed, the track names; then the filter graph
    // stops, then the volume control. A second close does nothing more.
    void sharedDriveKeptDialogsAndShutdown() {
        Form1Fixture f;
        f.load();
        f.form->Command10_Click();
        f.log.clear();
        // The burn panel's blank test asks about the rip panel's drive.
        f.child("Command26")->click();
        QVERIFY(f.log.calls.contains("HarnTools.DiscState(65536)"));

        FrameBurn& burn = f.find<FrameBurn>();
        FrmBurnMethod* method = &burn.frmBurnMethod();
        FrmSpeedSelect* speed = &burn.frmSpeedSelect();
        QCOMPARE(&burn.frmBurnMethod(), method);
        QCOMPARE(&burn.frmSpeedSelect(), speed);
        QCOMPARE(method->parentWidget(), f.form.get());
        QVERIFY(speed->isWindow() && !speed->isVisible());

        FrameCDMode& rip = f.find<FrameCDMode>();
        QPointer<TrackRename> first = &rip.frmTrackRename();
        QCOMPARE(&rip.frmTrackRename(), first.data());
        QCOMPARE(first->parentWidget(), f.form.get());
        QVERIFY(first->isWindow() && !first->isVisible());
        f.form->state().renamedTracks = True16;
        rip.unloadTrackRename();
        QCOMPARE(f.form->state().renamedTracks, False16);
        QVERIFY(!first->isVisible());
        QTRY_VERIFY(first.isNull());

        for (QObject* dialog : {static_cast<QObject*>(method), static_cast<QObject*>(speed),
                                static_cast<QObject*>(&rip.frmTrackRename())})
            QObject::connect(dialog, &QObject::destroyed, [&f, name = dialog->objectName()] {
                f.log.calls << name + QStringLiteral(" unloaded");
            });
        f.form->state().renamedTracks = True16;
        // The convert panel's player plays through the graph while it lives.
        f.form->Command8_Click();
        auto* play = f.find<FrameFileMode>().findChild<QPushButton*>("playButton");
        QVERIFY(play->isEnabled());
        f.log.clear();
        QVERIFY(f.form->close());
        QVERIFY(f.form->close());
        QCOMPARE(f.log.calls, QStringList({"frmBurnMethod unloaded", "frmSpeedSelect unloaded",
                                           "frmTrackRename unloaded", "FilgraphManager.Stop()",
                                           "VolumeControl1.Enabled(false)"}));
        QCOMPARE(f.form->state().renamedTracks, False16);
        QVERIFY(!play->isEnabled());
    }

    // Closing while a burn, a rip or a conversion runs asks first, by the close button or by
    // File > Quit (Ctrl+Q): No keeps the window and the job, Yes closes. Idle, it just closes.
    void closingDuringAJobAsksFirst_data() {
        QTest::addColumn<QString>("job");
        QTest::addColumn<bool>("byKeyboard");
        QTest::addColumn<QString>("question"); // its start; empty: nothing is asked
        const QStringList jobs{"burn", "rip", "convert", "idle"};
        const QStringList questions{"A CD is being burnt.", "A CD is being ripped.",
                                    "Files are being converted.", QString()};
        for (int i = 0; i < jobs.size(); ++i)
            for (const bool byKeyboard : {false, true})
                QTest::addRow("%s, %s", qPrintable(jobs[i]), byKeyboard ? "Ctrl+Q" : "close button")
                    << jobs[i] << byKeyboard << questions[i];
    }
    void closingDuringAJobAsksFirst() {
        QFETCH(QString, job);
        QFETCH(bool, byKeyboard);
        QFETCH(QString, question);
        Form1Fixture f;
        f.folderAnswers = {QStringLiteral("/out"), QStringLiteral("/out")};
        f.load();
        Form1& form = *f.form;
        const auto running = [&] {
            return form.state().burnRunning != False16 || f.find<FrameCDMode>().ripping() ||
                   f.find<FrameFileMode>().converting();
        };
        if (job == "burn") {
            form.Command10_Click();
            f.child("BurnNowBtn")->click();
        } else if (job == "rip") {
            f.child("Command16")->click();
            f.child<QAction>("mnuoptcdmode4")->trigger();
            f.child("Command17")->click();
        } else if (job == "convert") {
            form.Command8_Click();
            f.comd->answers << QStringLiteral("/music/a.wav");
            f.child("Command2")->click();
            f.child("Command12")->click();
        }
        QCOMPARE(running(), job != "idle");
        QCOMPARE(f.child<QAction>("mnufileQuit")->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
        const auto close = [&] {
            if (!byKeyboard)
                return form.close();
            form.activateWindow();
            [&] { QVERIFY(QTest::qWaitForWindowActive(&form)); }();
            QTest::keyClick(&form, Qt::Key_Q, Qt::ControlModifier);
            return !form.isVisible();
        };
        f.messageBox->shown.clear();
        f.messageBox->results = {MessageBox::Result::No};
        f.log.clear();
        if (!question.isEmpty()) {
            QVERIFY(!close());
            QCOMPARE(f.messageBox->shown.size(), 1);
            const QString& asked = f.messageBox->shown[0].prompt;
            QVERIFY2(asked.startsWith(question) && asked.endsWith("Close Melvane anyway?"),
                     qPrintable(asked));
            QCOMPARE(f.messageBox->shown[0].buttons, MessageBox::Buttons::YesNo);
            QVERIFY(form.isVisible());
            QVERIFY(running());
            QVERIFY(!f.log.calls.contains("FilgraphManager.Stop()"));
            f.messageBox->results = {MessageBox::Result::Yes};
        }
        QVERIFY(close());
        QCOMPARE(f.messageBox->shown.size(), question.isEmpty() ? 0 : 2);
        QVERIFY(f.log.calls.contains("FilgraphManager.Stop()"));
    }

    // The folder picker starts where it ended last; a cancel forgets the folder.
    void theFolderPickerRemembersTheLastFolder() {
        Form1Fixture f;
        f.folderAnswers = QStringList{QStringLiteral("/music/in"), QString(), "/music/out"};
        f.form->Form_Load();
        MainWindow& main = *f.form;
        QWidget* owner = &f.find<FrameFileMode>();
        QCOMPARE(main.SelectFolder(owner, QStringLiteral("Select Folder To Open:")),
                 QStringLiteral("/music/in"));
        QCOMPARE(f.form->state().prevFolder, QStringLiteral("/music/in"));
        QCOMPARE(main.SelectFolder(owner, QStringLiteral("Prompt")), QString());
        QCOMPARE(f.folderBrowser->initialDir, QStringLiteral("/music/in"));
        QCOMPARE(f.form->state().prevFolder, QString());
        f.folderBrowser->calls.clear();
        main.SelectFolder(owner, QStringLiteral("Prompt"));
        QCOMPARE(
            f.folderBrowser->calls,
            QStringList({"FolderBrowse.setOwner(FrameFileMode)", "FolderBrowse.setInitialDir()",
                         "FolderBrowse.setFileSystemOnly(true)", "FolderBrowse.setShowPrompt(true)",
                         "FolderBrowse.setEditBox(true)", "FolderBrowse.setNewFolderButton(true)",
                         "FolderBrowse.setTitle(Prompt)", "FolderBrowse.BrowseForFolder()"}));
    }

    // The window's named operations are one-line forwarders that no panel calls any more, so
    // only this shows that each still reaches its panel.
    void theNamedOperationsReachTheirPanels() {
        Form1Fixture f;
        f.load();
        f.log.clear();
        f.form->updatecd();
        QCOMPARE(f.log.matching("Mci.mciSendString(open"),
                 QStringList({"Mci.mciSendString(open cdaudio alias cd1)"}));
        f.form->Command10_Click();
        f.log.clear();
        f.form->RefreshDriveInfo();
        f.form->ReadDiscStatus();
        QVERIFY(f.log.calls.contains("AudioBurner.MaxReadSpeed()"));
        QVERIFY(f.log.calls.contains("AudioBurner.RefreshDisc()"));
        QCOMPARE(f.form->CountCSString(QStringLiteral("a\\ b \\c")), qint16(3));
        QCOMPARE(f.form->GetCSString(QStringLiteral("a\\ b \\c"), 2).toString(),
                 QStringLiteral("b"));
        // Each completion moves the convert job on to the next checked row.
        f.form->Command8_Click();
        for (const char* name : {"/in/1.wav", "/in/2.wav", "/in/3.wav", "/in/4.wav"}) {
            f.comd->answers << QString::fromLatin1(name);
            f.find<FrameFileMode>().Command2_Click();
        }
        f.find<FrameFileMode>().Command12_Click();
        for (void (Form1::*done)() :
             {&Form1::mp3donenowwhat, &Form1::wmadonenowwhat, &Form1::decdonenowwhat})
            (f.form.get()->*done)();
        QCOMPARE(f.log.matching(QStringLiteral("MEnc.setInputFile")),
                 QStringList({"MEnc.setInputFile(/in/1.wav)", "MEnc.setInputFile(/in/2.wav)",
                              "MEnc.setInputFile(/in/3.wav)", "MEnc.setInputFile(/in/4.wav)"}));
    }

    // Clicked with the mouse, the rip panel's "Convert Mode" had the focus when it went: no
    // other mode button may inherit it and show a focus ring. An error ends its handler with
    // one report (also one escaping an event of its own), and the window goes on.
    void clicksChangeModesAndErrorsEndTheirHandlerWithOneReport() {
        Form1Fixture f;
        f.load();
        f.messageBox->shown.clear(); // the analysing notice of start-up
        QApplication::setActiveWindow(f.form.get());
        QVERIFY(QTest::qWaitForWindowActive(f.form.get()));
        QTest::mouseClick(f.child("Command13"), Qt::LeftButton);
        QVERIFY(f.find<FrameFileMode>().isVisible());
        const QWidget* focus = QApplication::focusWidget();
        QVERIFY2(!focus || !focus->property("modeButton").toBool(),
                 qPrintable(focus ? focus->objectName() : QString()));
        // Convert with an empty list: the handler ends with the reason.
        QTest::mouseClick(f.child("Command12"), Qt::LeftButton);
        bool ranAfter = false;
        QTimer::singleShot(0, f.form.get(),
                           [] { throw Error(QStringLiteral("Cannot read /x.wav: gone")); });
        QTimer::singleShot(1, f.form.get(), [&] { ranAfter = true; });
        QTRY_VERIFY(ranAfter);
        QTest::mouseClick(f.child("Command10"), Qt::LeftButton);
        checkMode(f, Mode::Burn);
        QCOMPARE(f.messageBox->shown.size(), 2);
        QCOMPARE(f.messageBox->shown[0].title, QStringLiteral("Melvane"));
        QCOMPARE(f.messageBox->shown[0].icon, MessageBox::Icon::Critical);
        QCOMPARE(f.messageBox->shown[0].prompt,
                 QStringLiteral("There is nothing to convert: add files and check them"));
        QCOMPARE(f.messageBox->shown[1].prompt, QStringLiteral("Cannot read /x.wav: gone"));
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestForm1 test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_form1.moc"
