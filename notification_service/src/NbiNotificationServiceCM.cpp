#include "NbiNotificationServiceCM.h"

#include <Poco/Thread.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "LegacySubscriptionFilter.h"
#include "NbiNotification.h"
#include "NbiNotificationServiceEventConsumer.h"
#include "NbiNotificationServiceStateChange.h"
#include "NbiNotificationServiceTable.h"
#include "OrvException.h"
#include "OrvThreadLock.h"
#include "RfcSubscriptionFilter.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> HandlerLock;

namespace
{

// What the component requires, in the order in which it declares it.
ZelMgmtSpiInterface_1 requiredTrace = {nullptr, "ZelMwSpiTrace", nullptr};
ZelMgmtSpiInterface_1 requiredLog = {nullptr, "OrvMwSpiLog", "1"};
ZelMgmtSpiInterface_1 requiredEventRouter = {"OrvOamSpiEventService", "OrvOamSpiEventRouter", "1"};
ZelMgmtSpiInterface_1 requiredModelRepository2 = {"OrvOamSpiModelRepositoryService", "OrvOamSpiModelRepository", "2"};
ZelMgmtSpiInterface_1 requiredManagedObject = {"OrvOamSpiExtCmRouterService", "OrvOamSpiManagedObject", "3"};
ZelMgmtSpiInterface_1 requiredModelRepository3 = {"ZelOamSpiModelRepositoryService", "ZelOamSpiModelRepository", "3"};

const int START_POLLS = 62;
const long START_POLL_MILLISECONDS = 10;

}  // namespace

NbiNotificationServiceCM::NbiNotificationServiceCM()
    : ZelComponent("NbiNotificationServiceCM"),
      runnable(DEFAULT_MAX_BUFFER_SIZE),
      serviceInterface(),
      nextHandlerId(1),
      nextSubscriptionHandle(1),
      modelRepository(nullptr)
{
    fillServiceTable(serviceInterface);
    require(requiredTrace);
    require(requiredLog);
    require(requiredEventRouter);
    require(requiredModelRepository2);
    require(requiredManagedObject);
    offer(serviceInterface.id);
    require(requiredModelRepository3);
}

NbiNotificationServiceCM::~NbiNotificationServiceCM() = default;

ZelReturnT NbiNotificationServiceCM::initialize(const char* configPath)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (configPath == nullptr)
        {
            NOTIF_ERROR("Configuration file NbiNotificationServiceCM not found");
            return OrvFailure;
        }
        if (loadConfiguration(configPath) != OrvOk)
        {
            return OrvFailure;
        }
        if (NbiNotificationServiceEventConsumer::instance().init(portal1) != OrvOk)
        {
            return OrvFailure;
        }
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

ZelReturnT NbiNotificationServiceCM::loadConfiguration(const char* configPath)
{
    NOTIF_TRACE(" >> ");
    ZelReturnT result = OrvOk;
    const int code = configHandler.load(std::string(configPath));
    if (code != 0)
    {
        NOTIF_ERROR("Failed to load configuration for notification service, return code (%d)", code);
        result = OrvFailure;
    }
    else
    {
        NOTIF_TRACE("Loaded configuration for notification service");
    }
    const unsigned int bufferSize = configHandler.getBufferSizeInt();
    if (bufferSize != 0)
    {
        NOTIF_TRACE("Setting buffer size: %i ", bufferSize);
        if (!runnable.setNotificationBufferSize(bufferSize))
        {
            NOTIF_WARNING("Buffer size was not set");
        }
    }
    else
    {
        NOTIF_TRACE("Default value for buffer size will be used: DEFAULT_MAX_BUFFER_SIZE = %i ",
                    DEFAULT_MAX_BUFFER_SIZE);
    }
    configHandler.unload();
    NOTIF_TRACE(" << %d", result);
    return result;
}

