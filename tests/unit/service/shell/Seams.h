// Faults at the border of the service's own objects: functions that they call and that the linker has wrapped for these
// tests (see CMakeLists.txt). Without an object of a class below, every wrapped function does what it always does.
#pragma once

#include <Poco/Mutex.h>
#include <pthread.h>
#include <sys/select.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "ZelTypes.h"

namespace OrvTest
{

// One mutex whose locking or unlocking fails for the lifetime of this object. A failing lock takes nothing; a failing
// unlock has let the mutex go and says otherwise, so that the test can go on. One object at a time; any thread meets
// it.
class MutexFault
{
public:
    enum Operation
    {
        lockFails,
        unlockFails
    };

    MutexFault(Poco::FastMutex& mutex, Operation operation);
    MutexFault(Poco::Mutex& mutex, Operation operation);
    ~MutexFault();

    MutexFault(const MutexFault&) = delete;
    MutexFault& operator=(const MutexFault&) = delete;
};

// Answers the calls of select in order, and lets the real one answer when its steps are used up. One object at a time.
// Threads: any.
class SelectScript
{
public:
    struct Step
    {
        int result;  // a positive one leaves no descriptor in the set
        int error;   // for errno
    };
    // What one call was asked.
    struct Call
    {
        int count;
        bool readSetHoldsOnlyTheLast;  // the descriptor count - 1 and no other
        bool otherSets;                // a set of descriptors to write to, or of exceptions
        long seconds;
        long microseconds;
    };

    explicit SelectScript(const std::deque<Step>& steps = {});
    ~SelectScript();

    // Waits until select has been called count times, false after the time-out.
    bool waitForCalls(size_t count);
    std::vector<Call> calls() const;

    int answer(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout);

    SelectScript(const SelectScript&) = delete;
    SelectScript& operator=(const SelectScript&) = delete;

private:
    mutable std::mutex _mutex;
    std::condition_variable _called;
    std::deque<Step> _steps;
    std::vector<Call> _calls;
};

// Runs the action in place of one allocation of exactly this size on the constructing thread: the first one that comes.
// If the action returns, the allocation is made.
class AllocationFault
{
public:
    AllocationFault(size_t size, std::function<void()> action);
    ~AllocationFault();

    bool met() const { return _met; }
    void meet(size_t size);

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

private:
    const size_t _size;
    const std::function<void()> _action;
    bool _met;
};

// calloc gives nothing to the constructing thread.
class CallocFault
{
public:
    CallocFault();
    ~CallocFault();

    CallocFault(const CallocFault&) = delete;
    CallocFault& operator=(const CallocFault&) = delete;
};

// What the component calls while it starts and stops. Null, the default, is the real thing. Set and called on the
// test's thread alone; the constructor and the destructor set all back.
struct Hooks
{
    std::function<void()> threadStart;                             // in place of ThreadWPipes::start
    std::function<void(long milliseconds)> sleep;                  // in place of Poco::Thread::sleep
    std::function<unsigned int()> parseUnsigned;                   // in place of Poco::NumberParser::parseUnsigned
    std::function<OrvReturnT()> consumerInit;                      // in place of the event consumer's init
    std::function<OrvReturnT(OrvStateChangeReason)> consumerStop;  // in place of the event consumer's stop

    Hooks();
    ~Hooks();

    Hooks(const Hooks&) = delete;
    Hooks& operator=(const Hooks&) = delete;
};

}  // namespace OrvTest
