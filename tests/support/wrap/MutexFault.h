#pragma once

#include <Poco/Mutex.h>
#include <pthread.h>

namespace OrvTest
{

// While it lives, calls of one kind on one mutex fail. A lock that fails takes nothing; an unlock that fails has
// unlocked all the same, so that the test can go on. POCO's locking is inline and thus part of the service's own
// objects. One at a time. Threads: constructed and destroyed by the test; any thread meets it. Where calls are counted,
// no other thread uses the mutex during construction and destruction.
class MutexFault
{
public:
    enum Operation
    {
        lockFails,
        tryLockFails,
        unlockFails
    };
    enum Where
    {
        anywhere,
        here,      // only calls of the constructing thread count
        elsewhere  // only calls of other threads count
    };
    enum : unsigned int
    {
        everyCall = 0
    };

    // The nth of the calls that count fails (1 is the next), once; or every one of them.
    MutexFault(const Poco::FastMutex& mutex, Operation operation, Where where = anywhere, unsigned int nth = everyCall);
    MutexFault(const Poco::Mutex& mutex, Operation operation, Where where = anywhere, unsigned int nth = everyCall);
    ~MutexFault();

    MutexFault(const MutexFault&) = delete;
    MutexFault& operator=(const MutexFault&) = delete;

private:
    MutexFault(const pthread_mutex_t& mutex, Operation operation, Where where, unsigned int nth);
};

}  // namespace OrvTest
