#include "WrappedCalls.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

extern "C"
{
    int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
    int __real_nanosleep(const timespec* request, timespec* remaining);
    int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex);
    int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
    int __wrap_nanosleep(const timespec* request, timespec* remaining);
}

namespace OrvTest
{

namespace
{

// No lock here: these are read inside every lock.
std::atomic<const void*> faultyMutex{nullptr};
std::atomic<int> faultyCall{0};
std::atomic<int> faultyWhere{0};
std::atomic<pthread_t> faultMaker{};
std::atomic<unsigned int> callsUntilFault{0};

std::atomic<PauseHook*> pauseHook{nullptr};

bool fails(MutexFault::Call call, const pthread_mutex_t* mutex)
{
    if (faultyMutex.load() != mutex || faultyCall.load() != call)
    {
        return false;
    }
    const bool madeHere = pthread_equal(pthread_self(), faultMaker.load()) != 0;
    if (madeHere != (faultyWhere.load() == MutexFault::here))
    {
        return false;
    }
    const unsigned int left = callsUntilFault.load();
    if (left == 0)
    {
        return false;
    }
    callsUntilFault.store(left - 1);
    return left == 1;
}

}  // namespace

// A Poco::FastMutex is its pthread mutex and nothing else.
static_assert(sizeof(Poco::FastMutex) == sizeof(pthread_mutex_t), "faults are told by the address of the mutex");

MutexFault::MutexFault(Call call, const Poco::FastMutex& mutex, Where where, unsigned int nth)
{
    faultyCall.store(call);
    faultyWhere.store(where);
    faultMaker.store(pthread_self());
    callsUntilFault.store(nth);
    faultyMutex.store(&mutex);
}

MutexFault::~MutexFault()
{
    faultyMutex.store(nullptr);
}

PauseHook::PauseHook(std::function<int()> action) : _action(std::move(action))
{
    pauseHook.store(this);
}

PauseHook::~PauseHook()
{
    pauseHook.store(nullptr);
}

int PauseHook::pause(const timespec& request)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _requests.push_back(request);
    }
    return _action();
}

std::vector<timespec> PauseHook::requests() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _requests;
}

}  // namespace OrvTest

using OrvTest::MutexFault;

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    return OrvTest::fails(MutexFault::lock, mutex) ? EINVAL : __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex)
{
    return OrvTest::fails(MutexFault::tryLock, mutex) ? EINVAL : __real_pthread_mutex_trylock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    const bool failing = OrvTest::fails(MutexFault::unlock, mutex);
    const int result = __real_pthread_mutex_unlock(mutex);
    return failing ? EPERM : result;
}

int __wrap_nanosleep(const timespec* request, timespec* remaining)
{
    OrvTest::PauseHook* const hook = OrvTest::pauseHook.load();
    return hook == nullptr ? __real_nanosleep(request, remaining) : hook->pause(*request);
}
