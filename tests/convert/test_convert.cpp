// The convert panel alone, on fake codecs and a fake main window. (A file's type by its
// ending, in any case, and the output names: test_convert_rules.)
#include "components/Error.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "convert/FrameFileMode.h"
#include "core/CommonHelpers.h"
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
    ReportErrorsOn reporting{&messageBox};
    SharedState state;
    FrameFileMode panel{{mEnc, mDec, waEnc, waDec, x, comd, messageBox, main, state}};
    ReportList* LV = child<ReportList>("LV");

    explicit ConvertFixture(const QStringList& folders = {QStringLiteral("/out")}) {
        main.folders = folders;
        panel.enterFileMode();
    }

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

    // Each file the job starts, as "codec input output", in order: the convert button starts
    // the first, each progress of exactly 100 the next. Each start says that no file of the
    // list may be written over, nor any other file.
    void jobsConvertCheckedRowsOneAfterAnother_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QStringList>("sources");
        QTest::addColumn<QStringList>("starts");
        const QString longName = QString(56, u'n') + ".wav"; // 60 characters
        const auto row = [](const char* name, const char* target, const QStringList& sources,
                            const QStringList& starts) {
            QTest::newRow(name) << target << sources << starts;
        };
        row("mp3, an unchecked row skipped", "MP3",
            {"/in/one.wav", "/in/-two.wav", "/in/three.wav"},
            {"MEnc /in/one.wav /out/one.mp3", "MEnc /in/three.wav /out/three.mp3"});
        row("wma", "WMA", {"/in/one.wav", "/in/two.wav"},
            {"WAEnc /in/one.wav /out/one.wma", "WAEnc /in/two.wav /out/two.wma"});
        row("wave, decoder by ending", "WAV", {"/in/one.wma", "/in/two.mp3"},
            {"WaDec /in/one.wma /out/one.wav", "MDec /in/two.mp3 /out/two.wav"});
        // The first 50 characters name the output; their last three give way to the ending.
        row("long name cut", "MP3", {"/in/" + longName},
            {"MEnc /in/" + longName + " /out/" + QString(47, u'n') + "mp3"});
        // The wave target starts nothing for an ending it does not know.
        row("wave, unknown ending", "WAV", {"/in/notes.ogg"}, {});
    }

    void jobsConvertCheckedRowsOneAfterAnother() {
        QFETCH(QString, target);
        QFETCH(QStringList, sources);
        QFETCH(QStringList, starts);
        QList<QStringList> steps; // the calls of each start, then none at the end
        for (const QString& start : starts) {
            const QStringList w = start.split(u' '); // codec, input, output
            const QString keep =
                QStringLiteral("%1.setOverwrite(keep, %2 sources)").arg(w[0]).arg(sources.size());
            if (w[0] == "MEnc")
                steps << QStringList{"MEnc.setBitrate(192000)", "MEnc.setInputFile(" + w[1] + ")",
                                     "MEnc.setOutputFile(" + w[2] + ")", keep, "MEnc.Encode()"};
            else if (w[0] == "WAEnc")
                steps << QStringList{"WAEnc.setBitrate(192000)", keep,
                                     "WAEnc.Encode(" + w[1] + ", " + w[2] + ")"};
            else
                steps << QStringList{w[0] + ".setInputFile(" + w[1] + ")",
                                     w[0] + ".setOutputFile(" + w[2] + ")", keep,
                                     w[0] + ".Decode()"};
        }
        steps << QStringList();
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

    // Nothing to convert, or no output folder: the user is told in plain words and nothing
    // starts. A codec that refuses to start, or fails on the way (no 100 follows), ends the
    // job with the report; the rows stay checked, the bar and the line go back to rest.
    void refusalsAndFailuresEndTheJobWithAReport() {
        ConvertFixture f;
        f.child<QPushButton>("Command12")->click();
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.LV->setChecked(1, false);
        f.LV->setChecked(2, false);
        f.child<QPushButton>("Command12")->click();
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 0);

        f.LV->setChecked(1, true);
        f.LV->setChecked(2, true);
        f.mEnc.startError = QStringLiteral("Cannot convert /in/one.wav: the file does not exist");
        f.child<QPushButton>("Command12")->click();
        f.mEnc.startError.clear();
        f.panel.Command12_Click();
        f.mEnc.raiseProgress(99);
        f.mEnc.raiseFailed(QStringLiteral("Cannot write /out/one.mp3: No space left on device"));
        QCOMPARE(f.checks(), QList<bool>({true, true}));
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
        QCOMPARE(f.child<QLabel>("convertStatus")->text(), QString());
        QStringList prompts;
        for (const auto& shown : f.messageBox.shown)
            prompts << shown.prompt.section(u':', 0, 0);
        QCOMPARE(prompts, QStringList({"There is nothing to convert", "There is nothing to convert",
                                       "Cannot convert /in/one.wav", "Cannot write /out/one.mp3"}));
        QCOMPARE(f.messageBox.shown[0].prompt,
                 QStringLiteral("There is nothing to convert: add files and check them"));
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);

        ConvertFixture noFolder(QStringList{}); // the first folder dialog cancelled
        noFolder.addFiles({QStringLiteral("/in/one.wav")});
        noFolder.child<QPushButton>("Command12")->click();
        QCOMPARE(noFolder.messageBox.shown.value(0).prompt,
                 QStringLiteral("Choose an output folder first"));
        QCOMPARE(noFolder.mEnc.count(QStringLiteral("Encode")), 0);
    }

    // A job ends quietly when no checked row is left, when the target changed while a file
    // ran (its list is gone), or after the list's last row, even with an earlier row checked
    // again meanwhile: no message, the bar and the line at rest, and the next job starts as
    // any other.
    void theJobEndsQuietly_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<int>("encoded");
        QTest::addColumn<QList<bool>>("checks");
        QTest::newRow("no checked row left") << "none" << 2 << QList<bool>{false, false, false};
        QTest::newRow("target changed while a file ran") << "target" << 1 << QList<bool>{};
        QTest::newRow("after the last row") << "last" << 1 << QList<bool>{true, false, false};
    }
    void theJobEndsQuietly() {
        QFETCH(QString, how);
        QFETCH(int, encoded);
        QFETCH(QList<bool>, checks);
        ConvertFixture f;
        f.addFiles({"/in/one.wav", "/in/two.wav", "/in/three.wav"});
        for (const qint32 row : how == "last" ? QList<qint32>{1, 2} : QList<qint32>{3})
            f.LV->setChecked(row, false);
        f.child<QPushButton>("Command12")->click();
        f.mEnc.raiseProgress(60);
        if (how == "target")
            f.child<QAction>("mnuoptfilemode2")->trigger();
        else if (how == "last")
            f.LV->setChecked(1, true);
        else
            f.mEnc.raiseProgress(100);
        f.mEnc.raiseProgress(100);
        QCOMPARE(f.messageBox.shown.size(), 0);
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), encoded);
        QCOMPARE(f.checks(), checks);
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
        QCOMPARE(f.child<QLabel>("convertStatus")->text(), QString());
        f.addFiles({"/in/four.wav"});
        f.panel.Command12_Click();
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")) + f.waEnc.count(QStringLiteral("Encode")),
                 encoded + 1);
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
        // The next file's progress comes from the event loop, as a real codec's does.
        f.mEnc.progressOn = {10, 60, 100};
        f.mEnc.raiseProgress(100);
        QCOMPARE(line->text(), QStringLiteral("Converting two.wav"));
        QTRY_COMPARE(f.checks(), QList<bool>({false, false}));
        QCOMPARE(line->text(), QString());
        QCOMPARE(f.child<ProgressBar>("prog")->Value(), 0.0);
        QCOMPARE(f.mEnc.count(QStringLiteral("Encode")), 2);
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestConvert test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_convert.moc"
