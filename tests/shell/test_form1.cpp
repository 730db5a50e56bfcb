// The main window on fakes: start-up, the modes, shutdown, the folder picker, and the error
// boundary.
#include "burn/FrameBurn.h"
#include "cd/FrameCDMode.h"
#include "components/Error.h"
#include "convert/FrameFileMode.h"
#include "recorder/FrmMainA.h"
#include "shell/ErrorBoundary.h"
#include "tests/shell/Form1Fixture.h"
#include "volume/VolumeControl.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace {

enum class Mode { Convert, Rip, Burn };

// Which panel shows and which of the Mode menu's first three entries are ticked.
void checkMode(Form1& form, Mode mode) {
    QCOMPARE(!form.fileModePanel()->isHidden(), mode == Mode::Convert);
    QCOMPARE(!form.cdModePanel()->isHidden(), mode == Mode::Rip);
    QCOMPARE(!form.burnPanel()->isHidden(), mode == Mode::Burn);
    // Convert mode ticks the rip entry, as it always has.
    const char* ticked = mode == Mode::Burn ? "mnuoptmode3" : "mnuoptmode2";
    for (const char* name : {"mnuoptmode1", "mnuoptmode2", "mnuoptmode3"})
        QVERIFY2(form.menuAction(name)->isChecked() == (qstrcmp(name, ticked) == 0), name);
    const bool burn = mode == Mode::Burn;
    QCOMPARE(form.burnModeFlag, burn ? True16 : False16);
    QCOMPARE(form.nonBurnModeFlag, burn ? False16 : True16);
    QCOMPARE(form.spareModeFlag, False16);
    QCOMPARE(form.volumeControl()->isEnabled(), mode == Mode::Convert);
}

QPushButton* button(Form1& form, const QString& name) {
    auto* found = form.findChild<QPushButton*>(name);
    if (!found)
        qFatal("no button %s", qPrintable(name));
    return found;
}

} // namespace

