#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FakeFramework.h"
#include "LoadedComponent.h"
#include "LogCheck.h"
#include "RecordingHandler.h"
#include "Records.h"

namespace OrvTest
{

const char CM_EVENT_TYPE[] = "ZelOamSpiCmEvent_Notification_1";
const char CLOCK_EVENT_TYPE[] = "ZelClockChangeEventType_1";

const long long SECOND = 1000000;  // microseconds
const long long HOUR = 3600 * SECOND;

// Microseconds since the Unix epoch.
long long now();

// What a subscription is asked for, with the defaults of one that takes everything live and has no end.
struct Wish
{
    std::vector<std::pair<std::string, std::string>> filters = {};
    long long startTime = 0;
    long long stopTime = 0;
    bool heartbeatSupported = false;
    long long heartbeatInterval = 0;
};

// The loaded component in a fake framework, not yet initialised.
class ComponentTest : public testing::Test
{
protected:
    ComponentTest();
    ~ComponentTest() override;

    // zelLCMinit with this buffer size and start; returns when the service thread listens for clock changes.
    void startService(const std::string& bufferSize = "100");
    OrvOamSpiNbiNotificationService& table() { return component.table(); }

    unsigned int registerHandler(unsigned int function = 0);
    unsigned int newHandle();
    OrvReturnT subscribe(unsigned int handlerId, unsigned int handle, const Wish& wish = Wish());
    OrvReturnT push(int64_t eventTime, const std::string& dn, int32_t type = objectCreated,
                    const std::vector<Attribute>& attributes = {});
    // Pushes one record and returns when the service thread has offered it, and thus all before it, to every
    // subscription: an object deleted, stored like any other, whose time is `eventTime`.
    void pushMarker(int64_t eventTime, const std::string& dn = "Marker=1");

    long long creationTime();
    long long lastAgedTime();
    long long oldestTime();

    FakeFramework framework;
    LoadedComponent component;

private:
    const unsigned int _strays;
};

// A subscriber with a handler identifier, a handle and a recording handler of its own. Unsubscribes at its end.
class Subscriber
{
public:
    Subscriber(OrvOamSpiNbiNotificationService& table, const Wish& wish = Wish(), bool held = false);
    ~Subscriber();

    RecordingHandler& operator*() { return *_handler; }
    RecordingHandler* operator->() { return _handler.get(); }
    unsigned int handle() const { return _handle; }
    unsigned int handlerId() const { return _handlerId; }
    OrvReturnT result() const { return _result; }  // of subscribe
    // Once; the destructor does not repeat it.
    OrvReturnT unsubscribe();

    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

private:
    OrvOamSpiNbiNotificationService& _table;
    unsigned int _handlerId;
    unsigned int _handle;
    std::unique_ptr<RecordingHandler> _handler;
    OrvReturnT _result;
    bool _subscribed;
};

}  // namespace OrvTest
