#pragma once

#include "core/Bool16.h"

#include <QString>

// The main window's members that panels and dialogs share. Form1 owns the one instance and
// hands it to each of them by reference.
struct SharedState {
    // Mode flags: set on every mode entry, never read back by the program.
    Bool16 burnModeFlag = False16;
    Bool16 nonBurnModeFlag = False16;
    Bool16 spareModeFlag = False16;
    // Tracks renamed in the track-name dialog, and a rip job that starts afresh.
    Bool16 renamedTracks = False16;
    Bool16 newJob = False16;
    // The folder the folder picker returned last; empty after a cancel.
    QString prevFolder;

    // The burn side: tracks added since the list was last cleared, the selected recorder
    // (1-based), a burn under way, and the speed factor for the next burn (1 to 50).
    qint16 trackCount = 0;
    qint16 currentDrive = 0;
    Bool16 burnRunning = False16;
    qint16 SelectedWriteSpeed = 0;
};
