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

// For the CD commands: prints usage and returns 0 for -h/--help, returns 2 with a message for
// an option the command does not take; nothing when the command should run.
std::optional<int> cdCommandHelp(const QStringList& arguments, const QString& usage);
