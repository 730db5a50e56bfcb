#pragma once

#include <QFrame>
#include <memory>

namespace Ui {
class FrameCDMode;
}
class QPushButton;

// The rip panel: reads an audio CD, plays and rips its tracks.
class FrameCDMode final : public QFrame {
    Q_OBJECT
public:
    explicit FrameCDMode(QWidget* parent = nullptr);
    ~FrameCDMode() override;

    // Mode buttons: convert, rip, burn, record.
    QPushButton* Command13() const;
    QPushButton* Command14() const;
    QPushButton* Command15() const;
    QPushButton* Command11() const;

private:
    std::unique_ptr<Ui::FrameCDMode> m_ui;
};
