#pragma once

class QWidget;

// With MELVANE_STARTUP_PROBE set, melvane tells on standard error when its start-up windows are
// first painted, for bench/start-bench:
//     melvane: start-up: notice painted at T
//     melvane: start-up: notice closed at T
//     melvane: start-up: main window painted at T
// T is the wall-clock time in seconds since the Unix epoch, to the microsecond (the form of
// bash's $EPOCHREALTIME), so that a script can subtract the time it started the program. The
// notices are the message boxes start-up shows before the main window; the time they are open
// is the user's. Without the variable nothing is installed.
void installStartupProbe(QWidget* mainWindow);
