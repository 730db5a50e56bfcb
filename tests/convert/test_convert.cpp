// The convert panel alone, on fake codecs and a fake main window; and the conversion rules it
// shares with melvane-cli.
#include "components/Error.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "convert/FrameFileMode.h"
#include "core/CommonHelpers.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QStringList kTargets = {"MP3", "WMA", "WAV"};
const QStringList kMp3Rates = {"320", "288", "256", "224", "192", "160",
                               "128", "96",  "80",  "64",  "48",  "32"};
const QStringList kWmaRates = {"320", "256", "192", "160", "128", "96", "80", "64", "48", "32"};

// The panel in convert mode, with the folder picker's answers (by default /out as the output
// folder) and the completion methods wired as Form1 wires them.
struct ConvertFixture {
    CallLog log;
    FakeMEnc mEnc{&log};
    FakeMDec mDec{&log};
    FakeWAEnc waEnc{&log};
    FakeWaDec waDec{&log};
    FakeHarnMediaUtils x{&log};
    FakeCommonDialog comd{&log};
    FakeMainWindow main{&log};
    FakeMessageBox messageBox{&log};
    SharedState state;
    FrameFileMode panel{{mEnc, mDec, waEnc, waDec, x, comd, messageBox, main, state}};
    ReportList* LV = child<ReportList>("LV");

    explicit ConvertFixture(const QStringList& folders = {QStringLiteral("/out")}) {
        ErrorBoundary::setMessageBox(&messageBox);
        main.folders = folders;
        panel.enterFileMode();
    }
    ~ConvertFixture() { ErrorBoundary::setMessageBox(nullptr); }

    template <class T> T* child(const QString& name) const { return panel.findChild<T*>(name); }

    void select(const QString& target) {
        const qsizetype i = kTargets.indexOf(target);
        (panel.*std::array{&FrameFileMode::Command4_Click, &FrameFileMode::Command5_Click,
                           &FrameFileMode::Command6_Click}[i])();
    }

    // Adds files through the open dialog; the media information knows each of them.
    void addFiles(const QStringList& paths) {
        for (const QString& path : paths) {
            x.files.insert(path, {205, 34.567f});
            comd.answers << path;
            panel.Command2_Click();
        }
    }

    QStringList rows() const {
        QStringList result;
        for (qint32 i = 1; i <= LV->Count(); ++i)
            result << QStringList{LV->Text(i), LV->SubItem(i, 1), LV->SubItem(i, 2),
                                  LV->SubItem(i, 3)}
                          .join(u'|');
        return result;
    }

    QList<bool> checks() const {
        QList<bool> result;
        for (qint32 i = 1; i <= LV->Count(); ++i)
            result << LV->Checked(i);
        return result;
    }

    // A progress event of the codec called component ("MEnc", "WaDec" …).
    void progress(const QString& component, double percent) {
        if (component == QLatin1String("MEnc"))
            mEnc.raiseProgress(qint32(percent));
        else if (component == QLatin1String("MDec"))
            mDec.raiseProgress(qint32(percent));
        else if (component == QLatin1String("WAEnc"))
            waEnc.raiseProgress(percent);
        else
            waDec.raiseProgress(percent);
    }

    // The calls made on the codecs and the main window since the last time, then forgets them.
    QStringList takeJobCalls() {
        QStringList calls;
        for (const QString& call : log.calls)
            if (!call.startsWith(QLatin1String("HarnMediaUtils.")) &&
                !call.startsWith(QLatin1String("CommonDialog.")))
                calls << call;
        log.clear();
        return calls;
    }
};

QStringList comboItems(const QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i)
        items << combo->itemText(i);
    return items;
}

} // namespace

class TestConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void enteringTheModePreparesMp3AndTheOutputFolder() {
        ConvertFixture f;
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(), QStringLiteral("MP3"));
        QCOMPARE(f.child<QLineEdit>("Text5")->text(), QStringLiteral("/out"));
        QCOMPARE(f.child<QComboBox>("Combo5")->currentText(), QStringLiteral("320"));
        // LAME, switched after the folder was asked for.
        QCOMPARE(f.log.calls.mid(f.log.calls.size() - 2),
                 QStringList({"MainWindow.SelectFolder(FrameFileMode, Select Folder To Save To:)",
                              "MEnc.setEncoderSwitch(0)"}));
        // A cancelled folder dialog keeps the folder there is.
        f.panel.Command27_Click();
        QCOMPARE(f.child<QLineEdit>("Text5")->text(), QStringLiteral("/out"));
    }

    void everyTriggerSelectsItsTarget_data() {
        QTest::addColumn<QString>("trigger");
        QTest::addColumn<int>("target");
        const char* triggers[][3] = {{"Command4", "mnuoptfilemode1", "popfilemode01"},
                                     {"Command5", "mnuoptfilemode2", "popfilemode02"},
                                     {"Command6", "mnuoptfilemode3", "popfilemode03"}};
        for (int target = 0; target < 3; ++target)
            for (const char* trigger : triggers[target])
                QTest::newRow(trigger) << QString::fromLatin1(trigger) << target;
    }

    // Label, buttons, ticks, what the pop-up offers (disfilepopup), bit rates, and an
    // emptied list.
    void everyTriggerSelectsItsTarget() {
        QFETCH(QString, trigger);
        QFETCH(int, target);
        ConvertFixture f;
        // Only the chosen target's button is enabled, so a button selects its target again;
        // the menus start from another one. Wave follows WMA, to show that it keeps the rates.
        const bool button = trigger.startsWith(QLatin1String("Command"));
        f.select(QStringLiteral("WMA"));
        f.select(kTargets[button ? target : (target + 2) % 3]);
        f.addFiles({QStringLiteral("/in/a.wav")});
        if (QAction* action = f.child<QAction>(trigger))
            action->trigger();
        else
            f.child<QPushButton>(trigger)->click();

        QCOMPARE(f.LV->Count(), 0);
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(), kTargets[target]);
        for (int i = 0; i < 3; ++i) {
            const bool chosen = i == target;
            QCOMPARE(f.child<QPushButton>(QStringLiteral("Command%1").arg(4 + i))->isEnabled(),
                     chosen);
            QCOMPARE(f.panel.optionsActions()[i]->isChecked(), chosen);
            QAction* popUpItem = f.panel.popUpMenu()->actions()[i];
            QCOMPARE(popUpItem->isChecked(), chosen);
            QCOMPARE(popUpItem->isEnabled(), !chosen);
        }
        auto* combo = f.child<QComboBox>("Combo5");
        QCOMPARE(combo->isEnabled(), target != 2);
        QCOMPARE(comboItems(combo), target == 0 ? kMp3Rates : kWmaRates);
        QCOMPARE(combo->currentIndex(), 0);
    }

    void addingAFile_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("row"); // empty: no row
        QTest::addColumn<QString>("reads");
        const auto row = [](const char* name, const char* target, const char* path, const char* row,
                            const char* reads) {
            QTest::newRow(name) << target << path << row << reads;
        };
        // clang-format off
        row("wave", "MP3", "/in/s.wav", "/in/s.wav|WAV|03:25|34.57 mb",
            "ReadWavInfo(/in/s.wav) WavDuration() WavSizeMB()");
        row("mp3", "WAV", "/in/a.mp3", "/in/a.mp3|MP3|03:25|34.57 mb",
            "ReadMp3Info(/in/a.mp3) Mp3Duration() Mp3SizeMB()");
        row("wma", "WMA", "/in/b.wma", "/in/b.wma|WMA|03:25|34.57 mb",
            "ReadWmaInfo(/in/b.wma) WmaDuration() WmaSizeMB()");
        // The ending counts in lower case: LOUD.MP3 is an MP3 file.
        row("upper case", "WAV", "/in/LOUD.MP3", "/in/LOUD.MP3|MP3|03:25|34.57 mb",
            "ReadMp3Info(/in/LOUD.MP3) Mp3Duration() Mp3SizeMB()");
        row("unknown ending", "WAV", "/in/notes.ogg", "/in/notes.ogg|||", "");
        // A file whose information cannot be read still gets its row.
        row("unreadable", "MP3", "/in/broken.wav", "/in/broken.wav|WAV|00:00|0.00 mb",
            "ReadWavInfo(/in/broken.wav) WavDuration() WavSizeMB()");
        row("cancelled", "MP3", "", "", "");
        // clang-format on
    }

    void addingAFile() {
        QFETCH(QString, target);
        QFETCH(QString, path);
        QFETCH(QString, row);
        QFETCH(QString, reads);
        ConvertFixture f;
        f.select(target);
        f.log.clear();
        if (!path.contains(QLatin1String("broken")))
            f.x.files.insert(path, {205, 34.567f});
        f.comd.answers << path;
        f.panel.Command2_Click();
        QCOMPARE(f.comd.Filter(), target == "WAV" ? kCompressedFilesFilter : kWaveFilesFilter);
        QCOMPARE(f.rows(), row.isEmpty() ? QStringList() : QStringList{row});
        QCOMPARE(f.checks(), QList<bool>(f.LV->Count(), true));
        QStringList seen = f.log.matching(QStringLiteral("HarnMediaUtils."));
        QCOMPARE(seen.replaceInStrings(QStringLiteral("HarnMediaUtils."), QString()).join(u' '),
                 reads);
        QCOMPARE(f.messageBox.shown.size(), 0);
    }

    void aFolderAddsEveryAudioFileWhateverTheTarget() {
        QTemporaryDir dir;
        const QString d = dir.path();
        ConvertFixture f({QStringLiteral("/out"), d, d + "/gone"});
        for (const char* name : {"b.wav", "a.mp3", "c.wma", "D.MP3", "notes.txt", "z.wav"}) {
            QFile file(d + QLatin1Char('/') + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            f.x.files.insert(file.fileName(), {61, 0.5f});
        }
        f.panel.Command3_Click();
        QCOMPARE(f.main.calls.last(),
                 QStringLiteral("MainWindow.SelectFolder(FrameFileMode, Select Folder To Open:)"));
        // WMA, then MP3, then wave; the pattern matches any case and gives the type.
        QCOMPARE(f.rows(),
                 QStringList({d + "/c.wma|WMA|01:01|0.50 mb", d + "/D.MP3|MP3|01:01|0.50 mb",
                              d + "/a.mp3|MP3|01:01|0.50 mb", d + "/b.wav|WAV|01:01|0.50 mb",
                              d + "/z.wav|WAV|01:01|0.50 mb"}));
        // A folder that is gone ends the handler.
        QVERIFY_THROWS_EXCEPTION(Error, f.panel.Command3_Click());
    }

    // Each list of steps holds what the convert button does, then what each progress of
    // exactly 100 sets off, as the fakes saw it.
    void jobsConvertCheckedRowsOneAfterAnother_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("sources");
        QTest::addColumn<QList<QStringList>>("steps");
        const QString longName = QString(56, u'n') + ".wav"; // 60 characters
        // Each start says that no file of the list may be written over, nor any other file.
        QTest::newRow("mp3, an unchecked row skipped")
            << "MP3" << QStringList{"/in/one.wav", "/in/-two.wav", "/in/three.wav"}
            << QList<QStringList>{{"MEnc.setBitrate(192000)", "MEnc.setInputFile(/in/one.wav)",
                                   "MEnc.setOutputFile(/out/one.mp3)",
                                   "MEnc.setOverwrite(keep, 3 sources)", "MEnc.Encode()"},
                                  {"MEnc.setBitrate(192000)", "MEnc.setInputFile(/in/three.wav)",
                                   "MEnc.setOutputFile(/out/three.mp3)",
                                   "MEnc.setOverwrite(keep, 3 sources)", "MEnc.Encode()"},
                                  {}};
        QTest::newRow("wma") << "WMA" << QStringList{"/in/one.wav", "/in/two.wav"}
                             << QList<QStringList>{{"WAEnc.setBitrate(192000)",
                                                    "WAEnc.setOverwrite(keep, 2 sources)",
                                                    "WAEnc.Encode(/in/one.wav, /out/one.wma)"},
                                                   {"WAEnc.setBitrate(192000)",
                                                    "WAEnc.setOverwrite(keep, 2 sources)",
                                                    "WAEnc.Encode(/in/two.wav, /out/two.wma)"},
                                                   {}};
        QTest::newRow("wave, decoder by ending")
            << "WAV" << QStringList{"/in/one.wma", "/in/two.mp3"}
            << QList<QStringList>{
                   {"WaDec.setInputFile(/in/one.wma)", "WaDec.setOutputFile(/out/one.wav)",
                    "WaDec.setOverwrite(keep, 2 sources)", "WaDec.Decode()"},
                   {"MDec.setInputFile(/in/two.mp3)", "MDec.setOutputFile(/out/two.wav)",
                    "MDec.setOverwrite(keep, 2 sources)", "MDec.Decode()"},
                   {}};
        // Endings count in lower case, in every target.
        QTest::newRow("upper-case endings")
            << "WAV" << QStringList{"/in/SONG.MP3", "/in/Track.WMA"}
            << QList<QStringList>{
                   {"MDec.setInputFile(/in/SONG.MP3)", "MDec.setOutputFile(/out/SONG.wav)",
                    "MDec.setOverwrite(keep, 2 sources)", "MDec.Decode()"},
                   {"WaDec.setInputFile(/in/Track.WMA)", "WaDec.setOutputFile(/out/Track.wav)",
                    "WaDec.setOverwrite(keep, 2 sources)", "WaDec.Decode()"},
                   {}};
        // The first 50 characters name the output; their last three give way to the ending.
        QTest::newRow("long name cut")
            << "MP3" << QStringList{"/in/" + longName}
            << QList<QStringList>{{"MEnc.setBitrate(192000)",
                                   "MEnc.setInputFile(/in/" + longName + ")",
                                   "MEnc.setOutputFile(/out/" + QString(47, u'n') + "mp3)",
                                   "MEnc.setOverwrite(keep, 1 sources)", "MEnc.Encode()"},
                                  {}};
        // The wave target starts nothing for an ending it does not know.
        QTest::newRow("wave, unknown ending")
            << "WAV" << QStringList{"/in/notes.ogg"} << QList<QStringList>{{}};
    }

    void jobsConvertCheckedRowsOneAfterAnother() {
        QFETCH(QString, target);
        QFETCH(QStringList, sources);
        QFETCH(QList<QStringList>, steps);
        ConvertFixture f;
        f.select(target);
        f.addFiles(sources);
        for (qint32 i = 1; i <= f.LV->Count(); ++i) // "-" marks a row left unchecked
            f.LV->setChecked(i, !f.LV->Text(i).contains(u'-'));
        f.child<QComboBox>("Combo5")->setCurrentText(QStringLiteral("192"));
        auto* prog = f.child<ProgressBar>("prog");
        f.log.clear();
        f.panel.Command12_Click();
        for (qsizetype step = 0; step < steps.size(); ++step) {
            QCOMPARE(f.takeJobCalls(), steps[step]);
            if (step + 1 == steps.size())
                break;
            QVERIFY(f.LV->Selected(f.checks().indexOf(true) + 1)); // the row being converted
            // Only exactly 100 finishes a file; the bar shows the rest.
            const QString codec = steps[step].last().section(u'.', 0, 0);
            for (double percent : {42.0, 99.0, 101.0})
                f.progress(codec, percent);
            QCOMPARE(f.takeJobCalls(), QStringList());
            QCOMPARE(prog->Value(), 101.0);
            f.progress(codec, 100.0);
        }
        // Done: every row unchecked and selected, the bar back at 0.
        QCOMPARE(f.checks(), QList<bool>(f.LV->Count(), steps.size() == 1));
        for (qint32 i = 1; i <= f.LV->Count(); ++i)
            QVERIFY(f.LV->Selected(i));
        QCOMPARE(prog->Value(), 0.0);
    }

    void theJobEndsAfterTheLastRowEvenWithEarlierRowsChecked() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.LV->setChecked(1, false);
        f.panel.Command12_Click();
        f.LV->setChecked(1, true); // checked again while the last row runs
        f.mEnc.raiseProgress(100);
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 1);
        QCOMPARE(f.checks(), QList<bool>({true, false}));
    }

    void convertRefusesWithoutARowOrAFolder() {
        ConvertFixture f;
        // An empty list, then nothing checked: the user is told in plain words.
        f.child<QPushButton>("Command12")->click();
        f.addFiles({QStringLiteral("/in/one.wav")});
        f.LV->setChecked(1, false);
        f.child<QPushButton>("Command12")->click();
        QCOMPARE(f.messageBox.shown.size(), 2);
        for (const auto& shown : f.messageBox.shown)
            QCOMPARE(shown.prompt,
                     QStringLiteral("There is nothing to convert: add files and check them"));
        // The first folder dialog cancelled: nothing is written into the root folder.
        ConvertFixture noFolder(QStringList{});
        noFolder.addFiles({QStringLiteral("/in/one.wav")});
        noFolder.child<QPushButton>("Command12")->click();
        QCOMPARE(noFolder.messageBox.shown.value(0).prompt,
                 QStringLiteral("Choose an output folder first"));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")) + noFolder.mEnc.count("Encode"), 0);
    }

    void errorsAreReportedAndStopTheJob() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        // A codec that refuses to start: the button's handler ends with the report.
        f.mEnc.startError = QStringLiteral("Cannot convert /in/one.wav: the file does not exist");
        f.child<QPushButton>("Command12")->click();
        f.mEnc.startError.clear();
        // A failure on the way sends no 100: reported, and nothing further starts; the bar and
        // the line under it go back to rest.
        f.panel.Command12_Click();
        f.mEnc.raiseProgress(99);
        f.mEnc.raiseFailed(QStringLiteral("Cannot write /out/one.mp3: No space left on device"));
        QCOMPARE(f.checks(), QList<bool>({true, true}));
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
        QCOMPARE(f.child<QLabel>("convertStatus")->text(), QString());
        QStringList prompts;
        for (const auto& shown : f.messageBox.shown)
            prompts << shown.prompt.section(u':', 0, 0);
        QCOMPARE(prompts, QStringList({"Cannot convert /in/one.wav", "Cannot write /out/one.mp3"}));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);
    }

    // The chain that runs out of checked rows, or whose list the target emptied, ends quietly.
    void theJobEndsQuietly_data() {
        QTest::addColumn<bool>("changeTarget");
        QTest::newRow("last checked row is not the last row") << false;
        QTest::newRow("target changed while a file ran") << true;
    }
    void theJobEndsQuietly() {
        QFETCH(bool, changeTarget);
        ConvertFixture f;
        f.addFiles({"/in/one.wav", "/in/two.wav", "/in/three.wav"});
        f.LV->setChecked(3, false);
        f.child<QPushButton>("Command12")->click();
        f.mEnc.raiseProgress(60);
        if (changeTarget)
            f.child<QAction>("mnuoptfilemode2")->trigger();
        else
            f.mEnc.raiseProgress(100);
        f.mEnc.raiseProgress(100);
        QCOMPARE(f.messageBox.shown.size(), 0);
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), changeTarget ? 1 : 2);
        QCOMPARE(f.checks(), changeTarget ? QList<bool>() : QList<bool>({false, false, false}));
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
        QCOMPARE(f.child<QLabel>("convertStatus")->text(), QString());
        // The next job starts as any other.
        f.addFiles({"/in/four.wav"});
        f.panel.Command12_Click();
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")) + f.waEnc.count(QStringLiteral("Encode")),
                 changeTarget ? 2 : 3);
    }

    // Outputs that exist: the user replaces or skips each, or all of the job at once; the
    // list's own files are handed to the codec as never to be written over.
    void anExistingOutputIsReplacedOnlyWithConsent_data() {
        using Answer = MessageBox::ReplaceAnswer;
        QTest::addColumn<QList<Answer>>("answers");
        QTest::addColumn<QStringList>("steps");
        QTest::newRow("replace one, skip the next")
            << QList<Answer>{{true, false}, {false, false}}
            << QStringList{"keep one", "ask one", "replace one", "done",
                           "keep two", "ask two", "keep three",  "done"};
        QTest::newRow("replace all")
            << QList<Answer>{{true, true}}
            << QStringList{"keep one",    "ask one", "replace one",   "done",
                           "replace two", "done",    "replace three", "done"};
        QTest::newRow("skip all") << QList<Answer>{{false, true}}
                                  << QStringList{"keep one", "ask one", "keep two", "keep three",
                                                 "done"};
    }
    void anExistingOutputIsReplacedOnlyWithConsent() {
        QFETCH(QList<MessageBox::ReplaceAnswer>, answers);
        QFETCH(QStringList, steps);
        ConvertFixture f;
        const QStringList sources{"/in/one.wav", "/in/two.wav", "/in/three.wav"};
        f.addFiles(sources);
        f.mEnc.existing = {"/out/one.mp3", "/out/two.mp3"};
        f.messageBox.replaceAnswers = answers;
        f.log.clear();
        f.child<QPushButton>("Command12")->click();
        QStringList seen;
        QString name; // of the output being set up
        const auto look = [&] {
            for (const QString& call : f.takeJobCalls()) {
                if (call.startsWith("MEnc.setOutputFile"))
                    name = call.section(u'/', -1).section(u'.', 0, 0);
                else if (call.startsWith("MEnc.setOverwrite"))
                    seen << call.section(u'(', 1).section(u',', 0, 0);
                else if (call.startsWith("MEnc.Encode"))
                    seen.last() += u' ' + name;
                else if (call.startsWith("MessageBox.AskReplace"))
                    seen << "ask " + name;
            }
        };
        // A checked row is one still with the codec or still to come.
        for (int file = 0; file < 3 && f.checks().contains(true); ++file) {
            look();
            QCOMPARE(f.mEnc.overwrite.sources, sources);
            seen << "done";
            f.mEnc.raiseProgress(100);
        }
        look();
        QCOMPARE(seen, steps);
        QCOMPARE(f.messageBox.asked.value(0),
                 QStringLiteral("/out/one.mp3 exists already.\n\nReplace it with the file "
                                "converted from /in/one.wav, or skip this file?"));
        QCOMPARE(f.checks(), QList<bool>({false, false, false}));
        QCOMPARE(f.messageBox.shown.size(), 0);
    }

    // Under the bar: the file being converted, and once it has run a second, its time left.
    void theProgressLineNamesTheFileAndItsTimeLeft() {
        ConvertFixture f;
        f.addFiles({"/in/one.wav", "/in/two.wav"});
        auto* line = f.child<QLabel>("convertStatus");
        QCOMPARE(line->text(), QString());
        f.panel.Command12_Click();
        QCOMPARE(line->text(), QStringLiteral("Converting one.wav"));
        const QRegularExpression withTimeLeft(
            QStringLiteral("^Converting one\\.wav: 0:0[0-2] left$"));
        QTRY_VERIFY_WITH_TIMEOUT(
            (f.mEnc.raiseProgress(50), withTimeLeft.match(line->text()).hasMatch()), 5000);
        f.mEnc.raiseProgress(100);
        QCOMPARE(line->text(), QStringLiteral("Converting two.wav"));
        f.mEnc.raiseProgress(100);
        QCOMPARE(line->text(), QString());
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
    }

    void progressArrivesFromTheEventLoopLikeARealCodec() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.mEnc.progressOn = {10, 60, 100};
        f.panel.Command12_Click();
        QTRY_COMPARE(f.checks(), QList<bool>({false, false}));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);
    }

    // Type, the panel's output name (50-character cut) and melvane-cli's (whole name).
    void rules_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected"); // type|panel output|command-line output
        const QString a46(46, u'a');
        const QString face = QStringLiteral("\U0001F600"); // two UTF-16 units, one character
        const auto row = [](const char* name, const QString& path, const QString& expected) {
            QTest::newRow(name) << path << expected;
        };
        // clang-format off
        row("wave", "/a/s.wav", "WAV|s.mp3|s.mp3");
        row("upper case", "/a/S.MP3", "MP3|S.mp3|S.mp3");
        row("mixed case", "/a/t.Wav", "WAV|t.mp3|t.mp3");
        row("dots kept", "x.y.wma", "WMA|x.y.mp3|x.y.mp3");
        row("50", a46 + ".wav", "WAV|" + a46 + ".mp3|" + a46 + ".mp3");
        row("51", a46 + "b.wav", "WAV|" + a46 + "bmp3|" + a46 + "b.mp3");
        row("emoji", face.repeated(52) + ".mp3",
            "MP3|" + face.repeated(47) + "mp3|" + face.repeated(52) + ".mp3");
        row("emoji at the cut", a46 + face.repeated(3) + ".wav",
            "WAV|" + a46 + face + "mp3|" + a46 + face.repeated(3) + ".mp3");
        row("short", "/a/ab", "|mp3|mp3");
        // clang-format on
    }

    void rules() {
        QFETCH(QString, path);
        QFETCH(QString, expected);
        using namespace ConvertRules;
        const QString name = fileNameOf(path);
        const QString mp3 = QStringLiteral("mp3");
        QCOMPARE(QStringList({typeText(typeOf(path)), outputName(cutName(name), mp3),
                              outputName(name, mp3)})
                     .join(u'|'),
                 expected);
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestConvert test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_convert.moc"
