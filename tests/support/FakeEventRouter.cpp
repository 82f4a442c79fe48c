#include "FakeEventRouter.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "Crossing.h"
#include "Nonsense.h"
#include "RegularExpression.h"

namespace OrvTest
{

namespace
{

const char CM_EVENT[] = "ZelOamSpiCmEvent_Notification_1";
const char CLOCK_EVENT[] = "ZelClockChangeEventType_1";

// No DN to look at, or no expression: the event passes.
bool passes(ZelNameValuePair** filter, const std::vector<std::string>& dns)
{
    if (filter == nullptr || filter[0] == nullptr || dns.empty())
    {
        return true;
    }
    // Not std::regex, which recurses for each character of a DN.
    const Orv::RegularExpression expression(filter[0]->value, REG_EXTENDED);
    return std::any_of(dns.begin(), dns.end(),
                       [&](const std::string& dn) { return expression.match(dn, 0, nullptr, 0) != 0; });
}

}  // namespace

FakeEventRouter::FakeEventRouter(CallPlan& plan) : _plan(plan), _thread(&FakeEventRouter::run, this) {}

FakeEventRouter::~FakeEventRouter()
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _ending = true;
        _changed.notify_all();
    }
    _thread.join();
}

void FakeEventRouter::run()
{
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;)
    {
        _changed.wait(lock, [this] { return _ending || !_jobs.empty(); });
        if (_jobs.empty())
        {
            return;
        }
        std::function<void()> job = std::move(_jobs.front());
        _jobs.pop_front();
        _busy = true;
        lock.unlock();
        job();
        job = nullptr;
        lock.lock();
        _busy = false;
        _changed.notify_all();
    }
}

void FakeEventRouter::postJob(std::function<void()> job)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _jobs.push_back(std::move(job));
    _changed.notify_all();
}

void FakeEventRouter::drain()
{
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] { return _jobs.empty() && !_busy; });
}

void FakeEventRouter::deliver(const std::string& eventType, const std::vector<std::string>& dns, void* value)
{
    typedef decltype(ZelOamSpiEventConsumer::notify) Callback;
    std::vector<std::pair<Callback, Subscription>> wanted;
    {
        // A consumer frees its array and its table when it has removed its subscription, so both are read before.
        const std::lock_guard<std::mutex> lock(_mutex);
        for (const Subscription& subscription : _subscriptions)
        {
            if (subscription.eventType == eventType && passes(subscription.filter, dns))
            {
                wanted.emplace_back(subscription.consumer->notify, subscription);
            }
        }
    }
    for (const auto& entry : wanted)
    {
        const Crossing crossing(Crossing::toService);
        entry.first(entry.second.handle, eventType.c_str(), entry.second.filter, value);
    }
}

void FakeEventRouter::publish(const CmEvent& event)
{
    postJob([this, &event]
            { deliver(CM_EVENT, event.dns(), const_cast<ZelOamSpiCmEvent_Notification_1*>(&event.get())); });
    drain();
}

void FakeEventRouter::post(const std::shared_ptr<CmEvent>& event)
{
    postJob([this, event]
            { deliver(CM_EVENT, event->dns(), const_cast<ZelOamSpiCmEvent_Notification_1*>(&event->get())); });
}

void FakeEventRouter::publishClockChange(uint64_t newTime)
{
    postClockChange(newTime);
    drain();
}

void FakeEventRouter::postClockChange(uint64_t newTime)
{
    postJob(
        [this, newTime]
        {
            uint64_t value = newTime;
            deliver(CLOCK_EVENT, {}, &value);
        });
}

ZelReturnT FakeEventRouter::call(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT handle,
                                 const char* eventType, void* value)
{
    ZelReturnT answer = OrvFailure;
    postJob(
        [&]
        {
            const Crossing crossing(Crossing::toService);
            answer = consumer->notify(handle, eventType, nullptr, value);
        });
    drain();
    return answer;
}

std::vector<FakeEventRouter::Subscription> FakeEventRouter::subscriptions() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _subscriptions;
}

std::vector<FakeEventRouter::Subscription> FakeEventRouter::subscriptionsOf(const std::string& eventType) const
{
    std::vector<Subscription> wanted = subscriptions();
    wanted.erase(std::remove_if(wanted.begin(), wanted.end(),
                                [&](const Subscription& subscription) { return subscription.eventType != eventType; }),
                 wanted.end());
    return wanted;
}

size_t FakeEventRouter::consumers() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _consumers.size();
}

bool FakeEventRouter::waitForSubscriptions(const std::string& eventType, size_t count, int timeoutSeconds) const
{
    std::unique_lock<std::mutex> lock(_mutex);
    return _changed.wait_for(
        lock, std::chrono::seconds(timeoutSeconds),
        [&]
        {
            const auto wanted = [&](const Subscription& subscription) { return subscription.eventType == eventType; };
            return static_cast<size_t>(std::count_if(_subscriptions.begin(), _subscriptions.end(), wanted)) == count;
        });
}

ZelReturnT FakeEventRouter::registerConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle)
{
    const int planned = _plan.enter("registerConsumer");
    if (planned != 0)
    {
        return answerPlanned(planned, handle);
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    *handle = _nextHandle++;
    _consumers[*handle] = consumer;
    return OrvOk;
}

ZelReturnT FakeEventRouter::addSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                            ZelNameValuePair** filter)
{
    const int planned = _plan.enter(std::string("addSubscription:") + eventType);
    if (planned != 0)
    {
        return planned;
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto consumer = _consumers.find(handle);
    if (consumer == _consumers.end())
    {
        return OrvNotFound;
    }
    _subscriptions.push_back({handle, eventType, filter, consumer->second, pthread_self(), std::this_thread::get_id()});
    _changed.notify_all();
    return OrvOk;
}

ZelReturnT FakeEventRouter::removeSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                               ZelNameValuePair** filter)
{
    const int planned = _plan.enter(std::string("removeSubscription:") + eventType);
    if (planned != 0)
    {
        return planned;
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = std::find_if(_subscriptions.begin(), _subscriptions.end(),
                                    [&](const Subscription& subscription) {
                                        return subscription.handle == handle && subscription.eventType == eventType &&
                                               subscription.filter == filter;
                                    });
    if (found == _subscriptions.end())
    {
        return OrvNotFound;
    }
    _subscriptions.erase(found);
    _changed.notify_all();
    return OrvOk;
}

ZelReturnT FakeEventRouter::unregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer)
{
    const int planned = _plan.enter("unregisterConsumer");
    if (planned != 0)
    {
        return planned;
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _consumers.find(handle);
    if (found == _consumers.end() || found->second != consumer)
    {
        return OrvNotFound;
    }
    _consumers.erase(found);
    return OrvOk;
}

}  // namespace OrvTest
