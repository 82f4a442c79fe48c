#pragma once

#include <cstdint>

namespace OrvBench
{

// Counts the allocations of the whole process between start and stop: this program's malloc, calloc and realloc stand
// in front of the C library's, also for all libraries. While nobody counts, an allocation costs one load and one branch
// more.
// Threads: start and stop from one thread; allocations of any are counted.
class Allocations
{
public:
    // Counts from 0.
    static void start();
    // The number of blocks that have been allocated, or moved, since start.
    static uint64_t stop();
};

}  // namespace OrvBench
