#pragma once

#include <QDialog>
#include <memory>

namespace Ui {
class TrackRename;
}
class FrameCDMode;
class MainWindow;
class ReportList;
class Skin;
struct SharedState;

// What the track-name dialog works with: the skin, the main window's operations and shared
// state, and the rip panel and its track list, which it takes the names from.
struct TrackRenameContext {
    Skin& skin;
    MainWindow& main;
    SharedState& state;
    ReportList& ListView1;
    FrameCDMode& panel;
};

// "Track Rename": the track list's names, edited in place and sent back to the rip panel,
// which rebuilds its list with them. Artist and album are asked for and not used.
class TrackRename final : public QDialog {
    Q_OBJECT
public:
    explicit TrackRename(TrackRenameContext context, QWidget* owner = nullptr);
    ~TrackRename() override;

    void Command1_Click();
    // What unloading does, by the button or by the window frame.
    void Form_Unload();

    ReportList& songList() const;

    // Escape closes the dialog as the frame does.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void Form_Load();

    TrackRenameContext m_context;
    std::unique_ptr<Ui::TrackRename> m_ui;
};
