#pragma once

#include <Poco/Mutex.h>

#include "CmEventConsumer.h"
#include "OrvOamSpiModelRepository_2.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "Singleton.h"
#include "ThreadSafety.h"
#include "ZelMgmtSpi.h"

namespace OrvNbiNotificationService
{

// Turns the framework's CM events into notifications and pushes them through the published northbound interface, like
// any other producer.
// Threads:   notify on the router's event thread, the rest on the life cycle thread. One mutex serialises them and is
//            held across a whole event; it is a leaf beside the lock order, since pushing ends at the service's pipe.
// Ownership: portal, tables and events are the framework's. A pushed record points into the event; pushing copies it.
// Failure:   a failing mutex is a Poco::SystemException; anything else inside an event is logged and ends that event.
class NbiNotificationServiceEventConsumer : public Orv::Singleton<NbiNotificationServiceEventConsumer>
{
public:
    ~NbiNotificationServiceEventConsumer() override;

    OrvReturnT init(OrvMgmtSpiInterfacePortal_1* portal);

    // OrvOk, also when started already; OrvFailure if the service or the model repository cannot be looked up. A router
    // that refuses ends the process. The reason is not looked at.
    OrvReturnT start(OrvStateChangeReason reason);
    // OrvOk. Waits for an event in progress. The reason is not looked at.
    OrvReturnT stop(OrvStateChangeReason reason);

    void notify(const ZelOamSpiCmEvent_Notification_1T& event);

    // dn: external form. True only if the model knows the attribute and calls it notifiable. Throws Orv::OrvException
    // if the model repository fails.
    bool isAttrNotifiable(const char* dn, const char* attributeName) const;

    NbiNotificationServiceEventConsumer(const NbiNotificationServiceEventConsumer&) = delete;
    NbiNotificationServiceEventConsumer& operator=(const NbiNotificationServiceEventConsumer&) = delete;

private:
    friend class Orv::Singleton<NbiNotificationServiceEventConsumer>;
    NbiNotificationServiceEventConsumer();

    void translate(const ZelOamSpiCmEvent_Notification_1T& event, const ZelOamSpiCmEvent_TxOperation_1T& operation)
        ORV_REQUIRES(_mutex);
    void pushAttributeChanges(const ZelOamSpiCmEvent_Notification_1T& event,
                              const ZelOamSpiCmEvent_TxOperation_1T& operation, std::string& externalDn)
        ORV_REQUIRES(_mutex);
    void push(const ZelOamSpiCmEvent_Notification_1T& event, const ZelOamSpiCmEvent_TxOperation_1T& operation,
              std::string& externalDn, ZelMoNamedAttributeValueContainer_3** attributes) ORV_REQUIRES(_mutex);

    OrvOamSpiNbiNotificationService* _service ORV_GUARDED_BY(_mutex);
    OrvOamSpiModelRepository_2* _modelRepository ORV_GUARDED_BY(_mutex);
    OrvMgmtSpiInterfacePortal_1* _portal;
    bool _started ORV_GUARDED_BY(_mutex);
    Poco::FastMutex _mutex;
    uint64_t _sequenceNumber ORV_GUARDED_BY(_mutex);
    Orv::CmEventConsumer<NbiNotificationServiceEventConsumer, 1> _eventConsumer ORV_GUARDED_BY(_mutex);
};

}  // namespace OrvNbiNotificationService
