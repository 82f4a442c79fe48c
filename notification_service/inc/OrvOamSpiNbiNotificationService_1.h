// The northbound notification service: the table that an agent calls, the handler that it supplies and the record that
// it receives. Found through a portal as "NbiNotificationServiceCM" / "OrvOamSpiNbiNotificationService" / "1".
#pragma once

#include <cstddef>
#include <cstdint>

#include "OrvOamSpiNbiNotificationSubTree_1.h"
#include "ZelOamSpiMoAttributeValue_3.h"
#include "ZelTypes.h"

// Kinds of notification. 1 to 3 are changes of objects, 4 to 9 are control records. The service makes these without a
// dn; one that a producer has pushed keeps the producer's. In one case they come with other DNs: after a delete for
// which a subtree filter has found DNs of its own, and before the next change, a 7, 8 or 9 of the service and every
// pushed control record come once for each of these DNs. The service's own 4, 5 and 6 never do.
enum OrvOamSpiNbiNotificationType_1 : int32_t
{
    objectCreated = 1,
    objectDeleted = 2,
    attributeChanged = 3,      // the first attribute is the changed one
    overflowNotification = 4,  // the subscription's backlog was thrown away; what follows came later
    replayGap = 5,             // the buffer does not reach back to the start time that was asked for
    replayComplete = 6,        // what follows is live
    notificationComplete = 7,  // the stop time was reached; nothing follows
    heartbeatNotification = 8,
    discardedOld = 9  // the replay buffer was emptied after a change of the system clock
};

// A notification. Passed to a handler it is borrowed for the call; passed to pushNotification it is copied.
struct OrvOamSpiNbiNotificationValue_1
{
    int64_t eventTime;         // microseconds since the Unix epoch
    char* dn;                  // external form; null in most control records, see above
    uint32_t txHandle;         // transaction that caused the change; no meaning in a control record
    uint32_t sequenceNumber;   // no meaning in a control record
    int32_t notificationType;  // a value of OrvOamSpiNbiNotificationType_1
    ZelMoNamedAttributeValueContainer_3** attributes;  // ends with a null entry; the pointer itself may be null
};
typedef OrvOamSpiNbiNotificationValue_1 OrvOamSpiNbiNotificationValue_1T;

static_assert(sizeof(OrvOamSpiNbiNotificationValue_1) == 40, "the notification record is fixed");
static_assert(offsetof(OrvOamSpiNbiNotificationValue_1, attributes) == 32, "the notification record is fixed");

// What a subscriber supplies. The record is copied when it is registered; the function must live as long as any
// subscription made with it.
struct OrvOamSpiNbiNotificationHandler_1
{
    // Called on a pool thread of the service. Calls for one subscription never overlap and come in order; calls for
    // different subscriptions may run at the same time. The record is valid during the call only. Where a
    // record's copy for this subscription found no memory, notification is null, and the record is lost, or its dn is,
    // whatever its type.
    // Answers:
    //   OrvOk         delivered
    //   OrvRetry      offer the same record again after 0.01 s, as often as it takes
    //   OrvNotFound   the subscriber is deregistering: no further call is made for this subscription
    //   any other     the record is dropped, the next one follows; an exception counts as such an answer
    // Inside the call nothing of the service may be called but pushNotification and the three time queries: every
    // other entry takes a lock that a removal may hold while it waits for this very call.
    OrvReturnT (*notify)(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationValue_1* notification);
};

// One entry of a legacy filter; both strings are required: a null one ends the process. A notification passes if one
// entry of the filter matches it.
// name: "objectCreated", "objectDeleted" or "attributeChanged". value: a POSIX extended regular expression that must
// match up to the very end of the DN, or of the DN, a comma and, for a changed attribute, its name. An expression that
// does not compile is logged and matches nothing.
// So is one that could take exponential time or memory. Counting what stands under {m,n} as if it was written out n
// times, under {m,} m + 1 times and under + twice, an expression has
//   - at most 16384 characters, where a bracket such as [a-z] is one; at most 2048 once anything has * or + or {m,};
//   - at most 100 operators: . [ ( | ^ $ * + ? and escapes such as \w; what stands under {m,n} counts at least n;
//   - at most 4 anchors in one branch: ^ $ \b \B \< \> \` \';
//   - no * + or {m,} behind what can be empty, as in (a*)* or (^)+;
//   - no back references: \1 to \9.
// A long list of alternatives that is beyond them passes as several entries of one filter.
// Within these limits the time of a match, and the memory that it takes, still grow with the square of the DN's length
// or more. Many operators behind a repetition are the dearest: .*a.{90}c can take 0.2 s for a DN of 500 characters and
// 21 s for one of 4000, and no other subscriber is served meanwhile.
struct OrvNameValuePair
{
    const char* name;
    const char* value;
};

// The table. Every entry may be called from any thread, but for the rule given with notify. Nothing is thrown but where
// an entry says so. Out-arguments and references are required.
// OrvNotRunning means that the service is not started, OrvFailure that something unexpected happened, which is logged.
// The order of the entries is the contract; the table grows at its end only.
struct OrvOamSpiNbiNotificationService
{
    ZelMgmtSpiInterface_1 id;

