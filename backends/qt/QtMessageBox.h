#pragma once

#include "components/MessageBox.h"

// Message boxes on QMessageBox, owned by the active window so that they wear its skin.
class QtMessageBox final : public MessageBox {
public:
    Result MsgBox(const QString& prompt, Buttons buttons = Buttons::OkOnly, Icon icon = Icon::None,
                  const QString& title = {}) override;
    ReplaceAnswer AskReplace(const QString& prompt, const QString& title = {}) override;
    qint32 ChooseItem(const QString& prompt, const QStringList& items,
                      const QString& title = {}) override;
};
