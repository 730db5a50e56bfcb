#pragma once

#include <QStringList>

// melvane-cli play [--eq G0,G1,...,G10] FILE: plays a file on the default output through the
// file player's graph and its "EQ Filter", showing the position; Ctrl-C stops it.
int runPlayCommand(const QStringList& arguments);
