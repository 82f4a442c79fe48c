#pragma once

#include <Poco/Event.h>

#include <atomic>
#include <cassert>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "AutoMemory.h"
#include "Log.h"
#include "NameValuePair.h"
#include "OrvOamSpiEventRouter_1.h"
#include "Portal.h"

namespace Orv
{

// What an event consumer's callback has seen of its object, which may go meanwhile: one look has to do for the
// assertion and for the call. The parameter has the name that the assertion tells.
template <typename Consumer>
Consumer* required(Consumer* _instance)
{
    assert(_instance);
    return _instance;
}

// Turns the event router's plain callback, which carries no context, into a call of a member function. Each pair of
// subscriber type and instanceNumber has one live object at most: a second one is a programming error that ends the
// process, and so is start while started and a router that refuses in start.
// Threads:   start and stop are serialised by the owner; callbacks come on the router's event thread. No lock is taken.
//            A router does not wait for a callback that runs while it is told to remove the subscription: the
//            destructor does.
// Ownership: the subscriber is borrowed and must live until this object's destructor returns, as one does whose member
//            this object is; the arrays given to the router are this object's, from start to stop.
// Failure:   no exception of the subscriber reaches the router; it is logged.
template <typename SubscriberT, int instanceNumber>
class EventConsumer
{
public:
    typedef void (SubscriberT::*Member)(const char* eventType, void* value);

    EventConsumer()
        : _handle(0),
          _consumer(),
          _started(false),
          _subscriber(nullptr),
          _member(nullptr),
          _filter(nullptr),
          _portal(Portal::instance())
    {
        assert(_instance == __null);
        lastCallbackEnded();  // made before this object is, and so gone after it
        _instance = this;
    }

    // Does not call stop: the owner does. Waits for callbacks in progress.
    virtual ~EventConsumer()
    {
        _instance = nullptr;
        while (_callbacks != 0)
        {
            lastCallbackEnded().wait();
        }
    }

    void start(const std::vector<NameValuePair>& filter, Member member, SubscriberT& subscriber, const char* eventType)
    {
        ORV_TRACE(Trace::Common, " >> ");
        if (_started)
        {
            abort();
        }
        _eventType = eventType;
        _subscriber = &subscriber;
        _member = member;
        _consumer.notify = &EventConsumer::notifyCallback;

        // Without a router no event would ever come: nothing guards against its absence.
        OrvOamSpiEventRouter_1* const router = _portal->getEventRouter();
        if (router->registerConsumer(&_consumer, &_handle) != OrvOk)
        {
            ORV_LOG(Trace::Common, 3, "Could not register consumer");
            abort();
        }
        buildFilterFor(*router, filter);
        if (router->addSubscription(_handle, _eventType.c_str(), _filter) != OrvOk)
        {
            ORV_LOG(Trace::Common, 3, "Could not add subscription");
            abort();
        }
        _started = true;
        ORV_TRACE(Trace::Common, " << ");
    }

    void stop()
    {
        ORV_TRACE(Trace::Common, " >> ");
        if (!_started)
        {
            ORV_TRACE(Trace::Common, " << ");
            return;
        }
        OrvOamSpiEventRouter_1* const router = _portal->getEventRouter();
        if (router == nullptr || router->removeSubscription(_handle, _eventType.c_str(), _filter) != OrvOk)
        {
            ORV_TRACE(Trace::Common, "Could not unregister event subscription, eventType %s", _eventType.c_str());
        }
        if (router == nullptr || router->unregisterConsumer(_handle, &_consumer) != OrvOk)
        {
            ORV_TRACE(Trace::Common, "Could not unregister event consumer, eventType %s", _eventType.c_str());
        }
        _started = false;
        _memory.clear();
        _filter = nullptr;
        ORV_TRACE(Trace::Common, " << ");
    }

    static ZelReturnT notifyCallback(ZelOamSpiEventConsumerHandleT, const char* eventType, ZelNameValuePairT**,
                                     void* value)
    {
        ORV_TRACE(Trace::Common, " >> ");
        const CallbackScope scope;
        // Const, since g++ 12 reads another variable wrongly in the call below if it looks for undefined behaviour.
        EventConsumer* const consumer = required(_instance.load());
        try
        {
            (consumer->_subscriber->*consumer->_member)(eventType, value);
        }
        catch (const std::exception& e)
        {
            ORV_LOG(Trace::Common, 4, "Exception thrown from event consumer :%s", e.what());
        }
        catch (...)
        {
            ORV_LOG(Trace::Common, 4, "Unknown exception thrown from event consumer");
        }
        ORV_TRACE(Trace::Common, " << ");
        return OrvOk;
    }

    EventConsumer(const EventConsumer&) = delete;
    EventConsumer& operator=(const EventConsumer&) = delete;

private:
    // A callback is counted before it looks for the object: either the destructor sees it, or it sees no object.
    struct CallbackScope
    {
        CallbackScope() { ++_callbacks; }
        ~CallbackScope()
        {
            if (--_callbacks == 0 && _instance == nullptr)
            {
                lastCallbackEnded().set();
            }
        }
    };

    // Where there is no memory for the filter, the router must not keep a consumer that may soon be gone.
    void buildFilterFor(const OrvOamSpiEventRouter_1& router, const std::vector<NameValuePair>& filter)
    {
        try
        {
            buildFilter(filter);
        }
        catch (...)
        {
            _memory.clear();
            _filter = nullptr;
            router.unregisterConsumer(_handle, &_consumer);
            throw;
        }
    }

    // The router keeps the array, so it must outlive the caller's vector.
    void buildFilter(const std::vector<NameValuePair>& filter)
    {
        void* const block = std::calloc(filter.size() + 1, sizeof(ZelNameValuePair*));
        if (block == nullptr)
        {
            throw std::bad_alloc();
        }
        _memory.addBlock(block);
        _filter = static_cast<ZelNameValuePair**>(block);
        ZelNameValuePair** slot = _filter;
        for (const NameValuePair& pair : filter)
        {
            typedef AutoMemory::OwnedObj<NameValuePair> OwnedPair;
            OwnedPair* const owned = new OwnedPair;
            _memory.addObject(owned);
            static_cast<NameValuePair&>(*owned) = pair;
            *slot++ = owned;
        }
    }

    AutoMemory _memory;
    std::string _eventType;
    ZelOamSpiEventConsumerHandleT _handle;
    ZelOamSpiEventConsumer _consumer;
    bool _started;
    SubscriberT* _subscriber;
    Member _member;
    ZelNameValuePair** _filter;
    Portal* _portal;

    // Written by constructor and destructor alone, read by callbacks on another thread.
    static std::atomic<EventConsumer*> _instance;

    // Not the object's: a callback's last touch of them may come after its end.
    static std::atomic<unsigned int> _callbacks;
    static Poco::Event& lastCallbackEnded()
    {
        // Made at first use: nothing happens when the library is loaded.
        static Poco::Event theEvent;
        return theEvent;
    }
};

template <typename SubscriberT, int instanceNumber>
std::atomic<EventConsumer<SubscriberT, instanceNumber>*> EventConsumer<SubscriberT, instanceNumber>::_instance{nullptr};

template <typename SubscriberT, int instanceNumber>
std::atomic<unsigned int> EventConsumer<SubscriberT, instanceNumber>::_callbacks{0};

}  // namespace Orv
