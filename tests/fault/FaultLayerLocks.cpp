// The calls of mutexes: those that the service's own code makes can fail, and are remembered while they are held.
#include <pthread.h>

#include "FaultCore.h"

namespace OrvTest
{

using namespace FaultCore;

namespace
{

ORV_REPLACES(pthread_mutex_lock);
ORV_REPLACES(pthread_mutex_trylock);
ORV_REPLACES(pthread_mutex_unlock);

Addresses metMutexes;
Addresses heldByService;
std::atomic<bool> mutexHasFailed{false};

bool isLockOfService(const void* caller)
{
    return isWatching() && isOnService() && codeAt(caller) == Code::service;
}

bool lockFails(Operation operation, const pthread_mutex_t* mutex)
{
    const Fault* const fault = faultFor(operation);
    if (fault == nullptr)
    {
        return false;
    }
    const Spin spin;
    const unsigned int place = metMutexes.placeOf(mutex);
    if (place == metMutexes.count)
    {
        metMutexes.add(mutex);
    }
    return (fault->object == 0 || fault->object == place + 1) && isDue(*fault);
}

int fail()
{
    mutexHasFailed.store(true);
    tellNews();
    return error();
}

void noteHeld(const pthread_mutex_t* mutex)
{
    const Spin spin;
    heldByService.add(mutex);
}

// Whoever unlocks it: the delivery token is given back by another thread.
void noteFreed(const pthread_mutex_t* mutex)
{
    const Spin spin;
    const unsigned int place = heldByService.placeOf(mutex);
    if (place < heldByService.count)
    {
        heldByService.removeAt(place);
    }
}

}  // namespace

void FaultCore::forgetMutexes()
{
    metMutexes.count = 0;
    mutexHasFailed.store(false);
}

bool FaultLayer::hasMutexFailed()
{
    return mutexHasFailed.load();
}

unsigned int FaultLayer::heldMutexes()
{
    const Spin spin;
    return heldByService.count;
}

}  // namespace OrvTest

using namespace OrvTest;

extern "C"
{
    int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_lock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        if (lockFails(Operation::lock, mutex))
        {
            return fail();
        }
        const int result = function(mutex);
        noteHeld(mutex);
        return result;
    }

    int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_trylock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        if (lockFails(Operation::tryLock, mutex))
        {
            return fail();
        }
        const int result = function(mutex);
        if (result == 0)
        {
            noteHeld(mutex);
        }
        return result;
    }

    int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_unlock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        // Before the mutex is free: from then on the next call may come, or the mutex be gone.
        const bool failing = lockFails(Operation::unlock, mutex);
        noteFreed(mutex);
        const int result = function(mutex);
        if (isPoolThread())
        {
            tellNews();
        }
        return failing ? fail() : result;
    }
}
