#include "backends/qt/FileDialog.h"
#include "backends/qt/FolderDialog.h"
#include "backends/qt/QtMessageBox.h"
#include "components/Error.h"
#include "tests/qt/ModalHelper.h"

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
const QString kCompressedFilter = QStringLiteral(
    "All Supported Audio Files (*.mp3,*.wma)|*.mp3; *.wma|Mp3 Audio Files (*.mp3)|*.mp3|Wma Audio Files (*.wma)|*.wma");
const QString kBurnFilter = QStringLiteral("Music Files (*.mp3),(*.wav),(*.wma)|*.mp3; *.wma;*.wav");

void touch(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot create %s", qPrintable(path));
}

// What a test saw of an open file dialog.
struct SeenDialog {
    QString title;
    QString folder;
    QStringList shownFilters;
    QStringList appliedPatterns;
    QFileDialog::Options options;
    QFileDialog::FileMode fileMode = QFileDialog::AnyFile;
    QFileDialog::AcceptMode acceptMode = QFileDialog::AcceptOpen;
    QStringList schemes;
    bool nameBoxHidden = false;
    bool opened = false;
};

SeenDialog look(QFileDialog* dialog) {
    SeenDialog seen;
    seen.opened = true;
    seen.title = dialog->windowTitle();
    seen.folder = dialog->directory().absolutePath();
    if (auto* types = dialog->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"))) {
        for (int i = 0; i < types->count(); ++i)
            seen.shownFilters.append(types->itemText(i));
    }
    if (auto* model = dialog->findChild<QFileSystemModel*>())
        seen.appliedPatterns = model->nameFilters();
    seen.options = dialog->options();
    seen.fileMode = dialog->fileMode();
    seen.acceptMode = dialog->acceptMode();
    seen.schemes = dialog->supportedSchemes();
    if (auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
        seen.nameBoxHidden = edit->isHidden();
    return seen;
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void filterTranslation_data();
    void filterTranslation();
    void filterEdgeCases();
    void cancelledFileDialogGivesEmptyName();
    void fileDialogReturnsChosenFile();
    void folderDialog();
    void messageBoxReturnsPressedButton_data();
    void messageBoxReturnsPressedButton();
    void messageBoxEscape();
};

void DialogsTest::filterTranslation_data() {
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("qtFilters");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QStringList>("firstPatterns");
    QTest::newRow("waves") << kWaveFilter << QStringList{QStringLiteral("Wave Audio Files (*.wav) (*.wav)")}
                           << QStringList{QStringLiteral("Wave Audio Files (*.wav)")}
                           << QStringList{QStringLiteral("*.wav")};
    QTest::newRow("compressed") << kCompressedFilter
                                << QStringList{QStringLiteral("All Supported Audio Files (*.mp3,*.wma) (*.mp3 *.wma)"),
                                               QStringLiteral("Mp3 Audio Files (*.mp3) (*.mp3)"),
                                               QStringLiteral("Wma Audio Files (*.wma) (*.wma)")}
                                << QStringList{QStringLiteral("All Supported Audio Files (*.mp3,*.wma)"),
                                               QStringLiteral("Mp3 Audio Files (*.mp3)"),
                                               QStringLiteral("Wma Audio Files (*.wma)")}
                                << QStringList{QStringLiteral("*.mp3"), QStringLiteral("*.wma")};
    QTest::newRow("burn list") << kBurnFilter
                               << QStringList{QStringLiteral("Music Files (*.mp3),(*.wav),(*.wma) (*.mp3 *.wma *.wav)")}
                               << QStringList{QStringLiteral("Music Files (*.mp3),(*.wav),(*.wma)")}
                               << QStringList{QStringLiteral("*.mp3"), QStringLiteral("*.wma"), QStringLiteral("*.wav")};
}

// The translation, and what the real dialog then shows and applies: the descriptions exactly
// as written, the patterns of the first entry.
void DialogsTest::filterTranslation() {
    QFETCH(QString, filter);
    QFETCH(QStringList, qtFilters);
    QFETCH(QStringList, shown);
    QFETCH(QStringList, firstPatterns);
    QCOMPARE(qtNameFilters(filter), qtFilters);

    QTemporaryDir dir;
    FileDialog dialog;
    dialog.setDialogTitle(QStringLiteral("Add File"));
    dialog.setFilter(filter);
    dialog.setInitDir(dir.path());
    SeenDialog seen;
    whenModal<QFileDialog>([&seen](QFileDialog* d) {
        seen = look(d);
        d->reject();
    });
    dialog.ShowOpen();
    QVERIFY(seen.opened);
    QCOMPARE(seen.shownFilters, shown);
    QCOMPARE(seen.appliedPatterns, firstPatterns);
    QCOMPARE(seen.title, QStringLiteral("Add File"));
    QCOMPARE(seen.folder, QDir(dir.path()).absolutePath());
    QVERIFY(seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    QCOMPARE(seen.fileMode, QFileDialog::ExistingFile);
}

void DialogsTest::filterEdgeCases() {
    QCOMPARE(qtNameFilters(QStringLiteral("All Files|*.*")), QStringList{QStringLiteral("All Files (*)")});
    QCOMPARE(qtNameFilters(QString()), QStringList{});
    FileDialog dialog;
    dialog.setFilter(kWaveFilter);
    QVERIFY_THROWS_EXCEPTION(Error, dialog.setFilter(QStringLiteral("Wave Audio Files (*.wav)")));
    QVERIFY_THROWS_EXCEPTION(Error, dialog.setFilter(QStringLiteral("Wave Audio Files|; ")));
    QVERIFY_THROWS_EXCEPTION(Error, qtNameFilters(QStringLiteral("Waves|*.wav|Mp3")));
    QCOMPARE(dialog.Filter(), kWaveFilter); // the last good filter stays
}

void DialogsTest::cancelledFileDialogGivesEmptyName() {
    FileDialog dialog;
    dialog.setFilter(kBurnFilter);
    dialog.setFileName(QStringLiteral("/music/earlier.mp3"));
    bool opened = false;
    whenModal<QFileDialog>([&opened](QFileDialog* d) {
        opened = true;
        d->reject();
    });
    dialog.ShowOpen(); // raises nothing
    QVERIFY(opened);
    QCOMPARE(dialog.FileName(), QString());
}

void DialogsTest::fileDialogReturnsChosenFile() {
    QTemporaryDir dir;
    const QString song = dir.filePath(QStringLiteral("song.mp3"));
    touch(song);
    touch(dir.filePath(QStringLiteral("notes.txt")));
    FileDialog dialog;
    dialog.setFilter(kBurnFilter);
    dialog.setInitDir(dir.path());
    // The names are typed, as a user would; the dialog's list fills in the background.
    whenModal<QFileDialog>([&song](QFileDialog* d) {
        d->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("song.mp3"));
        static_cast<QDialog*>(d)->accept(); // QFileDialog::accept, which checks the choice
    });
    dialog.ShowOpen();
    QCOMPARE(dialog.FileName(), song);

    // Saving: a new name in the folder, and the dialog is a save dialog.
    const QString target = dir.filePath(QStringLiteral("new.wav"));
    dialog.setFilter(kWaveFilter);
    dialog.setFileName(QString());
    SeenDialog seen;
    whenModal<QFileDialog>([&seen, &target](QFileDialog* d) {
        seen = look(d);
        d->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QFileInfo(target).fileName());
        static_cast<QDialog*>(d)->accept(); // QFileDialog::accept, which checks the choice
    });
    dialog.ShowSave();
    QCOMPARE(seen.acceptMode, QFileDialog::AcceptSave);
    QCOMPARE(dialog.FileName(), target);
    QVERIFY(!QFile::exists(target)); // choosing a name writes nothing
}

