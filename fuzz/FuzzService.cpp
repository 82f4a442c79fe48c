#include "FuzzService.h"

#include <chrono>

#include "FuzzCheck.h"
#include "FuzzRecords.h"
#include "Records.h"

namespace OrvFuzz
{

using OrvTest::int32Attribute;
using OrvTest::node;

namespace
{

const int TIMEOUT_SECONDS = 60;  // turns a hang into a finding

FuzzService* theService = nullptr;

}  // namespace

FuzzService& FuzzService::instance()
{
    static FuzzService service;
    return service;
}

FuzzService::FuzzService() : _trees(trees()), _component(_framework)
{
    theService = this;
    _framework.log().keepNothing([](const OrvTest::LogLine&) {});
    addClasses();
    // Large enough for what one input gives, so that no backlog is purged.
    check(_component.initWithConfiguration(OrvTest::configurationWithBufferSize("1000")) == OrvOk, "no init");
    check(_component.start() == OrvOk, "no start");
    check(_framework.router().waitForSubscriptions("ZelClockChangeEventType_1", 1, TIMEOUT_SECONDS), "not started");

    OrvOamSpiNbiNotificationHandler_1 handler = {&FuzzService::notify};
    unsigned int handlerId = 0;
    check(table().registerHandler(&handler, &handlerId) == OrvOk, "no handler");
    _all = newHandle();
    const OrvTest::LegacyFilter everything;
    check(table().subscribe(handlerId, everything.get(), _all, 0, 0, false, 0) == OrvOk, "no subscription");
    const std::vector<std::pair<std::string, std::string>> pairs = {{"attributeChanged", ".*x"}};
    const OrvTest::LegacyFilter changes(pairs);
    check(table().subscribe(handlerId, changes.get(), newHandle(), 0, 0, false, 0) == OrvOk, "no subscription");
    check(table().rfcFilterSubscribe(handlerId, _trees.get(), newHandle(), 0, 0, false, 0) == OrvOk, "no subscription");
}

void FuzzService::addClasses()
{
    _framework.model().addClass("A", {{"a", true}, {"b", false}, {"x", true}});
    _framework.model().addClass("B", {{"a", true}, {"c", true}});
    _framework.objects().addKeyClass("A", {{"id", true}, {"a", false}});
    _framework.objects().addKeyClass("B", {{"id", true}});
    _framework.objects().setInt32("A=1", "a", 1);
    _framework.objects().setInt32("A=1,B=1", "a", 1);
}

std::vector<OrvTest::Node> FuzzService::trees()
{
    return {node("A").key("1").match(int32Attribute("a", 1)).child(node("B").classes({"C"}).child(node("D"))),
            node("A").select({"a", "x"}).child(node("B").key("2"))};
}

unsigned int FuzzService::newHandle()
{
    unsigned int handle = 0;
    check(table().getSubscriptionHandle(&handle) == OrvOk, "no handle");
    return handle;
}

OrvReturnT FuzzService::notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* notification)
{
    const std::string text = textOf(*notification);
    if (handle == theService->_all)
    {
        const std::lock_guard<std::mutex> lock(theService->_mutex);
        if (notification->dn != nullptr && notification->dn[0] == MARKER)
        {
            theService->_lastMarker = notification->dn;
            theService->_changed.notify_all();
        }
        else
        {
            theService->_received.push_back(text);
        }
    }
    return OrvOk;
}

// A record that meets the end of a delivery run waits for the next record to set it going. So a marker that does not
// come in time is pushed again.
std::vector<std::string> FuzzService::received()
{
    const std::string dn = MARKER + ("Marker=" + std::to_string(++_markers));
    const OrvTest::Notification marker = OrvTest::makeNotification(1, dn, objectCreated);
    bool come = false;
    for (int tries = 0; !come; ++tries)
    {
        check(tries < TIMEOUT_SECONDS, "the marker does not come");
        check(table().pushNotification(*marker) == OrvOk, "the marker is refused");
        std::unique_lock<std::mutex> lock(_mutex);
        come = _changed.wait_for(lock, std::chrono::seconds(1), [&] { return _lastMarker == dn; });
    }
    // What the framework remembers of its calls would grow.
    _framework.plan().clearCalls();
    const std::lock_guard<std::mutex> lock(_mutex);
    std::vector<std::string> received;
    received.swap(_received);
    return received;
}

}  // namespace OrvFuzz
