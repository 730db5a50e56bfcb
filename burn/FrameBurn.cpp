#include "burn/FrameBurn.h"

#include "ui_FrameBurn.h"

FrameBurn::FrameBurn(BurnContext context, QWidget* parent)
    : ModePanel(parent), m_context(context), m_ui(std::make_unique<Ui::FrameBurn>()) {
    m_ui->setupUi(this);
    connectModeButtons(m_ui->Command21, m_ui->Command20, m_ui->Command19, m_ui->Command18);
}

FrameBurn::~FrameBurn() = default;