    // Registers a copy of *handler; *handlerId (required) receives its identifier. The registration lasts as long as
    // the component. OrvOk, OrvBadArgument (null handler), OrvNotRunning, OrvFailure.
    OrvReturnT (*registerHandler)(OrvOamSpiNbiNotificationHandler_1* handler, unsigned int* handlerId);

    // Removes all subscriptions of the handler, waiting for their deliveries to end. The identifier stays registered.
    // OrvOk, OrvNotFound, OrvNotRunning, OrvFailure.
    OrvReturnT (*unregisterHandler)(unsigned int handlerId);

    // Subscribes with a legacy filter. filters: a null-terminated array of pointers, required, read during the call
    // only; an array that holds just its terminator accepts everything.
    // subscriptionHandle: from getSubscriptionHandle; it must not be in use.
    // startTime, stopTime: microseconds since the Unix epoch, 0 for none. A start time in the past asks for a replay of
    // what the buffer still holds. After the stop time a notificationComplete record ends the delivery; the
    // subscription still has to be removed.
    // heartbeatInterval: seconds, read only if heartbeatSupported. It is cut to a signed 32-bit number of milliseconds,
    // and so is the time to the stop time: give at most 2,147,483 seconds (24.8 days). A value that turns negative by
    // the cut ends the process.
    // OrvOk, OrvBadArgument (null filters, unknown handler, unknown filter name, handle in use), OrvNoThread,
    // OrvNotRunning. A failure inside the service that leaves it in doubt ends the process.
    OrvReturnT (*subscribe)(unsigned int handlerId, OrvNameValuePair** filters, unsigned int subscriptionHandle,
                            long long startTime, long long stopTime, bool heartbeatSupported,
                            long long heartbeatInterval);

    // A fresh subscription handle in *subscriptionHandle (required). Works whether the service runs or not. OrvOk. The
    // one entry out of which an exception can come: Poco::SystemException if a mutex fails.
    OrvReturnT (*getSubscriptionHandle)(unsigned int* subscriptionHandle);

    // Ends a subscription, dropping what is queued. When it has returned no notify for the handle runs or follows.
    // It waits, without limit, for a notify that is running. OrvOk, OrvNotFound, OrvNotRunning, OrvFailure.
    OrvReturnT (*unsubscribe)(unsigned int subscriptionHandle);

    // Event time of the oldest buffered record, or 0 if there is none. OrvOk, OrvNotRunning, OrvFailure.
    OrvReturnT (*getOldestBufferTimestamp)(long long* timestamp);

    // Event time of the record that left the full buffer last, or 0 if none has. While the service does not run the
    // answer is OrvOk and *timestamp is left as it was. OrvOk, OrvFailure.
    OrvReturnT (*getLastAgedNotificationTime)(long long* timestamp);

    // The time from which on the buffer has been collecting. OrvOk, OrvNotRunning, OrvFailure.
    OrvReturnT (*getBufferCreationTime)(long long* timestamp);

    // Pushes a notification, which is copied: the caller keeps its record. Does not wait for any delivery.
    // notification.dn must not be null: an assertion ends the process.
    // OrvOk, OrvNotRunning, OrvFailure (an attribute that cannot be copied).
    OrvReturnT (*pushNotification)(OrvOamSpiNbiNotificationValue_1& notification);

    // Subscribes with subtree filters. filters: a null-terminated array of trees, required, with at least one tree. The
    // array is read during the call only; the trees are used, uncopied, for the subscription's whole life: see
    // OrvOamSpiNbiNotificationSubTree_1 for what they mean and what is required of them. Matching reads the live data
    // of the framework, on the service's thread and, for a replay, on the caller's. All else is as with subscribe.
    // OrvOk, OrvBadArgument (no tree, unknown handler, handle in use), OrvNoThread, OrvNotRunning. A failure inside the
    // service that leaves it in doubt ends the process.
    OrvReturnT (*rfcFilterSubscribe)(unsigned int handlerId, OrvOamSpiNbiNotificationSubTree_1** filters,
                                     unsigned int subscriptionHandle, long long startTime, long long stopTime,
                                     bool heartbeatSupported, long long heartbeatInterval);
};

static_assert(offsetof(OrvOamSpiNbiNotificationService, registerHandler) == 24, "entry 1");
static_assert(offsetof(OrvOamSpiNbiNotificationService, unregisterHandler) == 32, "entry 2");
static_assert(offsetof(OrvOamSpiNbiNotificationService, subscribe) == 40, "entry 3");
static_assert(offsetof(OrvOamSpiNbiNotificationService, getSubscriptionHandle) == 48, "entry 4");
static_assert(offsetof(OrvOamSpiNbiNotificationService, unsubscribe) == 56, "entry 5");
static_assert(offsetof(OrvOamSpiNbiNotificationService, getOldestBufferTimestamp) == 64, "entry 6");
static_assert(offsetof(OrvOamSpiNbiNotificationService, getLastAgedNotificationTime) == 72, "entry 7");
static_assert(offsetof(OrvOamSpiNbiNotificationService, getBufferCreationTime) == 80, "entry 8");
static_assert(offsetof(OrvOamSpiNbiNotificationService, pushNotification) == 88, "entry 9");
static_assert(offsetof(OrvOamSpiNbiNotificationService, rfcFilterSubscribe) == 96, "entry 10");
