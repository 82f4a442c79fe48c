#pragma once

#include <cstdint>

namespace OrvBench
{

// Counts what is started on any of POCO's thread pools in this process, also by a library that has been loaded: this
// program's Poco::ThreadPool::start stands in front of POCO's.
// Threads: any.
class PoolStarts
{
public:
    // Since the program has begun.
    static uint64_t count();
};

}  // namespace OrvBench
