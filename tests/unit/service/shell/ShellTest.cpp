#include "ShellTest.h"

#include <future>
#include <new>

#include "NbiNotificationServiceStateChange.h"

using namespace OrvNbiNotificationService;

namespace OrvTest
{

namespace
{

// Makes an object of static storage anew, as a reload of the library would.
template <typename T>
void renew(T& object)
{
    object.T::~T();
    new (&object) T();
}

// A message that the service thread ignores, and whose end can be waited for.
class Marker : public NbiNotificationServiceStateChange
{
public:
    Marker() : NbiNotificationServiceStateChange(ZelStateChangeActivate) {}
    ~Marker() override { _reached.set_value(); }
    std::future<void> reached() { return _reached.get_future(); }

private:
    std::promise<void> _reached;
};

}  // namespace

std::string configWith(const std::string& bufferSize)
{
    return "<configuration><OrvNbiNotificationService><bufferSize>" + bufferSize +
           "</bufferSize></OrvNbiNotificationService></configuration>";
}

std::vector<std::string> tracesOf(const std::vector<LogLine>& lines, std::thread::id thread)
{
    std::vector<std::string> texts;
    for (const LogLine& line : lines)
    {
        if (line.source == LogLine::trace && line.thread == thread)
        {
            texts.push_back(line.function + ":" + line.text);
        }
    }
    return texts;
}

ShellTest::ShellTest() : session(framework)
{
    renew(component());
    renew(consumer());
}

ShellTest::~ShellTest()
{
    if (component().notifyThread.isRunning())
    {
        EXPECT_EQ(stop(), OrvOk);
    }
    if (consumer()._started)
    {
        EXPECT_EQ(consumer().stop(ZelStateChangeDeactivate), OrvOk);
    }
    if (framework.component() != nullptr)
    {
        EXPECT_EQ(zelLCMterminate(), OrvOk);
    }
}

NbiNotificationServiceCM& ShellTest::component()
{
    return Orv::ZelComponent<NbiNotificationServiceCM>::instance();
}

NbiNotificationServiceEventConsumer& ShellTest::consumer()
{
    return NbiNotificationServiceEventConsumer::instance();
}

ZelReturnT ShellTest::init(const std::string& content)
{
    return zelLCMinit(framework.accessor(), directory.write("config.xml", content).c_str());
}

void ShellTest::startService(const std::string& bufferSize)
{
    ASSERT_EQ(init(configWith(bufferSize)), OrvOk);
    ASSERT_EQ(start(), OrvOk);
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, RecordingHandler::TIMEOUT_SECONDS));
}

ZelReturnT ShellTest::start(int reason)
{
    return framework.component()->start(static_cast<ZelStateChangeReason>(reason));
}

ZelReturnT ShellTest::stop(int reason)
{
    return component().stop(static_cast<ZelStateChangeReason>(reason));
}

void ShellTest::waitForServiceThread()
{
    Marker* const marker = new Marker;
    std::future<void> reached = marker->reached();
    component().notifyThread.pushToInput(marker);
    ASSERT_EQ(reached.wait_for(std::chrono::seconds(RecordingHandler::TIMEOUT_SECONDS)), std::future_status::ready);
}

unsigned int ShellTest::registerHandler()
{
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int handlerId = 0;
    EXPECT_EQ(table().registerHandler(&record, &handlerId), OrvOk);
    return handlerId;
}

OrvReturnT ShellTest::subscribe(unsigned int handlerId, unsigned int handle, long long startTime, long long stopTime)
{
    return table().subscribe(handlerId, LegacyFilter().get(), handle, startTime, stopTime, false, 0);
}

OrvReturnT ShellTest::push(int64_t eventTime, const std::string& dn, int32_t type)
{
    const Notification notification = makeNotification(eventTime, dn, type);
    return table().pushNotification(*notification);
}

unsigned int ShellTest::buffered()
{
    return component().runnable.getNotificationBuffer().getBufferSize();
}

std::vector<unsigned int> ShellTest::handlesOf(unsigned int handlerId)
{
    return component().handlers.at(handlerId)._subscriptionHandles;
}

}  // namespace OrvTest
