#include "backends/qt/FileDialog.h"
#include "backends/qt/FolderDialog.h"
#include "backends/qt/QtMessageBox.h"
#include "components/Error.h"
#include "tests/qt/ModalHelper.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kWaveFilter = QStringLiteral("Wave Audio Files (*.wav)|*.wav");
const QString kBurnFilter =
    QStringLiteral("Music Files (*.mp3),(*.wav),(*.wma)|*.mp3; *.wma;*.wav");

QLineEdit* nameBox(QFileDialog* dialog) {
    return dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
}

// Types a name, as a user would, and accepts through QFileDialog::accept, which checks it.
void typeAndAccept(QFileDialog* dialog, const QString& name) {
    nameBox(dialog)->setText(name);
    static_cast<QDialog*>(dialog)->accept();
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void openDialogShowsTheFilters_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QStringList>("qtFilters"); // each description, then its patterns
        QTest::newRow("waves") << kWaveFilter << QStringList{"Wave Audio Files (*.wav) (*.wav)"};
        QTest::newRow("compressed")
            << QStringLiteral("All Supported Audio Files (*.mp3,*.wma)|*.mp3; *.wma|"
                              "Mp3 Audio Files (*.mp3)|*.mp3|Wma Audio Files (*.wma)|*.wma")
            << QStringList{"All Supported Audio Files (*.mp3,*.wma) (*.mp3 *.wma)",
                           "Mp3 Audio Files (*.mp3) (*.mp3)", "Wma Audio Files (*.wma) (*.wma)"};
        QTest::newRow("burn list")
            << kBurnFilter
            << QStringList{"Music Files (*.mp3),(*.wav),(*.wma) (*.mp3 *.wma *.wav)"};
    }

    // The dialog lists the descriptions exactly as written and shows the files of the first;
    // cancelling it also drops the file name given before.
    void openDialogShowsTheFilters() {
        QFETCH(QString, filter);
        QFETCH(QStringList, qtFilters);
        QCOMPARE(qtNameFilters(filter), qtFilters);
        QStringList shown;
        for (const QString& qtFilter : qtFilters)
            shown << qtFilter.left(qtFilter.lastIndexOf(QLatin1String(" (")));
        const QString first = qtFilters.first();
        const QStringList firstPatterns =
            first.mid(first.lastIndexOf(u'(') + 1).chopped(1).split(u' ');
        QTemporaryDir dir;
        FileDialog dialog;
        dialog.setDialogTitle(QStringLiteral("Add File"));
        dialog.setFilter(filter);
        dialog.setInitDir(dir.path());
        dialog.setFileName(QStringLiteral("/music/earlier.mp3"));
        const auto check = [&](QFileDialog* d) {
            const auto* types = d->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
            QStringList seen;
            for (int i = 0; i < types->count(); ++i)
                seen.append(types->itemText(i));
            QCOMPARE(seen, shown);
            QCOMPARE(d->findChild<QFileSystemModel*>()->nameFilters(), firstPatterns);
            QCOMPARE(d->windowTitle(), QStringLiteral("Add File"));
            QCOMPARE(d->directory().absolutePath(), QDir(dir.path()).absolutePath());
            QVERIFY(d->testOption(QFileDialog::DontUseNativeDialog));
            QCOMPARE(d->fileMode(), QFileDialog::ExistingFile);
            d->reject();
        };
        QVERIFY(answerModal<QFileDialog>([&] { dialog.ShowOpen(); }, check));
        QCOMPARE(dialog.FileName(), QString());
    }

    void badFiltersAreRefused() {
        QCOMPARE(qtNameFilters(QStringLiteral("All Files|*.*")),
                 QStringList{QStringLiteral("All Files (*)")});
        QCOMPARE(qtNameFilters(QString()), QStringList{});
        QVERIFY_THROWS_EXCEPTION(Error, qtNameFilters(QStringLiteral("Waves|*.wav|Mp3")));
        FileDialog dialog;
        dialog.setFilter(kWaveFilter);
        QVERIFY_THROWS_EXCEPTION(Error,
                                 dialog.setFilter(QStringLiteral("Wave Audio Files (*.wav)")));
        QVERIFY_THROWS_EXCEPTION(Error, dialog.setFilter(QStringLiteral("Wave Audio Files|; ")));
        QCOMPARE(dialog.Filter(), kWaveFilter); // the last good filter stays
    }

    void fileDialogReturnsTheChosenName() {
        QTemporaryDir dir;
        const QString song = dir.filePath(QStringLiteral("song.mp3"));
        QVERIFY(QFile(song).open(QIODevice::WriteOnly));
        FileDialog dialog;
        dialog.setFilter(kBurnFilter);
        dialog.setInitDir(dir.path());
        QVERIFY(answerModal<QFileDialog>(
            [&] { dialog.ShowOpen(); },
            [](QFileDialog* d) { typeAndAccept(d, QStringLiteral("song.mp3")); }));
        QCOMPARE(dialog.FileName(), song);

        // Saving takes a new name, and choosing it writes nothing. No name is preselected: the
        // dialog may put it back into the name box after the test has typed its own.
        dialog.setFilter(kWaveFilter);
        dialog.setFileName(QString());
        const auto saveAs = [](QFileDialog* d) {
            QCOMPARE(d->acceptMode(), QFileDialog::AcceptSave);
            typeAndAccept(d, QStringLiteral("new.wav"));
        };
        QVERIFY(answerModal<QFileDialog>([&] { dialog.ShowSave(); }, saveAs));
        QCOMPARE(dialog.FileName(), dir.filePath(QStringLiteral("new.wav")));
        QVERIFY(!QFile::exists(dialog.FileName()));
    }

    // The recorder's save dialog: a name buffer padded with blanks and ended by NULs, a file's
    // path as the start folder, the second filter first, the default extension, and the
    // overwrite question only when asked for.
    void saveDialogAsTheRecorderSetsItUp() {
        QTemporaryDir dir;
        const QString ends(2, QChar(0));
        FileDialog dialog;
        dialog.setFilter(QStringLiteral("MP3 Audio files|*.mp3|PCM Wave files|*.wav"));
        dialog.setFilterIndex(2);
        dialog.setInitDir(dir.filePath(QStringLiteral("capture.mp3")) + ends);
        dialog.setDefaultExt(QStringLiteral("wav"));
        for (const qint32 flags : {0x280006, 0x280004}) {
            dialog.setFileName(QStringLiteral("output.mp3") + QString(1024, u' ') + ends);
            dialog.setFlags(flags);
            QVERIFY(answerModal<QFileDialog>(
                [&] { dialog.ShowSave(); },
                [&](QFileDialog* d) {
                    QCOMPARE(QDir(d->directory()).absolutePath(), QDir(dir.path()).absolutePath());
                    QCOMPARE(d->selectedNameFilter(), QStringLiteral("PCM Wave files"));
                    QCOMPARE(nameBox(d)->text(), QStringLiteral("output.mp3"));
                    QCOMPARE(d->testOption(QFileDialog::DontConfirmOverwrite), flags == 0x280004);
                    QCOMPARE(d->defaultSuffix(), QStringLiteral("wav"));
                }));
        }
        dialog.setFileName(QString());
        QVERIFY(answerModal<QFileDialog>(
            [&] { dialog.ShowSave(); },
            [](QFileDialog* d) { typeAndAccept(d, QStringLiteral("take")); }));
        QCOMPARE(dialog.FileName(), dir.filePath(QStringLiteral("take.wav")));
    }

    void folderDialog() {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("Rips")));
        FolderDialog browser;
        browser.setInitialDir(dir.path());
        browser.setTitle(QStringLiteral("Select Folder To Save To:"));
        browser.setFileSystemOnly(true);
        browser.setShowPrompt(true);
        browser.setEditBox(true);
        browser.setNewFolderButton(true);
        QString chosen = QStringLiteral("not asked");
        const auto browse = [&] { chosen = browser.BrowseForFolder(); };
        QVERIFY(answerModal<QFileDialog>(browse, [&](QFileDialog* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("Select Folder To Save To:"));
            QCOMPARE(d->directory().absolutePath(), QDir(dir.path()).absolutePath());
            QCOMPARE(d->fileMode(), QFileDialog::Directory);
            const auto options = QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog |
                                 QFileDialog::ReadOnly;
            QCOMPARE(d->options() & options,
                     QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
            QCOMPARE(d->supportedSchemes(), QStringList{QStringLiteral("file")});
            QVERIFY(!nameBox(d)->isHidden());
            d->reject();
        }));
        QCOMPARE(chosen, QString()); // cancelled

        // Without the new-folder button the dialog is read-only, without the edit box it has no
        // name box.
        browser.setNewFolderButton(false);
        browser.setEditBox(false);
        QVERIFY(answerModal<QFileDialog>(browse, [](QFileDialog* d) {
            QVERIFY(d->testOption(QFileDialog::ReadOnly));
            QVERIFY(nameBox(d)->isHidden());
            typeAndAccept(d, QStringLiteral("Rips"));
        }));
        QCOMPARE(chosen, dir.filePath(QStringLiteral("Rips")));
    }

    // Each kind of box shows its title, icon and buttons, and reports the button pressed. Escape
    // gives Cancel where there is one, No on a Yes/No box, OK on an OK box; Return the first
    // button.
    void messageBoxes() {
        using B = MessageBox::Buttons;
        using I = MessageBox::Icon;
        using R = MessageBox::Result;
        using Q = QMessageBox;
        const struct {
            B buttons;
            I icon;
            const char* title; // shown as "Melvane" when empty
            Q::Icon shownIcon;
            Q::StandardButtons shownButtons;
            Q::StandardButton press; // NoButton: press the key instead
            Qt::Key key;
            R result;
        } cases[] = {
            // clang-format off
            {B::OkOnly, I::Information, "", Q::Information, Q::Ok, Q::Ok, {}, R::Ok},
            {B::OkCancel, I::Exclamation, "Burn", Q::Warning, Q::Ok | Q::Cancel, Q::Cancel, {}, R::Cancel},
            {B::YesNo, I::Question, "Sound Recorder", Q::Question, Q::Yes | Q::No, Q::No, {}, R::No},
            {B::YesNoCancel, I::Critical, "Error", Q::Critical, Q::Yes | Q::No | Q::Cancel, Q::Yes, {}, R::Yes},
            {B::OkCancel, I::None, "", Q::NoIcon, Q::Ok | Q::Cancel, Q::NoButton, Qt::Key_Escape, R::Cancel},
            {B::YesNo, I::None, "", Q::NoIcon, Q::Yes | Q::No, Q::NoButton, Qt::Key_Escape, R::No},
            {B::OkOnly, I::None, "", Q::NoIcon, Q::Ok, Q::NoButton, Qt::Key_Escape, R::Ok},
            {B::YesNoCancel, I::None, "", Q::NoIcon, Q::Yes | Q::No | Q::Cancel, Q::NoButton, Qt::Key_Return, R::Yes},
            // clang-format on
        };
        QWidget owner;
        owner.show();
        QtMessageBox messages;
        for (const auto& c : cases) {
            owner.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&owner));
            const QString title = QString::fromUtf8(c.title);
            R result{};
            const auto show = [&] {
                result =
                    messages.MsgBox(QStringLiteral("Burn Complete!"), c.buttons, c.icon, title);
            };
            QVERIFY(answerModal<QMessageBox>(show, [&](QMessageBox* box) {
                QCOMPARE(box->windowTitle(), title.isEmpty() ? QStringLiteral("Melvane") : title);
                QCOMPARE(box->text(), QStringLiteral("Burn Complete!"));
                QCOMPARE(box->icon(), c.shownIcon);
                QCOMPARE(box->standardButtons(), c.shownButtons);
                QCOMPARE(box->parentWidget(), &owner);
                if (c.press != Q::NoButton)
                    box->button(c.press)->click();
                else
                    QTest::keyClick(box, c.key);
            }));
            QVERIFY2(result == c.result, qPrintable(QStringLiteral("buttons %1, answer %2")
                                                        .arg(int(c.buttons))
                                                        .arg(int(c.result))));
        }
    }

    // The replace question: Replace or Skip, each with or without "for all files"; Return and
    // Escape keep the file.
    void replaceQuestion() {
        const struct {
            const char* press; // a button's object name, or empty: the key
            Qt::Key key;
            bool forAll;
            bool replace;
        } cases[] = {
            {"Replace", {}, false, true},      {"Replace", {}, true, true},
            {"Skip", {}, true, false},         {"", Qt::Key_Return, false, false},
            {"", Qt::Key_Escape, true, false},
        };
        QWidget owner;
        owner.show();
        QtMessageBox messages;
        for (const auto& c : cases) {
            owner.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&owner));
            MessageBox::ReplaceAnswer answer{!c.replace, !c.forAll};
            const auto show = [&] {
                answer = messages.AskReplace(QStringLiteral("/music/a.mp3 exists. Replace it?"));
            };
            QVERIFY(answerModal<QMessageBox>(show, [&](QMessageBox* box) {
                QCOMPARE(box->windowTitle(), QStringLiteral("Melvane"));
                QCOMPARE(box->text(), QStringLiteral("/music/a.mp3 exists. Replace it?"));
                QCOMPARE(box->checkBox()->text(),
                         QStringLiteral("Do this for all files of this job"));
                QCOMPARE(box->buttons().size(), 2);
                box->checkBox()->setChecked(c.forAll);
                if (*c.press)
                    box->findChild<QPushButton*>(QLatin1String(c.press))->click();
                else
                    QTest::keyClick(box, c.key);
            }));
            QCOMPARE(answer.replace, c.replace);
            QCOMPARE(answer.forAll, c.forAll);
        }
    }
};

int runDialogTests(int argc, char** argv) {
    DialogsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_dialogs.moc"
