#include "PoolCalls.h"

#include <Poco/ThreadPool.h>

#include <map>
#include <mutex>
#include <utility>

namespace OrvTest
{

namespace
{

std::mutex poolMutex;
bool poolWatched = false;
std::vector<std::string> poolCalls;
std::map<std::string, std::function<void()>> poolActions;

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

using OrvTest::notePoolCall;

// The names are the linker's. A member function has its object in front.
extern "C"
{
    void __real__ZN4Poco10ThreadPool7joinAllEv(Poco::ThreadPool* pool);
    void __real__ZN4Poco10ThreadPool7stopAllEv(Poco::ThreadPool* pool);
    int __real__ZNK4Poco10ThreadPool9availableEv(const Poco::ThreadPool* pool);

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