ZelReturnT NbiNotificationServiceCM::start(ZelStateChangeReason reason)
{
    try
    {
        NOTIF_TRACE(" >> Reason: %d", reason);
        if (notifyThread.isRunning())
        {
            NOTIF_WARNING("The NbiNotificationServiceComponent is already started. Ignoring start request.");
            return OrvOk;
        }
        if (NbiNotificationServiceEventConsumer::instance().start(reason) != OrvOk)
        {
            NOTIF_ERROR("Could not start EventConsumer with reason: %d", reason);
            return OrvFailure;
        }
        notifyThread.start(runnable);
        NOTIF_TRACE("Waiting for service to start");
        const ZelReturnT result = waitUntilRunning() ? OrvOk : OrvNotRunning;
        NOTIF_TRACE(" << ");
        return result;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

bool NbiNotificationServiceCM::waitUntilRunning()
{
    for (int count = START_POLLS; !notifyThread.isRunning();)
    {
        if (--count == 0)
        {
            return false;
        }
        Poco::Thread::sleep(START_POLL_MILLISECONDS);
    }
    return true;
}

ZelReturnT NbiNotificationServiceCM::stop(ZelStateChangeReason reason)
{
    try
    {
        NOTIF_TRACE(" >> Reason: %d", reason);
        if (!notifyThread.isRunning())
        {
            NOTIF_WARNING("The NbiNotificationServiceComponent is already stopped. Ignoring stop request.");
            return OrvOk;
        }
        if (notifyThread.tid() != 0)
        {
            notifyThread.pushToInput(new NbiNotificationServiceStateChange(reason));
            NOTIF_TRACE("Waiting for NbiNotificationServiceRunnable thread to exit");
            notifyThread.join();
            NOTIF_TRACE("NbiNotificationServiceRunnable thread exited");
        }
        const ZelReturnT result = NbiNotificationServiceEventConsumer::instance().stop(reason);
        if (result != OrvOk)
        {
            NOTIF_WARNING("Could not stop EventConsumer. retval: %d", result);
        }
        NOTIF_TRACE(" << ");
        return result;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

void NbiNotificationServiceCM::terminate()
{
    NOTIF_TRACE(" >> ");
    NOTIF_TRACE(" << ");
}

OrvReturnT NbiNotificationServiceCM::registerHandler(OrvOamSpiNbiNotificationHandler_1* handler,
                                                     unsigned int& handlerId)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        HandlerLock lock(handlerMutex);
        handlerId = nextHandlerId++;
        if (!handlers.insert(std::make_pair(handlerId, HandlerContainer(*handler))).second)
        {
            throw Orv::OrvException("Failed to store handlerInterface");
        }
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

OrvReturnT NbiNotificationServiceCM::getSubscriptionHandle(unsigned int& subscriptionHandle)
{
    NOTIF_TRACE(" >> ");
    HandlerLock lock(handlerMutex);
    subscriptionHandle = nextSubscriptionHandle++;
    NOTIF_TRACE(" << ");
    return OrvOk;
}

OrvReturnT NbiNotificationServiceCM::subscribe(unsigned int handlerId, OrvNameValuePair** filters,
                                               unsigned int subscriptionHandle, long long startTime, long long stopTime,
                                               bool heartbeatSupported, long long heartbeatInterval)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        const OrvReturnT result =
            addSubscription([filters]() -> SubscriptionFilter* { return new LegacySubscriptionFilter(filters); },
                            handlerId, subscriptionHandle, startTime, stopTime, heartbeatSupported, heartbeatInterval);
        NOTIF_TRACE(" << ");
        return result;
    }
    catch (...)
    {
        // A subscription half made can neither be served nor removed.
        NOTIF_ERROR("Caught unhandled exception");
        abort();
    }
}

OrvReturnT NbiNotificationServiceCM::rfcFilterSubscribe(unsigned int handlerId,
                                                        OrvOamSpiNbiNotificationSubTree_1** filters,
                                                        unsigned int subscriptionHandle, long long startTime,
                                                        long long stopTime, bool heartbeatSupported,
                                                        long long heartbeatInterval)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        NOTIF_TRACE("Adding RFC Subscription to NotificationServiceRunnable");
        const OrvReturnT result =
            addSubscription([filters]() -> SubscriptionFilter* { return new RfcSubscriptionFilter(filters); },
                            handlerId, subscriptionHandle, startTime, stopTime, heartbeatSupported, heartbeatInterval);
        NOTIF_TRACE(" << ");
        return result;
    }
    catch (...)
    {
        // As in subscribe.
        NOTIF_ERROR("Caught unhandled exception");
        abort();
    }
}

