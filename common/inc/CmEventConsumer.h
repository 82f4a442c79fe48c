#pragma once

#include <string>
#include <vector>

#include "EventConsumer.h"

namespace Orv
{

// The event frame for CM events: subscribes with a regular expression over the DN and hands the subscriber the typed
// event. It is its own subscriber at the frame.
// Threads, ownership, failure: as told with EventConsumer.
template <typename T, int instanceNumber>
class CmEventConsumer : private EventConsumer<CmEventConsumer<T, instanceNumber>, instanceNumber>
{
    typedef EventConsumer<CmEventConsumer<T, instanceNumber>, instanceNumber> Base;
    friend Base;

public:
    typedef void (T::*CmMember)(const ZelOamSpiCmEvent_Notification_1T& event);

    CmEventConsumer() : _cmSubscriber(nullptr), _cmMember(nullptr) {}

    void start(const std::string& dnFilter, CmMember member, T& subscriber)
    {
        ORV_TRACE(Trace::Common, " >> ");
        _cmSubscriber = &subscriber;
        _cmMember = member;
        std::vector<NameValuePair> filter;
        filter.push_back(NameValuePair("ZelOamSpiCmEvent_FilterTypeRegExp_1", dnFilter));
        Base::start(filter, &CmEventConsumer::notifyCb, *this, "ZelOamSpiCmEvent_Notification_1");
        ORV_TRACE(Trace::Common, " << ");
    }

    void stop() { Base::stop(); }

    void notifyCb(const char*, void* value)
    {
        ORV_TRACE(Trace::Common, " >> ");
        (_cmSubscriber->*_cmMember)(*static_cast<const ZelOamSpiCmEvent_Notification_1T*>(value));
        ORV_TRACE(Trace::Common, " << ");
    }

private:
    T* _cmSubscriber;
    CmMember _cmMember;
};

}  // namespace Orv
