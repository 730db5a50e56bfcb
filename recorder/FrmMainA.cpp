#include "recorder/FrmMainA.h"

#include "components/Skin.h"
#include "ui_FrmMainA.h"

FrmMainA::FrmMainA(Skin& skin, const QString& skinPath)
    : QWidget(nullptr), m_ui(std::make_unique<Ui::FrmMainA>()) {
    m_ui->setupUi(this);
    // Closing the recorder alone must not end the program; closing the main window does.
    setAttribute(Qt::WA_QuitOnClose, false);
    skin.LoadSkin(skinPath);
    skin.ApplySkin(this);
}

FrmMainA::~FrmMainA() = default;
