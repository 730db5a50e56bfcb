#pragma once

#include "backends/cdio/DriveTable.h"

#include <QStringList>
#include <optional>

// melvane-cli drives: one line per CD drive, numbered from 1, each as the rip panel's drive
// list shows it: "H:T:L", the vendor padded to 8 characters, the product padded to 20, the
// revision.
int runDrivesCommand(const QStringList& arguments);

QString driveDescription(const cdio::Drive& drive);

// The drive a CD command was given: a number from `drives`, a device node or an image's CUE
// sheet. Raises Error for a number no drive has.
cdio::Drive driveFromArgument(const QString& argument);

// --offset: a read offset in samples, within the largest a drive has; nothing, with why, when
// the text is not one.
std::optional<qint32> offsetOption(const QString& text, QString* why);
