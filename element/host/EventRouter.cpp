#include "EventRouter.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>

#include "ChangeEvent.h"
#include "ElementError.h"
#include "LogService.h"
#include "OrvThreadLock.h"
#include "RegularExpression.h"

namespace OrvElement
{

namespace
{

typedef Orv::OrvThreadLock<Poco::FastMutex> Lock;

const char* const DN_EXPRESSION = "ZelOamSpiCmEvent_FilterTypeRegExp_1";
const int POSIX_EXTENDED = REG_EXTENDED;

std::atomic<EventRouter*> theCurrent{nullptr};

// The table is called from C: nothing may be thrown out of it.
template <typename Call>
ZelReturnT withCurrent(Call call) noexcept
{
    EventRouter* router = theCurrent.load(std::memory_order_acquire);
    if (router == nullptr)
    {
        return OrvFailure;
    }
    try
    {
        return call(*router);
    }
    catch (const std::exception& e)
    {
        LogService::write(3, std::string("event router: ") + e.what());
        return OrvFailure;
    }
}

ZelReturnT tableRegisterConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle)
{
    return withCurrent([&](EventRouter& router) { return router.registerConsumer(consumer, handle); });
}

ZelReturnT tableAddSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter)
{
    return withCurrent([&](EventRouter& router) { return router.addSubscription(handle, eventType, filter); });
}

ZelReturnT tableRemoveSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                   ZelNameValuePairT** filter)
{
    return withCurrent([&](EventRouter& router) { return router.removeSubscription(handle, eventType, filter); });
}

ZelReturnT tableUnregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer)
{
    return withCurrent([&](EventRouter& router) { return router.unregisterConsumer(handle, consumer); });
}

void reservedEntry() {}

OrvOamSpiEventRouter_1 theTable = {{"OrvOamSpiEventService", "OrvOamSpiEventRouter", "1"},
                                   reservedEntry,
                                   tableRegisterConsumer,
                                   tableAddSubscription,
                                   tableRemoveSubscription,
                                   tableUnregisterConsumer};

}  // namespace

const char* const EventRouter::CM_EVENT = "ZelOamSpiCmEvent_Notification_1";
const char* const EventRouter::CLOCK_CHANGE = "ZelClockChangeEventType_1";

// What one addSubscription asked for. Immutable but for active, which the router's mutex guards.
class EventRouter::Subscription
{
public:
    Subscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter)
        : _handle(handle), _eventType(eventType), _filter(filter)
    {
        for (ZelNameValuePairT** pair = filter; *pair != nullptr; ++pair)
        {
            _texts.emplace_back((*pair)->name, (*pair)->value);
            _expressions.push_back(std::make_unique<Orv::RegularExpression>((*pair)->value, POSIX_EXTENDED));
        }
        // The texts do not move any more: the pairs of the copy may point into them.
        for (const auto& text : _texts)
        {
            _pairs.push_back(ZelNameValuePairT{text.first.c_str(), text.second.c_str()});
        }
        for (ZelNameValuePairT& pair : _pairs)
        {
            _pairPointers.push_back(&pair);
        }
        _pairPointers.push_back(nullptr);
    }

    bool filterIsValid() const
    {
        return std::all_of(_texts.begin(), _texts.end(),
                           [this](const auto& text)
                           { return _eventType == CM_EVENT && text.first == DN_EXPRESSION; }) &&
               std::all_of(_expressions.begin(), _expressions.end(),
                           [](const auto& expression) { return expression->isExpressionValid(); });
    }

    bool is(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter) const
    {
        return _handle == handle && _eventType == eventType && _filter == filter;
    }

    bool takes(const std::string& eventType, const std::vector<std::string>& dns) const
    {
        if (_eventType != eventType)
        {
            return false;
        }
        return _expressions.empty() ||
               std::any_of(dns.begin(), dns.end(),
                           [this](const std::string& dn)
                           {
                               return std::any_of(_expressions.begin(), _expressions.end(),
                                                  [&dn](const auto& expression)
                                                  {
                                                      regmatch_t found;
                                                      return expression->match(dn, 1, &found, 0) != 0;
                                                  });
                           });
    }

    ZelOamSpiEventConsumerHandleT handle() const { return _handle; }
    const std::string& eventType() const { return _eventType; }
    ZelNameValuePairT** filterCopy() { return _pairPointers.data(); }

    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    bool active = true;

private:
    const ZelOamSpiEventConsumerHandleT _handle;
    const std::string _eventType;
    ZelNameValuePairT** const _filter;  // the consumer's, kept as the subscription's name only
    std::vector<std::pair<std::string, std::string>> _texts;
    std::vector<ZelNameValuePairT> _pairs;
    std::vector<ZelNameValuePairT*> _pairPointers;
    std::vector<std::unique_ptr<Orv::RegularExpression>> _expressions;
};

EventRouter::EventRouter() : _thread("EventRouter")
{
    EventRouter* none = nullptr;
    if (!theCurrent.compare_exchange_strong(none, this))
    {
        throw ElementError("this process has an event router already");
    }
    try
    {
        _thread.start(*this);
    }
    catch (const std::exception& e)
    {
        theCurrent.store(nullptr, std::memory_order_release);
        throw ElementError(std::string("cannot start the event thread: ") + e.what());
    }
}

EventRouter::~EventRouter()
{
    theCurrent.store(nullptr, std::memory_order_release);
    {
        const Lock lock(_mutex);
        _ending = true;
        _changed.broadcast();
    }
    _thread.join();
}

OrvOamSpiEventRouter_1& EventRouter::table()
{
    return theTable;
}

