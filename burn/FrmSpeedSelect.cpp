#include "burn/FrmSpeedSelect.h"

#include "components/AudioBurner.h"
#include "components/Skin.h"
#include "panelkit/ErrorBoundary.h"
#include "panelkit/MainWindow.h"
#include "panelkit/SharedState.h"
#include "ui_FrmSpeedSelect.h"

#include <QCoreApplication>
#include <QPointer>

using ErrorBoundary::guarded;
using ErrorBoundary::handler;

namespace {
// Below this the pass leaves the painting to the yield; from it on the dialog is repainted at
// every probe. Users have always seen the first dozen probes this way.
constexpr qint16 kFirstRepaintedProbe = 13;
} // namespace

FrmSpeedSelect::FrmSpeedSelect(BurnDialogContext context, QWidget* owner)
    : QDialog(owner), m_context(context), m_ui(std::make_unique<Ui::FrmSpeedSelect>()) {
    m_ui->setupUi(this);
    for (int n = 1; n <= 50; ++n) {
        const QString name = n == 7 ? QStringLiteral("opt7x") : QStringLiteral("opt%1X").arg(n);
        QRadioButton* button = findChild<QRadioButton*>(name);
        Q_ASSERT(button);
        m_options[size_t(n - 1)] = button;
        connect(button, &QRadioButton::clicked, this,
                guarded([this, n](bool) { optClick(qint16(n)); }));
    }
    connect(m_ui->btnOptimals, &QPushButton::clicked, this,
            handler(this, &FrmSpeedSelect::btnOptimals_Click));
    connect(m_ui->btnAll, &QPushButton::clicked, this,
            handler(this, &FrmSpeedSelect::btnAll_Click));
    connect(m_ui->btnOK, &QPushButton::clicked, this, handler(this, &FrmSpeedSelect::btnOK_Click));
    // Shown only while a detection pass runs.
    m_ui->progressDetect->setVisible(false);
    m_ui->lblDetectOptimals->setVisible(false);
    Form_Load();
}

FrmSpeedSelect::~FrmSpeedSelect() = default;

void FrmSpeedSelect::Form_Load() {
    m_context.skin.LoadSkin(m_context.main.skinPath());
    m_context.skin.ApplySkin(this);
    m_ui->progressDetect->setValue(0);
    repaint();
}

QRadioButton* FrmSpeedSelect::option(int factor) const {
    return factor >= 1 && factor <= 50 ? m_options[size_t(factor - 1)] : nullptr;
}

void FrmSpeedSelect::optClick(qint16 factor) {
    m_context.state.SelectedWriteSpeed = factor;
}

void FrmSpeedSelect::DetectOptimals() {
    m_ui->progressDetect->setVisible(true);
    m_ui->lblDetectOptimals->setVisible(true);
    repaint();
    m_ui->progressDetect->setValue(0);
    AudioBurner& engine = m_context.AudioBurner1;
    for (qint16 n = 1; n <= 50; ++n) {
        engine.setWriteSpeed(n);
        QRadioButton* button = option(n);
        if (engine.WriteSpeed() == n) {
            button->setEnabled(true);
            // Choosing a button in code runs its click too, as a user's click would.
            button->setChecked(true);
            optClick(n);
            m_context.state.SelectedWriteSpeed = n;
        } else {
            button->setEnabled(false);
        }
        m_ui->progressDetect->setValue(n);
        if (n >= kFirstRepaintedProbe)
            repaint();
        // The main window may close meanwhile and take the dialog with it.
        const QPointer<FrmSpeedSelect> self = this;
        QCoreApplication::processEvents();
        if (!self)
            return;
    }
    m_ui->progressDetect->setVisible(false);
    m_ui->lblDetectOptimals->setVisible(false);
}

void FrmSpeedSelect::EnableOpt() {
    for (QRadioButton* button : m_options)
        button->setEnabled(true);
}

void FrmSpeedSelect::btnOptimals_Click() {
    DetectOptimals();
}

void FrmSpeedSelect::btnAll_Click() {
    EnableOpt();
}

void FrmSpeedSelect::btnOK_Click() {
    hide();
}
