#pragma once

#include <Poco/Condition.h>
#include <Poco/Mutex.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "SubscriptionSpec.h"
#include "SubtreeFilter.h"
#include "ThreadSafety.h"
#include "ZelMgmtSpi.h"

namespace OrvElement
{

// The element's own northbound agent: subscriptions at the notification service, each with a name, and one function
// that gets every record.
//
// The service calls a handler with nothing but the subscription's handle, so a table of the process leads from a handle
// to its subscriber; a subscriber stands in it before its subscription begins and until it has ended.
// Threads:   add, remove, flush, nudge and the destructor on one thread; onRecord on pool threads of the service, one
//            call at a time for one subscription, several at a time for several. onRecord must call nothing of the
//            service but pushNotification and the three time queries.
// Ownership: a record is valid during onRecord only. The service must run until this object's end, and the model must
//            live as long. The trees of a subtree filter are made before the service sees them, and freed when it has
//            removed the subscription, or has refused it.
// Failure:   ElementError that says what the service answered; SubtreeError for a subtree filter that is none.
class SubscriberSet
{
public:
    enum
    {
        // A subscription occupies up to three threads of the service's pool of 510, and a service whose pool is
        // exhausted ends the process.
        MAX_SUBSCRIPTIONS = 160
    };

    typedef std::function<void(const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)> OnRecord;

    // Finds the service through the portal and registers its handler there. The model gives subtree filters their
    // meaning.
    SubscriberSet(OrvMgmtSpiInterfacePortal_1& portal, const YangModel& model, OnRecord onRecord);
    ~SubscriberSet();  // unsubscribes; what is not delivered yet is dropped

    // onRecord can be called before add has returned.
    void add(const SubscriptionSpec& spec);

    // When it has returned no call of onRecord for the subscription runs or follows. Throws for an unknown name.
    void remove(const std::string& name);

    // Waits until no call of onRecord has run for a short while (50 ms): what was pushed before has most likely been
    // delivered, and nothing is added to the service. Returns without that if nothing has moved for timeout
    // milliseconds.
    void settle(long timeout);

    // Waits until every subscription has had everything that was pushed to the service before the call. For the end
    // only: nothing may be pushed meanwhile, and a marker enters the service's replay buffer. Throws, with the names of
    // the late ones, if nothing has moved for timeout milliseconds.
    void flush(long timeout);

    // Brings the service a marker, which onRecord does not see and which enters the replay buffer: a record that
    // arrived in the moment in which a delivery run ended waits for the next.
    void nudge();

    SubscriberSet(const SubscriberSet&) = delete;
    SubscriberSet& operator=(const SubscriberSet&) = delete;

private:
    struct Subscriber
    {
        SubscriberSet* set;
        std::string name;
        unsigned int handle;
        uint32_t reached;                        // number of the last flush whose marker came; by the set's mutex
        std::unique_ptr<SubtreeFilter> subtree;  // null for another filter; the adding and removing thread's
    };
    struct HandleTable;
    class CallScope;
    enum class Until
    {
        Silence,
        Reached
    };

    static OrvReturnT notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* record);
    static std::shared_ptr<Subscriber> find(unsigned int handle);

    void accept(Subscriber& subscriber, const OrvOamSpiNbiNotificationValue_1& record);
    std::unique_ptr<SubtreeFilter> makeSubtree(const SubscriptionSpec& spec) const;
    OrvReturnT subscribe(const SubscriptionSpec& spec, const Subscriber& subscriber);
    void unsubscribe(Subscriber& subscriber);
    void push(int32_t type);
    bool waitForSilence(long silence, long timeout, Until until) ORV_EXCLUDES(_mutex);
    std::string lateNames() const ORV_REQUIRES(_mutex);

    const YangModel& _model;
    OrvOamSpiNbiNotificationService* _service = nullptr;
    unsigned int _handlerId = 0;
    const OnRecord _onRecord;
    std::map<std::string, std::shared_ptr<Subscriber>> _subscribers;

    mutable Poco::FastMutex _mutex;
    Poco::Condition _progress;  // a call of the handler began or ended
    uint64_t _calls ORV_GUARDED_BY(_mutex) = 0;
    unsigned int _callsRunning ORV_GUARDED_BY(_mutex) = 0;
    uint32_t _flushes ORV_GUARDED_BY(_mutex) = 0;
};

}  // namespace OrvElement
