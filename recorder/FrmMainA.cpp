#include "recorder/FrmMainA.h"

#include "components/Skin.h"
#include "shell/common/MainWindow.h"
#include "ui_FrmMainA.h"

FrmMainA::FrmMainA(RecorderContext context)
    : QWidget(nullptr), m_context(context), m_ui(std::make_unique<Ui::FrmMainA>()) {
    m_ui->setupUi(this);
    // Closing the recorder alone must not end the program; closing the main window does.
    setAttribute(Qt::WA_QuitOnClose, false);
    m_context.skin.LoadSkin(m_context.main.skinPath());
    m_context.skin.ApplySkin(this);
}

FrmMainA::~FrmMainA() = default;