template <typename MakeFilter>
OrvReturnT NbiNotificationServiceCM::addSubscription(MakeFilter makeFilter, unsigned int handlerId,
                                                     unsigned int subscriptionHandle, long long startTime,
                                                     long long stopTime, bool heartbeatSupported,
                                                     long long heartbeatInterval)
{
    HandlerLock lock(handlerMutex);
    try
    {
        const auto entry = handlers.find(handlerId);
        if (entry == handlers.end())
        {
            NOTIF_ERROR("Handler (%i) not found.", handlerId);
            return OrvBadArgument;
        }
        const OrvReturnT result = runnable.addSubscription(subscriptionHandle, entry->second._handler, makeFilter(),
                                                           startTime, stopTime, heartbeatSupported, heartbeatInterval);
        // Whatever the result: a handle that was refused is kept like any other.
        entry->second._subscriptionHandles.push_back(subscriptionHandle);
        return result;
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_ERROR("Failed to add subscription. %s", e.what());
        return OrvBadArgument;
    }
}

OrvReturnT NbiNotificationServiceCM::unsubscribe(unsigned int subscriptionHandle)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        HandlerLock lock(handlerMutex);
        forgetHandle(subscriptionHandle);
        const OrvReturnT result = runnable.removeSubscription(subscriptionHandle);
        NOTIF_TRACE(" << ");
        return result;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

// Erases the first occurrence of the handle, if a handler holds it at all.
void NbiNotificationServiceCM::forgetHandle(unsigned int subscriptionHandle)
{
    for (auto& entry : handlers)
    {
        std::vector<unsigned int>& handles = entry.second._subscriptionHandles;
        const auto found = std::find(handles.begin(), handles.end(), subscriptionHandle);
        if (found != handles.end())
        {
            handles.erase(found);
            return;
        }
    }
}

OrvReturnT NbiNotificationServiceCM::unregisterHandler(unsigned int handlerId)
{
    try
    {
        NOTIF_TRACE(" >> Unregistering Handler: %d", handlerId);
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        HandlerLock lock(handlerMutex);
        const auto entry = handlers.find(handlerId);
        if (entry == handlers.end())
        {
            return OrvNotFound;
        }
        // The handler stays registered, and its handles stay listed.
        for (const unsigned int subscriptionHandle : entry->second._subscriptionHandles)
        {
            if (runnable.removeSubscription(subscriptionHandle) != OrvOk)
            {
                NOTIF_ERROR("Could not find and unregister a  subscriber when unregister a handler");
            }
        }
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

OrvReturnT NbiNotificationServiceCM::pushNotification(OrvOamSpiNbiNotificationValue_1& notification)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        NbiNotification* const message = new NbiNotification(&notification);
        if (message->_notification == nullptr)
        {
            // The message is not released here.
            NOTIF_WARNING("Neglecting notification due to the unsupported attribute type of the notification");
            return OrvFailure;
        }
        notifyThread.pushToInput(message);
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

OrvReturnT NbiNotificationServiceCM::getOldestBufferTimestamp(long long& timestamp)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        timestamp = runnable.getNotificationBuffer().getOldestBufferTimestamp();
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

// Unlike its two companions it answers OrvOk while the service does not run; callers rely on that.
OrvReturnT NbiNotificationServiceCM::getLastAgedNotificationTime(long long& timestamp)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvOk;
        }
        timestamp = runnable.getNotificationBuffer().getLastAgedNotificationTime();
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

OrvReturnT NbiNotificationServiceCM::getBufferCreationTime(long long& timestamp)
{
    try
    {
        NOTIF_TRACE(" >> ");
        if (!notifyThread.isRunning())
        {
            return OrvNotRunning;
        }
        timestamp = runnable.getNotificationBuffer().getBufferCreationTime();
        NOTIF_TRACE(" << ");
        return OrvOk;
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
        return OrvFailure;
    }
}

}  // namespace OrvNbiNotificationService
