#pragma once

// Called first thing in main(). Rips and encoders allocate blocks of megabytes (paranoia takes
// about 11 MB a track, an encoder a few MB a block) on whichever thread runs the job. glibc
// raises its mmap threshold each time such a block is freed, so later blocks come from the
// threads' heaps, which keep the memory after the free: a 15-track rip grew by about 45 MB that
// way. A fixed threshold keeps every large block mapped on its own and returned when freed.
void returnLargeBlocksToTheSystem();
