#pragma once

// Ends a program that has used audio devices, once everything of its own is closed (windows,
// jobs, files, settings): standard streams are flushed and the process exits with `code`
// without running the libraries' own clean-up at exit.
//
// Why: Qt 6.4's PulseAudio engine is a library static that, when it is destroyed at exit,
// disconnects from the sound server without holding its main loop's lock. A server event that
// arrives in that moment (the sink going idle after our last stream is one) aborts the process
// inside libpulse, about one exit in sixty on the test server. The server notices the closed
// connection by itself, so skipping that clean-up loses nothing.
//
// Under AddressSanitizer the leak check that would have run at exit runs here first.
[[noreturn]] void endProcess(int code);
