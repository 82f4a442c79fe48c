#include "WaitNotice.h"

#include <Poco/Event.h>
#include <Poco/Timer.h>

#include <atomic>
#include <utility>

namespace OrvTest
{

namespace
{

std::atomic<const WaitNotice*> waitNotice{nullptr};

}  // namespace

WaitNotice::WaitNotice(Operation operation, std::function<void()> action)
    : _operation(operation), _action(std::move(action))
{
    waitNotice.store(this);
}

WaitNotice::~WaitNotice()
{
    waitNotice.store(nullptr);
}

void WaitNotice::before(Operation operation)
{
    const WaitNotice* const notice = waitNotice.load();
    if (notice != nullptr && notice->_operation == operation)
    {
        notice->_action();
    }
}

}  // namespace OrvTest

using OrvTest::WaitNotice;

// The names are the linker's. A member function has its object in front.
extern "C"
{
    void __real__ZN4Poco5Timer4stopEv(Poco::Timer* timer);
    void __real__ZN4Poco9EventImpl8waitImplEv(Poco::EventImpl* event);

    void __wrap__ZN4Poco5Timer4stopEv(Poco::Timer* timer)
    {
        WaitNotice::before(WaitNotice::timerStop);
        __real__ZN4Poco5Timer4stopEv(timer);
    }

    void __wrap__ZN4Poco9EventImpl8waitImplEv(Poco::EventImpl* event)
    {
        WaitNotice::before(WaitNotice::eventWait);
        __real__ZN4Poco9EventImpl8waitImplEv(event);
    }
}
