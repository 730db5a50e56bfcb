#pragma once

#include <QWidget>
#include <memory>

namespace Ui {
class FrmMainA;
}
class Skin;

// The sound recorder: a separate top-level window, opened from record mode.
class FrmMainA final : public QWidget {
    Q_OBJECT
public:
    // Loads and applies the skin at skinPath; raises when the skin cannot be loaded.
    FrmMainA(Skin& skin, const QString& skinPath);
    ~FrmMainA() override;

private:
    std::unique_ptr<Ui::FrmMainA> m_ui;
};
