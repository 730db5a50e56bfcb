#pragma once

// The Linux side of a drive node: the ioctls of the CD-ROM layer, the SCSI generic and block
// layers, answered as the kernel's sr driver does, by sending commands to the
// drive model where the kernel would.

#include "Drive.h"

#include <sys/types.h>

namespace vdrive {

// Runs an ioctl on an open node. Returns the ioctl's result, or -1 with errno set.
int driveIoctl(Drive& drive, unsigned long request, void* arg);

} // namespace vdrive
