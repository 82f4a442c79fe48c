#pragma once

#include <memory>
#include <string>

#include "FakeFramework.h"

namespace OrvTest
{

// A named place in the service's code: a function and the text that it traces there. The first thread that comes by
// waits there until it is released, with whatever locks it holds.
// While it lives the trace level is 8, and LogSink::whenLine is its own. One at a time.
class SyncPoint
{
public:
    SyncPoint(FakeFramework& framework, const std::string& function, const std::string& text);
    ~SyncPoint();  // releases

    // False after the time-out.
    bool waitUntilHeld() const;
    void release();

    SyncPoint(const SyncPoint&) = delete;
    SyncPoint& operator=(const SyncPoint&) = delete;

private:
    struct State;

    FakeFramework& _framework;
    const std::shared_ptr<State> _state;  // also of a thread that is still passing
};

}  // namespace OrvTest
