#include "cd/FrameCDMode.h"

#include "ui_FrameCDMode.h"

FrameCDMode::FrameCDMode(CDContext context, QWidget* parent)
    : ModePanel(parent), m_context(context), m_ui(std::make_unique<Ui::FrameCDMode>()) {
    m_ui->setupUi(this);
    connectModeButtons(m_ui->Command13, m_ui->Command14, m_ui->Command15, m_ui->Command11);
}

FrameCDMode::~FrameCDMode() = default;

QMenu* FrameCDMode::popUpMenu() const {
    return m_ui->mnuCDPopUp;
}
