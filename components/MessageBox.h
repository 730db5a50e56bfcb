#pragma once

#include <QString>

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
};