class TestForm1 : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void startUpCallsComponentsInOrder() {
        Form1Fixture f(QStringLiteral("/opt/melvane"));
        f.load();
        const QStringList expected = {
            QStringLiteral("new FolderBrowse"),
            QStringLiteral("Skin.LoadSkin(/opt/melvane/melvane.skn)"),
            QStringLiteral("Skin.ApplySkin(Form1)"),
            QStringLiteral("new FilgraphManager"),
            QStringLiteral("MEnc.setEncoderSwitch(1)"),
            QStringLiteral("WAEnc.setBitrate(128000)"),
        };
        QCOMPARE(f.log.calls.mid(0, expected.size()), expected);
        QCOMPARE(f.form->windowTitle(), QStringLiteral(" Melvane 2.0"));
        QCOMPARE(f.form->volumeControl()->DeviceToControl(), qint16(0));
        QCOMPARE(f.form->renamedTracks, False16);
        QCOMPARE(f.form->newJob, True16);
        checkMode(*f.form, Mode::Rip);
    }

    void startUpFailsWhenTheSkinIsMissing() {
        Form1Fixture f;
        f.skin->loadError = QStringLiteral("Cannot load the skin /opt/melvane/melvane.skn");
        try {
            f.form->Form_Load();
            QFAIL("start-up went on without its skin");
        } catch (const Error& e) {
            QVERIFY(e.message().contains(QStringLiteral("melvane.skn")));
        }
        QCOMPARE(f.log.matching(QStringLiteral("MEnc.")), QStringList());
    }

    void menusAreLaidOutAsUsersKnowThem() {
        Form1Fixture f;
        f.load();
        QStringList top;
        for (QAction* a : f.form->menuBar()->actions())
            top << a->text();
        QCOMPARE(top, QStringList({"File", "Options"}));
        QStringList modeItems;
        for (QAction* a : f.form->menu("mnuoptmode")->actions())
            modeItems << a->text();
        QCOMPARE(modeItems, QStringList({"Rip Mode", "Convert  Mode", "Burn Mode", "Record Mode"}));
        QCOMPARE(f.form->menuAction("mnufile00")->text(), QStringLiteral("Open File"));
        QCOMPARE(f.form->menu("mnuoptfilemode")->title(), QStringLiteral("Convert Mode Options"));
        QCOMPARE(f.form->menu("mnuoptcdmode")->title(), QStringLiteral("Rip Mode Options"));
        QCOMPARE(f.form->menu("mnuoptburnmode")->title(), QStringLiteral("Burn Mode Options"));
        QCOMPARE(f.form->menu("mnuPopUp")->title(), QStringLiteral("Popup"));
        QCOMPARE(f.form->menu("mnuCDPopUp")->title(), QStringLiteral("CDPopUp"));
    }

    void everyButtonAndMenuEntersItsMode_data() {
        QTest::addColumn<QString>("trigger");
        QTest::addColumn<int>("mode");
        for (const char* name : {"Command8", "Command13", "Command21", "mnuoptmode1"})
            QTest::newRow(name) << QString::fromLatin1(name) << int(Mode::Convert);
        for (const char* name : {"Command9", "Command14", "Command20", "mnuoptmode2"})
            QTest::newRow(name) << QString::fromLatin1(name) << int(Mode::Rip);
        for (const char* name : {"Command10", "Command15", "Command19", "mnuoptmode3"})
            QTest::newRow(name) << QString::fromLatin1(name) << int(Mode::Burn);
    }

    void everyButtonAndMenuEntersItsMode() {
        QFETCH(QString, trigger);
        QFETCH(int, mode);
        Form1Fixture f;
        f.load();
        // Start from a mode other than the one entered, so the switch is visible.
        f.form->Command10_Click();
        if (mode == int(Mode::Burn))
            f.form->Command9_Click();
        f.form->newJob = False16;

        if (trigger.startsWith(QLatin1String("mnu"))) {
            f.form->menuAction(trigger.toLatin1().constData())->trigger();
        } else {
            QPushButton* b = button(*f.form, trigger);
            // The button sits on a hidden panel unless it is the current one; click it anyway.
            b->click();
        }
        checkMode(*f.form, Mode(mode));
        // Only the rip buttons of the other two panels start a new rip job.
        const bool newJob =
            trigger == QLatin1String("Command14") || trigger == QLatin1String("Command20");
        QCOMPARE(f.form->newJob, newJob ? True16 : False16);
    }

    void convertModeAsksForTheOutputFolderAndSwitchesTheEncoder() {
        Form1Fixture f;
        f.load();
        f.log.clear();
        f.form->Command8_Click();
        QCOMPARE(f.folderBrowser->title, QStringLiteral("Select Folder To Save To:"));
        QCOMPARE(f.log.matching(QStringLiteral("MEnc.setEncoderSwitch")),
                 QStringList({"MEnc.setEncoderSwitch(0)"}));
        // The encoder is switched after the folder was asked for.
        QVERIFY(f.log.indexOf(QStringLiteral("FolderBrowse.BrowseForFolder()")) <
                f.log.indexOf(QStringLiteral("MEnc.setEncoderSwitch(0)")));
    }

    void burnModeTwiceKeepsOneEntryTicked() {
        Form1Fixture f;
        f.load();
        f.form->Command10_Click();
        f.form->Command10_Click();
        checkMode(*f.form, Mode::Burn);
        int ticked = 0;
        for (const char* name : {"mnuoptmode1", "mnuoptmode2", "mnuoptmode3"})
            ticked += f.form->menuAction(name)->isChecked();
        QCOMPARE(ticked, 1);
    }

    void recordModeOpensTheRecorderBesideTheMainWindow_data() {
        QTest::addColumn<QString>("trigger");
        for (const char* name : {"Command7", "Command11", "Command18", "mnuoptmode4"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void recordModeOpensTheRecorderBesideTheMainWindow() {
        QFETCH(QString, trigger);
        Form1Fixture f;
        f.load();
        f.log.clear();
        if (trigger.startsWith(QLatin1String("mnu")))
            f.form->menuAction(trigger.toLatin1().constData())->trigger();
        else
            button(*f.form, trigger)->click();
        FrmMainA* recorder = f.form->recorderWindow();
        QVERIFY(recorder);
        QVERIFY(recorder->isVisible());
        QCOMPARE(recorder->windowTitle(), QStringLiteral("Sound Recorder"));
        QVERIFY(!recorder->isModal());
        QVERIFY(recorder->isWindow());
        QCOMPARE(f.log.calls, QStringList({"Skin.LoadSkin(/opt/melvane/melvane.skn)",
                                           "Skin.ApplySkin(FrmMainA)"}));
        // The main window stays on the panel it showed.
        checkMode(*f.form, Mode::Rip);
        // A second time shows the same window again.
        f.form->Command7_Click();
        QCOMPARE(f.form->recorderWindow(), recorder);
    }

    void closingStopsTheFilterGraphThenTheVolumeControl() {
        Form1Fixture f;
        f.load();
        f.form->Command8_Click();
        QVERIFY(f.form->volumeControl()->isEnabled());
        f.log.clear();
        QVERIFY(f.form->close());
        QCOMPARE(f.log.calls, QStringList({"FilgraphManager.Stop()"}));
        QVERIFY(!f.form->volumeControl()->isEnabled());
    }

    void folderPickerRemembersTheLastAnswer() {
        Form1Fixture f;
        f.load();
        f.answerFolders({QStringLiteral("/music/in"), QString(), QStringLiteral("/music/out")});
        QWidget* owner = f.form->fileModePanel();
        QCOMPARE(f.form->SelectFolder(owner, QStringLiteral("Select Folder To Open:")),
                 QStringLiteral("/music/in"));
        QCOMPARE(f.form->prevFolder, QStringLiteral("/music/in"));
        QCOMPARE(f.folderBrowser->title, QStringLiteral("Select Folder To Open:"));
        QVERIFY(f.folderBrowser->fileSystemOnly && f.folderBrowser->showPrompt);

        // The next dialog starts where the last one ended; a cancel forgets the folder.
        QCOMPARE(f.form->SelectFolder(owner, QStringLiteral("Select Folder To Save To:")),
                 QString());
        QCOMPARE(f.folderBrowser->initialDir, QStringLiteral("/music/in"));
        QCOMPARE(f.form->prevFolder, QString());
        QCOMPARE(f.form->SelectFolder(owner, QStringLiteral("Select Folder To Save To:")),
                 QStringLiteral("/music/out"));
        QCOMPARE(f.folderBrowser->initialDir, QString());
        QCOMPARE(f.folderBrowser->calls.first(),
                 QStringLiteral("FolderBrowse.setOwner(FrameFileMode)"));
        QCOMPARE(f.folderBrowser->calls.last(), QStringLiteral("FolderBrowse.BrowseForFolder()"));
    }

    void fieldHelpersAreOnTheMainWindow() {
        Form1Fixture f;
        QCOMPARE(f.form->CountCSString(QStringLiteral("a\\ b \\c")), qint16(3));
        QCOMPARE(f.form->GetCSString(QStringLiteral("a\\ b \\c"), 2).toString(),
                 QStringLiteral("b"));
    }

    void aFailingHandlerShowsOneReportAndTheWindowGoesOn() {
        Form1Fixture f;
        f.load();
        f.answerFolders({QStringLiteral("/music/out")});
        f.form->Command8_Click();
        // Convert with an empty list: the list raises its index error from inside the handler.
        auto* convert = f.form->findChild<QPushButton*>(QStringLiteral("Command12"));
        QTest::mouseClick(convert, Qt::LeftButton);
        QCOMPARE(f.messageBox->shown.size(), 1);
        QCOMPARE(f.messageBox->shown[0].title, QStringLiteral("Melvane"));
        QCOMPARE(f.messageBox->shown[0].icon, MessageBox::Icon::Critical);
        QVERIFY2(f.messageBox->shown[0].prompt.contains(QStringLiteral("Index out of bounds")),
                 qPrintable(f.messageBox->shown[0].prompt));
        // The window still answers.
        QTest::mouseClick(button(*f.form, QStringLiteral("Command10")), Qt::LeftButton);
        checkMode(*f.form, Mode::Burn);
        QCOMPARE(f.messageBox->shown.size(), 1);
    }

    void anErrorEscapingAnEventIsReportedNotFatal() {
        Form1Fixture f;
        f.load();
        bool ranAfter = false;
        QTimer::singleShot(0, f.form.get(),
                           [] { throw Error(QStringLiteral("Cannot read /x.wav: gone")); });
        QTimer::singleShot(1, f.form.get(), [&] { ranAfter = true; });
        QTRY_VERIFY(ranAfter);
        QCOMPARE(f.messageBox->shown.size(), 1);
        QCOMPARE(f.messageBox->shown[0].prompt, QStringLiteral("Cannot read /x.wav: gone"));
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestForm1 test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_form1.moc"
