#pragma once

#include <cstdint>
#include <ctime>

namespace OrvBench
{

const int64_t NANOSECONDS = 1000000000;  // of a second
const int64_t MILLISECOND = 1000000;     // in nanoseconds

// Nanoseconds of the clock that nobody sets.
inline int64_t nowNanoseconds()
{
    timespec now = timespec();
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * NANOSECONDS + now.tv_nsec;
}

// Sleeps until this time of the same clock; returns at once if it has passed.
inline void sleepUntil(int64_t nanoseconds)
{
    const timespec time = {static_cast<time_t>(nanoseconds / NANOSECONDS),
                           static_cast<long>(nanoseconds % NANOSECONDS)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) != 0)
    {
    }
}

// The length of a measurement in nanoseconds: a second, or a twentieth of it for a quick run.
inline int64_t measuringTime(bool quick)
{
    return quick ? NANOSECONDS / 20 : NANOSECONDS;
}

}  // namespace OrvBench
