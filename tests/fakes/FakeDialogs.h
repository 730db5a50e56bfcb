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

    void setDialogTitle(const QString& v) override { write("setDialogTitle", m_title, v); }
    QString DialogTitle() const override { return read("DialogTitle", m_title); }
    void setFilter(const QString& v) override { write("setFilter", m_filter, v); }
    QString Filter() const override { return read("Filter", m_filter); }
    void setFileName(const QString& v) override { write("setFileName", m_fileName, v); }
    QString FileName() const override { return read("FileName", m_fileName); }
    void setInitDir(const QString& v) override { write("setInitDir", m_initDir, v); }
    void setOwner(QWidget* owner) override {
        record(QStringLiteral("setOwner"), {widgetName(owner)});
    }
    void setFilterIndex(qint16 v) override { write("setFilterIndex", m_filterIndex, v); }
    void setDefaultExt(const QString& v) override { write("setDefaultExt", m_defaultExt, v); }
    void setFlags(qint32 v) override { write("setFlags", m_flags, v); }
    void ShowOpen() override { show("ShowOpen"); }
    void ShowSave() override { show("ShowSave"); }

    QStringList answers;

private:
    void show(const char* member) {
        record(QLatin1String(member));
        m_fileName = answers.isEmpty() ? QString() : answers.takeFirst();
    }

    QString m_title;
    QString m_filter;
    QString m_fileName;
    QString m_initDir;
    qint16 m_filterIndex = 0;
    QString m_defaultExt;
    qint32 m_flags = 0;
};

// The folder picker. BrowseForFolder returns the next queued answer; an empty answer or an
// empty queue is a cancelled dialog. The settings it was given stay readable.
class FakeFolderBrowse final : public FolderBrowse, public CallRecorder {
public:
    explicit FakeFolderBrowse(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("FolderBrowse"), log) {}

    void setOwner(QWidget* owner) override {
        record(QStringLiteral("setOwner"), {widgetName(owner)});
    }
    void setInitialDir(const QString& v) override { write("setInitialDir", initialDir, v); }
    void setTitle(const QString& v) override { write("setTitle", title, v); }
    void setFileSystemOnly(bool v) override { write("setFileSystemOnly", fileSystemOnly, v); }
    void setShowPrompt(bool v) override { write("setShowPrompt", showPrompt, v); }
    void setEditBox(bool v) override { write("setEditBox", editBox, v); }
    void setNewFolderButton(bool v) override { write("setNewFolderButton", newFolderButton, v); }
    QString BrowseForFolder() override {
        record(QStringLiteral("BrowseForFolder"));
        return answers.isEmpty() ? QString() : answers.takeFirst();
    }

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
                  const QString& title = {}) override {
        record(QStringLiteral("MsgBox"),
               {prompt, QString::number(int(buttons)), QString::number(int(icon)), title});
        shown.append({prompt, buttons, icon, title});
        return results.isEmpty() ? Result::Ok : results.takeFirst();
    }

    // The replace question is kept in asked; the answers come from replaceAnswers, then Skip.
    ReplaceAnswer AskReplace(const QString& prompt, const QString& title = {}) override {
        record(QStringLiteral("AskReplace"), {prompt, title});
        asked.append(prompt);
        return replaceAnswers.isEmpty() ? ReplaceAnswer{} : replaceAnswers.takeFirst();
    }

    // The list is kept in choices; the answers come from chosen, then the first item.
    qint32 ChooseItem(const QString& prompt, const QStringList& items,
                      const QString& title = {}) override {
        record(QStringLiteral("ChooseItem"), {prompt, items.join(u'|'), title});
        choices.append(items);
        return chosen.isEmpty() ? 0 : chosen.takeFirst();
    }

    // The prompts of the boxes shown, in order.
    QStringList prompts() const {
        QStringList texts;
        for (const Shown& box : shown)
            texts << box.prompt;
        return texts;
    }

    QList<Result> results;
    QList<Shown> shown;
    QList<ReplaceAnswer> replaceAnswers;
    QStringList asked;
    QList<QStringList> choices;
    QList<qint32> chosen;
};
