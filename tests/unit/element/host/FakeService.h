// The notification service as the element's subscriber set sees it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "ZelMgmtSpi.h"

namespace OrvElement
{

// The arguments of one call of subscribe.
struct Subscription
{
    unsigned int handle;
    std::vector<std::pair<std::string, std::string>> filters;
    long long startTime;
    long long stopTime;
    bool heartbeatSupported;
    long long heartbeatInterval;
    OrvOamSpiNbiNotificationSubTree_1** trees = nullptr;  // of a subtree filter
};

// The classes of the trees' nodes, read from the trees. The address sanitizer finds out a tree that is gone.
inline std::string classesOf(OrvOamSpiNbiNotificationSubTree_1** trees)
{
    std::string text;
    for (; trees != nullptr && *trees != nullptr; ++trees)
    {
        text += (text.empty() ? "" : " ") + std::string((*trees)->className);
        const std::string below = classesOf((*trees)->containments);
        text += below.empty() ? "" : "(" + below + ")";
    }
    return text;
}

// A notification service that does what a test says. Its table's functions carry no context: one at a time.
class FakeService
{
public:
    FakeService()
    {
        _current = this;
        _table.rfcFilterSubscribe = &FakeService::rfcFilterSubscribe;
    }
    ~FakeService() { _current = nullptr; }

    OrvMgmtSpiInterfacePortal_1 portal = {{"Test", "Portal", "1"}, &FakeService::getInterface};
    ZelReturnT lookupCode = OrvOk;
    OrvReturnT registerCode = OrvOk;
    OrvReturnT subscribeCode = OrvOk;
    OrvReturnT pushCode = OrvOk;
    std::function<void(unsigned int handle)> onSubscribe;
    std::function<void(OrvOamSpiNbiNotificationValue_1& record)> onPush;

    std::vector<Subscription> subscriptions;
    std::vector<unsigned int> unsubscribed;
    OrvReturnT unsubscribeCode = OrvOk;
    std::vector<std::string> treesAtUnsubscribe;  // read in each call of unsubscribe for a subtree filter

    // Takes the entry for subtree filters out of the table.
    void forgetSubtreeFilters() { _table.rfcFilterSubscribe = nullptr; }

    OrvReturnT deliver(unsigned int handle, OrvOamSpiNbiNotificationValue_1& record)
    {
        return _handler.notify(handle, &record);
    }

    // What the service does where a record's copy found no memory.
    OrvReturnT deliverNothing(unsigned int handle) { return _handler.notify(handle, nullptr); }

    OrvReturnT deliver(unsigned int handle, int32_t type)
    {
        OrvOamSpiNbiNotificationValue_1 record = {};
        record.notificationType = type;
        return deliver(handle, record);
    }

private:
    static ZelReturnT getInterface(ZelMgmtSpiInterface_1 id, void** result)
    {
        EXPECT_STREQ(id.componentName, "NbiNotificationServiceCM");
        EXPECT_STREQ(id.interfaceName, "OrvOamSpiNbiNotificationService");
        EXPECT_STREQ(id.interfaceVersion, "1");
        *result = &_table;
        return _current->lookupCode;
    }
    static OrvReturnT registerHandler(OrvOamSpiNbiNotificationHandler_1* handler, unsigned int* handlerId)
    {
        _current->_handler = *handler;
        *handlerId = 77;
        return _current->registerCode;
    }
    static OrvReturnT subscribe(unsigned int handlerId, OrvNameValuePair** filters, unsigned int handle,
                                long long startTime, long long stopTime, bool heartbeatSupported,
                                long long heartbeatInterval)
    {
        EXPECT_EQ(handlerId, 77u);
        Subscription subscription = {handle, {}, startTime, stopTime, heartbeatSupported, heartbeatInterval, nullptr};
        for (; *filters != nullptr; ++filters)
        {
            subscription.filters.emplace_back((*filters)->name, (*filters)->value);
        }
        _current->subscriptions.push_back(subscription);
        if (_current->onSubscribe)
        {
            _current->onSubscribe(handle);
        }
        return _current->subscribeCode;
    }
    static OrvReturnT rfcFilterSubscribe(unsigned int handlerId, OrvOamSpiNbiNotificationSubTree_1** filters,
                                         unsigned int handle, long long startTime, long long stopTime,
                                         bool heartbeatSupported, long long heartbeatInterval)
    {
        EXPECT_EQ(handlerId, 77u);
        _current->subscriptions.push_back(
            {handle, {}, startTime, stopTime, heartbeatSupported, heartbeatInterval, filters});
        if (_current->onSubscribe)
        {
            _current->onSubscribe(handle);
        }
        return _current->subscribeCode;
    }
    static OrvReturnT getSubscriptionHandle(unsigned int* handle)
    {
        *handle = ++_current->_lastHandle;
        return OrvOk;
    }
    static OrvReturnT unsubscribe(unsigned int handle)
    {
        _current->unsubscribed.push_back(handle);
        for (const Subscription& subscription : _current->subscriptions)
        {
            if (subscription.handle == handle && subscription.trees != nullptr)
            {
                _current->treesAtUnsubscribe.push_back(classesOf(subscription.trees));
            }
        }
        return _current->unsubscribeCode;
    }
    static OrvReturnT pushNotification(OrvOamSpiNbiNotificationValue_1& record)
    {
        if (_current->onPush)
        {
            _current->onPush(record);
        }
        return _current->pushCode;
    }

    inline static FakeService* _current = nullptr;
    static OrvOamSpiNbiNotificationService _table;
    OrvOamSpiNbiNotificationHandler_1 _handler = {};
    unsigned int _lastHandle = 100;
};

inline OrvOamSpiNbiNotificationService FakeService::_table = {
    {"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"},
    &FakeService::registerHandler,
    nullptr,
    &FakeService::subscribe,
    &FakeService::getSubscriptionHandle,
    &FakeService::unsubscribe,
    nullptr,
    nullptr,
    nullptr,
    &FakeService::pushNotification,
    nullptr};

}  // namespace OrvElement
