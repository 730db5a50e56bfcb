#pragma once

#include <QFrame>
#include <QPointer>
#include <memory>

namespace Ui {
class PlayerStrip;
}
class EqualizerWindow;
class FilgraphManager;
class QTimer;

// The file player under the conversion list: play/pause, stop, the position (drag to move, a
// click beside the handle pages by a tenth of the file), elapsed and total time, and the
// Equalizer button that opens the equaliser window beside the strip. It plays through the main
// window's filter graph, which exists from start-up to shutdown. Hidden with its panel (another
// mode), it stops what plays, as no control would be left on screen to stop it, and closes the
// equaliser.
class PlayerStrip final : public QFrame {
    Q_OBJECT
public:
    explicit PlayerStrip(QWidget* parent = nullptr);
    ~PlayerStrip() override;

    // The graph to play through; null before start-up and after shutdown.
    void setFilterGraph(FilgraphManager* graph);
    // Opens a file and plays it. Raises Error when it cannot be played.
    void play(const QString& path);

    void playButton_Click();
    void stopButton_Click();
    void equalizerButton_Click();
    EqualizerWindow* equalizerWindow() const;

    // How often the position is shown anew while playing.
    static constexpr int RefreshInterval = 200; // ms

Q_SIGNALS:
    // Play was pressed with no file opened yet: the owner picks one and calls play().
    void fileWanted();

protected:
    void hideEvent(QHideEvent* event) override;

private:
    void placeEqualizer();
    void refresh();
    void seekToSlider();
    void showTime(double elapsed);

    std::unique_ptr<Ui::PlayerStrip> m_ui;
    FilgraphManager* m_graph = nullptr;
    QPointer<EqualizerWindow> m_equalizer;
    QTimer* m_timer = nullptr;
    QString m_path;
};
