#pragma once

#include <QStringList>

// melvane-cli mixer [--line N] [--volume PERCENT] [--mute on|off]: reads, and writes when asked,
// one line of the first mixer through the volume control's mixer module, then prints the
// line's volume and mute state.
int runMixerCommand(const QStringList& arguments);
