#include "core/ProcessMemory.h"

#include <malloc.h>

void returnLargeBlocksToTheSystem() {
    // Blocks from 1 MiB up; setting it also switches glibc's sliding threshold off.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
}