void DialogsTest::folderDialog() {
    QTemporaryDir dir;
    const QString rips = dir.filePath(QStringLiteral("Rips"));
    QVERIFY(QDir().mkpath(rips));
    FolderDialog browser;
    browser.setInitialDir(dir.path());
    browser.setTitle(QStringLiteral("Select Folder To Save To:"));
    browser.setFileSystemOnly(true);
    browser.setShowPrompt(true);
    browser.setEditBox(true);
    browser.setNewFolderButton(true);

    SeenDialog seen;
    whenModal<QFileDialog>([&seen](QFileDialog* d) {
        seen = look(d);
        d->reject();
    });
    QCOMPARE(browser.BrowseForFolder(), QString());
    QVERIFY(seen.opened);
    QCOMPARE(seen.title, QStringLiteral("Select Folder To Save To:"));
    QCOMPARE(seen.folder, QDir(dir.path()).absolutePath());
    QCOMPARE(seen.fileMode, QFileDialog::Directory);
    QVERIFY(seen.options.testFlag(QFileDialog::ShowDirsOnly));
    QVERIFY(seen.options.testFlag(QFileDialog::DontUseNativeDialog));
    QVERIFY(!seen.options.testFlag(QFileDialog::ReadOnly));
    QCOMPARE(seen.schemes, QStringList{QStringLiteral("file")});
    QVERIFY(!seen.nameBoxHidden);

    // Chosen folder, and the options switched off.
    browser.setNewFolderButton(false);
    browser.setEditBox(false);
    whenModal<QFileDialog>([&seen, &rips](QFileDialog* d) {
        seen = look(d);
        d->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("Rips"));
        static_cast<QDialog*>(d)->accept(); // QFileDialog::accept, which checks the choice
    });
    QCOMPARE(browser.BrowseForFolder(), rips);
    QVERIFY(seen.options.testFlag(QFileDialog::ReadOnly));
    QVERIFY(seen.nameBoxHidden);
}

