#pragma once

// The drives' device nodes as the file system shows them: the drives VIRTUAL_DRIVE asks for
// (made on first use), the descriptors opened on their nodes, and what stat and realpath say
// about the nodes and their sysfs folders.

#include "Drive.h"

#include <string>
#include <sys/stat.h>

namespace vdrive {

// A descriptor open on a drive's node.
struct OpenNode {
    Drive* drive = nullptr;
    bool exclusive = false;
};

// Whether fd is open on a drive's node; cheap enough for every close().
bool ours(int fd);
// The drive whose node path names, or null.
Drive* driveAt(const char* path);
// Opens the node as the sr driver would; -1 with errno when it refuses.
int openNode(Drive& drive, const char* path, int flags);
OpenNode* nodeOf(int fd);
void forgetNode(int fd);

// A block device with the drive's own device number.
void fillStat(const Drive& drive, struct stat* st);
// The canonical name of a node or sysfs path (/sys/block/NAME, /sys/class/block/NAME and their
// device links, resolved to a SCSI device folder named "H:C:T:L"); empty for any other path.
std::string canonicalPath(const char* path);

} // namespace vdrive
