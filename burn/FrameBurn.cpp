#include "burn/FrameBurn.h"

#include "ui_FrameBurn.h"

FrameBurn::FrameBurn(QWidget* parent) : QFrame(parent), m_ui(std::make_unique<Ui::FrameBurn>()) {
    m_ui->setupUi(this);
}

FrameBurn::~FrameBurn() = default;

QPushButton* FrameBurn::Command21() const {
    return m_ui->Command21;
}
QPushButton* FrameBurn::Command20() const {
    return m_ui->Command20;
}
QPushButton* FrameBurn::Command19() const {
    return m_ui->Command19;
}
QPushButton* FrameBurn::Command18() const {
    return m_ui->Command18;
}
