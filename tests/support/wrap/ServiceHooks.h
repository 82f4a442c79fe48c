#pragma once

#include <functional>

#include "ZelTypes.h"

namespace OrvTest
{

// What the component calls while it starts and stops. Null, the default, is the real thing. Set and called on the
// test's thread alone; the constructor and the destructor set all back.
struct ServiceHooks
{
    std::function<void()> threadStart;                             // in place of ThreadWPipes::start
    std::function<void(long milliseconds)> sleep;                  // in place of Poco::Thread::sleep
    std::function<unsigned int()> parseUnsigned;                   // in place of Poco::NumberParser::parseUnsigned
    std::function<OrvReturnT()> consumerInit;                      // in place of the event consumer's init
    std::function<OrvReturnT(OrvStateChangeReason)> consumerStop;  // in place of the event consumer's stop

    ServiceHooks();
    ~ServiceHooks();

    ServiceHooks(const ServiceHooks&) = delete;
    ServiceHooks& operator=(const ServiceHooks&) = delete;
};

}  // namespace OrvTest