void DialogsTest::messageBoxReturnsPressedButton_data() {
    QTest::addColumn<int>("buttons");
    QTest::addColumn<int>("icon");
    QTest::addColumn<QString>("title");
    QTest::addColumn<int>("press");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QString>("shownTitle");
    QTest::addColumn<int>("shownIcon");
    QTest::addColumn<int>("shownButtons");
    using B = MessageBox::Buttons;
    using I = MessageBox::Icon;
    using R = MessageBox::Result;
    QTest::newRow("ok only, default title")
        << int(B::OkOnly) << int(I::Information) << QString() << int(QMessageBox::Ok) << int(R::Ok)
        << QStringLiteral("Melvane") << int(QMessageBox::Information) << int(QMessageBox::Ok);
    QTest::newRow("ok/cancel, cancel")
        << int(B::OkCancel) << int(I::Exclamation) << QStringLiteral("Burn") << int(QMessageBox::Cancel)
        << int(R::Cancel) << QStringLiteral("Burn") << int(QMessageBox::Warning)
        << int(QMessageBox::Ok | QMessageBox::Cancel);
    QTest::newRow("yes/no, no")
        << int(B::YesNo) << int(I::Question) << QStringLiteral("Sound Recorder") << int(QMessageBox::No) << int(R::No)
        << QStringLiteral("Sound Recorder") << int(QMessageBox::Question) << int(QMessageBox::Yes | QMessageBox::No);
    QTest::newRow("yes/no/cancel, yes")
        << int(B::YesNoCancel) << int(I::Critical) << QStringLiteral("Error") << int(QMessageBox::Yes) << int(R::Yes)
        << QStringLiteral("Error") << int(QMessageBox::Critical)
        << int(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
}

void DialogsTest::messageBoxReturnsPressedButton() {
    QFETCH(int, buttons);
    QFETCH(int, icon);
    QFETCH(QString, title);
    QFETCH(int, press);
    QFETCH(int, expected);
    QFETCH(QString, shownTitle);
    QFETCH(int, shownIcon);
    QFETCH(int, shownButtons);

    QWidget owner;
    owner.show();
    owner.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&owner));
    QString seenTitle, seenText;
    int seenIcon = -1, seenButtons = -1;
    QWidget* seenParent = nullptr;
    whenModal<QMessageBox>([&, press](QMessageBox* box) {
        seenTitle = box->windowTitle();
        seenText = box->text();
        seenIcon = box->icon();
        seenButtons = int(box->standardButtons());
        seenParent = box->parentWidget();
        box->button(QMessageBox::StandardButton(press))->click();
    });
    QtMessageBox messages;
    const auto result = messages.MsgBox(QStringLiteral("Burn Complete!"), MessageBox::Buttons(buttons),
                                        MessageBox::Icon(icon), title);
    QCOMPARE(int(result), expected);
    QCOMPARE(seenTitle, shownTitle);
    QCOMPARE(seenText, QStringLiteral("Burn Complete!"));
    QCOMPARE(seenIcon, shownIcon);
    QCOMPARE(seenButtons, shownButtons);
    QCOMPARE(seenParent, &owner);
}

void DialogsTest::messageBoxEscape() {
    QtMessageBox messages;
    // Escape answers Cancel where there is one.
    whenModal<QMessageBox>([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); });
    QCOMPARE(messages.MsgBox(QStringLiteral("Delete?"), MessageBox::Buttons::OkCancel), MessageBox::Result::Cancel);

    // Escape on a Yes/No box says No, on an OK box OK.
    whenModal<QMessageBox>([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); });
    QCOMPARE(messages.MsgBox(QStringLiteral("Start a new recording?"), MessageBox::Buttons::YesNo),
             MessageBox::Result::No);
    whenModal<QMessageBox>([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); });
    QCOMPARE(messages.MsgBox(QStringLiteral("Burn Complete!")), MessageBox::Result::Ok);

    // Return presses the default button, the first one.
    whenModal<QMessageBox>([](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Return); });
    QCOMPARE(messages.MsgBox(QStringLiteral("Replace it?"), MessageBox::Buttons::YesNoCancel),
             MessageBox::Result::Yes);
}

int runDialogTests(int argc, char** argv) {
    DialogsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_dialogs.moc"
