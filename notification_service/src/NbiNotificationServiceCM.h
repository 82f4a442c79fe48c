#pragma once

#include <Poco/Mutex.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "NotificationConfigHandler.h"
#include "NotificationServiceRunnable.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "ThreadSafety.h"
#include "ThreadWPipes.h"
#include "ZelComponent.h"
#include "ZelOamSpiCm.h"

namespace OrvNbiNotificationService
{

// The component: its life cycle, the northbound interface that it offers, and the handlers registered there.
// Threads:   the framework calls initialize, start, stop and terminate one at a time, without a lock. The northbound
//            members may be called from any thread. handlerMutex is row 1 of docs/threads-and-locks.md and is held
//            across adding and removing a subscription.
// Ownership: everything by value. Handlers stay registered until the process ends.
// Failure:   each public member logs and answers OrvFailure for an exception; subscribe and rfcFilterSubscribe end the
//            process instead, getSubscriptionHandle lets a failing mutex pass, and the model access lets everything
//            pass.
// Running is what notifyThread says it is; there is no state variable.
class NbiNotificationServiceCM : public Orv::ZelComponent<NbiNotificationServiceCM>
{
public:
    // Reads the configuration and gives the event consumer its portal. configPath: the XML file, required.
    ZelReturnT initialize(const char* configPath);

    // Starts the event consumer, then the service thread. Started already: a warning and OrvOk.
    // OrvFailure if the consumer does not start, OrvNotRunning if the thread does not come up within 0.6 s.
    ZelReturnT start(ZelStateChangeReason reason);

    // Stops the service thread and waits for it without limit, then stops the consumer, whose result is returned.
    // Only the reasons 2, 3 and 4 end the thread: any other waits for ever. Stopped already: a warning and OrvOk.
    ZelReturnT stop(ZelStateChangeReason reason);

    void terminate();
    ZelReturnT loadConfiguration(const char* configPath);

    // The northbound interface; see OrvOamSpiNbiNotificationService for what each does.
    OrvReturnT registerHandler(OrvOamSpiNbiNotificationHandler_1* handler, unsigned int& handlerId);
    OrvReturnT unregisterHandler(unsigned int handlerId);
    OrvReturnT subscribe(unsigned int handlerId, OrvNameValuePair** filters, unsigned int subscriptionHandle,
                         long long startTime, long long stopTime, bool heartbeatSupported, long long heartbeatInterval);
    OrvReturnT getSubscriptionHandle(unsigned int& subscriptionHandle);
    OrvReturnT unsubscribe(unsigned int subscriptionHandle);
    OrvReturnT getOldestBufferTimestamp(long long& timestamp);
    OrvReturnT getLastAgedNotificationTime(long long& timestamp);
    OrvReturnT getBufferCreationTime(long long& timestamp);
    OrvReturnT pushNotification(OrvOamSpiNbiNotificationValue_1& notification);
    OrvReturnT rfcFilterSubscribe(unsigned int handlerId, OrvOamSpiNbiNotificationSubTree_1** filters,
                                  unsigned int subscriptionHandle, long long startTime, long long stopTime,
                                  bool heartbeatSupported, long long heartbeatInterval);

    // The model access of the subtree filters, on whichever thread evaluates one. It asks the framework anew each time,
    // takes no lock, and works from load to unload, whether the service runs or not.

    // Reads an attribute in a read transaction of its own. OrvOk: *result is filled, and the caller has to give
    // transaction to endTransaction, which ends the life of what *result points to. If the read itself fails, its
    // result is passed on and the transaction stays open until the framework reclaims it.
    ZelReturnT getAttributeValue(const char* dn, const char* attributeName, ZelMoAttributeValueResult_3* result,
                                 unsigned long& transaction);
    ZelReturnT endTransaction(unsigned long transaction);

    // The name of the key attribute of the class of dn's last component. OrvFailure: keyName is unchanged.
    ZelReturnT getKeyName(const char* dn, std::string& keyName);

private:
    friend class Orv::ZelComponent<NbiNotificationServiceCM>;

    // A registered handler and the handles subscribed under it, in the order of subscribing.
    class HandlerContainer
    {
    public:
        explicit HandlerContainer(const OrvOamSpiNbiNotificationHandler_1& handler) : _handler(handler) {}

        OrvOamSpiNbiNotificationHandler_1 _handler;
        std::vector<unsigned int> _subscriptionHandles;
    };

    NbiNotificationServiceCM();
    ~NbiNotificationServiceCM();

    bool waitUntilRunning();

    // What the two forms of subscribe share; makeFilter gives the new filter.
    template <typename MakeFilter>
    OrvReturnT addSubscription(MakeFilter makeFilter, unsigned int handlerId, unsigned int subscriptionHandle,
                               long long startTime, long long stopTime, bool heartbeatSupported,
                               long long heartbeatInterval);
    void forgetHandle(unsigned int subscriptionHandle) ORV_REQUIRES(handlerMutex);

    NotificationConfigHandler configHandler;
    NotificationServiceRunnable runnable;
    Orv::ThreadWPipes notifyThread;
    OrvOamSpiNbiNotificationService serviceInterface;
    unsigned int nextHandlerId ORV_GUARDED_BY(handlerMutex);
    unsigned int nextSubscriptionHandle ORV_GUARDED_BY(handlerMutex);
    std::map<unsigned int, HandlerContainer> handlers ORV_GUARDED_BY(handlerMutex);
    Poco::FastMutex handlerMutex;
    std::atomic<ZelOamSpiModelRepository_3*> modelRepository;  // what getKeyName found last, null if nothing
};

}  // namespace OrvNbiNotificationService
