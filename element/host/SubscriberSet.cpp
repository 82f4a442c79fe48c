#include "SubscriberSet.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "ElementError.h"
#include "LogService.h"
#include "OrvThreadLock.h"

namespace OrvElement
{

namespace
{

typedef Orv::OrvThreadLock<Poco::FastMutex> Lock;

// The marker's DN, which no managed object has.
const char* const MARKER_DN = "orv-element marker";

// Milliseconds without a call that count as silence.
const long SILENCE = 50;

bool isMarker(const OrvOamSpiNbiNotificationValue_1& record)
{
    return record.dn != nullptr && std::strcmp(record.dn, MARKER_DN) == 0;
}

std::string answerText(OrvReturnT code)
{
    switch (code)
    {
        case OrvNotRunning:
            return "the service is not running";
        case OrvBadArgument:
            return "the service refused an argument";
        case OrvNoThread:
            return "the service has no thread left";
        case OrvNotFound:
            return "the service does not know it";
        default:
            return "the service answered " + std::to_string(code);
    }
}

// The filters of a subscription as the interface takes them. The texts belong to the subscription's description.
class FilterArray
{
public:
    explicit FilterArray(const SubscriptionSpec& spec)
    {
        for (const auto& filter : spec.filters)
        {
            _pairs.push_back(OrvNameValuePair{filter.first.c_str(), filter.second.c_str()});
        }
        for (OrvNameValuePair& pair : _pairs)
        {
            _pointers.push_back(&pair);
        }
        _pointers.push_back(nullptr);
    }
    OrvNameValuePair** get() { return _pointers.data(); }

private:
    std::vector<OrvNameValuePair> _pairs;
    std::vector<OrvNameValuePair*> _pointers;
};

}  // namespace

// From a handle to its subscriber, for the whole process.
struct SubscriberSet::HandleTable
{
    Poco::FastMutex mutex;
    std::map<unsigned int, std::shared_ptr<Subscriber>> subscribers ORV_GUARDED_BY(mutex);
    // Trees that the service may still look at, since it could not say that it removed their subscription.
    std::vector<std::unique_ptr<SubtreeFilter>> inDoubt ORV_GUARDED_BY(mutex);

