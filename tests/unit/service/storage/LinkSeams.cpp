#include "LinkSeams.h"

#include <Poco/ThreadPool.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "MoUtils.h"

namespace
{

std::atomic<pthread_mutex_t*> failsToLock{nullptr};
std::atomic<pthread_mutex_t*> failsToUnlock{nullptr};

thread_local unsigned int allocationsUntilFailure = 0;  // 0 for none
thread_local bool allocationFailed = false;
thread_local bool strdupFails = false;
thread_local OrvTest::AttributeLedger* ledger = nullptr;

std::mutex poolMutex;
bool poolWatched = false;
std::vector<std::string> poolCalls;
std::map<std::string, std::function<void()>> poolActions;

void countAllocation()
{
    if (allocationsUntilFailure != 0 && --allocationsUntilFailure == 0)
    {
        allocationFailed = true;
        throw std::bad_alloc();
    }
}

// True if an action has taken the call's place.
bool notePoolCall(const std::string& operation)
{
    std::function<void()> action;
    {
        const std::lock_guard<std::mutex> lock(poolMutex);
        if (!poolWatched)
        {
            return false;
        }
        poolCalls.push_back(operation);
        const auto found = poolActions.find(operation);
        if (found == poolActions.end())
        {
            return false;
        }
        action = std::move(found->second);
        poolActions.erase(found);
    }
    action();
    return true;
}

}  // namespace

// The names are the linker's.
extern "C"
{
    int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
    char* __real_strdup(const char* text);
    void* __real__Znwm(std::size_t size);
    void* __real__Znam(std::size_t size);
    ZelMoNamedAttributeValueContainer_3*
    __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(
        const ZelMoNamedAttributeValueContainer_3* source);
    void __real__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(
        ZelMoNamedAttributeValueContainer_3* container);
    void __real__ZN4Poco10ThreadPool7joinAllEv(Poco::ThreadPool* pool);
    void __real__ZN4Poco10ThreadPool7stopAllEv(Poco::ThreadPool* pool);
    int __real__ZNK4Poco10ThreadPool9availableEv(const Poco::ThreadPool* pool);

    int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
    {
        return mutex == failsToLock.load() ? EINVAL : __real_pthread_mutex_lock(mutex);
    }

    int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
    {
        const int result = __real_pthread_mutex_unlock(mutex);
        return mutex == failsToUnlock.load() ? EPERM : result;
    }

    char* __wrap_strdup(const char* text)
    {
        return strdupFails ? nullptr : __real_strdup(text);
    }

    void* __wrap__Znwm(std::size_t size)
    {
        countAllocation();
        return __real__Znwm(size);
    }

    void* __wrap__Znam(std::size_t size)
    {
        countAllocation();
        return __real__Znam(size);
    }

    ZelMoNamedAttributeValueContainer_3*
    __wrap__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(
        const ZelMoNamedAttributeValueContainer_3* source)
    {
        if (ledger == nullptr)
        {
            return __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(source);
        }
        ledger->sources.push_back(source);
        if (ledger->beforeCopy)
        {
            ledger->beforeCopy(static_cast<unsigned int>(ledger->sources.size()));
        }
        ZelMoNamedAttributeValueContainer_3* const copy =
            __real__ZN3Orv7MoUtils27copyAttributeValueContainerEPK35ZelMoNamedAttributeValueContainer_3(source);
        ledger->copies.push_back(copy);
        return copy;
    }

    void __wrap__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(
        ZelMoNamedAttributeValueContainer_3* container)
    {
        if (ledger != nullptr)
        {
            ledger->releases.push_back(container);
        }
        __real__ZN3Orv7MoUtils29deleteAttributeValueContainerEP35ZelMoNamedAttributeValueContainer_3(container);
    }

    void __wrap__ZN4Poco10ThreadPool7joinAllEv(Poco::ThreadPool* pool)
    {
        if (!notePoolCall("joinAll"))
        {
            __real__ZN4Poco10ThreadPool7joinAllEv(pool);
        }
    }

    void __wrap__ZN4Poco10ThreadPool7stopAllEv(Poco::ThreadPool* pool)
    {
        if (!notePoolCall("stopAll"))
        {
            __real__ZN4Poco10ThreadPool7stopAllEv(pool);
        }
    }

    int __wrap__ZNK4Poco10ThreadPool9availableEv(const Poco::ThreadPool* pool)
    {
        notePoolCall("available");
        return __real__ZNK4Poco10ThreadPool9availableEv(pool);
    }
}

namespace OrvTest
{

FailingMutex::FailingMutex(pthread_mutex_t& mutex, Operation operation)
{
    (operation == Lock ? failsToLock : failsToUnlock).store(&mutex);
}

FailingMutex::~FailingMutex()
{
    failsToLock.store(nullptr);
    failsToUnlock.store(nullptr);
}

FailingAllocation::FailingAllocation(unsigned int nth)
{
    allocationFailed = false;
    allocationsUntilFailure = nth;
}

FailingAllocation::~FailingAllocation()
{
    allocationsUntilFailure = 0;
}

bool FailingAllocation::happened() const
{
    return allocationFailed;
}

FailingStrdup::FailingStrdup()
{
    strdupFails = true;
}

FailingStrdup::~FailingStrdup()
{
    strdupFails = false;
}

AttributeLedger::AttributeLedger()
{
    ledger = this;
}

AttributeLedger::~AttributeLedger()
{
    ledger = nullptr;
}

PoolCalls::PoolCalls()
{
    const std::lock_guard<std::mutex> lock(poolMutex);
    poolWatched = true;
    poolCalls.clear();
    poolActions.clear();
}

PoolCalls::~PoolCalls()
{
    const std::lock_guard<std::mutex> lock(poolMutex);
    poolWatched = false;
}

void PoolCalls::instead(const std::string& operation, std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(poolMutex);
    poolActions[operation] = std::move(action);
}

std::vector<std::string> PoolCalls::calls() const
{
    const std::lock_guard<std::mutex> lock(poolMutex);
    return poolCalls;
}

}  // namespace OrvTest
