#pragma once

#include "components/CommonDialog.h"
#include "components/FolderBrowse.h"
#include "components/MessageBox.h"
#include "tests/fakes/CallLog.h"

#include <QList>

// The open/save dialog. Each ShowOpen/ShowSave takes the next queued answer as the chosen file;
// an empty answer or an empty queue is a cancelled dialog.
class FakeCommonDialog final : public CommonDialog, public CallRecorder {
public:
    explicit FakeCommonDialog(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("CommonDialog"), log) {}

    void setDialogTitle(const QString& title) override;
    QString DialogTitle() const override;
    void setFilter(const QString& filter) override;
    QString Filter() const override;
    void setFileName(const QString& name) override;
    QString FileName() const override;
    void setInitDir(const QString& dir) override;
    void setOwner(QWidget* owner) override;
    void ShowOpen() override;
    void ShowSave() override;

    QStringList answers;

private:
    void show();

    QString m_title;
    QString m_filter;
    QString m_fileName;
    QString m_initDir;
};

// The folder picker. BrowseForFolder returns the next queued answer; an empty answer or an
// empty queue is a cancelled dialog. The settings it was given stay readable.
class FakeFolderBrowse final : public FolderBrowse, public CallRecorder {
public:
    explicit FakeFolderBrowse(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("FolderBrowse"), log) {}

    void setOwner(QWidget* owner) override;
    void setInitialDir(const QString& dir) override;
    void setTitle(const QString& prompt) override;
    void setFileSystemOnly(bool on) override;
    void setShowPrompt(bool on) override;
    void setEditBox(bool on) override;
    void setNewFolderButton(bool on) override;
    QString BrowseForFolder() override;

    QStringList answers;

    QString initialDir;
    QString title;
    bool fileSystemOnly = false;
    bool showPrompt = false;
    bool editBox = false;
    bool newFolderButton = false;
};

// Message boxes: each one shown is kept in shown; the answers come from results, then Ok.
class FakeMessageBox final : public MessageBox, public CallRecorder {
public:
    struct Shown {
        QString prompt;
        Buttons buttons;
        Icon icon;
        QString title;
    };

    explicit FakeMessageBox(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("MessageBox"), log) {}

    Result MsgBox(const QString& prompt, Buttons buttons = Buttons::OkOnly, Icon icon = Icon::None,
                  const QString& title = {}) override;

    QList<Result> results;
    QList<Shown> shown;
};

QString buttonsText(MessageBox::Buttons buttons);
QString iconText(MessageBox::Icon icon);
