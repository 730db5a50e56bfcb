#pragma once

class AudioBurner;
class FrameBurn;
class MainWindow;
class Skin;
struct SharedState;

// What the burn panel's dialogs work with: the burning engine, the skin, the main window's
// services and shared state (SelectedWriteSpeed), and the panel whose drive box they refresh.
struct BurnDialogContext {
    AudioBurner& AudioBurner1;
    Skin& skin;
    MainWindow& main;
    SharedState& state;
    FrameBurn& panel;
};
