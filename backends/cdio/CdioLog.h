#pragma once

#include <QString>

namespace cdio {

// Routes libcdio's log through us. libcdio's own handler ends the process on an error, so this
// must run before any other libcdio call; every entry point of this folder calls it, and it does
// its work only once.
void installLogHandler();

// The last warning or error libcdio logged on this thread, and forgets it; empty when none.
QString takeLogMessage();

} // namespace cdio
