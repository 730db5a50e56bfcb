#pragma once

class AudioBurner;
class MainWindow;
class Skin;
struct SharedState;

// What the burn panel's dialogs work with: the burning engine, the skin, and the main window's
// operations and shared state (SelectedWriteSpeed).
struct BurnDialogContext {
    AudioBurner& AudioBurner1;
    Skin& skin;
    MainWindow& main;
    SharedState& state;
};
