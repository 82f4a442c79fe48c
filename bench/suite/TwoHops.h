#pragma once

#include <cstdint>
#include <vector>

namespace OrvBench
{

// The two-hop floor: nanoseconds from a write to a descriptor to a run on a thread pool, by way of the thread that
// waits for the descriptor. Adds so many samples; a millisecond between two, so that everybody has fallen asleep.
void timeTwoHops(unsigned int count, std::vector<int64_t>& samples);

}  // namespace OrvBench
