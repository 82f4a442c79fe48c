#include "RegistryRaceTest.h"

namespace OrvTest
{

RegistryRaceTest::~RegistryRaceTest()
{
    registry.stop();
}

OrvReturnT RegistryRaceTest::add(unsigned int handle, long long startTime, long long stopTime)
{
    return registry.addSubscription(handle, RecordingHandler::handlerRecord(), new ScriptedFilter(filters[handle]),
                                    startTime, stopTime, false, 0);
}

void RegistryRaceTest::store(int64_t eventTime, const std::string& dn)
{
    registry.notifyHandlers(&*makeNotification(eventTime, dn, objectCreated));
}

unsigned int RegistryRaceTest::stored()
{
    return registry.getNotificationBuffer().getBufferSize();
}

NotificationSubscription& RegistryRaceTest::subscription(unsigned int handle)
{
    return *registry._subscriptions.at(handle);
}

void RegistryRaceTest::deliverAll(unsigned int handle)
{
    bool delivered = false;
    while (!delivered)
    {
        subscription(handle).checkQueue();
        const TokenHold token(subscription(handle));
        delivered = subscription(handle).queueSize() == 0;
    }
}

}  // namespace OrvTest
