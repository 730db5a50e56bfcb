#pragma once

#include "burn/BurnDialogContext.h"

#include <QDialog>
#include <memory>

namespace Ui {
class FrmBurnMethod;
}
class QRadioButton;

// The burn-method dialog: twelve write strategies, "Auto" and methods 1 to 11. A click hands
// the method to the engine at once; the dialog keeps no copy and OK only hides it.
class FrmBurnMethod final : public QDialog {
    Q_OBJECT
public:
    FrmBurnMethod(BurnDialogContext context, QWidget* owner = nullptr);
    ~FrmBurnMethod() override;

    // The click of option value (optBurnMethodAuto is 0, optBurnMethod1 … 11 the others).
    void optBurnMethod_Click(qint32 value);
    void cmdOk_Click();

    // The option for value 0 to 11.
    QRadioButton* option(int value) const;

private:
    void Form_Load();

    BurnDialogContext m_context;
    std::unique_ptr<Ui::FrmBurnMethod> m_ui;
};
