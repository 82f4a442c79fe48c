#pragma once

#include <Poco/Mutex.h>
#include <pthread.h>

#include <functional>

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

// While it lives, the action runs before what other threads do with the mutex, on those threads: each attempt to lock
// it or, in the second form, every operation, whose kind the action is given. Together with a thread that holds the
// mutex this tells that the other one has come to wait. One at a time; at its end no other thread may be at the mutex.
class LockNotice
{
public:
    enum Operation
    {
        locks,
        triesToLock,
        unlocks
    };

    LockNotice(const Poco::FastMutex& mutex, std::function<void()> action);
    LockNotice(const Poco::FastMutex& mutex, std::function<void(Operation)> action);
    LockNotice(const Poco::Mutex& mutex, std::function<void()> action);
    ~LockNotice();

    LockNotice(const LockNotice&) = delete;
    LockNotice& operator=(const LockNotice&) = delete;

    static void before(Operation operation, const pthread_mutex_t* mutex);

private:
    LockNotice(const pthread_mutex_t& mutex, std::function<void(Operation)> action);

    const pthread_t _owner;
    const std::function<void(Operation)> _action;
};

}  // namespace OrvTest
