#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CallPlan.h"
#include "OrvOamSpiEventRouter_1.h"
#include "Records.h"

namespace OrvTest
{

// The event router, with an event thread of its own on which every callback is made.
// Threads: any.
// Calls:   the table's function names, followed for addSubscription and removeSubscription by ":" and the event type.
class FakeEventRouter
{
public:
    // One subscription as the consumer made it.
    struct Subscription
    {
        ZelOamSpiEventConsumerHandleT handle;
        std::string eventType;
        ZelNameValuePair** filter;  // the consumer's own array
        ZelOamSpiEventConsumer* consumer;
        std::thread::native_handle_type thread;  // that made the subscription
        std::thread::id threadId;
    };

    explicit FakeEventRouter(CallPlan& plan);
    ~FakeEventRouter();  // delivers what is still posted

    // Delivers to every subscriber of the event type whose expression matches a DN of the event, if it has one; the
    // first form returns when that is done.
    void publish(const CmEvent& event);
    void post(const std::shared_ptr<CmEvent>& event);
    // newTime: nanoseconds since the Unix epoch.
    void publishClockChange(uint64_t newTime);
    void postClockChange(uint64_t newTime);
    // Returns when everything posted has been delivered.
    void drain();
    // Calls a consumer on the event thread, subscribed or not, and gives its answer.
    ZelReturnT call(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                    void* value);

    std::vector<Subscription> subscriptions() const;
    std::vector<Subscription> subscriptionsOf(const std::string& eventType) const;
    size_t consumers() const;
    // Waits until count subscriptions of the event type stand, false after the time-out.
    bool waitForSubscriptions(const std::string& eventType, size_t count, int timeoutSeconds) const;
    std::thread::id eventThread() const { return _thread.get_id(); }

    ZelReturnT registerConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle);
    ZelReturnT addSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePair** filter);
    ZelReturnT removeSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                  ZelNameValuePair** filter);
    ZelReturnT unregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer);

private:
    void run();
    void postJob(std::function<void()> job);
    void deliver(const std::string& eventType, const std::vector<std::string>& dns, void* value);

    CallPlan& _plan;

    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    std::map<ZelOamSpiEventConsumerHandleT, ZelOamSpiEventConsumer*> _consumers;
    std::vector<Subscription> _subscriptions;
    ZelOamSpiEventConsumerHandleT _nextHandle = 1;
    std::deque<std::function<void()>> _jobs;
    bool _busy = false;
    bool _ending = false;

    std::thread _thread;
};

}  // namespace OrvTest
