#include "ServiceHooks.h"

#include <Poco/Runnable.h>

#include <string>

#include "NbiNotificationServiceEventConsumer.h"
#include "ThreadWPipes.h"

using OrvNbiNotificationService::NbiNotificationServiceEventConsumer;

namespace OrvTest
{

namespace
{

ServiceHooks* currentHooks = nullptr;

template <typename Member>
bool hooked(Member member)
{
    return currentHooks != nullptr && currentHooks->*member != nullptr;
}

}  // namespace

ServiceHooks::ServiceHooks()
{
    currentHooks = this;
}

ServiceHooks::~ServiceHooks()
{
    currentHooks = nullptr;
}

}  // namespace OrvTest

using namespace OrvTest;

// The names are the linker's. A member function has its object in front.
extern "C"
{
    void __real__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(Orv::ThreadWPipes* thread, Poco::Runnable& target);
    void __real__ZN4Poco10ThreadImpl9sleepImplEl(long milliseconds);
    unsigned int __real__ZN4Poco12NumberParser13parseUnsignedERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEc(
        const std::string& text, char separator);
    OrvReturnT
    __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4initEP27OrvMgmtSpiInterfacePortal_1(
        NbiNotificationServiceEventConsumer* consumer, OrvMgmtSpiInterfacePortal_1* portal);
    OrvReturnT __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
        NbiNotificationServiceEventConsumer* consumer, OrvStateChangeReason reason);

    void __wrap__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(Orv::ThreadWPipes* thread, Poco::Runnable& target)
    {
        if (hooked(&ServiceHooks::threadStart))
        {
            currentHooks->threadStart();
            return;
        }
        __real__ZN3Orv12ThreadWPipes5startERN4Poco8RunnableE(thread, target);
    }

    void __wrap__ZN4Poco10ThreadImpl9sleepImplEl(long milliseconds)
    {
        if (hooked(&ServiceHooks::sleep))
        {
            currentHooks->sleep(milliseconds);
            return;
        }
        __real__ZN4Poco10ThreadImpl9sleepImplEl(milliseconds);
    }

    unsigned int __wrap__ZN4Poco12NumberParser13parseUnsignedERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEc(
        const std::string& text, char separator)
    {
        if (hooked(&ServiceHooks::parseUnsigned))
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
        if (hooked(&ServiceHooks::consumerInit))
        {
            return currentHooks->consumerInit();
        }
        return __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4initEP27OrvMgmtSpiInterfacePortal_1(
            consumer, portal);
    }

    OrvReturnT __wrap__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
        NbiNotificationServiceEventConsumer* consumer, OrvStateChangeReason reason)
    {
        if (hooked(&ServiceHooks::consumerStop))
        {
            return currentHooks->consumerStop(reason);
        }
        return __real__ZN25OrvNbiNotificationService35NbiNotificationServiceEventConsumer4stopE20ZelStateChangeReason(
            consumer, reason);
    }
}
