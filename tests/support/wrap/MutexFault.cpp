#include "MutexFault.h"

#include <atomic>
#include <cerrno>
#include <utility>

namespace OrvTest
{

namespace
{

// No lock here: these are read inside every lock.
std::atomic<const pthread_mutex_t*> faultyMutex{nullptr};
std::atomic<MutexFault::Operation> faultyOperation{MutexFault::lockFails};
std::atomic<MutexFault::Where> faultyWhere{MutexFault::anywhere};
std::atomic<pthread_t> faultMaker{};
std::atomic<bool> everyCallFails{false};
std::atomic<int> callsUntilFault{0};
// Of the notice only who uses its mutex takes notice: any other thread may come by while it goes.
std::atomic<const pthread_mutex_t*> noticedMutex{nullptr};
std::atomic<const LockNotice*> lockNotice{nullptr};

bool counts(MutexFault::Where where)
{
    const bool madeHere = pthread_equal(pthread_self(), faultMaker.load()) != 0;
    return where == MutexFault::anywhere || madeHere == (where == MutexFault::here);
}

bool fails(const pthread_mutex_t* mutex, MutexFault::Operation operation)
{
    if (faultyMutex.load() != mutex || faultyOperation.load() != operation || !counts(faultyWhere.load()))
    {
        return false;
    }
    return everyCallFails.load() || callsUntilFault.fetch_sub(1) == 1;
}

std::function<void(LockNotice::Operation)> whenItLocks(std::function<void()> action)
{
    return [action](LockNotice::Operation operation)
    {
        if (operation == LockNotice::locks)
        {
            action();
        }
    };
}

}  // namespace

MutexFault::MutexFault(const Poco::FastMutex& mutex, Operation operation, Where where, unsigned int nth)
    : MutexFault(mutex._mutex, operation, where, nth)
{
}

MutexFault::MutexFault(const Poco::Mutex& mutex, Operation operation, Where where, unsigned int nth)
    : MutexFault(mutex._mutex, operation, where, nth)
{
}

MutexFault::MutexFault(const pthread_mutex_t& mutex, Operation operation, Where where, unsigned int nth)
{
    faultyOperation.store(operation);
    faultyWhere.store(where);
    faultMaker.store(pthread_self());
    everyCallFails.store(nth == everyCall);
    callsUntilFault.store(static_cast<int>(nth));
    faultyMutex.store(&mutex);
}

MutexFault::~MutexFault()
{
    faultyMutex.store(nullptr);
}

LockNotice::LockNotice(const pthread_mutex_t& mutex, std::function<void(Operation)> action)
    : _owner(pthread_self()), _action(std::move(action))
{
    lockNotice.store(this);
    noticedMutex.store(&mutex);
}

LockNotice::LockNotice(const Poco::FastMutex& mutex, std::function<void(Operation)> action)
    : LockNotice(mutex._mutex, std::move(action))
{
}

LockNotice::LockNotice(const Poco::FastMutex& mutex, std::function<void()> action)
    : LockNotice(mutex._mutex, whenItLocks(std::move(action)))
{
}

LockNotice::LockNotice(const Poco::Mutex& mutex, std::function<void()> action)
    : LockNotice(mutex._mutex, whenItLocks(std::move(action)))
{
}

LockNotice::~LockNotice()
{
    noticedMutex.store(nullptr);
    lockNotice.store(nullptr);
}

void LockNotice::before(Operation operation, const pthread_mutex_t* mutex)
{
    if (mutex != noticedMutex.load())
    {
        return;
    }
    const LockNotice* const notice = lockNotice.load();
    if (notice != nullptr && pthread_equal(pthread_self(), notice->_owner) == 0)
    {
        notice->_action(operation);
    }
}

}  // namespace OrvTest

using OrvTest::LockNotice;
using OrvTest::MutexFault;

extern "C"
{
    int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

    int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
    {
        LockNotice::before(LockNotice::locks, mutex);
        return OrvTest::fails(mutex, MutexFault::lockFails) ? EINVAL : __real_pthread_mutex_lock(mutex);
    }

    int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex)
    {
        LockNotice::before(LockNotice::triesToLock, mutex);
        return OrvTest::fails(mutex, MutexFault::tryLockFails) ? EINVAL : __real_pthread_mutex_trylock(mutex);
    }

    int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
    {
        LockNotice::before(LockNotice::unlocks, mutex);
        // Before the mutex is free: from then on the next call may come.
        const bool failing = OrvTest::fails(mutex, MutexFault::unlockFails);
        const int result = __real_pthread_mutex_unlock(mutex);
        return failing ? EPERM : result;
    }
}
