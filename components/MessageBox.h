#pragma once

#include <QString>
#include <QStringList>

// Modal message boxes with the classic button and icon choices.
class MessageBox {
public:
    enum class Buttons { OkOnly, OkCancel, YesNo, YesNoCancel };
    enum class Icon { None, Information, Exclamation, Critical, Question };
    enum class Result { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

    virtual ~MessageBox() = default;
    // An empty title gives the program's default title, "Melvane".
    virtual Result MsgBox(const QString& prompt, Buttons buttons = Buttons::OkOnly,
                          Icon icon = Icon::None, const QString& title = {}) = 0;

    // The question before an existing file is written over: Replace or Skip, and whether that
    // answer holds for every further file of the running job. Closing the box skips.
    struct ReplaceAnswer {
        bool replace = false;
        bool forAll = false;
    };
    virtual ReplaceAnswer AskReplace(const QString& prompt, const QString& title = {}) = 0;

    // One of several items, chosen from a list: its index, or -1 when the user cancelled.
    virtual qint32 ChooseItem(const QString& prompt, const QStringList& items,
                              const QString& title = {}) = 0;
};
