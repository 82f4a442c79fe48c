#include "LiveElementTest.h"

#include <Poco/Timestamp.h>

#include <algorithm>

#include "RecordText.h"

namespace OrvElement
{
namespace
{

// Milliseconds; turns a hang into a failure.
const long TIMEOUT = 60000;

const char* const MARKER = "orv-element marker";

ElementOptions liveOptions()
{
    ElementOptions options;
    options.model = ModelTest::awkwardOptions();
    options.model.modules.insert(options.model.modules.end(), {"orv-types", "orv-top"});
    options.model.structPaths = ModelTest::typesOptions().structPaths;
    options.model.elementName = "ne1";
    options.componentPath = ORV_COMPONENT;
    options.componentConfigPath = ORV_COMPONENT_CONFIG;
    options.watchClock = false;
    options.logLevel = 4;
    return options;
}

std::string textOf(const OrvOamSpiNbiNotificationValue_1& record)
{
    const std::string dn = record.dn != nullptr ? std::string(" ") + record.dn : "";
    switch (record.notificationType)
    {
        case objectCreated:
            return "created" + dn;
        case objectDeleted:
            return "deleted" + dn;
        case attributeChanged:
            break;
        default:
            return notificationTypeName(record.notificationType) + dn;
    }
    std::string names;
    for (ZelMoNamedAttributeValueContainer_3** at = record.attributes; at != nullptr && *at != nullptr; ++at)
    {
        names += (names.empty() ? "" : ",") + std::string((*at)->name);
    }
    return "changed" + dn + " {" + names + "}";
}

}  // namespace

TreeSubscriber::TreeSubscriber(OrvOamSpiNbiNotificationService& table, const std::vector<OrvTest::Node>& trees)
    : _table(table), _trees(trees)
{
    OrvOamSpiNbiNotificationHandler_1 record = OrvTest::RecordingHandler::handlerRecord();
    unsigned int handlerId = 0;
    unsigned int handle = 0;
    EXPECT_EQ(_table.registerHandler(&record, &handlerId), OrvOk);
    EXPECT_EQ(_table.getSubscriptionHandle(&handle), OrvOk);
    _handler = std::make_unique<OrvTest::RecordingHandler>(handle);
    EXPECT_EQ(_table.rfcFilterSubscribe(handlerId, _trees.get(), handle, 0, 0, false, 0), OrvOk);
}

TreeSubscriber::~TreeSubscriber()
{
    EXPECT_EQ(_table.unsubscribe(_handler->handle()), OrvOk);
}

bool TreeSubscriber::hasSeenMarker() const
{
    const Texts all = _handler->dns();
    return std::find(all.begin(), all.end(), MARKER) != all.end();
}

Texts TreeSubscriber::dns() const
{
    Texts all = _handler->dns();
    all.erase(std::remove(all.begin(), all.end(), MARKER), all.end());
    return all;
}

LiveElementTest::LiveElementTest() : element(liveOptions())
{
    makeSubscribers();
}

LiveElementTest::~LiveElementTest()
{
    EXPECT_NO_THROW(flush());
    subscribers.reset();
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened - counters.closed, failedReads);
    EXPECT_EQ(counters.openNow, failedReads);
    EXPECT_EQ(counters.reclaimed, 0u);
}

void LiveElementTest::makeSubscribers()
{
    subscribers = std::make_unique<SubscriberSet>(
        Element::portal(), element.model(),
        [this](const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _received[name].push_back({textOf(record), record.eventTime, record.txHandle, record.sequenceNumber});
        });
    subscribe("all", {});
}

void LiveElementTest::subscribe(const std::string& name, const Texts& subtrees, int64_t startTime)
{
    SubscriptionSpec spec;
    spec.name = name;
    spec.subtrees = subtrees;
    spec.startTime = startTime;
    subscribers->add(spec);
}

std::string LiveElementTest::typesText(const std::string& content)
{
    return "<types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\" "
           "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">" +
           content + "</types>";
}

void LiveElementTest::edit(const std::string& text)
{
    const ModelTest::TemporaryFile file(".xml", text);
    element.applyEditFile(file.path());
}

void LiveElementTest::push(const std::string& dn, int32_t type, uint32_t number)
{
    const OrvTest::Notification record = OrvTest::makeNotification(number, dn, type);
    record->txHandle = number;
    record->sequenceNumber = number;
    EXPECT_EQ(table().pushNotification(*record), OrvOk);
}

void LiveElementTest::flush()
{
    element.drainEvents();
    subscribers->flush(TIMEOUT);
}

Texts LiveElementTest::take(const std::string& name)
{
    flush();
    Texts texts;
    const std::lock_guard<std::mutex> lock(_mutex);
    for (const LiveRecord& record : _received[name])
    {
        texts.push_back(record.text);
    }
    _received[name].clear();
    return texts;
}

// Each flush pushes a marker behind everything. One may wait in a queue for the next arrival, so there may be several.
Texts LiveElementTest::dns(TreeSubscriber& subscriber)
{
    const int64_t deadline = now() + TIMEOUT * 1000;
    do
    {
        element.drainEvents();
        // Makes the filter forget a deletion. Not the marker's DN: a flush would take it for its own and end too soon.
        push("no object", attributeChanged);
        flush();
    } while (!subscriber.hasSeenMarker() && now() < deadline);
    EXPECT_TRUE(subscriber.hasSeenMarker());
    return subscriber.dns();
}

std::vector<LiveRecord> LiveElementTest::records(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received[name];
}

OrvOamSpiNbiNotificationService& LiveElementTest::table()
{
    void* found = nullptr;
    EXPECT_EQ(
        Element::portal().getInterface({"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"}, &found),
        OrvOk);
    return *static_cast<OrvOamSpiNbiNotificationService*>(found);
}

int64_t LiveElementTest::now()
{
    return Poco::Timestamp().epochMicroseconds();
}

}  // namespace OrvElement
