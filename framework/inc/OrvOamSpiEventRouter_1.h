// The event router, and the events that the notification service consumes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelOamSpiMoAttributeValue_3.h"
#include "ZelTypes.h"

// One pair of an event filter. A filter is a null-terminated array of pointers to pairs; it may be empty.
struct ZelNameValuePair
{
    const char* name;
    const char* value;
};
typedef ZelNameValuePair ZelNameValuePairT;

typedef uint32_t ZelOamSpiEventConsumerHandleT;

// What a consumer gives the router. notify is called on the router's event thread; filter and value belong to the
// router and are valid during the call.
struct ZelOamSpiEventConsumer
{
    ZelReturnT (*notify)(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter,
                         void* value);
};

// All four operations return 0 on success. The router keeps the pointers to the consumer table and to the filter array:
// both stay the consumer's and must live until the call that takes them back has returned.
// Events are delivered on a thread of the router's own, never inside addSubscription; removeSubscription never waits
// for a callback that is running.
struct OrvOamSpiEventRouter_1
{
    ZelMgmtSpiInterface_1 id;
    void (*reserved1)(void);
    ZelReturnT (*registerConsumer)(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle);
    ZelReturnT (*addSubscription)(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                  ZelNameValuePairT** filter);
    ZelReturnT (*removeSubscription)(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                     ZelNameValuePairT** filter);
    ZelReturnT (*unregisterConsumer)(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer);
};

static_assert(offsetof(OrvOamSpiEventRouter_1, registerConsumer) == 32, "router: one entry is reserved");
static_assert(offsetof(OrvOamSpiEventRouter_1, unregisterConsumer) == 56, "router: the last entry");

// One change within a transaction. dn is in the internal form. attributes is null-terminated.
struct ZelOamSpiCmEvent_TxOperation_1
{
    const char* dn;
    int32_t notificationType;
    ZelMoNamedAttributeValueContainer_3** attributes;
};
typedef ZelOamSpiCmEvent_TxOperation_1 ZelOamSpiCmEvent_TxOperation_1T;

// The event type "ZelOamSpiCmEvent_Notification_1": the changes of one transaction, in transaction order.
// eventTime is in nanoseconds since the Unix epoch. txOperations is null-terminated.
struct ZelOamSpiCmEvent_Notification_1
{
    uint32_t txHandle;
    uint64_t eventTime;
    int32_t sourceIndicator;
    ZelOamSpiCmEvent_TxOperation_1** txOperations;
};
typedef ZelOamSpiCmEvent_Notification_1 ZelOamSpiCmEvent_Notification_1T;

// The event type "ZelClockChangeEventType_1": the value points to the new time, nanoseconds since the Unix epoch.
typedef uint64_t ZelClockChangeEventType_1T;
