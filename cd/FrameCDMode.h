#pragma once

#include "shell/common/ModePanel.h"

#include <memory>

namespace Ui {
class FrameCDMode;
}
class MainWindow;
struct SharedState;

// What the rip panel works with; its components join as the panel grows.
struct CDContext {
    MainWindow& main;
    SharedState& state;
};

// The rip panel: reads an audio CD, plays and rips its tracks.
class FrameCDMode final : public ModePanel {
    Q_OBJECT
public:
    explicit FrameCDMode(CDContext context, QWidget* parent = nullptr);
    ~FrameCDMode() override;

    // mnuCDPopUp, empty until the track-name entries arrive.
    QMenu* popUpMenu() const override;

private:
    CDContext m_context;
    std::unique_ptr<Ui::FrameCDMode> m_ui;
};
