// Calls of the C library that this program's linker redirects: those that the service's own objects make can be made
// to fail or be watched. Calls from inside shared libraries are not affected.
#pragma once

#include <Poco/Mutex.h>

#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

namespace OrvTest
{

// While it lives, the nth call of one kind on one mutex fails, once. An unlock that fails has unlocked all the same, so
// that the test can go on. One at a time.
// Threads: constructed and destroyed by the test, while no other thread uses the mutex.
class MutexFault
{
public:
    enum Call
    {
        lock,
        tryLock,
        unlock
    };
    enum Where
    {
        here,      // only calls of the constructing thread count
        elsewhere  // only calls of other threads count
    };

    MutexFault(Call call, const Poco::FastMutex& mutex, Where where = here, unsigned int nth = 1);
    ~MutexFault();

    MutexFault(const MutexFault&) = delete;
    MutexFault& operator=(const MutexFault&) = delete;
};

// While it lives, nanosleep notes what it is asked for and answers what the action gives; it does not sleep. One at a
// time.
// Threads: the action runs on the thread that wants to sleep. No thread may be asleep when this object is destroyed.
class PauseHook
{
public:
    // The default action answers 0: the whole time is over.
    explicit PauseHook(std::function<int()> action = [] { return 0; });
    ~PauseHook();

    std::vector<timespec> requests() const;
    int pause(const timespec& request);

    PauseHook(const PauseHook&) = delete;
    PauseHook& operator=(const PauseHook&) = delete;

private:
    const std::function<int()> _action;
    mutable std::mutex _mutex;
    std::vector<timespec> _requests;
};

}  // namespace OrvTest
