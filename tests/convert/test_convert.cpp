// The convert panel alone, on fake codecs and a fake main window; and the conversion rules it
// shares with melvane-cli.
#include "components/Error.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "convert/FrameFileMode.h"
#include "shell/common/CommonHelpers.h"
#include "shell/common/ErrorBoundary.h"
#include "shell/common/SharedState.h"
#include "tests/fakes/Fakes.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QStringList kMp3Rates = {"320", "288", "256", "224", "192", "160",
                               "128", "96",  "80",  "64",  "48",  "32"};
const QStringList kWmaRates = {"320", "256", "192", "160", "128", "96", "80", "64", "48", "32"};

// The panel in convert mode, with /out as the output folder unless told otherwise.
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
    FrameFileMode panel{{mEnc, mDec, waEnc, waDec, x, comd, main, state}};
    ReportList* LV = panel.findChild<ReportList*>(QStringLiteral("LV"));

    explicit ConvertFixture(const QStringList& folders = {QStringLiteral("/out")}) {
        ErrorBoundary::setMessageBox(&messageBox);
        // What Form1 does with the completion methods.
        main.onCompletion = [this] { panel.fileDone(); };
        main.folders = folders;
        panel.enterFileMode();
    }
    ~ConvertFixture() { ErrorBoundary::setMessageBox(nullptr); }

    template <class T> T* child(const QString& name) const { return panel.findChild<T*>(name); }

    // Adds files through the open dialog; the media information knows each of them.
    void addFiles(const QStringList& paths, float seconds = 205, float megabytes = 1.5f) {
        for (const QString& path : paths) {
            x.files.insert(path, {seconds, megabytes});
            comd.answers << path;
            panel.Command2_Click();
        }
    }

    QStringList row(qint32 index) const {
        return {LV->Text(index), LV->SubItem(index, 1), LV->SubItem(index, 2),
                LV->SubItem(index, 3)};
    }

    QList<bool> checks() const {
        QList<bool> result;
        for (qint32 index = 1; index <= LV->Count(); ++index)
            result << LV->Checked(index);
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
};

