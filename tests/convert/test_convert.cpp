// The convert panel on fake codecs: targets, adding files and folders, the one-file-at-a-time
// chain, output names, and the behaviours users rely on.
#include "components/Error.h"
#include "controls/ProgressBar.h"
#include "controls/ReportList.h"
#include "convert/FrameFileMode.h"
#include "shell/CommonHelpers.h"
#include "shell/ErrorBoundary.h"
#include "tests/shell/Form1Fixture.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A window in convert mode with /out as the output folder.
struct ConvertFixture : Form1Fixture {
    FrameFileMode* panel = nullptr;
    ReportList* LV = nullptr;

    ConvertFixture() {
        load();
        answerFolders({QStringLiteral("/out")});
        form->Command8_Click();
        panel = form->fileModePanel();
        LV = panel->findChild<ReportList*>(QStringLiteral("LV"));
        log.clear();
    }

    template <class T> T* child(const char* name) const {
        return panel->findChild<T*>(QLatin1String(name));
    }

    // Adds files through the open dialog; the media information knows each of them.
    void addFiles(const QStringList& paths, float seconds = 205, float megabytes = 1.5f) {
        for (const QString& path : paths) {
            x->files.insert(path, {seconds, megabytes});
            comd->answers << path;
            panel->Command2_Click();
        }
    }

    QStringList rowTexts() const {
        QStringList texts;
        for (qint32 row = 1; row <= LV->Count(); ++row)
            texts << LV->Text(row);
        return texts;
    }

    QList<bool> checks() const {
        QList<bool> result;
        for (qint32 row = 1; row <= LV->Count(); ++row)
            result << LV->Checked(row);
        return result;
    }
};

QStringList comboItems(QComboBox* combo) {
    QStringList items;
    for (int i = 0; i < combo->count(); ++i)
        items << combo->itemText(i);
    return items;
}

} // namespace

class TestConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void enteringConvertModeSelectsMp3AndTheOutputFolder() {
        ConvertFixture f;
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(), QStringLiteral("MP3"));
        QCOMPARE(f.panel->mp3Target, True16);
        QCOMPARE(f.child<QLineEdit>("Text5")->text(), QStringLiteral("/out"));
        QCOMPARE(f.panel->outputFolder, QStringLiteral("/out"));
        QCOMPARE(f.mEnc->EncoderSwitch(), qint16(0));
        auto* combo = f.child<QComboBox>("Combo5");
        QCOMPARE(comboItems(combo), QStringList({"320", "288", "256", "224", "192", "160", "128",
                                                 "96", "80", "64", "48", "32"}));
        QCOMPARE(combo->currentText(), QStringLiteral("320"));
    }

    void aCancelledOutputFolderKeepsTheOldOne() {
        ConvertFixture f;
        f.panel->Command27_Click(); // the picker has no answer left: cancelled
        QCOMPARE(f.child<QLineEdit>("Text5")->text(), QStringLiteral("/out"));
        QCOMPARE(f.panel->outputFolder, QStringLiteral("/out"));
    }

    void targetsSetButtonsMenusBitratesAndEmptyTheList() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/a.wav")});
        QCOMPARE(f.LV->Count(), 1);

        f.form->menuAction("mnuoptfilemode2")->trigger();
        QCOMPARE(f.LV->Count(), 0);
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(), QStringLiteral("WMA"));
        QCOMPARE(f.panel->wmaTarget, True16);
        QCOMPARE(f.panel->mp3Target, False16);
        auto* combo = f.child<QComboBox>("Combo5");
        QCOMPARE(comboItems(combo),
                 QStringList({"320", "256", "192", "160", "128", "96", "80", "64", "48", "32"}));
        QCOMPARE(combo->currentIndex(), 0);
        QVERIFY(!f.child<QPushButton>("Command4")->isEnabled());
        QVERIFY(f.child<QPushButton>("Command5")->isEnabled());
        QVERIFY(!f.child<QPushButton>("Command6")->isEnabled());
        QVERIFY(f.form->menuAction("mnuoptfilemode2")->isChecked());
        QVERIFY(f.form->menuAction("popfilemode02")->isChecked());
        QVERIFY(!f.form->menuAction("mnuoptfilemode1")->isChecked());
        QVERIFY(!f.form->menuAction("popfilemode01")->isChecked());

        // Wave: the bit rates are not needed and stay as they were.
        f.form->menuAction("popfilemode03")->trigger();
        QCOMPARE(f.child<QLabel>("SkinLabel10")->text(), QStringLiteral("WAV"));
        QVERIFY(!combo->isEnabled());
        QCOMPARE(combo->count(), 10);
        QVERIFY(f.form->menuAction("mnuoptfilemode3")->isChecked());
        QVERIFY(!f.form->menuAction("mnuoptfilemode2")->isChecked());
    }

    void addingAFileUsesTheFilterOfTheTarget() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/song.wav")}, 205, 34.567f);
        QCOMPARE(f.comd->Filter(), kWaveFilesFilter);
        QCOMPARE(f.LV->Text(1), QStringLiteral("/in/song.wav"));
        QCOMPARE(f.LV->SubItem(1, 1), QStringLiteral("WAV"));
        QCOMPARE(f.LV->SubItem(1, 2), QStringLiteral("03:25"));
        QCOMPARE(f.LV->SubItem(1, 3), QStringLiteral("34.57 mb"));
        QVERIFY(f.LV->Checked(1));
        QCOMPARE(f.log.matching(QStringLiteral("HarnMediaUtils.")),
                 QStringList({"HarnMediaUtils.ReadWavInfo(/in/song.wav)",
                              "HarnMediaUtils.WavDuration()", "HarnMediaUtils.WavSizeMB()"}));

        f.panel->Command6_Click();
        f.addFiles({QStringLiteral("/in/a.mp3"), QStringLiteral("/in/b.wma")}, 3725);
        QCOMPARE(f.comd->Filter(), kCompressedFilesFilter);
        QCOMPARE(f.LV->SubItem(1, 1), QStringLiteral("MP3"));
        QCOMPARE(f.LV->SubItem(2, 1), QStringLiteral("WMA"));
        QCOMPARE(f.LV->SubItem(2, 2), QStringLiteral("01:02:05"));
        QVERIFY(f.log.indexOf(QStringLiteral("HarnMediaUtils.ReadWmaInfo(/in/b.wma)")) >= 0);
    }

    void aCancelledDialogAddsNothing() {
        ConvertFixture f;
        f.panel->Command2_Click();
        QCOMPARE(f.LV->Count(), 0);
        QCOMPARE(f.log.matching(QStringLiteral("HarnMediaUtils.")), QStringList());
    }

    void endingsAreComparedExactly() {
        ConvertFixture f;
        f.panel->Command6_Click();
        f.comd->answers << QStringLiteral("/in/LOUD.MP3");
        f.panel->Command2_Click();
        QCOMPARE(f.LV->Count(), 1);
        QCOMPARE(f.LV->SubItem(1, 1), QString());
        QCOMPARE(f.LV->SubItem(1, 2), QString());
        QCOMPARE(f.LV->SubItem(1, 3), QString());
        QCOMPARE(f.log.matching(QStringLiteral("HarnMediaUtils.")), QStringList());

        // In the wave target such a file starts no decoder.
        f.panel->Command12_Click();
        QCOMPARE(f.log.matching(QStringLiteral("MDec.")), QStringList());
        QCOMPARE(f.log.matching(QStringLiteral("WaDec.")), QStringList());
    }

    void aFileWhoseInformationCannotBeReadStillGetsItsRow() {
        ConvertFixture f;
        f.comd->answers << QStringLiteral("/in/broken.wav");
        f.panel->Command2_Click();
        QCOMPARE(f.LV->Count(), 1);
        QCOMPARE(f.LV->SubItem(1, 1), QStringLiteral("WAV"));
        QCOMPARE(f.messageBox->shown.size(), 0);
    }

    void aFolderAddsEveryAudioFileWhateverTheTarget() {
        ConvertFixture f;
        QTemporaryDir dir;
        const QString d = dir.path();
        for (const char* name : {"b.wav", "a.mp3", "c.wma", "D.MP3", "notes.txt", "z.wav"}) {
            QFile file(d + QLatin1Char('/') + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            f.x->files.insert(file.fileName(), {61, 0.5f});
        }
        f.answerFolders({d});
        f.panel->Command3_Click();
        QCOMPARE(f.folderBrowser->title, QStringLiteral("Select Folder To Open:"));
        QCOMPARE(f.rowTexts(), QStringList({d + "/c.wma", d + "/D.MP3", d + "/a.mp3", d + "/b.wav",
                                            d + "/z.wav"}));
        QCOMPARE(f.LV->SubItem(1, 1), QStringLiteral("WMA"));
        QCOMPARE(f.LV->SubItem(2, 1), QStringLiteral("MP3"));
        QCOMPARE(f.LV->SubItem(5, 1), QStringLiteral("WAV"));
        QCOMPARE(f.LV->SubItem(5, 2), QStringLiteral("01:01"));
        QCOMPARE(f.LV->SubItem(5, 3), QStringLiteral("0.50 mb"));
    }

    void mp3JobConvertsCheckedRowsOneAfterAnother() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav"),
                    QStringLiteral("/in/three.wav")});
        f.LV->setChecked(2, false);
        f.child<QComboBox>("Combo5")->setCurrentText(QStringLiteral("192"));
        f.log.clear();
        f.panel->Command12_Click();
        QCOMPARE(f.log.matching(QStringLiteral("MEnc.")),
                 QStringList({"MEnc.setBitrate(192000)", "MEnc.setInputFile(/in/one.wav)",
                              "MEnc.setOutputFile(/out/one.mp3)", "MEnc.Encode()"}));
        QVERIFY(f.LV->Selected(1));

        auto* prog = f.child<ProgressBar>("prog");
        f.mEnc->raiseProgress(42);
        QCOMPARE(prog->Value(), 42.0);
        f.mEnc->raiseProgress(99);
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 1);
        f.mEnc->raiseProgress(100);
        // Row two is skipped: unchecked rows are not converted.
        QCOMPARE(f.checks(), QList<bool>({false, false, true}));
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 2);
        QCOMPARE(f.mEnc->InputFile(), QStringLiteral("/in/three.wav"));
        QCOMPARE(f.mEnc->OutputFile(), QStringLiteral("/out/three.mp3"));

        f.mEnc->raiseProgress(100);
        QCOMPARE(f.checks(), QList<bool>({false, false, false}));
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 2);
        for (qint32 row = 1; row <= 3; ++row)
            QVERIFY(f.LV->Selected(row));
        QCOMPARE(prog->Value(), 0.0);
    }

    void progressAbove100DoesNotFinishAFile() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.panel->Command12_Click();
        f.mEnc->raiseProgress(101);
        QCOMPARE(f.checks(), QList<bool>({true, true}));
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 1);
    }

    void theJobEndsAfterTheLastRowEvenWithEarlierRowsChecked() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.LV->setChecked(1, false);
        f.panel->Command12_Click();
        QCOMPARE(f.mEnc->InputFile(), QStringLiteral("/in/two.wav"));
        f.LV->setChecked(1, true); // checked again while the last row runs
        f.mEnc->raiseProgress(100);
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 1);
        QCOMPARE(f.checks(), QList<bool>({true, false}));
    }

    void wmaJobFinishesOnExactly100() {
        ConvertFixture f;
        f.panel->Command5_Click();
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.child<QComboBox>("Combo5")->setCurrentText(QStringLiteral("128"));
        f.log.clear();
        f.panel->Command12_Click();
        QCOMPARE(
            f.log.matching(QStringLiteral("WAEnc.")),
            QStringList({"WAEnc.setBitrate(128000)", "WAEnc.Encode(/in/one.wav, /out/one.wma)"}));
        f.waEnc->raiseProgress(99.99);
        QCOMPARE(f.waEnc->count(QStringLiteral("Encode")), 1);
        f.waEnc->raiseProgress(100.0);
        QCOMPARE(f.waEnc->count(QStringLiteral("Encode")), 2);
        QCOMPARE(f.waEnc->input, QStringLiteral("/in/two.wav"));
    }

    void wavJobPicksTheDecoderByEnding() {
        ConvertFixture f;
        f.panel->Command6_Click();
        f.addFiles({QStringLiteral("/in/one.wma"), QStringLiteral("/in/two.mp3")});
        f.log.clear();
        f.panel->Command12_Click();
        QCOMPARE(f.log.calls, QStringList({"WaDec.setInputFile(/in/one.wma)",
                                           "WaDec.setOutputFile(/out/one.wav)", "WaDec.Decode()"}));
        f.log.clear();
        f.waDec->raiseProgress(100.0);
        QCOMPARE(f.log.calls, QStringList({"MDec.setInputFile(/in/two.mp3)",
                                           "MDec.setOutputFile(/out/two.wav)", "MDec.Decode()"}));
        f.mDec->raiseProgress(100);
        QCOMPARE(f.checks(), QList<bool>({false, false}));
    }

    void longNamesAreCutToFiftyCharacters() {
        ConvertFixture f;
        const QString stem = QString(56, QLatin1Char('n'));
        f.addFiles({QStringLiteral("/in/") + stem + QStringLiteral(".wav")}); // 60 characters
        f.panel->Command12_Click();
        // The first 50 characters, whose last three give way to the new ending.
        QCOMPARE(f.mEnc->OutputFile(),
                 QStringLiteral("/out/") + QString(47, QLatin1Char('n')) + QStringLiteral("mp3"));
    }

    void convertingWithNothingCheckedRaisesTheListsIndexError() {
        ConvertFixture f;
        try {
            f.panel->Command12_Click();
            QFAIL("an empty list converted");
        } catch (const IndexError&) {
        }
        f.addFiles({QStringLiteral("/in/one.wav")});
        f.LV->setChecked(1, false);
        QVERIFY_THROWS_EXCEPTION(IndexError, f.panel->Command12_Click());
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 0);
    }

    void aFailureDuringTheWorkIsReportedAndTheJobStops() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.panel->Command12_Click();
        f.mEnc->raiseFailed(QStringLiteral("Cannot write /out/one.mp3: No space left on device"));
        QCOMPARE(f.messageBox->shown.size(), 1);
        QCOMPARE(f.messageBox->shown[0].prompt,
                 QStringLiteral("Cannot write /out/one.mp3: No space left on device"));
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 1);
        QCOMPARE(f.checks(), QList<bool>({true, true}));
    }

    void aCodecThatRefusesToStartIsReported() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav")});
        f.mEnc->encodeError = QStringLiteral("Cannot convert /in/one.wav: the file does not exist");
        QTest::mouseClick(f.child<QPushButton>("Command12"), Qt::LeftButton);
        QCOMPARE(f.messageBox->shown.size(), 1);
        QVERIFY(f.messageBox->shown[0].prompt.contains(QStringLiteral("/in/one.wav")));
    }

    void changingTheTargetWhileAFileRunsLeavesItsCompletionWithoutARow() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav")});
        f.panel->Command12_Click();
        f.form->menuAction("mnuoptfilemode2")->trigger(); // empties the list
        f.mEnc->raiseProgress(100);
        QCOMPARE(f.messageBox->shown.size(), 1);
        QVERIFY(f.messageBox->shown[0].prompt.contains(QStringLiteral("Index out of bounds")));
    }

    void progressArrivesFromTheEventLoopLikeARealCodec() {
        ConvertFixture f;
        f.addFiles({QStringLiteral("/in/one.wav"), QStringLiteral("/in/two.wav")});
        f.mEnc->progressOnEncode = {10, 60, 100};
        f.panel->Command12_Click();
        QTRY_COMPARE(f.checks(), QList<bool>({false, false}));
        QCOMPARE(f.mEnc->count(QStringLiteral("Encode")), 2);
    }
};

int main(int argc, char** argv) {
    MelvaneApplication app(argc, argv);
    TestConvert test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_convert.moc"
