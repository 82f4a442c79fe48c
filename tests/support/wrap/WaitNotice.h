#pragma once

#include <functional>

namespace OrvTest
{

// While it lives, the action runs before each call of one of POCO's waiting operations from this program's own objects,
// on the calling thread. One at a time.
class WaitNotice
{
public:
    enum Operation
    {
        timerStop,  // Poco::Timer::stop, which waits for a callback in progress
        eventWait   // Poco::Event::wait without a time limit
    };

    WaitNotice(Operation operation, std::function<void()> action);
    ~WaitNotice();

    static void before(Operation operation);

    WaitNotice(const WaitNotice&) = delete;
    WaitNotice& operator=(const WaitNotice&) = delete;

private:
    const Operation _operation;
    const std::function<void()> _action;
};

}  // namespace OrvTest
