// The burn panel's options menu and the engine's status lines.
#include "burn/FrameBurn.h"

#include "components/AudioBurner.h"
#include "components/CommonDialog.h"
#include "panelkit/ErrorBoundary.h"
#include "ui_FrameBurn.h"

namespace {
// Lines of the engine's status kept on the panel.
constexpr int kNoticeLines = 4;
} // namespace

using ErrorBoundary::handler;

QList<QAction*> FrameBurn::optionsActions() const {
    return {m_ui->mnuoptburnmode1, m_ui->mnuoptburnmode2};
}

void FrameBurn::connectOptions() {
    connect(m_ui->mnuoptburnmode1, &QAction::triggered, this,
            handler(this, &FrameBurn::mnuoptburnmode1_Click));
    connect(m_ui->mnuoptburnmode2, &QAction::triggered, this,
            handler(this, &FrameBurn::mnuoptburnmode2_Click));
    connect(&m_context.AudioBurner1, &AudioBurner::Notice, this, &FrameBurn::showNotice);
}

void FrameBurn::mnuoptburnmode1_Click() {
    m_context.AudioBurner1.setVerifyAfterBurning(m_ui->mnuoptburnmode1->isChecked());
}

void FrameBurn::mnuoptburnmode2_Click() {
    CommonDialog& dialog = m_context.commonDialog;
    dialog.setFileName(QString());
    dialog.setDialogTitle(QStringLiteral("Add Disc Image"));
    dialog.setFilter(QStringLiteral("CD Images (*.cue)|*.cue"));
    dialog.ShowOpen();
    const QString name = dialog.FileName();
    if (name.isEmpty())
        return;
    m_lastFile = name;
    appendToCompilation(name);
}

void FrameBurn::showNotice(const QString& text, bool warning) {
    QStringList lines = m_ui->burnNoticeLbl->text().split(u'\n', Qt::SkipEmptyParts);
    lines << (warning ? QStringLiteral("Warning: ") + text : text);
    while (lines.size() > kNoticeLines)
        lines.removeFirst();
    m_ui->burnNoticeLbl->setText(lines.join(u'\n'));
}
