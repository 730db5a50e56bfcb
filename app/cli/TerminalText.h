#pragma once

#include <QString>

// Text from outside (file names, CUE sheets, drive answers, messages that quote them) as it may
// go to a terminal: every control character is shown as an escape, so a name can neither move
// the cursor, retitle or recolour the terminal, nor start a line of its own. A line feed shows
// as \n, a carriage return as \r, a tab as \t, any other as \xHH (C1 controls included).
QString terminalText(const QString& text);