    static HandleTable& instance()
    {
        static HandleTable theInstance;
        return theInstance;
    }
};

// One call of the handler, counted from its begin to its end.
class SubscriberSet::CallScope
{
public:
    explicit CallScope(SubscriberSet& set) : _set(set)
    {
        const Lock lock(_set._mutex);
        ++_set._calls;
        ++_set._callsRunning;
    }
    ~CallScope()
    {
        const Lock lock(_set._mutex);
        --_set._callsRunning;
        _set._progress.broadcast();
    }

    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    SubscriberSet& _set;
};

SubscriberSet::SubscriberSet(OrvMgmtSpiInterfacePortal_1& portal, const YangModel& model, OnRecord onRecord)
    : _model(model), _onRecord(std::move(onRecord))
{
    const ZelMgmtSpiInterface_1 id = {"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"};
    void* found = nullptr;
    if (portal.getInterface(id, &found) != OrvOk)
    {
        throw ElementError("no component offers NbiNotificationServiceCM/OrvOamSpiNbiNotificationService/1");
    }
    _service = static_cast<OrvOamSpiNbiNotificationService*>(found);
    OrvOamSpiNbiNotificationHandler_1 handler = {&SubscriberSet::notify};
    const OrvReturnT code = _service->registerHandler(&handler, &_handlerId);
    if (code != OrvOk)
    {
        throw ElementError("cannot register a notification handler: " + answerText(code));
    }
}

SubscriberSet::~SubscriberSet()
{
    for (const auto& entry : _subscribers)
    {
        unsubscribe(*entry.second);
    }
}

void SubscriberSet::add(const SubscriptionSpec& spec)
{
    if (_subscribers.count(spec.name) != 0)
    {
        throw ElementError("there is a subscription \"" + spec.name + "\" already");
    }
    if (_subscribers.size() >= MAX_SUBSCRIPTIONS)
    {
        throw ElementError("cannot subscribe \"" + spec.name + "\": there are " + std::to_string(MAX_SUBSCRIPTIONS) +
                           " subscriptions, which is the limit");
    }
    std::unique_ptr<SubtreeFilter> subtree = makeSubtree(spec);
    unsigned int handle = 0;
    _service->getSubscriptionHandle(&handle);
    const auto subscriber = std::make_shared<Subscriber>(Subscriber{this, spec.name, handle, 0, std::move(subtree)});
    _subscribers.emplace(spec.name, subscriber);
    HandleTable& table = HandleTable::instance();
    {
        const Lock lock(table.mutex);
        table.subscribers.emplace(handle, subscriber);
    }
    const OrvReturnT code = subscribe(spec, *subscriber);
    if (code != OrvOk)
    {
        const Lock lock(table.mutex);
        table.subscribers.erase(handle);
        _subscribers.erase(spec.name);
        subscriber->subtree.reset();
        throw ElementError("cannot subscribe \"" + spec.name + "\": " + answerText(code));
    }
}

void SubscriberSet::remove(const std::string& name)
{
    const auto found = _subscribers.find(name);
    if (found == _subscribers.end())
    {
        throw ElementError("there is no subscription \"" + name + "\"");
    }
    unsubscribe(*found->second);
    _subscribers.erase(found);
}

void SubscriberSet::settle(long timeout)
{
    waitForSilence(SILENCE, timeout, Until::Silence);
}

// How it is known that nothing is on its way any more: a record of the type that passes every subscription, whatever
// its filter and its stop time, goes through the service behind everything else, and each subscriber sees it. Its
// number tells it from those of earlier calls, of which some may still be on their way.
//
// Two properties of the service need care. A record that arrives at a full backlog throws the backlog away, so the
// marker is only sent once the handler has been silent for a while, when the backlogs are empty. And a record that
// arrives in the moment in which a delivery run ends waits for the next arrival, so the marker is sent again after each
// further silence, twice as long as the last, since a slow subscriber is silent too.
void SubscriberSet::flush(long timeout)
{
    if (_subscribers.empty())
    {
        return;
    }
    {
        const Lock lock(_mutex);
        ++_flushes;
    }
    bool moving = waitForSilence(SILENCE, timeout, Until::Silence);
    for (long silence = SILENCE; moving; silence = std::min(2 * silence, timeout))
    {
        nudge();
        moving = waitForSilence(silence, timeout, Until::Reached) && silence < timeout;
        const Lock lock(_mutex);
        if (lateNames().empty())
        {
            return;
        }
    }
    const Lock lock(_mutex);
    throw ElementError("not everything has been delivered to: " + lateNames());
}

OrvReturnT SubscriberSet::notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* record)
{
    const std::shared_ptr<Subscriber> subscriber = find(handle);
    if (subscriber == nullptr)
    {
        return OrvNotFound;
    }
    try
    {
        const CallScope call(*subscriber->set);
        if (record == nullptr)
        {
            LogService::write(
                4, "subscriber \"" + subscriber->name + "\": a record is lost: the service found no memory for it");
            return OrvOk;
        }
        subscriber->set->accept(*subscriber, *record);
        return OrvOk;
    }
    catch (const std::exception& e)
    {
        LogService::write(3, "subscriber \"" + subscriber->name + "\": " + e.what());
        return OrvFailure;
    }
}

std::shared_ptr<SubscriberSet::Subscriber> SubscriberSet::find(unsigned int handle)
{
    HandleTable& table = HandleTable::instance();
    const Lock lock(table.mutex);
    const auto found = table.subscribers.find(handle);
    return found != table.subscribers.end() ? found->second : nullptr;
}

void SubscriberSet::accept(Subscriber& subscriber, const OrvOamSpiNbiNotificationValue_1& record)
{
    if (isMarker(record))
    {
        const Lock lock(_mutex);
        subscriber.reached = std::max(subscriber.reached, record.sequenceNumber);
        return;
    }
    _onRecord(subscriber.name, record);
}

