#include "ComponentTest.h"

#include <Poco/Timestamp.h>

namespace OrvTest
{

long long now()
{
    return Poco::Timestamp().epochMicroseconds();
}

ComponentTest::ComponentTest() : component(framework), _strays(RecordingHandler::strays())
{
    RecordingHandler::whenStalled([this]
                                  { EXPECT_EQ(OrvOk, table().pushNotification(*RecordingHandler::makeNudge())); });
}

ComponentTest::~ComponentTest()
{
    RecordingHandler::whenStalled(nullptr);
    EXPECT_EQ(_strays, RecordingHandler::strays()) << "a handler was called without a subscription";
}

void ComponentTest::startService(const std::string& bufferSize)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize(bufferSize)));
    ASSERT_EQ(OrvOk, component.start());
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, RecordingHandler::TIMEOUT_SECONDS));
}

unsigned int ComponentTest::registerHandler(unsigned int function)
{
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord(function);
    unsigned int handlerId = 0;
    EXPECT_EQ(OrvOk, table().registerHandler(&record, &handlerId));
    return handlerId;
}

unsigned int ComponentTest::newHandle()
{
    unsigned int handle = 0;
    EXPECT_EQ(OrvOk, table().getSubscriptionHandle(&handle));
    return handle;
}

OrvReturnT ComponentTest::subscribe(unsigned int handlerId, unsigned int handle, const Wish& wish)
{
    return table().subscribe(handlerId, LegacyFilter(wish.filters).get(), handle, wish.startTime, wish.stopTime,
                             wish.heartbeatSupported, wish.heartbeatInterval);
}

OrvReturnT ComponentTest::push(int64_t eventTime, const std::string& dn, int32_t type,
                               const std::vector<Attribute>& attributes)
{
    return table().pushNotification(*makeNotification(eventTime, dn, type, attributes));
}

void ComponentTest::pushMarker(int64_t eventTime, const std::string& dn)
{
    // Its handle is the largest so far, so it is served last.
    Subscriber witness(table(), {{{"objectDeleted", dn}}});
    ASSERT_EQ(OrvOk, push(eventTime, dn, objectDeleted));
    ASSERT_TRUE(witness->waitForDn(dn));
}

long long ComponentTest::creationTime()
{
    long long time = -1;
    EXPECT_EQ(OrvOk, table().getBufferCreationTime(&time));
    return time;
}

long long ComponentTest::lastAgedTime()
{
    long long time = -1;
    EXPECT_EQ(OrvOk, table().getLastAgedNotificationTime(&time));
    return time;
}

long long ComponentTest::oldestTime()
{
    long long time = -1;
    EXPECT_EQ(OrvOk, table().getOldestBufferTimestamp(&time));
    return time;
}

Subscriber::Subscriber(OrvOamSpiNbiNotificationService& table, const Wish& wish, bool held)
    : _table(table), _handlerId(0), _handle(0), _result(OrvFailure), _subscribed(false)
{
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    EXPECT_EQ(OrvOk, _table.registerHandler(&record, &_handlerId));
    EXPECT_EQ(OrvOk, _table.getSubscriptionHandle(&_handle));
    _handler = std::make_unique<RecordingHandler>(_handle);
    if (held)
    {
        _handler->hold();
    }
    _result = _table.subscribe(_handlerId, LegacyFilter(wish.filters).get(), _handle, wish.startTime, wish.stopTime,
                               wish.heartbeatSupported, wish.heartbeatInterval);
    _subscribed = _result == OrvOk;
    EXPECT_EQ(OrvOk, _result);
}

Subscriber::~Subscriber()
{
    _handler->answerAlways(OrvOk);
    _handler->release();
    if (_subscribed)
    {
        _table.unsubscribe(_handle);
    }
}

OrvReturnT Subscriber::unsubscribe()
{
    _subscribed = false;
    return _table.unsubscribe(_handle);
}

}  // namespace OrvTest
