#include "backends/qt/QtMessageBox.h"

#include <QApplication>
#include <QCheckBox>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

namespace {

QMessageBox::Icon qtIcon(MessageBox::Icon icon) {
    switch (icon) {
    case MessageBox::Icon::Information:
        return QMessageBox::Information;
    case MessageBox::Icon::Exclamation:
        return QMessageBox::Warning;
    case MessageBox::Icon::Critical:
        return QMessageBox::Critical;
    case MessageBox::Icon::Question:
        return QMessageBox::Question;
    case MessageBox::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons qtButtons(MessageBox::Buttons buttons) {
    switch (buttons) {
    case MessageBox::Buttons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case MessageBox::Buttons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case MessageBox::Buttons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case MessageBox::Buttons::OkOnly:
        break;
    }
    return QMessageBox::Ok;
}

} // namespace

MessageBox::Result QtMessageBox::MsgBox(const QString& prompt, Buttons buttons, Icon icon,
                                        const QString& title) {
    QMessageBox box(qtIcon(icon), title.isEmpty() ? QStringLiteral("Melvane") : title, prompt,
                    qtButtons(buttons), QApplication::activeWindow());
    box.setObjectName(QStringLiteral("MessageBox"));
    // The first button is the default, as in the classic boxes. Escape means Cancel where there
    // is one, OK on a box with OK alone, and No on a Yes/No box (Qt's own choice for that box).
    const bool yesFirst = buttons == Buttons::YesNo || buttons == Buttons::YesNoCancel;
    box.setDefaultButton(yesFirst ? QMessageBox::Yes : QMessageBox::Ok);
    if (buttons == Buttons::OkOnly)
        box.setEscapeButton(QMessageBox::Ok);
    else if (buttons != Buttons::YesNo)
        box.setEscapeButton(QMessageBox::Cancel);
    box.exec();

    switch (box.standardButton(box.clickedButton())) {
    case QMessageBox::Cancel:
        return Result::Cancel;
    case QMessageBox::Yes:
        return Result::Yes;
    case QMessageBox::No:
        return Result::No;
    case QMessageBox::Ok:
        return Result::Ok;
    default:
        break;
    }
    // Closed without a button: the answer Escape gives.
    switch (buttons) {
    case Buttons::OkOnly:
        return Result::Ok;
    case Buttons::YesNo:
        return Result::No;
    default:
        return Result::Cancel;
    }
}

MessageBox::ReplaceAnswer QtMessageBox::AskReplace(const QString& prompt, const QString& title) {
    QMessageBox box(QMessageBox::Question, title.isEmpty() ? QStringLiteral("Melvane") : title,
                    prompt, QMessageBox::NoButton, QApplication::activeWindow());
    box.setObjectName(QStringLiteral("ReplaceQuestion"));
    QPushButton* replace = box.addButton(QStringLiteral("&Replace"), QMessageBox::AcceptRole);
    replace->setObjectName(QStringLiteral("Replace"));
    QPushButton* skip = box.addButton(QStringLiteral("&Skip"), QMessageBox::RejectRole);
    skip->setObjectName(QStringLiteral("Skip"));
    // Keeping the user's file is what Enter and Escape do.
    box.setDefaultButton(skip);
    box.setEscapeButton(skip);
    auto* forAll = new QCheckBox(QStringLiteral("Do this for all files of this job"), &box);
    forAll->setObjectName(QStringLiteral("forAll"));
    box.setCheckBox(forAll);
    box.exec();
    return {box.clickedButton() == replace, forAll->isChecked()};
}

qint32 QtMessageBox::ChooseItem(const QString& prompt, const QStringList& items,
                                const QString& title) {
    QInputDialog dialog(QApplication::activeWindow());
    dialog.setObjectName(QStringLiteral("ChooseItem"));
    dialog.setWindowTitle(title.isEmpty() ? QStringLiteral("Melvane") : title);
    dialog.setLabelText(prompt);
    dialog.setComboBoxItems(items);
    dialog.setComboBoxEditable(false);
    dialog.setOption(QInputDialog::UseListViewForComboBoxItems);
    if (dialog.exec() != QDialog::Accepted)
        return -1;
    return qint32(items.indexOf(dialog.textValue()));
}
