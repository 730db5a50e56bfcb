#include "burn/FrmBurnMethod.h"

#include "burn/FrameBurn.h"
#include "components/AudioBurner.h"
#include "components/Skin.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "ui_FrmBurnMethod.h"

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

FrmBurnMethod::FrmBurnMethod(BurnDialogContext context, QWidget* owner)
    : QDialog(owner), m_context(context), m_ui(std::make_unique<Ui::FrmBurnMethod>()) {
    m_ui->setupUi(this);
    for (qint32 value = 0; value <= 11; ++value)
        connect(option(value), &QRadioButton::clicked, this,
                guarded([this, value](bool) { optBurnMethod_Click(value); }));
    connect(m_ui->cmdOk, &QPushButton::clicked, this, handler(this, &FrmBurnMethod::cmdOk_Click));
    Form_Load();
}

FrmBurnMethod::~FrmBurnMethod() = default;

QRadioButton* FrmBurnMethod::option(int value) const {
    if (value == 0)
        return m_ui->optBurnMethodAuto;
    if (value < 1 || value > 11)
        return nullptr;
    return findChild<QRadioButton*>(QStringLiteral("optBurnMethod%1").arg(value));
}

void FrmBurnMethod::Form_Load() {
    m_context.skin.LoadSkin(m_context.main.skinPath());
    m_context.skin.ApplySkin(this);
    // Methods 10 and 11 (and anything else) open with no option chosen: the load picks only
    // 0 to 9.
    const qint32 method = m_context.AudioBurner1.BurnMethod();
    if (method >= 0 && method <= 9)
        option(method)->setChecked(true);
}

void FrmBurnMethod::optBurnMethod_Click(qint32 value) {
    m_context.AudioBurner1.setBurnMethod(value);
    m_context.panel.RefreshDriveInfo();
}

void FrmBurnMethod::cmdOk_Click() {
    hide();
}
