#pragma once

#include <QWidget>
#include <memory>

namespace Ui {
class FrmMainA;
}
class MainWindow;
class Skin;
struct SharedState;

// What the recorder window works with; the recorder, player and mixer components join later.
struct RecorderContext {
    Skin& skin;
    MainWindow& main;
    SharedState& state;
};

// The sound recorder: a separate top-level window, opened from record mode.
class FrmMainA final : public QWidget {
    Q_OBJECT
public:
    // Loads and applies the main window's skin; raises when the skin cannot be loaded.
    explicit FrmMainA(RecorderContext context);
    ~FrmMainA() override;

private:
    RecorderContext m_context;
    std::unique_ptr<Ui::FrmMainA> m_ui;
};
