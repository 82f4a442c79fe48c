// What the level of the log takes away and what it must not change.
#include <Poco/Exception.h>

#include <cerrno>
#include <set>

#include "AllocationFault.h"
#include "MutexFault.h"
#include "NbiNotificationServiceStateChange.h"
#include "NotificationSubscription.h"
#include "OrvException.h"
#include "PipeMessage.h"
#include "RfcSubscriptionFilter.h"
#include "SelectScript.h"
#include "ServiceHooks.h"
#include "ShellTest.h"
#include "SubtreeBuilder.h"
#include "Trace.h"

using namespace OrvNbiNotificationService;
using namespace OrvTest;
using testing::Contains;
using testing::IsSupersetOf;

namespace
{

// A tour through calls that succeed and calls that fail.
class LogLevel : public ShellTest, public testing::WithParamInterface<int>
{
protected:
    void SetUp() override
    {
        framework.setLevel(GetParam());
        framework.model().addClass("Port", {{"a", true}, {"b", false}});
    }

    void failToLoad()
    {
        EXPECT_EQ(zelLCMinit(framework.accessor(), nullptr), OrvFailure);
        EXPECT_EQ(init("<other/>"), OrvFailure);
        EXPECT_EQ(init("<OrvNbiNotificationService/>"), OrvOk);
        EXPECT_EQ(init(configWith("abc")), OrvOk);
        EXPECT_EQ(init(configWith("7")), OrvOk);
        EXPECT_EQ(init(), OrvOk);
        ServiceHooks hooks;
        hooks.consumerInit = []() -> OrvReturnT { throw 42; };
        EXPECT_EQ(init(), OrvFailure);
    }

    void failToStart()
    {
        EXPECT_EQ(stop(), OrvOk) << "not started";
        framework.plan().failAlways("portal1.getInterface:OrvOamSpiNbiNotificationService", -1);
        EXPECT_EQ(start(), OrvFailure);
        framework.plan().succeed("portal1.getInterface:OrvOamSpiNbiNotificationService");
        framework.plan().failAlways("portal1.getInterface:OrvOamSpiModelRepository", -1);
        EXPECT_EQ(start(), OrvFailure);
        framework.plan().succeed("portal1.getInterface:OrvOamSpiModelRepository");
        EXPECT_EQ(consumer().stop(ZelStateChangeDeactivate), OrvOk) << "not started";
        ServiceHooks hooks;
        hooks.threadStart = [] { throw 42; };
        EXPECT_EQ(start(), OrvFailure);
    }

    void serve()
    {
        const unsigned int handlerId = registerHandler();
        EXPECT_EQ(subscribe(99, 1), OrvBadArgument);
        EXPECT_EQ(table().subscribe(handlerId, nullptr, 1, 0, 0, false, 0), OrvBadArgument);
        EXPECT_EQ(subscribe(handlerId, 1), OrvOk);
        EXPECT_EQ(subscribe(handlerId, 1), OrvBadArgument);
        EXPECT_EQ(table().subscribe(handlerId, LegacyFilter(UNKNOWN_NAME).get(), 2, 0, 0, false, 0), OrvBadArgument);
        {
            AllocationFault fault(sizeof(NotificationSubscription), [] { throw Orv::OrvException("no room"); });
            EXPECT_EQ(subscribe(handlerId, 3), OrvBadArgument);
        }
        {
            AllocationFault fault(sizeof(NotificationSubscription),
                                  [] { throw Poco::NoThreadAvailableException("none"); });
            EXPECT_EQ(subscribe(handlerId, 3), OrvNoThread);
        }
        RecordingHandler handler(1);
        EXPECT_EQ(push(1000, "A=1"), OrvOk);
        EXPECT_TRUE(handler.waitForDn("A=1"));
        long long timestamp = 0;
        EXPECT_EQ(table().getOldestBufferTimestamp(&timestamp), OrvOk);
        EXPECT_EQ(timestamp, 1000);
        EXPECT_EQ(table().getLastAgedNotificationTime(&timestamp), OrvOk);
        EXPECT_EQ(table().getBufferCreationTime(&timestamp), OrvOk);
        {
            const MutexFault fault(component().handlerMutex, MutexFault::lockFails);
            OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
            unsigned int ignored = 0;
            EXPECT_EQ(table().registerHandler(&record, &ignored), OrvFailure);
            EXPECT_EQ(table().unsubscribe(1), OrvFailure);
            EXPECT_EQ(table().unregisterHandler(handlerId), OrvFailure);
        }
        EXPECT_EQ(table().unsubscribe(1), OrvOk);
        EXPECT_EQ(table().unsubscribe(1), OrvNotFound);
        EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    }

    void serveTrees()
    {
        const unsigned int handlerId = registerHandler();
        Trees none;
        Trees trees({node("A")});
        EXPECT_EQ(table().rfcFilterSubscribe(handlerId, none.get(), 4, 0, 0, false, 0), OrvBadArgument);
        EXPECT_EQ(table().rfcFilterSubscribe(99, trees.get(), 4, 0, 0, false, 0), OrvBadArgument);
        {
            AllocationFault fault(sizeof(RfcSubscriptionFilter), [] { throw Orv::OrvException("no tree"); });
            EXPECT_EQ(table().rfcFilterSubscribe(handlerId, trees.get(), 4, 0, 0, false, 0), OrvBadArgument);
        }
        EXPECT_EQ(table().rfcFilterSubscribe(handlerId, trees.get(), 4, 0, 0, false, 0), OrvOk);
        EXPECT_EQ(table().unsubscribe(4), OrvOk);
    }

