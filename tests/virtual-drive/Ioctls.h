#pragma once

// The Linux side of a drive node: the ioctls of the CD-ROM layer, the SCSI generic and block
// layers, and plain reads, answered as the kernel's sr driver does, by sending commands to the
// drive model where the kernel would.

#include "Drive.h"

#include <sys/types.h>

namespace vdrive {

// Runs an ioctl on an open node; sgNode tells a /dev/sgN node (which knows SG_GET_SCSI_ID)
// from a /dev/srN one. Returns the ioctl's result, or -1 with errno set.
int driveIoctl(Drive& drive, bool sgNode, unsigned long request, void* arg);

// read() of the block device: 2048-byte blocks of data tracks; audio sectors give EIO.
ssize_t driveRead(Drive& drive, long long& position, void* buffer, size_t size);

// The readable size in bytes, as the block device reports it.
long long driveSize(Drive& drive);

} // namespace vdrive
