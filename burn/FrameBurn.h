#pragma once

#include <QFrame>
#include <memory>

namespace Ui {
class FrameBurn;
}
class QPushButton;

// The burn panel: compiles files into a track list and burns them as an audio CD.
class FrameBurn final : public QFrame {
    Q_OBJECT
public:
    explicit FrameBurn(QWidget* parent = nullptr);
    ~FrameBurn() override;

    // Mode buttons: convert, rip, burn, record.
    QPushButton* Command21() const;
    QPushButton* Command20() const;
    QPushButton* Command19() const;
    QPushButton* Command18() const;

private:
    std::unique_ptr<Ui::FrameBurn> m_ui;
};
