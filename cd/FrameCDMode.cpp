#include "cd/FrameCDMode.h"

#include "ui_FrameCDMode.h"

FrameCDMode::FrameCDMode(QWidget* parent)
    : QFrame(parent), m_ui(std::make_unique<Ui::FrameCDMode>()) {
    m_ui->setupUi(this);
}

FrameCDMode::~FrameCDMode() = default;

QPushButton* FrameCDMode::Command13() const {
    return m_ui->Command13;
}
QPushButton* FrameCDMode::Command14() const {
    return m_ui->Command14;
}
QPushButton* FrameCDMode::Command15() const {
    return m_ui->Command15;
}
QPushButton* FrameCDMode::Command11() const {
    return m_ui->Command11;
}
