#pragma once

#include <Poco/Condition.h>
#include <Poco/Mutex.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "OrvOamSpiEventRouter_1.h"
#include "ThreadSafety.h"

namespace OrvElement
{

class ChangeEvent;

// The element's event router: takes events from the element and hands them to the consumers, in the order in which they
// were published, on one thread of its own.
//
// A subscription names an event type and a filter. A pair "ZelOamSpiCmEvent_FilterTypeRegExp_1" holds a POSIX extended
// regular expression that is searched in the DNs of a CM event; a subscription without pairs takes every event of its
// type, one with pairs takes an event if one expression is found in one DN. One call is made for each subscription that
// takes the event, in the order of their adding.
//
// The table's functions carry no context, so one router at a time is the process's current one.
// Threads:   the table's functions, publish and publishClockChange from any, a callback included; drain from any thread
//            but the event thread. _mutex guards the queue and the lists and is not held during a callback, which is
//            why removeSubscription never waits for one. A callback that has begun may thus end after its
//            subscription is gone: a host drains the router before it stops or unloads a consumer.
// Ownership: an event is shared by those that still need it; the filter that a callback is given is the router's copy.
// Failure:   a second router is an ElementError. The table answers OrvBadArgument for null pointers, unknown filter
//            names and expressions that do not compile, OrvNotFound for what was never registered or added.
class EventRouter : private Poco::Runnable
{
public:
    // Event types.
    static const char* const CM_EVENT;      // the value is a ZelOamSpiCmEvent_Notification_1
    static const char* const CLOCK_CHANGE;  // the value is a ZelClockChangeEventType_1T

    EventRouter();   // starts the event thread
    ~EventRouter();  // ends it; events not yet delivered are dropped

    // "OrvOamSpiEventService" / "OrvOamSpiEventRouter" / "1". Static; without a router its functions answer OrvFailure.
    static OrvOamSpiEventRouter_1& table();

    // Queues an event and returns at once.
    void publish(std::unique_ptr<ChangeEvent> event);
    // newTime: nanoseconds since the Unix epoch.
    void publishClockChange(uint64_t newTime);

    // Returns when every event published before the call has been delivered, its callbacks included.
    void drain();

    // Waits until somebody has subscribed to the event type, at most timeout milliseconds. False if nobody has.
    bool waitForSubscription(const std::string& eventType, long timeout);

    ZelReturnT registerConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle);
    ZelReturnT addSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter);
    ZelReturnT removeSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                  ZelNameValuePairT** filter);
    ZelReturnT unregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer);

    EventRouter(const EventRouter&) = delete;
    EventRouter& operator=(const EventRouter&) = delete;

private:
    struct Event
    {
        std::string type;
        void* value;                   // inside owner
        std::vector<std::string> dns;  // empty but for a CM event
        std::shared_ptr<void> owner;
    };
    class Subscription;

    bool hasSubscription(const std::string& eventType) const ORV_REQUIRES(_mutex);
    void enqueue(Event event);
    void run() override;
    void deliver(const Event& event);
    void callConsumer(const Event& event, Subscription& subscription);

    mutable Poco::FastMutex _mutex;
    Poco::Condition _changed;  // the queue or the subscriptions grew, the router ends, or an event is done
    std::deque<Event> _queue ORV_GUARDED_BY(_mutex);
    bool _ending ORV_GUARDED_BY(_mutex) = false;
    uint64_t _published ORV_GUARDED_BY(_mutex) = 0;
    uint64_t _delivered ORV_GUARDED_BY(_mutex) = 0;
    ZelOamSpiEventConsumerHandleT _nextHandle ORV_GUARDED_BY(_mutex) = 1;
    std::map<ZelOamSpiEventConsumerHandleT, ZelOamSpiEventConsumer*> _consumers ORV_GUARDED_BY(_mutex);
    std::vector<std::shared_ptr<Subscription>> _subscriptions ORV_GUARDED_BY(_mutex);
    Poco::Thread _thread;
};

}  // namespace OrvElement
