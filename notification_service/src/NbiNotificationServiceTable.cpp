#include "NbiNotificationServiceTable.h"

#include <cassert>

#include "NbiNotificationServiceCM.h"
#include "ServiceLog.h"

// The entry points stand at file scope and take the record by its published name: that is how the assertion of
// _pushNotification names itself.

static OrvNbiNotificationService::NbiNotificationServiceCM& component()
{
    return Orv::ZelComponent<OrvNbiNotificationService::NbiNotificationServiceCM>::instance();
}

static OrvReturnT _registerHandler(OrvOamSpiNbiNotificationHandler_1* handler, unsigned int* handlerId)
{
    if (handler == nullptr)
    {
        return OrvBadArgument;
    }
    return component().registerHandler(handler, *handlerId);
}

static OrvReturnT _unregisterHandler(unsigned int handlerId)
{
    return component().unregisterHandler(handlerId);
}

static OrvReturnT _subscribe(unsigned int handlerId, OrvNameValuePair** filters, unsigned int subscriptionHandle,
                             long long startTime, long long stopTime, bool heartbeatSupported,
                             long long heartbeatInterval)
{
    if (filters == nullptr)
    {
        NOTIF_ERROR("Empty Filter - A Subscription without filters is not allowed.");
        return OrvBadArgument;
    }
    return component().subscribe(handlerId, filters, subscriptionHandle, startTime, stopTime, heartbeatSupported,
                                 heartbeatInterval);
}

static OrvReturnT _getSubscriptionHandle(unsigned int* subscriptionHandle)
{
    return component().getSubscriptionHandle(*subscriptionHandle);
}

static OrvReturnT _unsubscribe(unsigned int subscriptionHandle)
{
    return component().unsubscribe(subscriptionHandle);
}

static OrvReturnT _getOldestBufferTimestamp(long long* timestamp)
{
    return component().getOldestBufferTimestamp(*timestamp);
}

static OrvReturnT _getLastAgedNotificationTime(long long* timestamp)
{
    return component().getLastAgedNotificationTime(*timestamp);
}

static OrvReturnT _getBufferCreationTime(long long* timestamp)
{
    return component().getBufferCreationTime(*timestamp);
}

static OrvReturnT _pushNotification(OrvOamSpiNbiNotificationValue_1T& notification)
{
    assert(notification.dn);
    return component().pushNotification(notification);
}

// The array must be there: unlike _subscribe it is its first element that tells an empty filter.
static OrvReturnT _rfcFilterSubscribe(unsigned int handlerId, OrvOamSpiNbiNotificationSubTree_1** filters,
                                      unsigned int subscriptionHandle, long long startTime, long long stopTime,
                                      bool heartbeatSupported, long long heartbeatInterval)
{
    if (*filters == nullptr)
    {
        NOTIF_ERROR("Empty Filter - A Rfc Subscription without filters is not allowed.");
        return OrvBadArgument;
    }
    return component().rfcFilterSubscribe(handlerId, filters, subscriptionHandle, startTime, stopTime,
                                          heartbeatSupported, heartbeatInterval);
}

namespace OrvNbiNotificationService
{

void fillServiceTable(OrvOamSpiNbiNotificationService& table)
{
    table = OrvOamSpiNbiNotificationService();
    table.id.componentName = "NbiNotificationServiceCM";
    table.id.interfaceName = "OrvOamSpiNbiNotificationService";
    table.id.interfaceVersion = "1";
    table.registerHandler = _registerHandler;
    table.unregisterHandler = _unregisterHandler;
    table.subscribe = _subscribe;
    table.getSubscriptionHandle = _getSubscriptionHandle;
    table.unsubscribe = _unsubscribe;
    table.getOldestBufferTimestamp = _getOldestBufferTimestamp;
    table.getLastAgedNotificationTime = _getLastAgedNotificationTime;
    table.getBufferCreationTime = _getBufferCreationTime;
    table.pushNotification = _pushNotification;
    table.rfcFilterSubscribe = _rfcFilterSubscribe;
}

}  // namespace OrvNbiNotificationService