void EventRouter::publish(std::unique_ptr<ChangeEvent> event)
{
    std::shared_ptr<ChangeEvent> owner(std::move(event));
    // The interface passes values without const; consumers only read them.
    void* value = const_cast<ZelOamSpiCmEvent_Notification_1*>(&owner->record());
    enqueue(Event{CM_EVENT, value, owner->dns(), owner});
}

void EventRouter::publishClockChange(uint64_t newTime)
{
    auto owner = std::make_shared<ZelClockChangeEventType_1T>(newTime);
    enqueue(Event{CLOCK_CHANGE, owner.get(), {}, owner});
}

void EventRouter::drain()
{
    if (Poco::Thread::current() == &_thread)
    {
        throw std::logic_error("drain called on the event thread, which would wait for itself");
    }
    const Lock lock(_mutex);
    const uint64_t published = _published;
    while (_delivered < published)
    {
        _changed.wait(_mutex);
    }
}

bool EventRouter::waitForSubscription(const std::string& eventType, long timeout)
{
    const Poco::Timestamp begin;
    const Lock lock(_mutex);
    while (!hasSubscription(eventType))
    {
        const long left = timeout - static_cast<long>(begin.elapsed() / 1000);
        if (left <= 0)
        {
            return false;
        }
        _changed.tryWait(_mutex, left);
    }
    return true;
}

ZelReturnT EventRouter::registerConsumer(ZelOamSpiEventConsumer* consumer, ZelOamSpiEventConsumerHandleT* handle)
{
    if (consumer == nullptr || consumer->notify == nullptr || handle == nullptr)
    {
        return OrvBadArgument;
    }
    const Lock lock(_mutex);
    _consumers.emplace(_nextHandle, consumer);
    *handle = _nextHandle++;
    return OrvOk;
}

ZelReturnT EventRouter::addSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                        ZelNameValuePairT** filter)
{
    if (eventType == nullptr || filter == nullptr)
    {
        return OrvBadArgument;
    }
    const auto subscription = std::make_shared<Subscription>(handle, eventType, filter);
    if (!subscription->filterIsValid())
    {
        return OrvBadArgument;
    }
    const Lock lock(_mutex);
    if (_consumers.count(handle) == 0)
    {
        return OrvNotFound;
    }
    _subscriptions.push_back(subscription);
    _changed.broadcast();
    return OrvOk;
}

ZelReturnT EventRouter::removeSubscription(ZelOamSpiEventConsumerHandleT handle, const char* eventType,
                                           ZelNameValuePairT** filter)
{
    if (eventType == nullptr)
    {
        return OrvBadArgument;
    }
    const Lock lock(_mutex);
    const auto found =
        std::find_if(_subscriptions.begin(), _subscriptions.end(),
                     [=](const auto& subscription) { return subscription->is(handle, eventType, filter); });
    if (found == _subscriptions.end())
    {
        return OrvNotFound;
    }
    (*found)->active = false;
    _subscriptions.erase(found);
    return OrvOk;
}

ZelReturnT EventRouter::unregisterConsumer(ZelOamSpiEventConsumerHandleT handle, ZelOamSpiEventConsumer* consumer)
{
    const Lock lock(_mutex);
    const auto found = _consumers.find(handle);
    if (found == _consumers.end() || found->second != consumer)
    {
        return OrvNotFound;
    }
    _consumers.erase(found);
    const auto left =
        std::stable_partition(_subscriptions.begin(), _subscriptions.end(),
                              [handle](const auto& subscription) { return subscription->handle() != handle; });
    std::for_each(left, _subscriptions.end(), [](const auto& subscription) { subscription->active = false; });
    _subscriptions.erase(left, _subscriptions.end());
    return OrvOk;
}

bool EventRouter::hasSubscription(const std::string& eventType) const
{
    return std::any_of(_subscriptions.begin(), _subscriptions.end(),
                       [&eventType](const auto& subscription) { return subscription->eventType() == eventType; });
}

void EventRouter::enqueue(Event event)
{
    const Lock lock(_mutex);
    _queue.push_back(std::move(event));
    ++_published;
    _changed.broadcast();
}

void EventRouter::run()
{
    while (true)
    {
        Event event;
        {
            const Lock lock(_mutex);
            while (_queue.empty() && !_ending)
            {
                _changed.wait(_mutex);
            }
            if (_ending)
            {
                return;
            }
            event = std::move(_queue.front());
            _queue.pop_front();
        }
        deliver(event);
        const Lock lock(_mutex);
        ++_delivered;
        _changed.broadcast();
    }
}

void EventRouter::deliver(const Event& event)
{
    std::vector<std::shared_ptr<Subscription>> candidates;
    {
        const Lock lock(_mutex);
        candidates = _subscriptions;
    }
    for (const auto& subscription : candidates)
    {
        if (subscription->takes(event.type, event.dns))
        {
            callConsumer(event, *subscription);
        }
    }
}

void EventRouter::callConsumer(const Event& event, Subscription& subscription)
{
    ZelReturnT (*notify)(ZelOamSpiEventConsumerHandleT, const char*, ZelNameValuePairT**, void*) = nullptr;
    {
        const Lock lock(_mutex);
        if (!subscription.active)
        {
            return;
        }
        notify = _consumers.at(subscription.handle())->notify;
    }
    const ZelReturnT answer = notify(subscription.handle(), event.type.c_str(), subscription.filterCopy(), event.value);
    if (answer != OrvOk)
    {
        LogService::write(4, "event consumer " + std::to_string(subscription.handle()) + " answered " +
                                 std::to_string(answer) + " to an event of type " + event.type);
    }
}

}  // namespace OrvElement
