#include "tests/fakes/FakeDialogs.h"

namespace {

QString takeAnswer(QStringList& answers) {
    return answers.isEmpty() ? QString() : answers.takeFirst();
}

} // namespace

void FakeCommonDialog::setDialogTitle(const QString& title) {
    record(QStringLiteral("setDialogTitle"), {title});
    m_title = title;
}

QString FakeCommonDialog::DialogTitle() const {
    record(QStringLiteral("DialogTitle"));
    return m_title;
}

void FakeCommonDialog::setFilter(const QString& filter) {
    record(QStringLiteral("setFilter"), {filter});
    m_filter = filter;
}

QString FakeCommonDialog::Filter() const {
    record(QStringLiteral("Filter"));
    return m_filter;
}

void FakeCommonDialog::setFileName(const QString& name) {
    record(QStringLiteral("setFileName"), {name});
    m_fileName = name;
}

QString FakeCommonDialog::FileName() const {
    record(QStringLiteral("FileName"));
    return m_fileName;
}

void FakeCommonDialog::setInitDir(const QString& dir) {
    record(QStringLiteral("setInitDir"), {dir});
    m_initDir = dir;
}

void FakeCommonDialog::setOwner(QWidget* owner) {
    record(QStringLiteral("setOwner"), {widgetName(owner)});
}

void FakeCommonDialog::ShowOpen() {
    record(QStringLiteral("ShowOpen"));
    show();
}

void FakeCommonDialog::ShowSave() {
    record(QStringLiteral("ShowSave"));
    show();
}

void FakeCommonDialog::show() {
    m_fileName = takeAnswer(answers);
}

void FakeFolderBrowse::setOwner(QWidget* owner) {
    record(QStringLiteral("setOwner"), {widgetName(owner)});
}

void FakeFolderBrowse::setInitialDir(const QString& dir) {
    record(QStringLiteral("setInitialDir"), {dir});
    initialDir = dir;
}

void FakeFolderBrowse::setTitle(const QString& prompt) {
    record(QStringLiteral("setTitle"), {prompt});
    title = prompt;
}

void FakeFolderBrowse::setFileSystemOnly(bool on) {
    record(QStringLiteral("setFileSystemOnly"), {boolText(on)});
    fileSystemOnly = on;
}

void FakeFolderBrowse::setShowPrompt(bool on) {
    record(QStringLiteral("setShowPrompt"), {boolText(on)});
    showPrompt = on;
}

void FakeFolderBrowse::setEditBox(bool on) {
    record(QStringLiteral("setEditBox"), {boolText(on)});
    editBox = on;
}

void FakeFolderBrowse::setNewFolderButton(bool on) {
    record(QStringLiteral("setNewFolderButton"), {boolText(on)});
    newFolderButton = on;
}

QString FakeFolderBrowse::BrowseForFolder() {
    record(QStringLiteral("BrowseForFolder"));
    return takeAnswer(answers);
}

MessageBox::Result FakeMessageBox::MsgBox(const QString& prompt, Buttons buttons, Icon icon,
                                          const QString& title) {
    record(QStringLiteral("MsgBox"), {prompt, buttonsText(buttons), iconText(icon), title});
    shown.append({prompt, buttons, icon, title});
    return results.isEmpty() ? Result::Ok : results.takeFirst();
}

QString buttonsText(MessageBox::Buttons buttons) {
    switch (buttons) {
    case MessageBox::Buttons::OkOnly:
        return QStringLiteral("OkOnly");
    case MessageBox::Buttons::OkCancel:
        return QStringLiteral("OkCancel");
    case MessageBox::Buttons::YesNo:
        return QStringLiteral("YesNo");
    case MessageBox::Buttons::YesNoCancel:
        return QStringLiteral("YesNoCancel");
    }
    return QString::number(int(buttons));
}

QString iconText(MessageBox::Icon icon) {
    switch (icon) {
    case MessageBox::Icon::None:
        return QStringLiteral("None");
    case MessageBox::Icon::Information:
        return QStringLiteral("Information");
    case MessageBox::Icon::Exclamation:
        return QStringLiteral("Exclamation");
    case MessageBox::Icon::Critical:
        return QStringLiteral("Critical");
    case MessageBox::Icon::Question:
        return QStringLiteral("Question");
    }
    return QString::number(int(icon));
}
