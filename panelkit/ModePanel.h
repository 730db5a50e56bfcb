#pragma once

#include <QFrame>
#include <QList>

class QAbstractButton;
class QAction;
class QMenu;

// The modes of the main window. Record opens the recorder window beside it.
enum class Mode { Convert, Rip, Burn, Record };

// A working panel of the main window. It owns its options-menu entries and its pop-up menu
// (the main window merges them into its own menus) and asks for a mode change by a signal;
// switching modes is the main window's business.
class ModePanel : public QFrame {
    Q_OBJECT
public:
    using QFrame::QFrame;

    // The entries of this mode's options menu, in order.
    virtual QList<QAction*> optionsActions() const { return {}; }
    // The menu shown on a right-button release over the panel; null when it has none.
    virtual QMenu* popUpMenu() const { return nullptr; }

Q_SIGNALS:
    // One of the panel's mode buttons was pressed.
    void modeRequested(Mode mode);
    // The right button came up over the panel at globalPos.
    void popUpRequested(const QPoint& globalPos);

protected:
    // Turns the four buttons of the panel's mode bar into mode requests.
    void connectModeButtons(QAbstractButton* convert, QAbstractButton* rip, QAbstractButton* burn,
                            QAbstractButton* record);
    void mouseReleaseEvent(QMouseEvent* event) override;
};
