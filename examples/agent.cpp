// A northbound agent: prints the DN of every interface that is created.
#include <cstdio>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "ZelMgmtSpi.h"

static OrvOamSpiNbiNotificationService* service = nullptr;
static unsigned int handlerId = 0;

// Called on a thread of the service, one record at a time; the record is valid during the call only, and null if there
// was no memory for it.
static OrvReturnT print(unsigned int /*subscription*/, OrvOamSpiNbiNotificationValue_1* notification)
{
    const bool named = notification != nullptr && notification->dn != nullptr;
    std::puts(named ? notification->dn : "(no DN)");
    std::fflush(stdout);
    return OrvOk;
}

// Call it when the component has been started.
OrvReturnT agentStart(OrvMgmtSpiInterfacePortal_1* portal)
{
    void* table = nullptr;
    if (portal->getInterface({"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"}, &table) != OrvOk)
    {
        return OrvNotFound;
    }
    service = static_cast<OrvOamSpiNbiNotificationService*>(table);
    OrvOamSpiNbiNotificationHandler_1 handler = {print};
    OrvNameValuePair created = {"objectCreated", "interface=[^,]*"};
    OrvNameValuePair* filters[] = {&created, nullptr};
    unsigned int subscription = 0;
    const OrvReturnT registered = service->registerHandler(&handler, &handlerId);
    service->getSubscriptionHandle(&subscription);
    return registered != OrvOk ? registered : service->subscribe(handlerId, filters, subscription, 0, 0, false, 0);
}

// Call it after a successful start and before the component is stopped; nothing is printed once it has returned.
OrvReturnT agentStop()
{
    return service->unregisterHandler(handlerId);
}
