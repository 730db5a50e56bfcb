#pragma once

// The drives' device nodes as the file system shows them: the drives VIRTUAL_DRIVE asks for
// (made on first use), the descriptors opened on their nodes, and what stat, realpath and
// readlink say about the nodes and their sysfs folders.

#include "Drive.h"

#include <string>
#include <sys/stat.h>

namespace vdrive {

// A descriptor open on a drive's node.
struct OpenNode {
    Drive* drive = nullptr;
    bool sg = false; // a /dev/sgN node
    bool exclusive = false;
    long long position = 0; // for read() and lseek()
};

// Whether fd is open on a drive's node; cheap enough for every read().
bool ours(int fd);
// The drive whose node path names, or null.
Drive* driveAt(const char* path);
// Opens the node as the sr driver would; -1 with errno when it refuses.
int openNode(Drive& drive, const char* path, int flags);
OpenNode* nodeOf(int fd);
void forgetNode(int fd);
// A duplicate of from's descriptor, now at to.
void copyNode(int from, int to);

// A block device (a character device for sg nodes) with the drive's own device number.
void fillStat(const Drive& drive, struct stat* st);
// Fills st for a node or one of its sysfs paths; false for any other path.
bool fakeStat(const char* path, struct stat* st, bool followLinks);
// The canonical name of a node or sysfs path; empty for any other path.
std::string canonicalPath(const char* path);
// The target of /sys/class/block/NAME/device (or /sys/block/...) for a drive.
bool sysDeviceLink(const char* path, std::string& target);

} // namespace vdrive