// Null if the subscription asks for no subtree.
std::unique_ptr<SubtreeFilter> SubscriberSet::makeSubtree(const SubscriptionSpec& spec) const
{
    if (spec.subtrees.empty())
    {
        return nullptr;
    }
    if (_service->rfcFilterSubscribe == nullptr)
    {
        throw ElementError("cannot subscribe \"" + spec.name +
                           "\": this version of the service has no subtree filters");
    }
    try
    {
        return std::make_unique<SubtreeFilter>(_model, spec.subtrees);
    }
    catch (const SubtreeError& e)
    {
        throw SubtreeError("cannot subscribe \"" + spec.name + "\": " + e.what());
    }
}

OrvReturnT SubscriberSet::subscribe(const SubscriptionSpec& spec, const Subscriber& subscriber)
{
    if (subscriber.subtree != nullptr)
    {
        return _service->rfcFilterSubscribe(_handlerId, subscriber.subtree->trees(), subscriber.handle, spec.startTime,
                                            spec.stopTime, spec.heartbeat != 0, spec.heartbeat);
    }
    FilterArray filters(spec);
    return _service->subscribe(_handlerId, filters.get(), subscriber.handle, spec.startTime, spec.stopTime,
                               spec.heartbeat != 0, spec.heartbeat);
}

void SubscriberSet::unsubscribe(Subscriber& subscriber)
{
    const OrvReturnT code = _service->unsubscribe(subscriber.handle);
    if (code != OrvOk)
    {
        LogService::write(4, "unsubscribing \"" + subscriber.name + "\": " + answerText(code));
    }
    HandleTable& table = HandleTable::instance();
    const Lock lock(table.mutex);
    table.subscribers.erase(subscriber.handle);
    if (code == OrvFailure && subscriber.subtree != nullptr)
    {
        table.inDoubt.push_back(std::move(subscriber.subtree));
    }
    subscriber.subtree.reset();
}

void SubscriberSet::nudge()
{
    for (const auto& entry : _subscribers)
    {
        if (entry.second->subtree != nullptr)
        {
            // A subtree filter that has judged a deletion last would give the marker the DNs that it derived from that.
            // It forgets them over a change, and takes none of an object that has not the root class.
            push(attributeChanged);
            break;
        }
    }
    push(notificationComplete);
}

void SubscriberSet::push(int32_t type)
{
    std::string dn = MARKER_DN;
    OrvOamSpiNbiNotificationValue_1 marker = {};
    // Later than everything, so that no clock change makes the service refuse it.
    marker.eventTime = std::numeric_limits<int64_t>::max();
    marker.dn = &dn[0];
    {
        const Lock lock(_mutex);
        marker.sequenceNumber = _flushes;
    }
    marker.notificationType = type;
    const OrvReturnT code = _service->pushNotification(marker);
    if (code != OrvOk)
    {
        throw ElementError("cannot push a notification: " + answerText(code));
    }
}

// True once no call has run for `silence` milliseconds, or if wanted all subscribers have seen the marker; false if for
// `timeout` milliseconds no call has begun while one runs.
bool SubscriberSet::waitForSilence(long silence, long timeout, Until until)
{
    const Lock lock(_mutex);
    uint64_t seen = _calls;
    Poco::Timestamp lastCall;
    while (until == Until::Silence || !lateNames().empty())
    {
        const bool woken = _progress.tryWait(_mutex, silence);
        if (!woken && _callsRunning == 0)
        {
            return true;
        }
        if (_calls != seen)
        {
            seen = _calls;
            lastCall.update();
        }
        else if (lastCall.isElapsed(timeout * 1000))
        {
            return false;
        }
    }
    return true;
}

std::string SubscriberSet::lateNames() const
{
    std::string names;
    for (const auto& entry : _subscribers)
    {
        if (entry.second->reached != _flushes)
        {
            names += (names.empty() ? "" : ", ") + entry.first;
        }
    }
    return names;
}

}  // namespace OrvElement