    void readTheModel()
    {
        framework.objects().addKeyClass("B", {{"label", false}, {"bId", true}});
        framework.objects().setInt32("A=1", "x", 5);
        std::string keyName;
        EXPECT_EQ(component().getKeyName("A=1,C=*", keyName), OrvFailure);
        EXPECT_EQ(component().getKeyName("A=1,B=*", keyName), OrvOk);
        EXPECT_EQ(keyName, "bId");
        ZelMoAttributeValueResult_3 result = {0, nullptr};
        unsigned long transaction = 0;
        EXPECT_EQ(component().getAttributeValue("A=1", "x", &result, transaction), OrvOk);
        EXPECT_EQ(result.value->values[0].i32, 5);
        EXPECT_EQ(component().endTransaction(transaction), OrvOk);
        framework.withdraw("ZelOamSpiManagedObject");
        EXPECT_EQ(component().getAttributeValue("A=1", "x", &result, transaction), OrvFailure);
        EXPECT_EQ(component().endTransaction(transaction), OrvFailure);
        framework.restore("ZelOamSpiManagedObject");
    }

    // The trees' entry and the model access write for the service's own subsystem.
    void expectOwnSubsystem()
    {
        const std::set<std::string> functions = {"_rfcFilterSubscribe", "rfcFilterSubscribe", "addSubscription",
                                                 "getAttributeValue",   "endTransaction",     "getKeyName"};
        std::vector<std::string> told;
        for (const LogLine& line : lines())
        {
            if (line.source == LogLine::traceV2 && functions.count(line.function) != 0)
            {
                EXPECT_EQ(line.subsystem, Orv::Trace::Notif) << describe(line);
                told.push_back(line.text);
            }
        }
        if (GetParam() >= 3)
        {
            EXPECT_THAT(told, IsSupersetOf({"Empty Filter - A Rfc Subscription without filters is not allowed.",
                                            "Handler (99) not found.", "Failed to add subscription. no tree",
                                            "could not get MOC handle", "Could not lookup cmrouterservice"}));
        }
        if (GetParam() > 7)
        {
            EXPECT_THAT(told, Contains("Adding RFC Subscription to NotificationServiceRunnable"));
        }
    }

    void takeIn()
    {
        CmEvent event(1000000, 7);
        event.operation("Port=1", objectCreated);
        event.operation("Port=1", attributeChanged, {int32Attribute("a", 1), int32Attribute("b", 1)});
        event.operation("Port=1", attributeChanged, {int32Attribute("unknown", 1)});
        event.operation("Unknown=1", attributeChanged, {int32Attribute("a", 1)});
        event.operation("Port=1", attributeChanged);
        event.operation("", objectCreated);
        event.operation("Port=1", 5);
        framework.router().publish(event);
        waitForServiceThread();
        EXPECT_EQ(buffered(), 3u) << "one pushed, one created, one changed";
        framework.router().publishClockChange(5000000);
        EXPECT_EQ(buffered(), 0u);
    }

    void disturbTheThread()
    {
        component().notifyThread.pushToInput(new Orv::PipeMessage(static_cast<Orv::MessageTypeT>(7)));
        component().notifyThread.pushToInput(
            new NbiNotificationServiceStateChange(static_cast<OrvStateChangeReason>(17)));
        waitForServiceThread();
        SelectScript script({{-1, EINTR}, {-1, EBADF}});
        waitForServiceThread();
        EXPECT_TRUE(script.waitForCalls(2));
    }

    static const std::vector<std::pair<std::string, std::string>> UNKNOWN_NAME;
};

const std::vector<std::pair<std::string, std::string>> LogLevel::UNKNOWN_NAME = {{"objectRenamed", ".*"}};

TEST_P(LogLevel, ChangesNothingButWhatIsWritten)
{
    failToLoad();
    failToStart();
    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(start(), OrvOk) << "already started";
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, RecordingHandler::TIMEOUT_SECONDS));
    serve();
    serveTrees();
    readTheModel();
    takeIn();
    disturbTheThread();
    {
        ServiceHooks hooks;
        hooks.consumerStop = [](OrvStateChangeReason) { return OrvReturnT(OrvFailure); };
        EXPECT_EQ(stop(), OrvFailure);
    }

    bool logs = false;
    bool traces = false;
    for (const LogLine& line : lines())
    {
        if (line.source == LogLine::log)
        {
            logs = true;
            EXPECT_GE(GetParam(), line.level) << line.text;
        }
        traces = traces || line.source == LogLine::trace;
    }
    expectOwnSubsystem();
    EXPECT_EQ(logs, GetParam() >= 3);
    EXPECT_EQ(traces, GetParam() > 7);
}

INSTANTIATE_TEST_SUITE_P(Levels, LogLevel, testing::Values(0, 2, 3, 4, 5, 6, 7, 8));

}  // namespace
