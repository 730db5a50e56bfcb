#pragma once

#include "burn/BurnDialogContext.h"

#include <QDialog>
#include <array>
#include <memory>

namespace Ui {
class FrmSpeedSelect;
}
class QRadioButton;

// The write-speed dialog: fifty speed choices, 1x to 50x, and a detection pass that offers
// those the engine takes. The chosen speed lives in SharedState::SelectedWriteSpeed; the dialog
// keeps nothing of its own but the state of its buttons.
class FrmSpeedSelect final : public QDialog {
    Q_OBJECT
public:
    FrmSpeedSelect(BurnDialogContext context, QWidget* owner = nullptr);
    ~FrmSpeedSelect() override;

    // Probes every speed from 1 to 50 on the engine: each button is enabled exactly when its
    // speed reads back unchanged, and the highest of those is chosen. Yields after each probe.
    void DetectOptimals();
    // Enables all fifty choices; nothing else.
    void EnableOpt();

    void btnOptimals_Click();
    void btnAll_Click();
    void btnOK_Click();
    // The click of the button for speed factor: opt1X_Click … opt50X_Click.
    void optClick(qint16 factor);

    // The button for speed factor 1 to 50.
    QRadioButton* option(int factor) const;

private:
    void Form_Load();

    BurnDialogContext m_context;
    std::unique_ptr<Ui::FrmSpeedSelect> m_ui;
    std::array<QRadioButton*, 50> m_options{};
};
