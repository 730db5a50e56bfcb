#pragma once

#include <QString>

namespace cdio {

// Routes libcdio's log through us. libcdio's own handler ends the process on an error, so this
// must run before any other libcdio call; every entry point of this folder calls it, and it does
// its work only once.
void installLogHandler();

// What libcdio logged on this thread since the last call, its last few messages joined into
// one text, and forgets them; empty when none. Notes count too: libcdio's CUE reader gives the
// reason for refusing a sheet only as a note.
QString takeLogMessages();

} // namespace cdio
