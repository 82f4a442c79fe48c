// Ways to watch the service's objects at the functions that they call, and to let those calls fail. The linker's --wrap
// puts LinkSeams.cpp between the objects of this test program and the functions; the shared libraries are not touched.
#pragma once

#include <pthread.h>

#include <functional>
#include <string>
#include <vector>

#include "ZelOamSpiMoAttributeValue_3.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORV_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORV_ADDRESS_SANITIZER
#endif
#endif

#if defined(ORV_ADDRESS_SANITIZER)
#include <sanitizer/lsan_interface.h>
#define ORV_LEAK_EXPECTED const __lsan::ScopedDisabler leakExpected
#else
#define ORV_LEAK_EXPECTED static_cast<void>(0)
#endif

namespace OrvTest
{

// While it lives, locking or unlocking this one mutex fails on every thread. A failing unlock has unlocked
// nevertheless, so the mutex can be used again afterwards. One at a time.
class FailingMutex
{
public:
    enum Operation
    {
        Lock,
        Unlock
    };

    FailingMutex(pthread_mutex_t& mutex, Operation operation);
    ~FailingMutex();

    FailingMutex(const FailingMutex&) = delete;
    FailingMutex& operator=(const FailingMutex&) = delete;
};

// While it lives, the nth operator new or new[] (1 is the next) of the making thread throws std::bad_alloc, once.
class FailingAllocation
{
public:
    explicit FailingAllocation(unsigned int nth);
    ~FailingAllocation();

    // Whether the allocation has been asked for.
    bool happened() const;

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

// While it lives, strdup gives null to the making thread.
class FailingStrdup
{
public:
    FailingStrdup();
    ~FailingStrdup();

    FailingStrdup(const FailingStrdup&) = delete;
    FailingStrdup& operator=(const FailingStrdup&) = delete;
};

// While it lives, keeps account of the attribute containers that the making thread has copied and released. One at a
// time per thread.
class AttributeLedger
{
public:
    AttributeLedger();
    ~AttributeLedger();

    // Called at the start of each copy with its number, 1 for the first; it may throw, whatever it likes.
    std::function<void(unsigned int)> beforeCopy;

    std::vector<const ZelMoNamedAttributeValueContainer_3*> sources;   // asked to be copied, in order
    std::vector<const ZelMoNamedAttributeValueContainer_3*> copies;    // made, in order
    std::vector<const ZelMoNamedAttributeValueContainer_3*> releases;  // in order

    AttributeLedger(const AttributeLedger&) = delete;
    AttributeLedger& operator=(const AttributeLedger&) = delete;
};

// While it lives, notes which of the wrapped operations of Poco::ThreadPool this program's own objects call: "joinAll",
// "stopAll", "available". One at a time.
class PoolCalls
{
public:
    PoolCalls();
    ~PoolCalls();

    // Called in place of the next joinAll or stopAll; it may throw, whatever it likes.
    void instead(const std::string& operation, std::function<void()> action);
    std::vector<std::string> calls() const;

    PoolCalls(const PoolCalls&) = delete;
    PoolCalls& operator=(const PoolCalls&) = delete;
};

}  // namespace OrvTest