void selectTarget(FrameFileMode& panel, const QString& target) {
    if (target == QLatin1String("MP3"))
        panel.Command4_Click();
    else if (target == QLatin1String("WMA"))
        panel.Command5_Click();
    else
        panel.Command6_Click();
}

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
        QCOMPARE(comboItems(f.child<QComboBox>("Combo5")), kMp3Rates);
        QCOMPARE(f.child<QComboBox>("Combo5")->currentText(), QStringLiteral("320"));
        // LAME, switched after the folder was asked for.
        QCOMPARE(f.log.calls.mid(f.log.calls.size() - 2),
                 QStringList({"MainWindow.SelectFolder(FrameFileMode, Select Folder To Save To:)",
                              "MEnc.setEncoderSwitch(0)"}));
        // A cancelled folder dialog keeps the folder there is.
        f.panel.Command27_Click();
        QCOMPARE(f.child<QLineEdit>("Text5")->text(), QStringLiteral("/out"));
        QCOMPARE(f.panel.outputFolder, QStringLiteral("/out"));
    }

    void theMenusAreThePanelsOwn() {
        ConvertFixture f;
        QStringList names;
        for (QAction* action : f.panel.optionsActions())
            names << action->objectName() + ": " + action->text();
        QMenu* popUp = f.panel.popUpMenu();
        QCOMPARE(popUp->objectName() + ": " + popUp->title(), QStringLiteral("mnuPopUp: Popup"));
        for (QAction* action : popUp->actions())
            names << action->objectName() + ": " + action->text();
        QCOMPARE(names,
                 QStringList({"mnuoptfilemode1: Convert To MP3", "mnuoptfilemode2: Convert To WMA",
                              "mnuoptfilemode3: Convert To WAV", "popfilemode01: Convert To MP3",
                              "popfilemode02: Convert To WMA", "popfilemode03: Convert To WAV"}));
        // A right-button release over the list or the panel asks for the pop-up there.
        QSignalSpy requests(&f.panel, &ModePanel::popUpRequested);
        QTest::mouseRelease(&f.panel, Qt::RightButton, {}, QPoint(5, 5));
        QTest::mouseRelease(f.LV->viewport(), Qt::RightButton, {}, QPoint(5, 5));
        QTest::mouseRelease(&f.panel, Qt::LeftButton, {}, QPoint(5, 5));
        QCOMPARE(requests.count(), 2);
        QCOMPARE(requests[0][0].toPoint(), f.panel.mapToGlobal(QPoint(5, 5)));
    }

    void everyTriggerSelectsItsTarget_data() {
        QTest::addColumn<QString>("trigger");
        QTest::addColumn<int>("target"); // 0 MP3, 1 WMA, 2 WAV
        const char* triggers[][3] = {{"Command4", "mnuoptfilemode1", "popfilemode01"},
                                     {"Command5", "mnuoptfilemode2", "popfilemode02"},
                                     {"Command6", "mnuoptfilemode3", "popfilemode03"}};
        for (int target = 0; target < 3; ++target)
            for (const char* trigger : triggers[target])
                QTest::newRow(trigger) << QString::fromLatin1(trigger) << target;
    }

    // Label, flags, buttons, ticks, the pop-up's offer (disfilepopup), bit rates, and an
    // emptied list.
    void everyTriggerSelectsItsTarget() {
        QFETCH(QString, trigger);
        QFETCH(int, target);
        ConvertFixture f;
        // Only the chosen target's button is enabled, so a button selects its target again;
        // the menus start from another one. Wave follows WMA, to show that it keeps the rates.
        const bool button = trigger.startsWith(QLatin1String("Command"));
        f.panel.Command5_Click();
        selectTarget(f.panel,
                     QStringList({"MP3", "WMA", "WAV"})[button ? target : (target + 2) % 3]);
        f.addFiles({QStringLiteral("/in/a.wav")});
        if (QAction* action = f.child<QAction>(trigger))
            action->trigger();
        else
            f.child<QPushButton>(trigger)->click();

        QCOMPARE(f.LV->Count(), 0);
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(),
                 QStringList({"MP3", "WMA", "WAV"})[target]);
        const Bool16 flags[] = {f.panel.mp3Target, f.panel.wmaTarget, f.panel.wavTarget};
        for (int i = 0; i < 3; ++i) {
            const bool chosen = i == target;
            QCOMPARE(flags[i], chosen ? True16 : False16);
            QCOMPARE(f.child<QPushButton>(QStringLiteral("Command%1").arg(4 + i))->isEnabled(),
                     chosen);
            QCOMPARE(f.panel.optionsActions()[i]->isChecked(), chosen);
            QAction* popUpItem = f.panel.popUpMenu()->actions()[i];
            QCOMPARE(popUpItem->isChecked(), chosen);
            QCOMPARE(popUpItem->isEnabled(), !chosen);
        }
        auto* combo = f.child<QComboBox>("Combo5");
        QCOMPARE(combo->isEnabled(), target != 2);
        // Wave needs no bit rate and leaves the WMA rates it found.
        QCOMPARE(comboItems(combo), target == 0 ? kMp3Rates : kWmaRates);
        QCOMPARE(combo->currentIndex(), 0);
    }

    void addingAFile_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("row"); // empty: no row
        QTest::addColumn<QStringList>("reads");
        const QString wav = "/in/song.wav";
        QTest::newRow("wave") << "MP3" << wav << QStringList{wav, "WAV", "03:25", "34.57 mb"}
                              << QStringList{"ReadWavInfo(" + wav + ")", "WavDuration()",
                                             "WavSizeMB()"};
        QTest::newRow("mp3") << "WAV"
                             << "/in/a.mp3" << QStringList{"/in/a.mp3", "MP3", "03:25", "34.57 mb"}
                             << QStringList{"ReadMp3Info(/in/a.mp3)", "Mp3Duration()",
                                            "Mp3SizeMB()"};
        QTest::newRow("wma") << "WAV"
                             << "/in/b.wma" << QStringList{"/in/b.wma", "WMA", "03:25", "34.57 mb"}
                             << QStringList{"ReadWmaInfo(/in/b.wma)", "WmaDuration()",
                                            "WmaSizeMB()"};
        // Endings are compared exactly: upper case is no known type.
        QTest::newRow("upper-case ending")
            << "WAV"
            << "/in/LOUD.MP3" << QStringList{"/in/LOUD.MP3", "", "", ""} << QStringList{};
        QTest::newRow("cancelled") << "MP3" << QString() << QStringList{} << QStringList{};
    }

    void addingAFile() {
        QFETCH(QString, target);
        QFETCH(QString, path);
        QFETCH(QStringList, row);
        QFETCH(QStringList, reads);
        ConvertFixture f;
        selectTarget(f.panel, target);
        f.log.clear();
        if (!path.isEmpty())
            f.x.files.insert(path, {205, 34.567f});
        f.comd.answers << path;
        f.panel.Command2_Click();
        QCOMPARE(f.comd.Filter(), target == "WAV" ? kCompressedFilesFilter : kWaveFilesFilter);
        QCOMPARE(f.LV->Count(), row.isEmpty() ? 0 : 1);
        if (!row.isEmpty()) {
            QCOMPARE(f.row(1), row);
            QVERIFY(f.LV->Checked(1));
        }
        for (QString& read : reads)
            read.prepend(QStringLiteral("HarnMediaUtils."));
        QCOMPARE(f.log.matching(QStringLiteral("HarnMediaUtils.")), reads);
    }

    void aFileWhoseInformationCannotBeReadStillGetsItsRow() {
        ConvertFixture f;
        f.comd.answers << QStringLiteral("/in/broken.wav");
        f.panel.Command2_Click();
        QCOMPARE(f.row(1), QStringList({"/in/broken.wav", "WAV", "00:00", "0.00 mb"}));
        QCOMPARE(f.messageBox.shown.size(), 0);
    }

    void aFolderAddsEveryAudioFileWhateverTheTarget() {
        QTemporaryDir dir;
        const QString d = dir.path();
        ConvertFixture f({QStringLiteral("/out"), d});
        for (const char* name : {"b.wav", "a.mp3", "c.wma", "D.MP3", "notes.txt", "z.wav"}) {
            QFile file(d + QLatin1Char('/') + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            f.x.files.insert(file.fileName(), {61, 0.5f});
        }
        f.panel.Command3_Click();
        QCOMPARE(f.main.calls.last(),
                 QStringLiteral("MainWindow.SelectFolder(FrameFileMode, Select Folder To Open:)"));
        // WMA, then MP3, then wave; the pattern matches any case and gives the type.
        QStringList rows;
        for (qint32 index = 1; index <= f.LV->Count(); ++index)
            rows << f.row(index).join(u'|');
        QCOMPARE(rows, QStringList({d + "/c.wma|WMA|01:01|0.50 mb", d + "/D.MP3|MP3|01:01|0.50 mb",
                                    d + "/a.mp3|MP3|01:01|0.50 mb", d + "/b.wav|WAV|01:01|0.50 mb",
                                    d + "/z.wav|WAV|01:01|0.50 mb"}));
        // A folder that is gone ends the handler with its name.
        f.main.folders << d + "/gone";
        QVERIFY_THROWS_EXCEPTION(Error, f.panel.Command3_Click());
    }

    // Each start and each completion, as the fakes saw them: the first list holds what the
    // convert button does, each later one what a progress of exactly 100 sets off.
    void jobsConvertCheckedRowsOneAfterAnother_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("sources");
        QTest::addColumn<int>("uncheckedRow");
        QTest::addColumn<QList<QStringList>>("steps");
        const QString n47(47, u'n');
        QTest::newRow("mp3, an unchecked row skipped")
            << "MP3" << QStringList{"/in/one.wav", "/in/two.wav", "/in/three.wav"} << 2
            << QList<QStringList>{{"MEnc.setBitrate(192000)", "MEnc.setInputFile(/in/one.wav)",
                                   "MEnc.setOutputFile(/out/one.mp3)", "MEnc.Encode()"},
                                  {"MainWindow.mp3donenowwhat()", "MEnc.setBitrate(192000)",
                                   "MEnc.setInputFile(/in/three.wav)",
                                   "MEnc.setOutputFile(/out/three.mp3)", "MEnc.Encode()"},
                                  {"MainWindow.mp3donenowwhat()"}};
        QTest::newRow("wma") << "WMA" << QStringList{"/in/one.wav", "/in/two.wav"} << 0
                             << QList<QStringList>{{"WAEnc.setBitrate(192000)",
                                                    "WAEnc.Encode(/in/one.wav, /out/one.wma)"},
                                                   {"MainWindow.wmadonenowwhat()",
                                                    "WAEnc.setBitrate(192000)",
                                                    "WAEnc.Encode(/in/two.wav, /out/two.wma)"},
                                                   {"MainWindow.wmadonenowwhat()"}};
        QTest::newRow("wave, decoder by ending")
            << "WAV" << QStringList{"/in/one.wma", "/in/two.mp3"} << 0
            << QList<QStringList>{{"WaDec.setInputFile(/in/one.wma)",
                                   "WaDec.setOutputFile(/out/one.wav)", "WaDec.Decode()"},
                                  {"MainWindow.decdonenowwhat()", "MDec.setInputFile(/in/two.mp3)",
                                   "MDec.setOutputFile(/out/two.wav)", "MDec.Decode()"},
                                  {"MainWindow.decdonenowwhat()"}};
        // 60 characters: the first 50 name the output, their last three give way to the ending.
        QTest::newRow("long name cut")
            << "MP3" << QStringList{"/in/" + QString(56, u'n') + ".wav"} << 0
            << QList<QStringList>{{"MEnc.setBitrate(192000)",
                                   "MEnc.setInputFile(/in/" + QString(56, u'n') + ".wav)",
                                   "MEnc.setOutputFile(/out/" + n47 + "mp3)", "MEnc.Encode()"},
                                  {"MainWindow.mp3donenowwhat()"}};
        // The wave target starts nothing for an ending it does not know.
        QTest::newRow("wave, unknown ending")
            << "WAV" << QStringList{"/in/LOUD.MP3"} << 0 << QList<QStringList>{{}};
    }

    void jobsConvertCheckedRowsOneAfterAnother() {
        QFETCH(QString, target);
        QFETCH(QStringList, sources);
        QFETCH(int, uncheckedRow);
        QFETCH(QList<QStringList>, steps);
        ConvertFixture f;
        selectTarget(f.panel, target);
        f.addFiles(sources);
        if (uncheckedRow)
            f.LV->setChecked(uncheckedRow, false);
        f.child<QComboBox>("Combo5")->setCurrentText(QStringLiteral("192"));
        auto* prog = f.child<ProgressBar>("prog");
        const QStringList codecs = {"MEnc.", "WAEnc.", "MDec.", "WaDec.", "MainWindow."};
        const auto codecCalls = [&] {
            QStringList calls;
            for (const QString& call : f.log.calls)
                if (std::any_of(codecs.begin(), codecs.end(),
                                [&](const QString& c) { return call.startsWith(c); }))
                    calls << call;
            f.log.clear();
            return calls;
        };

        f.log.clear();
        f.panel.Command12_Click();
        for (qsizetype step = 0; step < steps.size(); ++step) {
            QCOMPARE(codecCalls(), steps[step]);
            if (step + 1 == steps.size())
                break;
            const QString codec = steps[step].last().section(u'.', 0, 0);
            QVERIFY(f.LV->Selected(f.panel.currentRow));
            // Only exactly 100 finishes a file; the bar shows the rest.
            for (double percent : {42.0, 99.0, 101.0})
                f.progress(codec, percent);
            QCOMPARE(codecCalls(), QStringList());
            QCOMPARE(prog->Value(), 101.0);
            f.progress(codec, 100.0);
        }
        // Done: nothing checked but the row left out, every row selected, the bar back at 0.
        for (qint32 index = 1; index <= f.LV->Count(); ++index) {
            QCOMPARE(f.LV->Checked(index), steps.size() == 1);
            QVERIFY(f.LV->Selected(index));
        }
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
        // An empty list, then nothing checked: the list's index error ends the handler.
        QVERIFY_THROWS_EXCEPTION(IndexError, f.panel.Command12_Click());
        f.addFiles({QStringLiteral("/in/one.wav")});
        f.LV->setChecked(1, false);
        QVERIFY_THROWS_EXCEPTION(IndexError, f.panel.Command12_Click());

        // The first folder dialog cancelled: no output into the root folder.
        ConvertFixture noFolder(QStringList{});
        noFolder.addFiles({QStringLiteral("/in/one.wav")});
        try {
            noFolder.panel.Command12_Click();
            QFAIL("converted without an output folder");
        } catch (const Error& e) {
            QCOMPARE(e.message(), QStringLiteral("Choose an output folder first"));
        }
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")) + noFolder.mEnc.count("Encode"), 0);
    }

    void errorsAreReportedAndStopTheJob() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        // A codec that refuses to start: the button's handler ends with the report.
        f.mEnc.encodeError = QStringLiteral("Cannot convert /in/one.wav: the file does not exist");
        f.child<QPushButton>("Command12")->click();
        f.mEnc.encodeError.clear();
        // A failure on the way sends no 100: reported, and nothing further starts.
        f.panel.Command12_Click();
        f.mEnc.raiseFailed(QStringLiteral("Cannot write /out/one.mp3: No space left on device"));
        QCOMPARE(f.checks(), QList<bool>({true, true}));
        // A completion after the target emptied the list finds no row.
        f.child<QAction>("mnuoptfilemode2")->trigger();
        f.mEnc.raiseProgress(100);
        QStringList prompts;
        for (const auto& shown : f.messageBox.shown)
            prompts << shown.prompt;
        QCOMPARE(prompts.size(), 3);
        QCOMPARE(prompts.mid(0, 2),
                 QStringList({"Cannot convert /in/one.wav: the file does not exist",
                              "Cannot write /out/one.mp3: No space left on device"}));
        QVERIFY2(prompts[2].startsWith(QLatin1String("Index out of bounds")),
                 qPrintable(prompts[2]));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);
    }

    void progressArrivesFromTheEventLoopLikeARealCodec() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.mEnc.progressOnEncode = {10, 60, 100};
        f.panel.Command12_Click();
        QTRY_COMPARE(f.checks(), QList<bool>({false, false}));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);
    }

    void rules_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("panelOutput"); // 50-character cut, ending replaced
        QTest::addColumn<QString>("cliOutput");   // whole name, ending replaced
        using T = ConvertRules::FileType;
        QTest::newRow("wave") << "/a/song.wav" << int(T::Wav) << "song.mp3"
                              << "song.mp3";
        QTest::newRow("upper case") << "/a/SONG.MP3" << int(T::Unknown) << "SONG.mp3"
                                    << "SONG.mp3";
        QTest::newRow("dots kept") << "x.y.wma" << int(T::Wma) << "x.y.mp3"
                                   << "x.y.mp3";
        QTest::newRow("50 exactly") << QString(46, u'a') + ".wav" << int(T::Wav)
                                    << QString(46, u'a') + ".mp3" << QString(46, u'a') + ".mp3";
        QTest::newRow("51") << QString(47, u'a') + ".wav" << int(T::Wav)
                            << QString(47, u'a') + "mp3" << QString(47, u'a') + ".mp3";
        // Emoji are one character each, two UTF-16 units: the cut never splits one.
        const QString face = QStringLiteral("\U0001F600");
        QTest::newRow("emoji") << "/e/" + face.repeated(52) + ".mp3" << int(T::Mp3)
                               << face.repeated(47) + "mp3" << face.repeated(52) + ".mp3";
        QTest::newRow("emoji before the ending")
            << "/e/" + QString(46, u'a') + face.repeated(3) + ".wav" << int(T::Wav)
            << QString(46, u'a') + face + "mp3" << QString(46, u'a') + face.repeated(3) + ".mp3";
        QTest::newRow("short") << "/a/ab" << int(T::Unknown) << "mp3"
                               << "mp3";
    }

    void rules() {
        QFETCH(QString, path);
        QFETCH(int, type);
        QFETCH(QString, panelOutput);
        QFETCH(QString, cliOutput);
        using namespace ConvertRules;
        QCOMPARE(int(typeOf(path)), type);
        const QString name = fileNameOf(path);
        QCOMPARE(outputName(cutName(name), QStringLiteral("mp3")), panelOutput);
        QCOMPARE(outputName(name, QStringLiteral("mp3")), cliOutput);
        QVERIFY(!panelOutput.contains(QChar::ReplacementCharacter));
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestConvert test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_convert.moc"
