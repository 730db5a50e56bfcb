#include "panelkit/ModePanel.h"

#include <QAbstractButton>
#include <QMouseEvent>

void ModePanel::connectModeButtons(QAbstractButton* convert, QAbstractButton* rip,
                                   QAbstractButton* burn, QAbstractButton* record) {
    const std::pair<QAbstractButton*, Mode> buttons[] = {
        {convert, Mode::Convert}, {rip, Mode::Rip}, {burn, Mode::Burn}, {record, Mode::Record}};
    for (const auto& [button, mode] : buttons) {
        // Like tabs, the mode buttons take no keyboard focus: a focus ring would stay on the
        // button of the panel that is shown next. The Options > Mode menu is the keyboard path.
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QAbstractButton::clicked, this,
                [this, mode] { Q_EMIT modeRequested(mode); });
    }
}

void ModePanel::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton)
        Q_EMIT popUpRequested(event->globalPosition().toPoint());
    QFrame::mouseReleaseEvent(event);
}
