#pragma once

#include <QWidget>
#include <array>
#include <memory>

namespace Ui {
class EqualizerWindow;
}
class FilgraphManager;
class QLabel;
class QSlider;

// The file player's equaliser: a slider for each of the eleven bands of the graph's "EQ Filter"
// (-12 to +12 dB) and the filter's response drawn as a curve. It shows the graph's gains as
// they are, also when the graph sets them itself (a new file starts flat).
class EqualizerWindow final : public QWidget {
    Q_OBJECT
public:
    // A window of its own, kept by parent.
    EqualizerWindow(FilgraphManager& graph, QWidget* parent = nullptr);
    ~EqualizerWindow() override;

    // Shows the graph's gains and curve.
    void refresh();
    // Sets every band to 0 dB.
    void flatButton_Click();

private:
    void bandMoved(int band, int value);

    FilgraphManager& m_graph;
    std::unique_ptr<Ui::EqualizerWindow> m_ui;
    std::array<QSlider*, 11> m_sliders{};
    std::array<QLabel*, 11> m_values{};
};
