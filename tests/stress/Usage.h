#pragma once

#include <cstdint>

namespace OrvStress
{

// What this process holds.
struct Usage
{
    double residentMegabytes;
    double heapMegabytes;  // given out by malloc
    unsigned int threads;
    unsigned int descriptors;

    static Usage now();
};

}  // namespace OrvStress
