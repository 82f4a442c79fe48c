#include "Seams.h"

#include <Poco/Runnable.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <new>
#include <string>

#include "NbiNotificationServiceEventConsumer.h"
#include "ThreadWPipes.h"

using OrvNbiNotificationService::NbiNotificationServiceEventConsumer;

namespace OrvTest
{

namespace
{

const int TIMEOUT_SECONDS = 60;

std::atomic<pthread_mutex_t*> faultyMutex{nullptr};
std::atomic<MutexFault::Operation> faultyOperation{MutexFault::lockFails};

// Guarded by a mutex of the system's own kind: the script's mutex dies with the script.
pthread_mutex_t scriptMutex = PTHREAD_MUTEX_INITIALIZER;
SelectScript* currentScript = nullptr;

thread_local AllocationFault* allocationFault = nullptr;
thread_local bool callocFails = false;
Hooks* currentHooks = nullptr;

void setFault(pthread_mutex_t* mutex, MutexFault::Operation operation)
{
    faultyOperation.store(operation);
    faultyMutex.store(mutex);
}

void setScript(SelectScript* script)
{
    pthread_mutex_lock(&scriptMutex);
    currentScript = script;
    pthread_mutex_unlock(&scriptMutex);
}

bool isFaulty(pthread_mutex_t* mutex, MutexFault::Operation operation)
{
    return faultyMutex.load() == mutex && faultyOperation.load() == operation;
}

template <typename Member>
bool hooked(Member member)
{
    return currentHooks != nullptr && currentHooks->*member != nullptr;
}

}  // namespace

MutexFault::MutexFault(Poco::FastMutex& mutex, Operation operation)
{
    setFault(&mutex._mutex, operation);
}

MutexFault::MutexFault(Poco::Mutex& mutex, Operation operation)
{
    setFault(&mutex._mutex, operation);
}

MutexFault::~MutexFault()
{
    setFault(nullptr, lockFails);
}

SelectScript::SelectScript(const std::deque<Step>& steps) : _steps(steps)
{
    setScript(this);
}

SelectScript::~SelectScript()
{
    setScript(nullptr);
}

bool SelectScript::waitForCalls(size_t count)
{
    std::unique_lock<std::mutex> lock(_mutex);
    return _called.wait_for(lock, std::chrono::seconds(TIMEOUT_SECONDS), [&] { return _calls.size() >= count; });
}

std::vector<SelectScript::Call> SelectScript::calls() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _calls;
}

// A step's result, or INT_MIN for the real thing.
int SelectScript::answer(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    bool onlyTheLast = FD_ISSET(count - 1, readSet);
    for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor)
    {
        onlyTheLast = onlyTheLast && (descriptor == count - 1 || !FD_ISSET(descriptor, readSet));
    }
    _calls.push_back(
        {count, onlyTheLast, writeSet != nullptr || exceptionSet != nullptr, timeout->tv_sec, timeout->tv_usec});
    _called.notify_all();
    if (_steps.empty())
    {
        return INT32_MIN;
    }
    const Step step = _steps.front();
    _steps.pop_front();
    if (step.result > 0)
    {
        FD_ZERO(readSet);
    }
    errno = step.error;
    return step.result;
}

AllocationFault::AllocationFault(size_t size, std::function<void()> action)
    : _size(size), _action(std::move(action)), _met(false)
{
    allocationFault = this;
}

AllocationFault::~AllocationFault()
{
    allocationFault = nullptr;
}

void AllocationFault::meet(size_t size)
{
    if (size == _size && !_met)
    {
        _met = true;
        _action();
    }
}

CallocFault::CallocFault()
{
    callocFails = true;
}

CallocFault::~CallocFault()
{
    callocFails = false;
}

Hooks::Hooks()
{
    currentHooks = this;
}

Hooks::~Hooks()
{
    currentHooks = nullptr;
}

}  // namespace OrvTest

using namespace OrvTest;

// The linker's names for the functions in question. A member function has its object in front.
extern "C"
{
    int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
    int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
    int __real_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout);
    void* __real__Znwm(size_t size);
    void* __real_calloc(size_t count, size_t size);
    void __real__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(Orv::ThreadWPipes* thread, Poco::Runnable& target);
    void __real__ZN4Poco10ThreadImpl9sleepImplEl(long milliseconds);
    unsigned int __real__ZN4Poco12NumberParser13parseUnsignedERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEc(
        const std::string& text, char separator);
    OrvReturnT
    __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4initEP27OrvMgmtSpiInterfacePortal_1(
        NbiNotificationServiceEventConsumer* consumer, OrvMgmtSpiInterfacePortal_1* portal);
    OrvReturnT __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
        NbiNotificationServiceEventConsumer* consumer, OrvStateChangeReason reason);

    int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
    {
        return isFaulty(mutex, MutexFault::lockFails) ? EINVAL : __real_pthread_mutex_lock(mutex);
    }

    int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
    {
        const int result = __real_pthread_mutex_unlock(mutex);
        return isFaulty(mutex, MutexFault::unlockFails) ? EPERM : result;
    }

    int __wrap_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout)
    {
        __real_pthread_mutex_lock(&scriptMutex);
        const int result = currentScript == nullptr
                               ? INT32_MIN
                               : currentScript->answer(count, readSet, writeSet, exceptionSet, timeout);
        __real_pthread_mutex_unlock(&scriptMutex);
        return result == INT32_MIN ? __real_select(count, readSet, writeSet, exceptionSet, timeout) : result;
    }

    void* __wrap__Znwm(size_t size)
    {
        if (allocationFault != nullptr)
        {
            allocationFault->meet(size);
        }
        return __real__Znwm(size);
    }

    void* __wrap_calloc(size_t count, size_t size)
    {
        return callocFails ? nullptr : __real_calloc(count, size);
    }

    void __wrap__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(Orv::ThreadWPipes* thread, Poco::Runnable& target)
    {
        if (hooked(&Hooks::threadStart))
        {
            currentHooks->threadStart();
            return;
        }
        __real__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(thread, target);
    }

    void __wrap__ZN4Poco10ThreadImpl9sleepImplEl(long milliseconds)
    {
        if (hooked(&Hooks::sleep))
        {
            currentHooks->sleep(milliseconds);
            return;
        }
        __real__ZN4Poco10ThreadImpl9sleepImplEl(milliseconds);
    }

    unsigned int __wrap__ZN4Poco12NumberParser13parseUnsignedERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEc(
        const std::string& text, char separator)
    {
        if (hooked(&Hooks::parseUnsigned))
        {
            return currentHooks->parseUnsigned();
        }
        return __real__ZN4Poco12NumberParser13parseUnsignedERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEc(
            text, separator);
    }

    OrvReturnT
    __wrap__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4initEP27OrvMgmtSpiInterfacePortal_1(
        NbiNotificationServiceEventConsumer* consumer, OrvMgmtSpiInterfacePortal_1* portal)
    {
        if (hooked(&Hooks::consumerInit))
        {
            return currentHooks->consumerInit();
        }
        return __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4initEP27OrvMgmtSpiInterfacePortal_1(
            consumer, portal);
    }

    OrvReturnT __wrap__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
        NbiNotificationServiceEventConsumer* consumer, OrvStateChangeReason reason)
    {
        if (hooked(&Hooks::consumerStop))
        {
            return currentHooks->consumerStop(reason);
        }
        return __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
            consumer, reason);
    }
}
