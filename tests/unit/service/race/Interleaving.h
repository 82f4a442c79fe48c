// What the tests of interleavings drive threads with, besides SyncPoint.
#pragma once

#include <Poco/Mutex.h>

#include <atomic>
#include <functional>
#include <thread>

#include "FakeFramework.h"

namespace OrvTest
{

// What a subscription traces at its end when its queue is empty and it comes to wait for the run under way.
const char EMPTIED[] = "Waiting for notify thread to finish.";

// Whoever comes first alone.
class Once
{
public:
    bool first() { return !_done.exchange(true); }

private:
    std::atomic<bool> _done{false};
};

// Starts the action on a thread of its own and returns when that has come to wait for the mutex, which somebody else
// must hold.
std::thread startUntilItWaits(const Poco::FastMutex& mutex, const std::function<void()>& action);

// Starts the action, which ends a subscription, on a thread of its own and returns when that waits for the handler's
// call, which the test must hold. The trace level is 8 from then on.
std::thread startUntilItWaitsForTheHandler(FakeFramework& framework, const std::function<void()>& action);

}  // namespace OrvTest
