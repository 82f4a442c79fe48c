#pragma once

#include <cstdint>

namespace OrvBench
{

// Counts the system calls of this process: of the thread that makes the object, and of all threads that are started
// afterwards, directly or by one another. The kernel counts them.
// Failure: UnavailableChannel if the kernel does not let this user count, or does not show its trace points.
class SystemCalls
{
public:
    SystemCalls();
    ~SystemCalls();

    // Since construction.
    uint64_t count() const;

    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

private:
    const int _counter;
};

}  // namespace OrvBench
