#pragma once

#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>

#include <condition_variable>
#include <mutex>

namespace OrvTest
{

// Occupies threads of a pool until it is released.
// Threads: constructed and released by the test. The pool's threads come back a moment after release has returned.
class PoolGate : private Poco::Runnable
{
public:
    // Returns when count threads are occupied. Throws what the pool throws; then none stays occupied.
    PoolGate(Poco::ThreadPool& pool, int count);
    ~PoolGate() override;

    // Returns when all have left the gate.
    void release();

    PoolGate(const PoolGate&) = delete;
    PoolGate& operator=(const PoolGate&) = delete;

private:
    void run() override;

    std::mutex _mutex;
    std::condition_variable _changed;
    int _inside = 0;
    int _started = 0;
    bool _open = false;
};

}  // namespace OrvTest
