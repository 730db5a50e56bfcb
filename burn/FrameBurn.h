#pragma once

#include "shell/common/ModePanel.h"

#include <memory>

namespace Ui {
class FrameBurn;
}
class MainWindow;
struct SharedState;

// What the burn panel works with; the burning engine joins with the burn job.
struct BurnContext {
    MainWindow& main;
    SharedState& state;
};

// The burn panel: compiles files into a track list and burns them as an audio CD.
class FrameBurn final : public ModePanel {
    Q_OBJECT
public:
    explicit FrameBurn(BurnContext context, QWidget* parent = nullptr);
    ~FrameBurn() override;

private:
    BurnContext m_context;
    std::unique_ptr<Ui::FrameBurn> m_ui;
};
